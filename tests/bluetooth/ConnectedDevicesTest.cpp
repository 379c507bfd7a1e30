#include "Bluetooth/BluetoothEventHandler.h"
#include "bluetooth/BluetoothTest.h"
#include "sim/Devices.h"
#include "sim/Power.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/Siblings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_device.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr const char* kLastRoute = "db/vyrel/lastSoundRoute";
constexpr const char* kPendingReset = "db/vyrel/reset";

constexpr const char* kCheckConnectedDevice = "connectionmanager.CheckConnectedDevice";
constexpr const char* kLastSpeaker = "connectionmanager.LastConnectedBtSpk";

class ConnectedDevices : public BluetoothTest
{
protected:
    void StartsWithLastRoute(int route)
    {
        tv.settings.Writes(kLastRoute, route);
        StartsAndSettles();
        Forget();
    }

    /// Whether the television woke up over Bluetooth, seen from an adapter that comes up.
    bool IsWoken(int reason, int state)
    {
        tv.power.wakeUpReason = reason;
        tv.power.state = state;
        tv.tape.Clear();
        return CBluetoothEventHandler().isBtWakeUpReasonAndPowerState();
    }
};

} // namespace

// --- At the start ---

TEST_F(ConnectedDevices, WithoutAnyAtTheStartNothingIsSent)
{
    Starts();

    EXPECT_THAT(Calls("bt_audio_get_connected_info"),
                ElementsAre(HasSubstr("bt_audio_get_connected_info(2"), HasSubstr("bt_audio_get_connected_info(1")));
    EXPECT_THAT(Logs(), Contains("I a2dp source is not connected"));
    EXPECT_THAT(Logs(), Not(Contains(HasSubstr("HFP connected"))));
    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Calls("bt_audio_disconnect"), IsEmpty());
}

TEST_F(ConnectedDevices, ASpeakerAtTheStartIsChecked)
{
    HasAudio(2, kSpeaker);
    Starts();

    EXPECT_THAT(Received(), ElementsAre(kCheckConnectedDevice));
    EXPECT_THAT(Logs(), Contains("I a2dp source connected"));
}

TEST_F(ConnectedDevices, ASpeakerAndAHandsFreeDeviceAtTheStartStartTheAgent)
{
    HasAudio(2, kSpeaker);
    HasAudio(1, kPhone);
    Starts();

    EXPECT_THAT(Received(), testing::UnorderedElementsAre(kCheckConnectedDevice,
                                                          "hfpAgent.StartDaemon (s) ('AA:00:00:00:00:02',)"));
    for (const sim::Entry& entry : tv.tape.Entries()) {
        if (entry.kind == sim::Kind::Bus && entry.text.find("StartDaemon") != std::string::npos) {
            EXPECT_EQ(entry.timeout, 1000) << "the agent is waited for, and only shortly";
        }
    }
    EXPECT_THAT(Between("I a2dp source connected", "I HFP connected, AA:00:00:00:00:02"),
                Contains(HasSubstr("method = CheckConnectedDevice")));
    EXPECT_THAT(Between("I HFP connected, AA:00:00:00:00:02", "StartDaemon"), Not(IsEmpty()));
    EXPECT_THAT(Calls("bt_audio_disconnect"), IsEmpty());
}

TEST_F(ConnectedDevices, AHandsFreeDeviceAloneAtTheStartIsDisconnected)
{
    HasAudio(1, kPhone);
    Starts();

    EXPECT_THAT(Calls("bt_audio_disconnect"), ElementsAre("bt_audio_disconnect(\"AA:00:00:00:00:02\", 1) = 0"));
    EXPECT_THAT(Logs(), Contains("I a2dp source is not connected"));
    EXPECT_THAT(StepsAndLogsFrom("I HFP connected, AA:00:00:00:00:02", 2),
                ElementsAre("I HFP connected, AA:00:00:00:00:02", "bt_audio_disconnect"));
    EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(ConnectedDevices, APhoneThatPlaysIsNoSpeakerAtTheStart)
{
    HasAudio(16, kPhone);
    Starts();

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Logs(), Contains("I a2dp source is not connected"));
}

// --- The last speaker ---

TEST_F(ConnectedDevices, TheLastSpeakerIsAskedForAfterTenSeconds)
{
    for (const int route : {3, 5}) {
        tv.settings.Writes(kLastRoute, route);
        EXPECT_TRUE(CBluetoothEventHandler().isLastSoundOutputBTspk());
    }
    tv.settings.Writes(kLastRoute, 3);
    StartsAndSettles();
    EXPECT_THAT(tv.tape.Timers(), ElementsAre("timer 1: 10000 ms"));
    Forget();
    TimePasses(std::chrono::milliseconds(5000));
    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_EQ(Int(kLastRoute), 3);
    TimePasses(std::chrono::milliseconds(5000));

    EXPECT_THAT(Received(), ElementsAre(kLastSpeaker));
    EXPECT_EQ(Int(kLastRoute), 0);
    EXPECT_THAT(Between("vconf_set_int(\"db/vyrel/lastSoundRoute\", 0)", "method = LastConnectedBtSpk"),
                Not(IsEmpty()));
}

TEST_F(ConnectedDevices, TheLastSpeakersTimerIsSetBeforeTheServiceIsReady)
{
    tv.settings.Writes(kLastRoute, 3);
    Starts();

    EXPECT_THAT(Between("timer 1: 10000 ms", "bt_adapter_set_app_ready(1)"), Not(IsEmpty()));
}

TEST_F(ConnectedDevices, TheLastSpeakerIsAskedForOnce)
{
    StartsWithLastRoute(5);
    TimePasses(std::chrono::milliseconds(60000));

    EXPECT_THAT(Received(), ElementsAre(kLastSpeaker));
}

TEST_F(ConnectedDevices, ASpeakerThatIsBackByItselfIsNotAskedFor)
{
    StartsWithLastRoute(3);
    HasAudio(2, kSpeaker);
    TimePasses(std::chrono::milliseconds(60000));

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_EQ(Int(kLastRoute), 3);
    EXPECT_THAT(Calls("bt_audio_get_connected_info"), SizeIs(1)) << "the timer does not repeat";
}

TEST_F(ConnectedDevices, APhoneThatPlaysCountsAsASpeakerThatIsBack)
{
    StartsWithLastRoute(3);
    HasAudio(16, kPhone);
    TimePasses(std::chrono::milliseconds(60000));

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_EQ(Int(kLastRoute), 3);
}

TEST_F(ConnectedDevices, NoSpeakerIsAskedForWhenTheSoundWentElsewhere)
{
    for (const int route : {0, 1, 2, 4, 6, -3}) {
        tv.settings.Writes(kLastRoute, route);
        tv.tape.Clear();
        EXPECT_FALSE(CBluetoothEventHandler().isLastSoundOutputBTspk()) << route;
        EXPECT_THAT(Logs(), Contains("I last tv soundoutput is " + std::to_string(route)));
    }
    StartsWithLastRoute(6);
    TimePasses(std::chrono::milliseconds(60000));
    EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(ConnectedDevices, NoSpeakerIsAskedForWhenTheRouteIsUnreadable)
{
    tv.settings.Writes(kLastRoute, "3");
    StartsAndSettles();
    TimePasses(std::chrono::milliseconds(60000));

    EXPECT_THAT(Logs(), Contains("I last tv soundoutput is 0"));
    EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(ConnectedDevices, NoSpeakerIsAskedForOnASetThatIsNotOn)
{
    for (const int state : {1, 2, 3, 4}) {
        tv.power.state = state;
        tv.settings.Writes(kLastRoute, 3);
        CBluetoothEventHandler other;
        other.addTimerForLastConnectedBtSpeaker();
        TimePasses(std::chrono::milliseconds(60000));
        EXPECT_EQ(Int(kLastRoute), 3) << state;
    }
}

TEST_F(ConnectedDevices, AnAuthorizationRequestCancelsTheReconnectionBeforeAnythingElse)
{
    StartsWithLastRoute(3);
    connectionManager.VanishesOn("Hello");
    AuthorizationRequested(0, kPhone, "Phone", 18);
    EXPECT_THAT(Between("timer 1 removed", "I enter: result[0]"), SizeIs(2));
    Forget();
    TimePasses(std::chrono::milliseconds(60000));

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_EQ(Int(kLastRoute), 3);
}

TEST_F(ConnectedDevices, OtherRequestsDoNotCancelTheReconnection)
{
    StartsWithLastRoute(3);
    AuthenticationRequested(0, 0, "Phone", kPhone, "1");
    ConsentRequested(0, "Phone", kPhone);
    Forget();
    TimePasses(std::chrono::milliseconds(60000));

    EXPECT_THAT(Received(), ElementsAre(kLastSpeaker));
}

TEST_F(ConnectedDevices, ARequestAfterTheReconnectionIsHarmless)
{
    StartsWithLastRoute(3);
    TimePasses(std::chrono::milliseconds(60000));
    AuthorizationRequested(0, kPhone, "Phone", 1);
    AuthorizationRequested(0, kPhone, "Phone", 1);

    EXPECT_THAT(Received(), Contains(HasSubstr("AuthorizationRequest")).Times(2));
}

TEST_F(ConnectedDevices, TheReconnectionOutlivesDeinitAndFindsNoClient)
{
    StartsWithLastRoute(3);
    handler->Deinit();
    TimePasses(std::chrono::milliseconds(60000));

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Logs(), Contains("E no bus client, LastConnectedBtSpk is dropped"));
}

TEST_F(ConnectedDevices, TheReconnectionEndsWithItsHandler)
{
    StartsWithLastRoute(3);
    handler->Deinit();
    handler.reset();
    TimePasses(std::chrono::milliseconds(60000));

    EXPECT_EQ(Int(kLastRoute), 3);
}

TEST_F(ConnectedDevices, ATimerWithoutAHandlerEnds)
{
    EXPECT_EQ(CBluetoothEventHandler::handleLastConnectedSpk(nullptr), 0);
    EXPECT_THAT(Logs(), Contains("E userData is NULL"));
}

// --- Woken up ---

TEST_F(ConnectedDevices, OnlyTwoReasonsAreBluetoothWakeUps)
{
    for (const int reason : {0, 1, 50, 93, 96, -94}) {
        EXPECT_FALSE(IsWoken(reason, 0)) << reason;
        EXPECT_THAT(Logs(), ElementsAre("I wake up reason = " + std::to_string(reason)));
        EXPECT_THAT(Calls("device_power_get_state"), IsEmpty()) << reason;
    }
}

TEST_F(ConnectedDevices, AWakeUpFitsTheStateOfTheSet)
{
    for (const int state : {0, 1, 2, 3, 4, 5}) {
        EXPECT_EQ(IsWoken(94, state), state == 0 || state == 2) << state;
        EXPECT_EQ(IsWoken(95, state), state == 2 || state == 4) << state;
    }
}

TEST_F(ConnectedDevices, AWakeUpThatDoesNotFitIsLogged)
{
    EXPECT_FALSE(IsWoken(94, 4));
    EXPECT_THAT(Logs(), ElementsAre("I wake up reason = 94", "I Not A2DP power on scenario"));
    EXPECT_TRUE(IsWoken(94, 0));
    EXPECT_THAT(Logs(), ElementsAre("I wake up reason = 94"));
}

TEST_F(ConnectedDevices, TheSpeakerThatWokeTheSetIsNamed)
{
    WokenByBluetooth(94, 0, kSpeaker, 1);
    std::string address = "before";

    EXPECT_TRUE(CBluetoothEventHandler().isA2dpPowerOn(address));
    EXPECT_EQ(address, kSpeaker);
    EXPECT_THAT(Logs(), ElementsAre("I wake up address : AA:00:00:00:00:01, wake up reason : 1", "I A2DP power on : 1",
                                    "I A2DP wake up case. addr : AA:00:00:00:00:01"));
}

TEST_F(ConnectedDevices, AnotherDeviceThatWokeTheSetIsNoSpeaker)
{
    for (const int reason : {0, 2, -1}) {
        WokenByBluetooth(94, 0, kSpeaker, reason);
        tv.tape.Clear();
        std::string address = "before";
        EXPECT_FALSE(CBluetoothEventHandler().isA2dpPowerOn(address));
        EXPECT_EQ(address, "before");
        EXPECT_THAT(Logs(),
                    ElementsAre("I wake up address : AA:00:00:00:00:01, wake up reason : " + std::to_string(reason),
                                "I A2DP power on : 0"));
    }
}

TEST_F(ConnectedDevices, AnUnknownWakeUpIsNoSpeaker)
{
    tv.Fails("bt_adapter_get_power_on_reason", kFailed);
    std::string address = "before";

    EXPECT_FALSE(CBluetoothEventHandler().isA2dpPowerOn(address));
    EXPECT_EQ(address, "before");
    EXPECT_THAT(Logs(), ElementsAre("E Fail to get bt wake-up reason"));
}

// --- The reset of the pairings ---

TEST_F(ConnectedDevices, AResetRemovesAllBondsButTheRemotes)
{
    IsBonded({.address = kSpeaker, .name = "Speaker", .vendor = 0x1111, .product = 0x2222});
    IsBonded({.address = kRemote, .name = "Remote", .vendor = 0x04E8, .product = 0x2075});
    IsBonded({.address = kWheel, .name = "Wheel", .vendor = 0x04E8, .product = 0x2084});
    IsBonded({.address = kPhone, .name = std::nullopt});
    StartsAndSettles();
    tv.settings.Writes(kPendingReset, 1);
    Forget();
    AdapterReports(0, 1);

    EXPECT_THAT(Calls("bt_device_destroy_bond"), ElementsAre("bt_device_destroy_bond(\"AA:00:00:00:00:01\") = 0",
                                                             "bt_device_destroy_bond(\"AA:00:00:00:00:04\") = 0",
                                                             "bt_device_destroy_bond(\"AA:00:00:00:00:02\") = 0"));
    EXPECT_THAT(Received(), Contains("connectionmanager.DeleteDatabase").Times(1));
    EXPECT_EQ(Int(kPendingReset), 0);
    EXPECT_THAT(StepsAndLogsFrom("vconf_set_int", 12),
                ElementsAre("vconf_set_int", "E <Not error> Remove all paired devices",
                            "bt_adapter_foreach_bonded_device", "bt_device_get_remote_vid_pid",
                            "E <Not error> Remove AA:00:00:00:00:01", "bt_device_destroy_bond",
                            "bt_device_get_remote_vid_pid", "bt_device_get_remote_vid_pid",
                            "E <Not error> Remove AA:00:00:00:00:04", "bt_device_destroy_bond",
                            "bt_device_get_remote_vid_pid", "E <Not error> Remove AA:00:00:00:00:02"));
}

TEST_F(ConnectedDevices, AResetOfNoBondsStillDeletesTheDatabase)
{
    tv.settings.Writes(kPendingReset, -5);
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.DeleteDatabase"));
    EXPECT_THAT(Between("method = DeleteDatabase", "E <Not error> Remove all paired devices, Done"), Not(IsEmpty()));
    EXPECT_THAT(Logs(), Contains("E <Not error> Remove all paired devices, Done"));
}

TEST_F(ConnectedDevices, TheProductIdAloneDecidesWhatStays)
{
    IsBonded({.address = kPhone, .name = "Other maker", .vendor = 0x1111, .product = 0x2075});
    tv.settings.Writes(kPendingReset, 1);
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Calls("bt_device_destroy_bond"), IsEmpty());
}

TEST_F(ConnectedDevices, ABondWhoseIdsAreUnreadableIsRemoved)
{
    IsBonded({.address = kRemote, .name = "Remote", .vendor = 0x04E8, .product = 0x2075});
    tv.Fails("bt_device_get_remote_vid_pid", kFailed);
    tv.settings.Writes(kPendingReset, 1);
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Calls("bt_device_destroy_bond"), SizeIs(1));
}

TEST_F(ConnectedDevices, WithoutAResetNoBondIsRemoved)
{
    IsBonded({.address = kSpeaker, .name = "Speaker"});
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Calls("bt_device_destroy_bond"), IsEmpty());
    EXPECT_THAT(Calls("bt_adapter_foreach_bonded_device"), IsEmpty());
    EXPECT_THAT(Logs(), Contains("E <Not error> Not reset case."));
    EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(ConnectedDevices, AnUnreadableResetIsNone)
{
    tv.settings.Writes(kPendingReset, "1");
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Logs(), Contains("E <Not error> Not reset case."));
    EXPECT_EQ(Text(kPendingReset), "1");
}

TEST_F(ConnectedDevices, AResetSkipsRecordsThatSayTooLittle)
{
    CBluetoothEventHandler other;
    bt_device_info_s addressless = {nullptr, Writable("x"), {0, 0}, true, false};
    bt_device_info_s unbonded = {Writable(kPhone), Writable("x"), {0, 0}, false, true};
    bt_device_info_s empty = {Writable(""), Writable("x"), {0, 0}, true, true};

    EXPECT_TRUE(other.removeBondedDevice(nullptr));
    EXPECT_TRUE(other.removeBondedDevice(&addressless));
    EXPECT_TRUE(other.removeBondedDevice(&unbonded));
    EXPECT_TRUE(other.removeBondedDevice(&empty));
    EXPECT_THAT(Logs(), ElementsAre("E deviceinfo is NULL", "E deviceinfo->remote_address is NULL"));
    EXPECT_THAT(Calls("bt_device_"), IsEmpty());
}

TEST_F(ConnectedDevices, AResetGoesOnPastListedDevicesThatSayTooLittle)
{
    IsBonded({.address = kKeyboard, .hasRecord = false});
    IsBonded({.address = kSpeaker, .hasAddress = false});
    IsBonded({.address = kOtherSpeaker, .bonded = false});
    IsBonded({.address = kPhone});
    tv.settings.Writes(kPendingReset, 1);
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Calls("bt_device_destroy_bond"), ElementsAre("bt_device_destroy_bond(\"AA:00:00:00:00:02\") = 0"));
    EXPECT_THAT(Logs(), Contains("E deviceinfo is NULL"));
    EXPECT_THAT(Logs(), Contains("E deviceinfo->remote_address is NULL"));
}

TEST_F(ConnectedDevices, AResetThatLostItsHandlerRemovesNothing)
{
    IsBonded({.address = kPhone});
    IsBonded({.address = kSpeaker});
    tv.devices.listsWithoutUserData = true;
    tv.settings.Writes(kPendingReset, 1);
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Calls("bt_device_destroy_bond"), IsEmpty());
    EXPECT_THAT(Logs(), Contains("E UserData is NULL").Times(2));
}

TEST_F(ConnectedDevices, AFailedRemovalGoesOnWithTheNext)
{
    IsBonded({.address = kSpeaker, .name = "Speaker"});
    IsBonded({.address = kPhone, .name = "Phone"});
    tv.Fails("bt_device_destroy_bond", kFailed);
    tv.settings.Writes(kPendingReset, 1);
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Calls("bt_device_destroy_bond"), SizeIs(2));
    EXPECT_THAT(Received(), ElementsAre("connectionmanager.DeleteDatabase"));
}

// --- Reports of connections ---

TEST_F(ConnectedDevices, ASpeakersSignalStrengthBecomesAnEvent)
{
    IsBonded({.address = kSpeaker, .name = "Speaker", .majorClass = 4, .minorClass = 20, .connected = true});
    StartsAndSettles();
    Forget();
    AudioReports(0, true, kSpeaker, 2);
    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_THAT(Logs(), Contains("I Add WirelessInfo [AA:00:00:00:00:01:0x02]"));
    EXPECT_THAT(Logs(), Contains("I ret = ERROR_NONE"));
    EXPECT_THAT(Calls("bt_device_get_rssi_strength"),
                ElementsAre(HasSubstr("bt_device_get_rssi_strength(\"AA:00:00:00:00:01\", 255")));
    RssiAnswers(kSpeaker, -60);

    EXPECT_THAT(Events(), ElementsAre("25_wireless BT_DEV EV003 {type=0x02;name=Speaker;ble=0;btrssi=-60;numdevices=1;"
                                      "dualaudio=0}"));
}

TEST_F(ConnectedDevices, TheAnswerComesLater)
{
    tv.devices.Knows({.address = kSpeaker, .name = "Speaker", .rssi = -77});
    StartsAndSettles();
    Forget();
    handler->onAudioConnected(kSpeaker, 2);
    EXPECT_THAT(Events(), IsEmpty());
    Settles();

    ASSERT_THAT(Events(), SizeIs(1));
    EXPECT_THAT(Events().front(), HasSubstr(";btrssi=-77;"));
}

TEST_F(ConnectedDevices, EachKindOfConnectionHasItsServiceId)
{
    IsBonded({.address = kPhone, .name = "Phone"});
    StartsAndSettles();

    const auto typeOf = [this] {
        RssiAnswers(kPhone, -1);
        const std::string event = Events().empty() ? "" : Events().back();
        return event.substr(0, event.find(";name"));
    };
    Forget();
    GattReports(0, true, kPhone);
    EXPECT_EQ(typeOf(), "25_wireless BT_DEV EV003 {type=0x40");
    EXPECT_THAT(Logs(), Contains("I Add WirelessInfo [AA:00:00:00:00:02:0x40]"));
    Forget();
    HidReports(0, true, kPhone);
    EXPECT_EQ(typeOf(), "25_wireless BT_DEV EV003 {type=0x08");
    EXPECT_THAT(Logs(), Contains("I Add WirelessInfo [AA:00:00:00:00:02:0x08]"));
    Forget();
    AudioReports(0, true, kPhone, 1);
    EXPECT_EQ(typeOf(), "25_wireless BT_DEV EV003 {type=0x04");
    EXPECT_THAT(Logs(), Contains("I Add WirelessInfo [AA:00:00:00:00:02:0x02]")) << "one line for all audio";
    for (const int type : {2, 16, 0}) {
        Forget();
        AudioReports(0, true, kPhone, type);
        EXPECT_EQ(typeOf(), "25_wireless BT_DEV EV003 {type=0x02") << type;
        EXPECT_THAT(Logs(), Contains("I Add WirelessInfo [AA:00:00:00:00:02:0x02]"));
    }
}

TEST_F(ConnectedDevices, TheKindOfAConnectionIsNotedBeforeItsSignalStrengthIsAskedFor)
{
    IsBonded({.address = kPhone, .name = "Phone"});
    StartsAndSettles();

    const auto isNotedFirst = [this](const std::string& service) {
        const std::string line = "I Add WirelessInfo [AA:00:00:00:00:02:" + service + "]";
        EXPECT_THAT(StepsAndLogsFrom(line, 2), ElementsAre(line, "bt_device_get_rssi_strength"));
    };
    Forget();
    GattReports(0, true, kPhone);
    isNotedFirst("0x40");
    Forget();
    HidReports(0, true, kPhone);
    isNotedFirst("0x08");
    Forget();
    AudioReports(0, true, kPhone, 1);
    isNotedFirst("0x02");
}

TEST_F(ConnectedDevices, ANewerConnectionReplacesTheKindOfTheOlder)
{
    IsBonded({.address = kPhone, .name = "Phone"});
    StartsAndSettles();
    Forget();
    GattReports(0, true, kPhone);
    AudioReports(0, true, kPhone, 1);
    RssiAnswers(kPhone, -1);
    RssiAnswers(kPhone, -1);

    ASSERT_THAT(Events(), SizeIs(1)) << "the second answer finds the entry gone";
    EXPECT_THAT(Events().front(), HasSubstr("{type=0x04;"));
    EXPECT_THAT(Logs(), Contains("E Can not find service id of AA:00:00:00:00:02"));
}

TEST_F(ConnectedDevices, AnAnswerForAnUnknownDeviceIsLogged)
{
    StartsAndSettles();
    Forget();
    handler->sendWirelessBtConnectKpi(kPhone, -40);

    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_THAT(Logs(), Contains("E Can not find service id of AA:00:00:00:00:02"));
}

TEST_F(ConnectedDevices, ADeviceWithoutAReadableNameGetsAStandIn)
{
    IsBonded({.address = kPhone, .name = std::nullopt});
    StartsAndSettles();
    Forget();
    GattReports(0, true, kPhone);
    RssiAnswers(kPhone, -1);

    ASSERT_THAT(Events(), SizeIs(1));
    EXPECT_THAT(Events().front(), HasSubstr(";name=InValidName;"));
}

TEST_F(ConnectedDevices, TheEventCountsConnectedDevicesAndTwoSpeakers)
{
    IsBonded({.address = kSpeaker, .name = "One", .majorClass = 4, .minorClass = 20, .connected = true});
    IsBonded({.address = kOtherSpeaker, .name = "Two", .majorClass = 4, .minorClass = 24, .connected = true});
    IsBonded({.address = kPhone, .name = "Phone", .majorClass = 2, .minorClass = 12, .connected = true});
    IsBonded({.address = kKeyboard, .name = "Keys", .majorClass = 5, .minorClass = 64, .connected = false});
    StartsAndSettles();
    Forget();
    AudioReports(0, true, kOtherSpeaker, 2);
    RssiAnswers(kOtherSpeaker, -70);

    EXPECT_THAT(Events(), ElementsAre("25_wireless BT_DEV EV003 {type=0x02;name=Two;ble=0;btrssi=-70;numdevices=3;"
                                      "dualaudio=1}"));
}

TEST_F(ConnectedDevices, ASmartRemotesSignalStrengthBecomesARemoteEvent)
{
    IsBonded({.address = kRemote, .name = "Remote", .vendor = 0x04E8, .product = 0x2075});
    StartsAndSettles();
    Forget();
    HidReports(0, true, kRemote);
    RssiAnswers(kRemote, -44);

    ASSERT_THAT(Events(), SizeIs(1));
    EXPECT_THAT(Events().front(), HasSubstr("25_remocon BTCONNECT EV006 "));
    EXPECT_THAT(Events().front(), HasSubstr("scmac=AA:00:00:00:00:03;"));
    EXPECT_THAT(Events().front(), HasSubstr("scdisconrsn=0;rssi=-44}"));
}

TEST_F(ConnectedDevices, ASmartRemotesEntryStays)
{
    IsBonded({.address = kRemote, .name = "Remote", .vendor = 0x04E8, .product = 0x2075});
    StartsAndSettles();
    HidReports(0, true, kRemote);
    RssiAnswers(kRemote, -44);
    Unbonds(kRemote);
    Forget();
    handler->sendWirelessBtConnectKpi(kRemote, -45);

    ASSERT_THAT(Events(), SizeIs(1));
    EXPECT_THAT(Events().front(), HasSubstr("25_wireless BT_DEV EV003 {type=0x08;name=InValidName;"));
}

TEST_F(ConnectedDevices, TheWheelIsAWirelessDevice)
{
    IsBonded({.address = kWheel, .name = "Wheel", .vendor = 0x04E8, .product = 0x2084});
    StartsAndSettles();
    Forget();
    HidReports(0, true, kWheel);
    RssiAnswers(kWheel, -44);

    ASSERT_THAT(Events(), SizeIs(1));
    EXPECT_THAT(Events().front(), HasSubstr("25_wireless BT_DEV EV003 {type=0x08;name=Wheel;"));
}

TEST_F(ConnectedDevices, AFailedQuestionLeavesTheEntryInPlace)
{
    StartsAndSettles();
    tv.Fails("bt_device_get_rssi_strength", kFailed);
    Forget();
    GattReports(0, true, kPhone);
    EXPECT_THAT(Logs(), Contains("I ret = OPERATION_FAILED"));
    EXPECT_THAT(Events(), IsEmpty());
    handler->sendWirelessBtConnectKpi(kPhone, -45);

    EXPECT_THAT(Events(), SizeIs(1));
}

std::string AddressOf(unsigned int number)
{
    std::array<char, 18> text{};
    std::snprintf(text.data(), text.size(), "BB:00:00:00:%02X:%02X", number >> 8U & 0xFFU, number & 0xFFU);
    return text.data();
}

TEST_F(ConnectedDevices, OfDevicesWhoseAnswerNeverComesTheNewestTwoHundredAndFiftySixAreRemembered)
{
    StartsAndSettles();
    tv.Fails("bt_device_get_rssi_strength", kFailed);
    for (unsigned int number = 0; number < 256; ++number) {
        handler->onGattConnected(AddressOf(number));
    }
    handler->onHidConnected(AddressOf(0)); // known already, and now the newest
    Forget();
    handler->onGattConnected(AddressOf(256));
    for (const unsigned int number : {0U, 1U, 2U, 255U, 256U}) {
        handler->sendWirelessBtConnectKpi(AddressOf(number), -45);
    }
    EXPECT_THAT(Logs(), Contains("E Can not find service id of BB:00:00:00:00:01"));
    ASSERT_THAT(Events(), SizeIs(4));
    EXPECT_THAT(Events().front(), HasSubstr("{type=0x08;"));
    EXPECT_THAT(Events().back(), HasSubstr("{type=0x40;"));
}

TEST_F(ConnectedDevices, AnAnswerThatNeverComesIsHarmless)
{
    IsBonded({.address = kPhone});
    StartsAndSettles();
    Forget();
    GattReports(0, true, kPhone);
    handler->Deinit();
    handler.reset();

    EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(ConnectedDevices, AnAnswerAfterTheHandlersEndIsDropped)
{
    IsBonded({.address = kPhone});
    StartsAndSettles();
    Forget();
    GattReports(0, true, kPhone);
    handler->Deinit();
    handler.reset();
    RssiAnswers(kPhone, -50);

    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_THAT(Logs(), Contains("E userData is NULL"));
}

TEST_F(ConnectedDevices, LinksOfTheConnectedRemoteAreRecordedWithTheirReason)
{
    StartsAndSettles();
    RemoteIsConnected();
    LinkReports(false, kRemote, 1);
    EXPECT_EQ(Text("memory/org.vantor.vyrel/hsm_remocon_disconnected_address"), kRemote);
    EXPECT_EQ(Text("memory/org.vantor.vyrel/hsm_remocon_disconnect_reason"), "Timeout");
    LinkReports(true, kRemote, 0);
    EXPECT_EQ(Text("memory/org.vantor.vyrel/hsm_remocon_disconnect_reason"), "Unknown");
}

TEST_F(ConnectedDevices, LinksWithoutARemoteHandlerAreLogged)
{
    bt_device_connection_info_s link = {Writable(kPhone), 0, 1};
    CBluetoothEventHandler other;
    other.onDeviceConnectionStateChanged(true, &link);
    other.onDeviceConnectionStateChanged(true, nullptr);
    link.remote_address = nullptr;
    other.onDeviceConnectionStateChanged(true, &link);

    EXPECT_THAT(Logs(), ElementsAre("E no remote handler, the link of AA:00:00:00:00:02 is dropped",
                                    "E connInfo is NULL", "E remote_Address is NULL"));
}
