// The tape knows why: each entry names the one within whose handling it happened.

#include "GlibPointers.h"
#include "KernelLog.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "sim/Adapter.h"
#include "sim/Devices.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"
#include "support/Settle.h"
#include "support/Siblings.h"

#include <gio/gio.h>
#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <bt_device.h>
#include <device_power.h>
#include <kpi_logger.h>
#include <vconf.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::Not;

namespace {

constexpr const char* kKey = "memory/vyrel/key";
constexpr const char* kManager = "com.quorix.tv.bt.connectionmanager";

/// Each entry of the tape as "what < why".
std::vector<std::string> WhatAndWhy(const sim::Tape& tape)
{
    const std::vector<sim::Entry> all = tape.Everything();
    std::vector<std::string> lines;
    for (const sim::Entry& entry : all) {
        const auto cause = std::ranges::find(all, entry.cause, &sim::Entry::id);
        const std::string why = entry.cause == sim::kNoEntry ? "nothing" : "gone";
        lines.push_back(entry.text + " < " + (cause != all.end() ? cause->text : why));
    }
    return lines;
}

void Drain()
{
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

void Reboot()
{
    device_power_request_reboot(1);
}

class Cause : public ::testing::Test
{
protected:
    sim::VirtualClock clock;
    sim::Television tv;
};

TEST_F(Cause, IsNoneForWhatComesFromOutside)
{
    Reboot();
    tv.tape.Note("the cat walks by");
    Reboot();
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre("device_power_request_reboot(1) = 0 < nothing", "the cat walks by < nothing",
                            "device_power_request_reboot(1) = 0 < nothing"));
}

TEST_F(Cause, OfACallbackIsWhatHappenedToTheTelevisionAndItsOwnDeedsAreCausedByIt)
{
    device_power_subscribe_wakeup(
        [](int, void*) {
            Reboot();
            return 0;
        },
        nullptr);
    tv.tape.Clear();
    tv.power.WakesUp(95);
    Drain();
    Reboot();
    EXPECT_THAT(WhatAndWhy(tv.tape), ElementsAre("the set wakes up, reason 95 < nothing",
                                                 "device_power_wakeup_cb(95) < the set wakes up, reason 95",
                                                 "device_power_request_reboot(1) = 0 < device_power_wakeup_cb(95)",
                                                 "device_power_request_reboot(1) = 0 < nothing"));
}

TEST_F(Cause, OfACallbackCanBeACallThatWasMadeBefore)
{
    bt_adapter_set_state_changed_cb([](int, bt_adapter_state_e, void*) { Reboot(); }, nullptr);
    tv.adapter.delay = 300ms;
    tv.tape.Clear();
    bt_adapter_enable();
    tv.tape.Note("the cat walks by");
    clock.Advance(1s);
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre("bt_adapter_enable() = 0 < nothing", "the cat walks by < nothing",
                            "bt_adapter_state_changed_cb(0, 1) < bt_adapter_enable() = 0",
                            "device_power_request_reboot(1) = 0 < bt_adapter_state_changed_cb(0, 1)"));
}

TEST_F(Cause, NestsAsWhatHappensDoes)
{
    const std::string address = "5C:00:00:00:00:01";
    tv.smartRemote.Connects(address);
    Drain();
    EXPECT_THAT(WhatAndWhy(tv.tape), ElementsAre("the smart remote connects < nothing",
                                                 address + " is connected < the smart remote connects"));
}

TEST_F(Cause, OfWhatACallDoesToTheTelevisionIsTheCallAlthoughThatOneIsWrittenLater)
{
    device_power_set_state(2, 0);
    EXPECT_THAT(tv.tape.All(),
                ElementsAre("the set goes from normal to standby, ambient mode 0", "device_power_set_state(2, 0) = 0"));
    EXPECT_THAT(WhatAndWhy(tv.tape), ElementsAre("device_power_set_state(2, 0) = 0 < nothing",
                                                 "the set goes from normal to standby, ambient mode 0 < "
                                                 "device_power_set_state(2, 0) = 0"));
}

TEST_F(Cause, OfWhatIsDoneForEachDeviceIsTheListing)
{
    tv.devices.Knows({.address = "5C:00:00:00:00:01"});
    bt_adapter_foreach_bonded_device(
        [](bt_device_info_s*, void*) {
            Reboot();
            return true;
        },
        nullptr);
    Reboot();
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre("bt_adapter_foreach_bonded_device() = 0 < nothing",
                            "device_power_request_reboot(1) = 0 < bt_adapter_foreach_bonded_device() = 0",
                            "device_power_request_reboot(1) = 0 < nothing"));
}

TEST_F(Cause, OfWhatIsDoneForEachHeadlessDeviceIsTheListing)
{
    tv.adapter.headlessDevices.insert("5C:00:00:00:00:01");
    bt_adapter_foreach_headless_device_info(
        [](bt_adapter_headless_dev_info_s*, void*) {
            Reboot();
            return true;
        },
        nullptr);
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre("bt_adapter_foreach_headless_device_info() = 0 < nothing",
                            "device_power_request_reboot(1) = 0 < bt_adapter_foreach_headless_device_info() = 0"));
}

TEST_F(Cause, OfWhatTheUsersLineBringsIsTheLine)
{
    {
        const sim::Tape::Scope line = tv.tape.Begin({.kind = sim::Kind::Line, .text = "power wake 95"});
        tv.power.WakesUp(95);
    }
    tv.tape.Note("the cat walks by");
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre("power wake 95 < nothing", "the set wakes up, reason 95 < power wake 95",
                            "the cat walks by < nothing"));
}

TEST_F(Cause, IsTheStartOfTheServiceWhereNothingElseIsHandled)
{
    device_power_subscribe_wakeup(
        [](int, void*) {
            Reboot();
            return 0;
        },
        nullptr);
    tv.power.WakesUp(95);
    tv.tape.Clear();
    tv.tape.CauseWhereNothingIsHandled(tv.tape.Record({.kind = sim::Kind::Life, .text = "it starts"}));
    Reboot();
    tv.tape.Note("the cat walks by");
    Drain();
    tv.tape.CauseWhereNothingIsHandled(sim::kNoEntry);
    Reboot();
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre("it starts < nothing", "device_power_request_reboot(1) = 0 < it starts",
                            "the cat walks by < it starts", "device_power_wakeup_cb(95) < gone",
                            "device_power_request_reboot(1) = 0 < device_power_wakeup_cb(95)",
                            "device_power_request_reboot(1) = 0 < nothing"));
}

TEST_F(Cause, OfALineOfTheKernelLogIsWhatWasHandledAsItWasWritten)
{
    device_power_subscribe_wakeup(
        [](int, void*) {
            __print_kernel_log("VYREL", "F", "inside");
            return 0;
        },
        nullptr);
    tv.tape.Clear();
    tv.power.WakesUp(95);
    Drain();
    __print_kernel_log("VYREL", "F", "outside");
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre("the set wakes up, reason 95 < nothing",
                            "device_power_wakeup_cb(95) < the set wakes up, reason 95",
                            "[VYREL][F]inside < device_power_wakeup_cb(95)", "[VYREL][F]outside < nothing"));
}

TEST_F(Cause, OfTheAnswerOfTheCollectorIsTheEvent)
{
    KPILogFramework::CLogger::GetInstance()->AddEventLogAsync(
        "25_remocon", "BATTERY", "EV005", "{}", [](int, void*) { Reboot(); }, nullptr);
    Drain();
    EXPECT_THAT(WhatAndWhy(tv.tape), ElementsAre("25_remocon BATTERY EV005 {} < nothing",
                                                 "device_power_request_reboot(1) = 0 < 25_remocon BATTERY EV005 {}"));
}

// Timers.

gboolean MakeAnother(gpointer)
{
    g_timeout_add(
        50,
        [](gpointer) {
            Reboot();
            return G_SOURCE_REMOVE;
        },
        nullptr);
    return G_SOURCE_REMOVE;
}

TEST_F(Cause, OfATimerThatFiresIsItsMaking)
{
    g_timeout_add(100, MakeAnother, nullptr);
    clock.Advance(1s);
    EXPECT_THAT(WhatAndWhy(tv.tape), ElementsAre("timer 1: 100 ms < nothing", "timer 1 fires < timer 1: 100 ms",
                                                 "timer 2: 50 ms < timer 1 fires", "timer 2 fires < timer 2: 50 ms",
                                                 "device_power_request_reboot(1) = 0 < timer 2 fires"));
}

TEST_F(Cause, OfEveryKindOfTimerThatFiresIsItsMaking)
{
    const auto stop = [](gpointer) -> gboolean { return G_SOURCE_REMOVE; };
    g_timeout_add_full(G_PRIORITY_DEFAULT, 100, stop, nullptr, nullptr);
    g_timeout_add_seconds(5, stop, nullptr);
    g_timeout_add_seconds_full(G_PRIORITY_DEFAULT, 10, stop, nullptr, nullptr);
    clock.Advance(20s);
    EXPECT_THAT(WhatAndWhy(tv.tape), ElementsAre("timer 1: 100 ms < nothing", "timer 2: 5 s < nothing",
                                                 "timer 3: 10 s < nothing", "timer 1 fires < timer 1: 100 ms",
                                                 "timer 2 fires < timer 2: 5 s", "timer 3 fires < timer 3: 10 s"));
}

TEST_F(Cause, IsToldOfEachTimeThatATimerFires)
{
    int left = 2;
    g_timeout_add(
        100, [](gpointer count) -> gboolean { return --*static_cast<int*>(count) > 0; }, &left);
    clock.Advance(1s);
    EXPECT_THAT(WhatAndWhy(tv.tape), ElementsAre("timer 1: 100 ms < nothing", "timer 1 fires < timer 1: 100 ms",
                                                 "timer 1 fires < timer 1: 100 ms"));
}

TEST_F(Cause, LeavesATimerItsDataByWhichItIsFound)
{
    int data = 0;
    g_timeout_add(
        100, [](gpointer count) -> gboolean { return ++*static_cast<int*>(count) < 0; }, &data);
    EXPECT_TRUE(g_source_remove_by_user_data(&data));
    clock.Advance(1s);
    EXPECT_EQ(data, 0);
}

TEST(CauseOfEarlier, ATimerOfAnEarlierTelevisionHasNoCauseOnTheNext)
{
    sim::VirtualClock clock;
    {
        const sim::Television earlier;
        g_timeout_add(
            100, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr);
    }
    const sim::Television tv;
    clock.Advance(1s);
    EXPECT_THAT(WhatAndWhy(tv.tape), ElementsAre("timer 1 fires < nothing"));
}

TEST(CauseOfEarlier, ATimerFiresAlsoWithoutATelevision)
{
    sim::VirtualClock clock;
    bool fired = false;
    {
        const sim::Television earlier;
        g_timeout_add(
            100,
            [](gpointer mark) -> gboolean {
                *static_cast<bool*>(mark) = true;
                return G_SOURCE_REMOVE;
            },
            &fired);
    }
    clock.Advance(1s);
    EXPECT_TRUE(fired);
}

// Settings.

void OnChange(keynode_t*, void*)
{
    Reboot();
}

void OnChangeToo(keynode_t*, void*) {}

TEST_F(Cause, OfANoticeIsTheWriteThatItTellsOf)
{
    vconf_notify_key_changed(kKey, OnChange, nullptr);
    tv.tape.Clear();
    vconf_set_int(kKey, 1);
    tv.settings.Writes(kKey, 2);
    vconf_set_int_async(kKey, 1, nullptr, nullptr);
    clock.Advance(1s);
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre(R"(vconf_set_int("memory/vyrel/key", 1) = 0 < nothing)",
                            "somebody writes memory/vyrel/key = 2 < nothing",
                            R"(vconf_set_int_async("memory/vyrel/key", 1) = 0 < nothing)",
                            R"(setting memory/vyrel/key = 1 < vconf_set_int("memory/vyrel/key", 1) = 0)",
                            "device_power_request_reboot(1) = 0 < setting memory/vyrel/key = 1",
                            "setting memory/vyrel/key = 2 < somebody writes memory/vyrel/key = 2",
                            "device_power_request_reboot(1) = 0 < setting memory/vyrel/key = 2",
                            R"(setting memory/vyrel/key = 1 < vconf_set_int_async("memory/vyrel/key", 1) = 0)",
                            "device_power_request_reboot(1) = 0 < setting memory/vyrel/key = 1"));
}

TEST_F(Cause, OfTheNoticesOfTwoWatchesIsTheSameWrite)
{
    vconf_notify_key_changed(kKey, OnChangeToo, nullptr);
    vconf_notify_key_changed(kKey, OnChange, nullptr);
    tv.tape.Clear();
    vconf_set_str(kKey, "a");
    clock.Advance(1s);
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre(R"(vconf_set_str("memory/vyrel/key", "a") = 0 < nothing)",
                            R"(setting memory/vyrel/key = "a" < vconf_set_str("memory/vyrel/key", "a") = 0)",
                            R"(setting memory/vyrel/key = "a" < vconf_set_str("memory/vyrel/key", "a") = 0)",
                            R"(device_power_request_reboot(1) = 0 < setting memory/vyrel/key = "a")"));
}

TEST_F(Cause, OfANoticeOfAnotherProgramsWriteIsNone)
{
    vconf_set_bool(kKey, 1); // before the watch, so it is not told
    vconf_notify_key_changed(kKey, OnChangeToo, nullptr);
    tv.tape.Clear();
    settings::Store(settings::FoldersUnder(tv.Root())).Set(kKey, settings::Value(true));
    clock.Advance(1s);
    EXPECT_THAT(WhatAndWhy(tv.tape), ElementsAre("setting memory/vyrel/key = true < nothing"));
}

TEST_F(Cause, LeavesAWatchAsItWas)
{
    static int told = 0;
    const vconf_callback_fn count = [](keynode_t* node, void* step) {
        told += *static_cast<int*>(step) * vconf_keynode_get_int(node);
    };
    int one = 1;
    int ten = 10;
    EXPECT_EQ(vconf_notify_key_changed(kKey, count, &one), 0);
    EXPECT_EQ(vconf_notify_key_changed(kKey, count, &ten), 0); // the same function: only its data is new
    vconf_set_int(kKey, 3);
    clock.Advance(1s);
    EXPECT_EQ(told, 30);
    EXPECT_EQ(vconf_ignore_key_changed(kKey, OnChange), -1);
    EXPECT_EQ(vconf_ignore_key_changed(kKey, count), 0);
    EXPECT_EQ(vconf_notify_key_changed(kKey, nullptr, nullptr), -1);
    vconf_set_int(kKey, 3);
    clock.Advance(1s);
    EXPECT_EQ(told, 30);
}

// The bus.

class CauseOnTheBus : public ::testing::Test
{
protected:
    using Message = Util::MessagePtr;

    static Message NewCall(const char* name = kManager)
    {
        return Message(g_dbus_message_new_method_call(name, "/a", "a.b", "Method"));
    }

    Message Ask(GDBusMessage* message) const
    {
        return Message(g_dbus_connection_send_message_with_reply_sync(
            connection.get(), message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, 5000, nullptr, nullptr, nullptr));
    }

    support::PrivateBus bus;
    sim::Television tv;
    support::Peer manager{kManager};
    std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>> connection{
        g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)};
};

void OnReply(GObject* source, GAsyncResult* result, gpointer error)
{
    const Util::MessagePtr reply(g_dbus_connection_send_message_with_reply_finish(G_DBUS_CONNECTION(source), result,
                                                                                  static_cast<GError**>(error)));
    if (reply) {
        Reboot();
    }
}

TEST_F(CauseOnTheBus, OfAReplyIsItsRequest)
{
    manager.Answers("Method", g_variant_new("(i)", 7));
    g_dbus_connection_send_message_with_reply(connection.get(), NewCall().get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, 5000,
                                              nullptr, nullptr, OnReply, nullptr);
    tv.tape.Note("the cat walks by");
    support::Settle({&manager});
    const std::string name(kManager);
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre("request " + name + " Method < nothing", "the cat walks by < nothing",
                            "reply " + name + " Method (i) (7,) < request " + name + " Method",
                            "device_power_request_reboot(1) = 0 < reply " + name + " Method (i) (7,)"));
}

TEST_F(CauseOnTheBus, OfARequestWithoutAReplyTheServiceStillGetsTheError)
{
    manager.Stalls("Method");
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    GError* error = nullptr;
    g_dbus_connection_send_message_with_reply(connection.get(), NewCall().get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, 5000,
                                              nullptr, nullptr, OnReply, &error);
    bus.Dies();
    ASSERT_TRUE(support::IterateUntil([&] { return error != nullptr; }));
    EXPECT_EQ(error->domain, G_IO_ERROR);
    const std::vector<std::string> lines = WhatAndWhy(tv.tape);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines.back(), "no reply com.quorix.tv.bt.connectionmanager Method: " + std::string(error->message) +
                                " < request com.quorix.tv.bt.connectionmanager Method");
    g_error_free(error);
}

TEST_F(CauseOnTheBus, OfTheAnswerThatIsWaitedForIsTheQuestion)
{
    manager.Answers("Method", g_variant_new("(s)", "yes"));
    EXPECT_NE(Ask(NewCall().get()), nullptr);
    Reboot();
    manager.AnswersWithError("Method", "a.b.Error", "no");
    EXPECT_NE(Ask(NewCall().get()), nullptr);
    const std::string question = "ask com.quorix.tv.bt.connectionmanager Method";
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre(question + " < nothing",
                            "reply com.quorix.tv.bt.connectionmanager Method (s) ('yes',) < " + question,
                            "device_power_request_reboot(1) = 0 < nothing", question + " < nothing",
                            "error com.quorix.tv.bt.connectionmanager Method: a.b.Error (s) ('no',) < " + question));
}

TEST_F(CauseOnTheBus, ASignalThatComesIsTheCauseOfWhatIsDoneAboutIt)
{
    bool freed = false;
    const guint listener = g_dbus_connection_signal_subscribe(
        connection.get(), nullptr, "a.b", nullptr, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant*, gpointer) { Reboot(); },
        &freed, [](gpointer mark) { *static_cast<bool*>(mark) = true; });
    support::Settle({&manager});
    manager.Emits("/a", "a.b", "Came", g_variant_new("(i)", 51));
    support::Settle({&manager});
    EXPECT_THAT(WhatAndWhy(tv.tape),
                ElementsAre("signal from a.b Came (i) (51,) < nothing",
                            "device_power_request_reboot(1) = 0 < signal from a.b Came (i) (51,)"));
    g_dbus_connection_signal_unsubscribe(connection.get(), listener);
    Drain();
    EXPECT_TRUE(freed);
}

TEST_F(CauseOnTheBus, EachPartOfAMessageStandsByItself)
{
    const Message call = NewCall();
    g_dbus_message_set_body(call.get(), g_variant_new("(si)", "a", 1));
    g_dbus_connection_send_message(connection.get(), call.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
    g_dbus_connection_emit_signal(connection.get(), nullptr, "/c", "c.d", "Shown", nullptr, nullptr);
    const std::vector<sim::Entry> entries = tv.tape.Entries();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].how, "call");
    EXPECT_EQ(entries[0].destination, kManager);
    EXPECT_EQ(entries[0].path, "/a");
    EXPECT_EQ(entries[0].interface, "a.b");
    EXPECT_EQ(entries[0].member, "Method");
    EXPECT_EQ(entries[0].signature, "(si)");
    EXPECT_EQ(entries[0].body, "('a', 1)");
    EXPECT_EQ(entries[1].text, "signal everybody Shown");
    EXPECT_EQ(entries[1].how, "signal");
    EXPECT_EQ(entries[1].destination, "");
    EXPECT_EQ(entries[1].body, "");
}

} // namespace
