// Settings that others write, and the siblings that hear of them.

#include "DbusClient/DbusClient.h"
#include "VconfChangedHandler/VconfChangedHandler.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/MainLoop.h"
#include "support/Message.h"
#include "support/MessageMatchers.h"
#include "support/PrivateBus.h"
#include "support/Settle.h"
#include "support/Siblings.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vconf.h>

#include <memory>
#include <string>
#include <vector>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

// The forwarders pass through here on their way to the platform, so that a test can call them as the platform would.
// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the linker makes these names.
extern "C" {
int __real_vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* userData);
int __wrap_vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* userData);
int __real_vconf_ignore_key_changed(const char* key, vconf_callback_fn callback);
int __wrap_vconf_ignore_key_changed(const char* key, vconf_callback_fn callback);
}

namespace {

std::vector<vconf_callback_fn> forwardersOfInit;
std::vector<vconf_callback_fn> forwardersOfDeinit;

} // namespace

int __wrap_vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* userData)
{
    forwardersOfInit.push_back(callback);
    return __real_vconf_notify_key_changed(key, callback, userData);
}

int __wrap_vconf_ignore_key_changed(const char* key, vconf_callback_fn callback)
{
    forwardersOfDeinit.push_back(callback);
    return __real_vconf_ignore_key_changed(key, callback);
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

namespace {

constexpr const char* kMobileListKey = "db/org.vantor.bleapp/added_mobile_keylist";
constexpr const char* kDeviceListKey = "db/vyrel/musictv_paired1";
constexpr const char* kMultiOutputKey = "db/vyrel/audio_multi_output_on_off";
constexpr const char* kShiftKey = "memory/iot/thing/accessory/operation";
constexpr const char* kConnectingKey = "memory/vyrel/last_btspk_connecting_status";

class SettingWatchers : public ::testing::Test
{
protected:
    SettingWatchers()
    {
        forwardersOfInit.clear();
        handler.Init(dbus);
    }

    support::PrivateBus bus;
    sim::Television tv;
    support::ConnectionManager manager;
    support::ConnectionShift shift;
    std::shared_ptr<CDbusClient> dbus = std::make_shared<CDbusClient>();
    CVconfChangedHandler handler;
};

TEST_F(SettingWatchers, InitWatchesFiveKeysInOrder)
{
    EXPECT_THAT(tv.tape.Calls(),
                ElementsAre(R"(vconf_notify_key_changed("db/org.vantor.bleapp/added_mobile_keylist") = 0)",
                            R"(vconf_notify_key_changed("db/vyrel/musictv_paired1") = 0)",
                            R"(vconf_notify_key_changed("db/vyrel/audio_multi_output_on_off") = 0)",
                            R"(vconf_notify_key_changed("memory/iot/thing/accessory/operation") = 0)",
                            R"(vconf_notify_key_changed("memory/vyrel/last_btspk_connecting_status") = 0)"));
}

TEST_F(SettingWatchers, DeinitNamesFunctionsThatWereNeverRegisteredSoTheWatchesGoOn)
{
    tv.tape.Clear();
    forwardersOfDeinit.clear();
    handler.Deinit();

    EXPECT_THAT(tv.tape.Calls(),
                ElementsAre(R"(vconf_ignore_key_changed("db/org.vantor.bleapp/added_mobile_keylist") = -1)",
                            R"(vconf_ignore_key_changed("db/vyrel/musictv_paired1") = -1)",
                            R"(vconf_ignore_key_changed("db/vyrel/audio_multi_output_on_off") = -1)",
                            R"(vconf_ignore_key_changed("memory/iot/thing/accessory/operation") = -1)",
                            R"(vconf_ignore_key_changed("memory/vyrel/last_btspk_connecting_status") = -1)"));

    tv.settings.Writes(kMultiOutputKey, 1);
    EXPECT_TRUE(manager.WaitForMessages(1));
}

TEST_F(SettingWatchers, TheMultiOutputSwitchIsToldToTheConnectionManager)
{
    tv.settings.Writes(kMultiOutputKey, 1);
    ASSERT_TRUE(manager.WaitForMessages(1));

    EXPECT_THAT(manager.Messages(), ElementsAre(support::Message{.kind = support::Message::Kind::Call,
                                                                 .destination = "com.quorix.tv.bt.connectionmanager",
                                                                 .path = "/com/quorix/tv/bt/connectionmanager",
                                                                 .interface = "com.quorix.tv.bt.connectionmanager",
                                                                 .member = "AudioMultiOutputChanged",
                                                                 .signature = "(i)",
                                                                 .body = "(1,)"}));
}

TEST_F(SettingWatchers, TheAccessoryOperationIsToldToTheConnectionShift)
{
    tv.settings.Writes(kShiftKey, "connect:AA:BB:CC:DD:EE:FF 100%s");
    ASSERT_TRUE(shift.WaitForMessages(1));

    EXPECT_THAT(shift.Messages(), ElementsAre(support::Message{.kind = support::Message::Kind::Call,
                                                               .destination = "com.quorix.tv.bt.connectionshift",
                                                               .path = "/com/quorix/tv/bt/connectionshift",
                                                               .interface = "com.quorix.tv.bt.connectionshift",
                                                               .member = "ConnectionShiftControl",
                                                               .signature = "(s)",
                                                               .body = "('connect:AA:BB:CC:DD:EE:FF 100%s',)"}));
    EXPECT_THAT(manager.Messages(), IsEmpty());
}

TEST_F(SettingWatchers, TheConnectingStatusOfTheLastSpeakerIsToldToTheConnectionManager)
{
    tv.settings.Writes(kConnectingKey, -3);
    ASSERT_TRUE(manager.WaitForMessages(1));

    EXPECT_THAT(manager.Messages(), ElementsAre(support::Message{.kind = support::Message::Kind::Call,
                                                                 .destination = "com.quorix.tv.bt.connectionmanager",
                                                                 .path = "/com/quorix/tv/bt/connectionmanager",
                                                                 .interface = "com.quorix.tv.bt.connectionmanager",
                                                                 .member = "LastBtSpkConnectingStatusVconfChanged",
                                                                 .signature = "(i)",
                                                                 .body = "(-3,)"}));
}

TEST_F(SettingWatchers, EachCallWaitsFiveSecondsAtMost)
{
    tv.settings.Writes(kMultiOutputKey, 1);
    tv.settings.Writes(kConnectingKey, 2);
    ASSERT_TRUE(manager.WaitForMessages(2));
    tv.settings.Writes(kShiftKey, "x");
    ASSERT_TRUE(shift.WaitForMessages(1));

    int asked = 0;
    for (const sim::Entry& entry : tv.tape.Entries()) {
        if (entry.kind == sim::Kind::Bus) {
            EXPECT_TRUE(entry.text.starts_with("ask ")) << entry.text;
            EXPECT_EQ(entry.timeout, 5000) << entry.text;
            ++asked;
        }
    }
    EXPECT_EQ(asked, 3);
}

TEST_F(SettingWatchers, TheTwoListsAreWatchedAndTellNobody)
{
    tv.settings.Writes(kMobileListKey, "list");
    tv.settings.Writes(kDeviceListKey, "AA:BB:CC:DD:EE:FF");
    tv.settings.Writes(kMultiOutputKey, 0);
    ASSERT_TRUE(manager.WaitForMessages(1));

    EXPECT_THAT(manager.Messages(), ElementsAre(support::Call("AudioMultiOutputChanged", "(i)", "(0,)")));
    EXPECT_THAT(shift.Messages(), IsEmpty());
    EXPECT_EQ(tv.tape.Bus().size(), 1U);
}

TEST_F(SettingWatchers, AKeyOfAnotherNameTellsNobody)
{
    tv.settings.Writes("memory/iot/thing/accessory/reasoncode", "x");
    tv.settings.Writes(kMultiOutputKey, 0);
    ASSERT_TRUE(manager.WaitForMessages(1));
    EXPECT_THAT(shift.Messages(), IsEmpty());
    EXPECT_EQ(manager.Messages().size(), 1U);
}

TEST_F(SettingWatchers, EveryWriteIsToldAlsoOfTheSameText)
{
    tv.settings.Writes(kShiftKey, "connect");
    tv.settings.Writes(kShiftKey, "connect");
    ASSERT_TRUE(shift.WaitForMessages(2));
    shift.Synchronize();

    EXPECT_THAT(shift.Messages(), ElementsAre(support::Call("ConnectionShiftControl", "(s)", "('connect',)"),
                                              support::Call("ConnectionShiftControl", "(s)", "('connect',)")));
}

TEST_F(SettingWatchers, HundredsOfWritesAreToldInOrderEachWithItsOwnValue)
{
    constexpr int kWrites = 300;
    std::vector<std::string> bodies;
    for (int value = 0; value < kWrites; ++value) {
        tv.settings.Writes(kMultiOutputKey, value);
        bodies.push_back("(" + std::to_string(value) + ",)");
    }
    ASSERT_TRUE(manager.WaitForMessages(kWrites));

    std::vector<std::string> received;
    for (const support::Message& message : manager.Messages()) {
        received.push_back(message.body);
    }
    EXPECT_EQ(received, bodies);
}

TEST_F(SettingWatchers, AValueOfAnotherTypeCountsAsNone)
{
    tv.settings.Writes(kMultiOutputKey, "on");
    ASSERT_TRUE(manager.WaitForMessages(1));
    EXPECT_THAT(manager.Messages(), ElementsAre(support::Call("AudioMultiOutputChanged", "(i)", "(0,)")));

    tv.settings.Writes(kShiftKey, 7);
    ASSERT_TRUE(shift.WaitForMessages(1));
    EXPECT_THAT(shift.Messages(), ElementsAre(support::Call("ConnectionShiftControl", "(s)", "('',)")));
}

TEST_F(SettingWatchers, ATextThatIsNotUtf8IsMadeSo)
{
    tv.settings.Writes(kShiftKey, "a\xff"
                                  "b");
    ASSERT_TRUE(shift.WaitForMessages(1));
    EXPECT_THAT(shift.Messages(), ElementsAre(support::Call("ConnectionShiftControl", "(s)", "('a\uFFFDb',)")));
}

TEST_F(SettingWatchers, ATextThatThePlatformCannotGiveIsEmpty)
{
    tv.Fails("vconf_keynode_get_str", -1);
    tv.settings.Writes(kShiftKey, "connect");
    ASSERT_TRUE(shift.WaitForMessages(1));
    EXPECT_THAT(shift.Messages(), ElementsAre(support::Call("ConnectionShiftControl", "(s)", "('',)")));
}

TEST_F(SettingWatchers, ASiblingThatIsAwayOrAnswersBadlyDoesNotStopTheNextWrite)
{
    shift.Vanishes();
    tv.settings.Writes(kShiftKey, "nobody hears");
    manager.AnswersWithError("AudioMultiOutputChanged", "org.freedesktop.DBus.Error.Failed", "no");
    tv.settings.Writes(kMultiOutputKey, 1);
    manager.Answers("LastBtSpkConnectingStatusVconfChanged", g_variant_new("(s)", "another type"));
    tv.settings.Writes(kConnectingKey, 2);
    tv.settings.Writes(kMultiOutputKey, 3);
    ASSERT_TRUE(manager.WaitForMessages(3));

    EXPECT_THAT(manager.Messages(), ElementsAre(support::Call("AudioMultiOutputChanged", "(i)", "(1,)"),
                                                support::Call("LastBtSpkConnectingStatusVconfChanged", "(i)", "(2,)"),
                                                support::Call("AudioMultiOutputChanged", "(i)", "(3,)")));
    EXPECT_EQ(tv.tape.Bus().size(), 4U); // nothing is sent again
}

TEST_F(SettingWatchers, AMissingNodeIsDropped)
{
    tv.tape.Clear();
    handler.OnAutoOnOffMobileListVconfKeyChanged(nullptr);
    handler.OnSMDeviceListVconfKeyChanged(nullptr);
    EXPECT_THAT(tv.tape.Messages(), IsEmpty());

    handler.OnAudioMultiOutputChanged(nullptr);
    handler.OnConnectionShiftControlChanged(nullptr);
    handler.OnLastBtspkConnectingStatusVconfChanged(nullptr);
    EXPECT_EQ(tv.tape.Messages(), std::vector<std::string>(3, "E keyNode is NULL"));
    EXPECT_THAT(tv.tape.Bus(), IsEmpty());
}

TEST_F(SettingWatchers, ANoticeForNobodyIsDropped)
{
    handler.Deinit();
    tv.tape.Clear();
    ASSERT_EQ(forwardersOfInit.size(), 5U);
    ASSERT_GE(forwardersOfDeinit.size(), 5U);
    for (const vconf_callback_fn forwarder : forwardersOfInit) {
        forwarder(nullptr, nullptr);
    }
    EXPECT_EQ(tv.tape.Messages(), std::vector<std::string>(5, "E userData is NULL"));
    EXPECT_THAT(tv.tape.Bus(), IsEmpty());
}

TEST_F(SettingWatchers, ANoticeThatComesWhenTheHandlerIsGoneIsDropped)
{
    auto another = std::make_unique<CVconfChangedHandler>();
    another->Init(dbus);
    another->Deinit();
    CVconfChangedHandler* const gone = another.get();
    another.reset();
    tv.tape.Clear();
    for (const vconf_callback_fn forwarder : forwardersOfInit) {
        forwarder(nullptr, gone);
    }
    EXPECT_EQ(tv.tape.Messages(), std::vector<std::string>(forwardersOfInit.size(), "E userData is NULL"));
    EXPECT_THAT(tv.tape.Bus(), IsEmpty());
    handler.Init(dbus); // the store has one receiver for each function, and it is to be a living one again
}

TEST_F(SettingWatchers, TheFunctionsThatDeinitNamesDoTheSameAndAreOthers)
{
    forwardersOfDeinit.clear();
    handler.Deinit();
    ASSERT_EQ(forwardersOfDeinit.size(), 5U);
    tv.tape.Clear();
    for (const vconf_callback_fn forwarder : forwardersOfDeinit) {
        EXPECT_THAT(forwardersOfInit, Not(Contains(forwarder)));
        forwarder(nullptr, &handler);
    }
    // Three of the five look at their node.
    EXPECT_EQ(tv.tape.Messages(), std::vector<std::string>(3, "E keyNode is NULL"));
}

TEST_F(SettingWatchers, WithoutABusClientNothingIsSent)
{
    tv.ServiceHasStopped();
    CVconfChangedHandler alone;
    alone.Init(nullptr);
    tv.settings.Writes(kMultiOutputKey, 1);
    tv.settings.Writes(kShiftKey, "x");
    tv.settings.Writes(kConnectingKey, 1);
    bool isHeard = false;
    ASSERT_EQ(vconf_notify_key_changed(
                  "memory/last", [](keynode_t*, void* heard) { *static_cast<bool*>(heard) = true; }, &isHeard),
              0);
    tv.settings.Writes("memory/last", 1);
    ASSERT_TRUE(support::IterateUntil([&] { return isHeard; }));

    EXPECT_THAT(tv.tape.Bus(), IsEmpty());
    EXPECT_THAT(manager.Messages(), IsEmpty());
    tv.ServiceHasStopped();
}

} // namespace
