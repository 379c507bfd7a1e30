// Settings that others write and the remotes hear of.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_error.h>
#include <vconf.h>

#include <chrono>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

// The watches pass through here on their way to the platform, so that a test can call them as the platform would.
// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the linker makes these names.
extern "C" {
int __real_vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* userData);
int __wrap_vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* userData);
}

namespace {

std::map<std::string, vconf_callback_fn> watches;

} // namespace

int __wrap_vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* userData)
{
    watches[key] = callback;
    return __real_vconf_notify_key_changed(key, callback, userData);
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

namespace {

class SettingWatchersTest : public RemotesTest
{
protected:
    void StartsWith(bool remote, bool wheel)
    {
        Starts();
        if (remote) {
            RemoteConnects();
        }
        if (wheel) {
            WheelConnects();
        }
        Passes(12s); // the IR key code is through
        tv.tape.Clear();
    }
    std::vector<std::string> Commands()
    {
        return Deeds("bt_hid_send_device_command");
    }
    static std::string Registered(const char* address, int result = 0)
    {
        return std::string("bt_adapter_register_headless_device(\"") + address + "\") = " + std::to_string(result);
    }
};

// --- Use mode ---

TEST_F(SettingWatchersTest, OnANormalSetTheUseModeGoesToTheSmartRemote)
{
    StartsWith(true, true);
    Writes(kUseMode, 1);
    EXPECT_THAT(Deeds(), ElementsAre(Command(kRemote, 0x11, 0x06), Registered(kRemote)));
    EXPECT_THAT(Said("OnUseModeChanged"), ElementsAre("I Normal TV"));
    tv.tape.Clear();
    Writes(kUseMode, 2);
    EXPECT_THAT(Deeds(), ElementsAre(Command(kRemote, 0x11, 0x07), Registered(kRemote)));
    tv.tape.Clear();
    Writes(kUseMode, 0);
    EXPECT_THAT(Deeds(), ElementsAre(Command(kRemote, 0x11, 0x07)));
    Passes(10s);
    EXPECT_THAT(Commands(), SizeIs(1));
}

TEST_F(SettingWatchersTest, ANormalSetRegistersAHeadlessDeviceEvenWithoutARemote)
{
    StartsWith(false, true);
    Writes(kUseMode, 1);
    EXPECT_THAT(Deeds(), ElementsAre(Registered("", BT_ERROR_INVALID_PARAMETER)));
    tv.tape.Clear();
    Writes(kUseMode, 0);
    EXPECT_THAT(Deeds(), IsEmpty());
}

TEST_F(SettingWatchersTest, OnAHalvoMonitorTheUseModeGoesToTheWheelAndTheRemoteIsToldOffLater)
{
    IsHalvoMonitor();
    StartsWith(true, true);
    Writes(kUseMode, 1);
    EXPECT_THAT(Deeds(), ElementsAre(Command(kWheel, 0x11, 0x06)));
    EXPECT_THAT(Said("OnUseModeChanged"), ElementsAre("I PellionHalvo"));
    EXPECT_THAT(tv.tape.Timers(), ElementsAre(testing::EndsWith(": 5 s")));
    Passes(3s);
    EXPECT_THAT(Commands(), SizeIs(1));
    Passes(4s);
    EXPECT_THAT(Commands(), ElementsAre(Command(kWheel, 0x11, 0x06), Command(kRemote, 0x11, 0x07)));
    Passes(30s);
    EXPECT_THAT(Commands(), SizeIs(2));
}

TEST_F(SettingWatchersTest, TwoUseModesInARowLeaveOnePendingTimer)
{
    IsHalvoMonitor();
    StartsWith(true, false);
    Writes(kUseMode, 1);
    Passes(3s);
    Writes(kUseMode, 0);
    Passes(3s);
    EXPECT_THAT(Commands(), IsEmpty());
    Passes(30s);
    EXPECT_THAT(Commands(), ElementsAre(Command(kRemote, 0x11, 0x07)));
    // The timer is over: its id must not be removed once more, GLib would complain.
    Writes(kUseMode, 1);
    Passes(30s);
    EXPECT_THAT(Commands(), SizeIs(2));
    remotes->Deinit();
}

TEST_F(SettingWatchersTest, ARemoteThatIsGoneByThenIsToldNothing)
{
    IsHalvoMonitor();
    StartsWith(true, true);
    Writes(kUseMode, 1);
    RemoteGoes();
    WheelGoes();
    tv.tape.Clear();
    Passes(10s);
    EXPECT_THAT(Commands(), IsEmpty());
    Writes(kUseMode, 1);
    EXPECT_THAT(Commands(), IsEmpty());
}

TEST_F(SettingWatchersTest, AUseModeOfAnotherTypeCountsAsZero)
{
    StartsWith(true, false);
    Writes(kUseMode, "1");
    EXPECT_THAT(Deeds(), ElementsAre(Command(kRemote, 0x11, 0x07)));
    tv.tape.Clear();
    remotes->OnUseModeChanged(nullptr);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E keyNode is null"));
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
}

TEST_F(SettingWatchersTest, ShopModeIsAnyUseModeButZero)
{
    EXPECT_FALSE(remotes->IsShopMode());
    for (const int mode : {1, 2, -1}) {
        tv.settings.Writes(kUseMode, mode);
        EXPECT_TRUE(remotes->IsShopMode()) << mode;
    }
    tv.settings.Writes(kUseMode, 0);
    EXPECT_FALSE(remotes->IsShopMode());
    tv.settings.Writes(kUseMode, "1");
    EXPECT_FALSE(remotes->IsShopMode());
}

// --- Factory and service ---

TEST_F(SettingWatchersTest, TheFactoryModeSetsNoLatencyWithOneOnly)
{
    StartsWith(true, true);
    for (const int mode : {0, 2, -1}) {
        Writes(kFactoryMode, mode);
    }
    Writes(kFactoryMode, "1");
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    Writes(kFactoryMode, 1);
    EXPECT_THAT(Deeds("bt_hid_set"), ElementsAre(NoLatency(kRemote), NoLatency(kWheel)));
    EXPECT_THAT(Said("OnFactoryLaunched"), ElementsAre("I factory launch case"));
}

TEST_F(SettingWatchersTest, TheServiceResetSetsNoLatencyWithZeroOnly)
{
    StartsWith(true, true);
    for (const int mode : {1, 2, -1}) {
        Writes(kServiceReset, mode);
    }
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    Writes(kServiceReset, 0);
    EXPECT_THAT(Deeds("bt_hid_set"), ElementsAre(NoLatency(kRemote), NoLatency(kWheel)));
    EXPECT_THAT(Said("OnServiceReset"), ElementsAre("I service reset case"));
}

TEST_F(SettingWatchersTest, WithoutNodeAndUserDataTheLogNamesTheUserData)
{
    StartsWith(true, false);
    watches.at(kFactoryMode)(nullptr, nullptr);
    watches.at(kServiceReset)(nullptr, nullptr);

    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E userData is NULL", "E userData is NULL"));
}

TEST_F(SettingWatchersTest, AMissingNodeIsNeitherTheFactoryModeNorAServiceReset)
{
    StartsWith(true, false);
    tv.Fails("vconf_keynode_get_int", 1); // what a platform makes of a missing node is its own affair
    watches.at(kFactoryMode)(nullptr, remotes.get());
    tv.Fails("vconf_keynode_get_int", 0);
    watches.at(kServiceReset)(nullptr, remotes.get());

    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E keyNode is null", "E keyNode is null"));
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
}

TEST_F(SettingWatchersTest, EveryWriteIsHeardOnce)
{
    StartsWith(true, false);
    Writes(kFactoryMode, 1);
    Writes(kFactoryMode, 1);
    EXPECT_THAT(Deeds("bt_hid_set"), SizeIs(2));
}

// --- The first screen ---

class FirstScreenTest : public SettingWatchersTest
{
protected:
    std::vector<std::string> Queries()
    {
        return Deeds("bt_hid_send_rc_command");
    }
};

TEST_F(FirstScreenTest, BothRemotesAreAskedTheWheelALittleLater)
{
    StartsWith(true, true);
    Writes(kFirstScreen, 1);
    EXPECT_THAT(Queries(), ElementsAre(RcCommand(kRemote, "01 00 00")));
    EXPECT_THAT(Said("OnFirstScreenStateChagned"), ElementsAre("I Both device connected"));
    Passes(1s);
    EXPECT_THAT(Queries(), ElementsAre(RcCommand(kRemote, "01 00 00"), RcCommand(kWheel, "01 00 00")));
}

TEST_F(FirstScreenTest, OneRemoteAloneIsAskedAtOnce)
{
    StartsWith(true, false);
    Writes(kFirstScreen, 1);
    EXPECT_THAT(Queries(), ElementsAre(RcCommand(kRemote, "01 00 00")));
    EXPECT_THAT(Said("OnFirstScreenStateChagned"), ElementsAre("I only smart rc connected"));
    RemoteGoes();
    WheelConnects();
    tv.tape.Clear();
    Writes(kFirstScreen, 1);
    EXPECT_THAT(Queries(), ElementsAre(RcCommand(kWheel, "01 00 00")));
    EXPECT_THAT(Said("OnFirstScreenStateChagned"), ElementsAre("I only halvo wheel connected"));
    Passes(1s);
    EXPECT_THAT(Queries(), SizeIs(1));
}

TEST_F(FirstScreenTest, OnlyTheValueOneActs)
{
    StartsWith(true, true);
    for (const int state : {0, 2, -1}) {
        Writes(kFirstScreen, state);
    }
    Writes(kFirstScreen, "1");
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    remotes->OnFirstScreenStateChagned(nullptr);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E keyNode is null"));
}

TEST_F(FirstScreenTest, NobodyWatchesBeforeTheFirstConnection)
{
    Starts();
    Writes(kFirstScreen, 1);
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
}

TEST_F(FirstScreenTest, TheWatchOutlivesTheRemotesAndStaysOne)
{
    StartsWith(true, true);
    RemoteGoes();
    WheelGoes();
    tv.tape.Clear();
    Writes(kFirstScreen, 1);
    EXPECT_THAT(Deeds("bt_hid_get_halvo_switch_connection_state"), SizeIs(1)); // heard, and there is nobody to ask
    EXPECT_THAT(Queries(), IsEmpty());
    EXPECT_THAT(Said("OnFirstScreenStateChagned"), IsEmpty());
    for (int time = 0; time < 5; ++time) {
        RemoteConnects();
        RemoteGoes();
    }
    RemoteConnects();
    tv.tape.Clear();
    Writes(kFirstScreen, 1);
    EXPECT_THAT(Queries(), SizeIs(1)); // one delivery for all registrations
}

TEST_F(FirstScreenTest, AnUnwatchEndsNothing)
{
    Starts();
    remotes->SetFirstScreenCallback();
    tv.tape.Clear();
    remotes->UnSetFirstScreenCallback();
    EXPECT_THAT(Deeds(), ElementsAre(std::string("vconf_ignore_key_changed(\"") + kFirstScreen + "\") = -1"));
    tv.tape.Clear();
    Writes(kFirstScreen, 1);
    EXPECT_THAT(Deeds("bt_hid_get_smart_remote_conn_status"), SizeIs(1));
}

TEST_F(FirstScreenTest, WhileARemoteIsThereNothingIsUnwatched)
{
    StartsWith(false, true);
    remotes->UnSetFirstScreenCallback();
    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I Connected remote device is exist"));
}

} // namespace
