#include "sim/Tape.h"

#include "KernelLog.h"
#include "sim/Power.h"
#include "sim/Settings.h"
#include "sim/Television.h"
#include "sim/Timers.h"
#include "sim/VirtualClock.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <device_power.h>
#include <dlog.h>
#include <kpi_logger.h>
#include <vconf.h>

#include <chrono>
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
