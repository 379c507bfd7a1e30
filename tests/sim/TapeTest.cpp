#include "sim/Tape.h"

#include "KernelLog.h"
#include "sim/Devices.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Television.h"
#include "sim/Timers.h"
#include "sim/VirtualClock.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_device.h>
#include <bt_hid.h>
#include <device_power.h>
#include <dlog.h>
#include <kpi_logger.h>
#include <vconf.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

gboolean Nothing(gpointer)
{
    return G_SOURCE_REMOVE;
}

TEST(Tape, ShowsACallWithItsArgumentsResultAndOutput)
{
    sim::Television tv;
    int value = 0;
    tv.settings.Writes("db/menu/support/use_mode", 4);
    tv.tape.Clear();

    vconf_get_int("db/menu/support/use_mode", &value);
    vconf_set_str("memory/a", "two \"words\"\n");
    vconf_get_int("memory/missing", &value);

    EXPECT_THAT(tv.tape.Calls(), ElementsAre(R"(vconf_get_int("db/menu/support/use_mode") = 0 -> 4)",
                                             R"(vconf_set_str("memory/a", "two \"words\"\x0a") = 0)",
                                             R"(vconf_get_int("memory/missing") = -2)"));
    EXPECT_THAT(tv.tape.Actions(), ElementsAre(R"(vconf_set_str("memory/a", "two \"words\"\x0a") = 0)"));
}

TEST(Tape, TakesACallApart)
{
    sim::Television tv;
    int value = 0;
    vconf_set_str("memory/a", "x");
    vconf_get_int("memory/missing", &value);
    vconf_set_int("memory/b", 7);
    vconf_get_int("memory/b", &value);

    const std::vector<sim::Entry> entries = tv.tape.Entries();
    ASSERT_EQ(entries.size(), 4U);
    EXPECT_EQ(entries[0].function, "vconf_set_str");
    EXPECT_THAT(entries[0].arguments, ElementsAre(R"("memory/a")", R"("x")"));
    EXPECT_EQ(entries[0].result, "0");
    EXPECT_THAT(entries[0].outputs, IsEmpty());
    EXPECT_EQ(entries[1].result, "-2");
    EXPECT_THAT(entries[1].outputs, IsEmpty());
    EXPECT_EQ(entries[3].result, "0");
    EXPECT_THAT(entries[3].outputs, ElementsAre("7"));
}

TEST(Tape, KeepsWhatTheServiceIsToldForWhoAsksForEverything)
{
    sim::Television tv;
    std::vector<std::string> heard;
    std::vector<std::string> heardAll;
    device_power_subscribe_wakeup([](int, void*) { return device_power_request_reboot(34); }, nullptr);
    tv.tape.Clear();
    tv.tape.SetSink([&](const sim::Entry& entry) { heard.push_back(entry.text); });
    tv.power.WakesUp(95);
    tv.tape.SetSinkOfEverything([&](const sim::Entry& entry) { heardAll.push_back(entry.text); });
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }

    EXPECT_THAT(tv.tape.All(), ElementsAre("the set wakes up, reason 95", "device_power_request_reboot(34) = 0"));
    EXPECT_THAT(heard, ElementsAre("the set wakes up, reason 95"));
    EXPECT_THAT(heardAll, ElementsAre("device_power_wakeup_cb(95)", "device_power_request_reboot(34) = 0"));
    ASSERT_EQ(tv.tape.Everything().size(), 3U);
    EXPECT_EQ(tv.tape.Everything()[1].kind, sim::Kind::Event);
    EXPECT_EQ(tv.tape.Everything()[1].function, "device_power_wakeup_cb");
    EXPECT_THAT(tv.tape.Everything()[1].arguments, ElementsAre("95"));
    tv.tape.Clear();
    EXPECT_THAT(tv.tape.Everything(), IsEmpty());
}

TEST(Tape, GoesOnCountingAfterItWasCleared)
{
    sim::Television tv;
    device_power_request_reboot(1);
    device_power_request_reboot(2);
    const std::vector<sim::Entry> before = tv.tape.Entries();
    tv.tape.Clear();
    device_power_request_reboot(3);

    ASSERT_EQ(before.size(), 2U);
    EXPECT_EQ(before[0].id, 1U);
    EXPECT_EQ(before[1].id, 2U);
    EXPECT_EQ(tv.tape.Entries().front().id, 3U);
}

TEST(Tape, TellsTheTimeOnTheClockThatTheServiceSees)
{
    sim::VirtualClock clock;
    clock.Advance(std::chrono::hours(1));
    sim::Television tv;
    device_power_request_reboot(1);
    clock.Advance(std::chrono::hours(2));
    device_power_request_reboot(2);

    EXPECT_LT(tv.tape.Entries()[0].at, 60'000'000);
    EXPECT_GE(tv.tape.Entries()[1].at, 7'200'000'000);
    EXPECT_LT(tv.tape.Entries()[1].at, 7'260'000'000);
}

TEST(Tape, ShowsWhatEachRecordThatACallbackIsHandedSays)
{
    sim::Television tv;
    bt_device_set_connection_state_changed_cb([](bool, bt_device_connection_info_s*, void*) {}, nullptr);
    bt_device_set_bond_created_cb([](int, bt_device_info_s*, void*) {}, nullptr);
    bt_hid_set_battery_status_received_cb([](bt_hid_battery_status_info_s*, void*) {}, nullptr);
    device_power_subscribe_state_changed_event([](device_power_state_info*, void*) { return 0; }, nullptr);
    device_power_subscribe_ambient_poweroff([](device_poweroff_info*, void*) { return 0; }, nullptr);
    tv.devices.Bonds({.address = "5C:00:00:00:00:01", .name = "Box"});
    tv.devices.Disconnects("5C:00:00:00:00:01", 3, 1);
    tv.smartRemote.address = "5C:00:00:00:00:02";
    tv.smartRemote.ReportsBattery(0x4F);
    tv.power.GoesTo(2, 0, 9);
    tv.power.LeavesAmbientByPowerOff(13);
    tv.power.TellsAmbientPowerOff(nullptr);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }

    std::vector<std::string> events;
    for (const sim::Entry& entry : tv.tape.Everything()) {
        if (entry.kind == sim::Kind::Event) {
            events.push_back(entry.text);
        }
    }
    EXPECT_THAT(events,
                ElementsAre(R"(bt_device_bond_created_cb(0, {"5C:00:00:00:00:01", "Box", bonded}))",
                            R"(bt_device_connection_state_changed_cb(false, {"5C:00:00:00:00:01", link 1, reason 3}))",
                            R"(bt_hid_battery_status_received_cb({0x4f, "5C:00:00:00:00:02"}))",
                            "device_power_state_changed_cb({state 0 to 2, ambient mode 0 to 0, reason 9})",
                            "device_power_ambient_poweroff_cb({option 13})", "device_power_ambient_poweroff_cb(null)"));
}

TEST(Tape, TakesALogLineApart)
{
    sim::Television tv;
    __dlog_print(LOG_ID_MAIN, DLOG_ERROR, "VYREL_LITE", "%s: %s(%d) > %s failed: %d", "File.cpp", "Function", 12, "it",
                 7);

    ASSERT_EQ(tv.tape.Entries().size(), 1U);
    const sim::Entry& entry = tv.tape.Entries().front();
    EXPECT_EQ(entry.text, "E VYREL_LITE File.cpp: Function(12) > it failed: 7");
    EXPECT_EQ(entry.file, "File.cpp");
    EXPECT_EQ(entry.function, "Function");
    EXPECT_EQ(entry.line, 12);
    EXPECT_EQ(entry.message, "it failed: 7");
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E it failed: 7"));
    EXPECT_THAT(tv.tape.MessagesFrom("Function"), ElementsAre("E it failed: 7"));
    EXPECT_THAT(tv.tape.MessagesFrom("Other"), IsEmpty());
}

TEST(Tape, KeepsTheKernelLogInOrderWithAllElse)
{
    sim::Television tv;
    device_power_lock_state(2, 10);
    __print_kernel_log("VYREL", "First", "one");
    __print_kernel_log("VYREL", "Second", "two");
    device_power_unlock_state(2);

    EXPECT_THAT(tv.tape.All(), ElementsAre("device_power_lock_state(2, 10) = 0", "[VYREL][First]one",
                                           "[VYREL][Second]two", "device_power_unlock_state(2) = 0"));
}

TEST(Tape, NamesTimersByTheOrderInWhichTheyWereMade)
{
    sim::Television tv;
    const guint first = g_timeout_add(150, Nothing, nullptr);
    const guint second = g_timeout_add_seconds(5, Nothing, nullptr);
    g_source_remove(second);
    g_source_remove(first);

    EXPECT_THAT(tv.tape.Timers(), ElementsAre("timer 1: 150 ms", "timer 2: 5 s", "timer 2 removed", "timer 1 removed"));
}

TEST(Timers, ArePendingUntilTheyEndOrAreRemoved)
{
    sim::VirtualClock clock;
    sim::Television tv;
    g_timeout_add(150, Nothing, nullptr);
    const guint removed = g_timeout_add(150, Nothing, nullptr);
    const guint other = g_timeout_add_seconds(5, Nothing, nullptr);
    EXPECT_EQ(sim::PendingTimers("150 ms"), 2);
    EXPECT_EQ(sim::PendingTimers("5 s"), 1);
    EXPECT_EQ(sim::PendingTimers("5 ms"), 0);
    g_source_remove(removed);
    EXPECT_EQ(sim::PendingTimers("150 ms"), 1);
    clock.Advance(std::chrono::milliseconds(200));
    EXPECT_EQ(sim::PendingTimers("150 ms"), 0);
    EXPECT_EQ(sim::PendingTimers("5 s"), 1);
    g_source_remove(other);
}

TEST(Timers, ArePendingWithTheirNumberAndTheTimeAtWhichTheyAreDue)
{
    sim::VirtualClock clock;
    sim::Television tv;
    clock.Advance(std::chrono::seconds(1));
    const guint later = g_timeout_add(5000, Nothing, nullptr);
    g_timeout_add(150, Nothing, nullptr);
    const std::int64_t now = tv.tape.Now();

    const std::vector<sim::PendingTimer> both = sim::PendingTimers();
    ASSERT_EQ(both.size(), 2U);
    EXPECT_EQ(both[0].number, 2);
    EXPECT_EQ(both[0].interval, "150 ms");
    EXPECT_NEAR(static_cast<double>(both[0].due - now), 150e3, 50e3);
    EXPECT_EQ(both[1].number, 1);
    EXPECT_NEAR(static_cast<double>(both[1].due - now), 5e6, 50e3);

    clock.Advance(std::chrono::milliseconds(200));
    ASSERT_EQ(sim::PendingTimers().size(), 1U);
    EXPECT_EQ(sim::PendingTimers()[0].number, 1);
    g_source_remove(later);
    EXPECT_THAT(sim::PendingTimers(), IsEmpty());
}

TEST(Tape, ShowsUsageEvents)
{
    sim::Television tv;
    KPILogFramework::CLogger::GetInstance()->AddEventLogAsync("25_remocon", "BATTERY", "EV005", "{batlev=3}", nullptr,
                                                              nullptr);
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre("25_remocon BATTERY EV005 {batlev=3}"));
}

TEST(Tape, HandsEachEntryToItsSink)
{
    sim::Television tv;
    std::vector<std::string> seen;
    tv.tape.SetSink([&](const sim::Entry& entry) { seen.push_back(entry.text); });
    device_power_request_reboot(34);
    __print_kernel_log("VYREL", "F", "line");
    tv.power.WakesUp(95);

    EXPECT_THAT(seen,
                ElementsAre("device_power_request_reboot(34) = 0", "[VYREL][F]line", "the set wakes up, reason 95"));
}

} // namespace
