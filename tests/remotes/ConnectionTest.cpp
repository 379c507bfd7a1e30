// The remotes come and go.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/Devices.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Timers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_device.h>
#include <bt_error.h>
#include <bt_hid.h>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;
using namespace std::chrono_literals;

namespace {

class ConnectionTest : public RemotesTest
{
protected:
    /// What the components themselves said, in order: no debug lines, and nothing of the utilities.
    std::vector<std::string> MessagesOfTheService()
    {
        std::vector<std::string> messages;
        for (const sim::Entry& entry : tv.tape.Entries()) {
            if (entry.kind == sim::Kind::Log && entry.tag == "VYREL_LITE" && entry.priority != 3) {
                messages.push_back(entry.message);
            }
        }
        return messages;
    }
};

TEST_F(ConnectionTest, ANewHandlerKnowsNothing)
{
    EXPECT_EQ(remotes->GetSmartRcAddress(), "");
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(tv.tape.MessagesFrom("ApiTracker"), Contains(testing::HasSubstr("CSmartRcEventHandler()")));
}

TEST_F(ConnectionTest, TheStartRegistersAndThenLooksAround)
{
    remotes->Init(m_dbusClient);
    EXPECT_THAT(tv.tape.Calls(),
                ElementsAre(StartsWith("bt_hid_set_smart_rc_connection_cb("),
                            StartsWith("bt_hid_set_halvo_switch_connection_state_changed_cb("),
                            StartsWith("bt_hid_set_battery_status_received_cb("),
                            StartsWith("bt_hid_set_smart_rc_charging_status_received_cb("),
                            StartsWith("bt_hid_set_halvo_switch_charging_status_received_cb("),
                            StartsWith("bt_hid_set_smart_rc_grip_sensor_detected_cb("),
                            StartsWith("bt_hid_set_smart_rc_grip_sensor_state_changed_cb("), Watch(kUseMode),
                            Watch(kOobStatus), Watch(kDuid), Watch(kFactoryMode), Watch(kServiceReset),
                            Watch(kWizardMode), Watch(kTouchIr), StartsWith("bt_hid_get_smart_remote_conn_status("),
                            StartsWith("bt_hid_get_halvo_switch_connection_state("),
                            StartsWith("vconf_get_int(\"" + std::string(kTouchIr))));
    EXPECT_THAT(MessagesOfTheService(),
                ElementsAre("Smart RC ConnStatus = 0", "smart rc disconnected or getting conn status failed",
                            "Halvo wheel ConnStatus = 0", "halvo wheel disconnected or getting conn status failed",
                            StartsWith("Start AmbiLight Timer "), "SetGripSensorOnOff", "smartRC is not connected",
                            "touchIrMode is not enabled"));
    EXPECT_THAT(tv.tape.Messages(), IsSupersetOf({"E smart rc disconnected or getting conn status failed",
                                                  "E halvo wheel disconnected or getting conn status failed",
                                                  "E smartRC is not connected", "E touchIrMode is not enabled"}));
    EXPECT_THAT(tv.tape.Timers(), ElementsAre("timer 1: 3600000 ms"));
}

TEST_F(ConnectionTest, TheStopTakesTheRegistrationsBackInTheSameOrder)
{
    Starts();
    remotes->Deinit();
    EXPECT_THAT(
        tv.tape.Calls(),
        ElementsAre(
            "bt_hid_unset_smart_rc_connection_cb() = 0", "bt_hid_unset_halvo_switch_connection_state_changed_cb() = 0",
            "bt_hid_unset_battery_status_received_cb() = 0", "bt_hid_unset_smart_rc_charging_status_received_cb() = 0",
            "bt_hid_unset_halvo_switch_charging_status_received_cb() = 0",
            "bt_hid_unset_smart_rc_grip_sensor_detected_cb() = 0",
            "bt_hid_unset_smart_rc_grip_sensor_state_changed_cb() = 0", Unwatch(kUseMode), Unwatch(kOobStatus),
            Unwatch(kDuid), Unwatch(kFactoryMode), Unwatch(kServiceReset), Unwatch(kWizardMode), Unwatch(kTouchIr)));
}

TEST_F(ConnectionTest, AfterTheStopNothingIsHeardAnyMore)
{
    Starts();
    remotes->Deinit();
    tv.tape.Clear();
    RemoteConnects();
    WheelConnects();
    tv.smartRemote.ReportsBattery(5);
    tv.smartRemote.ReportsCharging(6, 1);
    tv.wheel.ReportsCharging(6, 1);
    tv.smartRemote.IsGripped(1);
    tv.smartRemote.GripSensorTurns(BT_SC_GRIP_SENSOR_OFF);
    for (const char* key : {kUseMode, kOobStatus, kFactoryMode, kServiceReset, kTouchIr}) {
        Writes(key, 1);
        Writes(key, 0);
    }
    Writes(kWizardMode, "OFF");
    Writes(kDuid, "D");
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), IsEmpty());
}

TEST_F(ConnectionTest, TheStopRemovesThePendingUseModeTimer)
{
    IsHalvoMonitor();
    Starts();
    RemoteConnects();
    Writes(kUseMode, 1);
    remotes->Deinit();
    tv.tape.Clear();
    Passes(7s);
    EXPECT_THAT(Deeds("bt_hid_send_device_command"), IsEmpty());
}

TEST_F(ConnectionTest, TheStopLeavesTheSamplingAndTheIrKeyCodeTimerAlone)
{
    Starts();
    RemoteConnects();
    remotes->Deinit();
    tv.tape.Clear();
    Passes(12s);
    EXPECT_THAT(Deeds("bt_hid_send_rc_command"), ElementsAre(RcCommand(kRemote, "24 07")));
    Passes(1h);
    EXPECT_TRUE(HasSaid("I save AmbiLight Kpi Info"));
}

TEST_F(ConnectionTest, ASmartRemoteConnects)
{
    Starts();
    RemoteConnects();
    EXPECT_EQ(remotes->GetSmartRcAddress(), kRemote);
    EXPECT_THAT(Deeds(), ElementsAre(Command(kRemote, 0x11, 0x07), Set(kLostRemote, ""), Set(kLostRemoteReason, ""),
                                     Set(kFlagOfRemote, 0), Watch(kFirstScreen)));
    EXPECT_THAT(Said("OnSmartRcConnected"), ElementsAre(std::string("I SmartRcConencted address = ") + kRemote));
    EXPECT_THAT(tv.tape.Messages(), IsSupersetOf({"I Send shopmode to smartRC", "I Shop mode is 0",
                                                  "I Add IR Key code timer", "I SetGripSensorOnOff"}));
}

TEST_F(ConnectionTest, TheStepsOfASmartRemotesConnectionKeepTheirOrder)
{
    tv.settings.Writes(kUseMode, 1);
    Starts();
    RemoteConnects();
    EXPECT_THAT(MessagesOfTheService(),
                ElementsAre(std::string("SmartRcConencted address = ") + kRemote, "Send shopmode to smartRC",
                            "Shop mode is 1", std::string("Send Shop mode :") + kRemote + ", 0x11, 0x06",
                            "destructor of ShopModeData", "Add IR Key code timer", "SetGripSensorOnOff",
                            StartsWith("bt_hid_get_smart_rc_grip_sensor_state ret = ERROR_NONE state = -1"),
                            "Not support Grip Sensor"));
    const std::vector<std::string> calls = tv.tape.Calls({"vconf_", "bt_hid_send"});
    EXPECT_THAT(calls, ElementsAre(StartsWith("vconf_get_int(\"db/menu/support/use_mode\")"),
                                   Command(kRemote, 0x11, 0x06), Set(kLostRemote, ""), Set(kLostRemoteReason, ""),
                                   StartsWith("vconf_get_str(\"db/vyrel/last_smartrc_address\")"),
                                   Set(kFlagOfRemote, 0), Watch(kFirstScreen)));
}

TEST_F(ConnectionTest, OnAHalvoMonitorASmartRemoteIsNeverInShopModeAndNobodyAsksForIt)
{
    IsHalvoMonitor();
    tv.settings.Writes(kUseMode, 1);
    Starts();
    RemoteConnects();
    EXPECT_THAT(Deeds("bt_hid_send_device_command"), ElementsAre(Command(kRemote, 0x11, 0x07)));
    EXPECT_THAT(Deeds("vconf_get_int"), IsEmpty());
}

TEST_F(ConnectionTest, TheSmartRemoteThatConnectedLastKeepsItsWarnings)
{
    tv.settings.Writes(kLastRemote, kRemote);
    tv.settings.Writes(kFlagOfRemote, 3);
    Starts();
    RemoteConnects();
    EXPECT_EQ(tv.settings.Int(kFlagOfRemote), 3);
    EXPECT_THAT(Deeds("vconf_set_int"), IsEmpty());
    EXPECT_EQ(tv.settings.Text(kLastRemote), kRemote);
}

TEST_F(ConnectionTest, ADifferentSmartRemoteClearsTheAdcFlag)
{
    for (const std::string last : {kOtherRemote, "AA:BB:CC:DD:EE:0", "aa:bb:cc:dd:ee:01", ""}) {
        tv.settings.Writes(kLastRemote, last);
        tv.settings.Writes(kFlagOfRemote, 3);
        if (remotes->GetSmartRcAddress().empty()) {
            Starts();
        }
        RemoteConnects();
        EXPECT_EQ(tv.settings.Int(kFlagOfRemote), 0) << last;
        EXPECT_EQ(tv.settings.Text(kLastRemote), last);
    }
}

TEST_F(ConnectionTest, ASmartRemoteDisconnects)
{
    Starts();
    RemoteConnects();
    tv.tape.Clear();
    RemoteGoes();
    EXPECT_EQ(remotes->GetSmartRcAddress(), "");
    EXPECT_THAT(Said("OnSmartRcDisConnected"), ElementsAre(std::string("I SmartRc DisConencted address = ") + kRemote));
    EXPECT_TRUE(HasSaid("I Remove IR Key code timer"));
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(std::string("25_remocon BTCONNECT EV006 {product=TV-55;input=0xcb;btfw=2a31;"
                                                       "scfw=InvalidFW;scmac=") +
                                           kRemote + ";reconcnt=0;btresetcnt=0;pairingcnt=0;scdisconrsn=1;rssi=0}"));
    Passes(12s);
    EXPECT_THAT(Deeds("bt_hid_send_rc_command"), IsEmpty());
}

TEST_F(ConnectionTest, TheStepsOfASmartRemotesDisconnectionKeepTheirOrder)
{
    Starts();
    RemoteConnects();
    tv.tape.Clear();
    RemoteGoes();
    EXPECT_THAT(MessagesOfTheService(), ElementsAre(std::string("SmartRc DisConencted address = ") + kRemote,
                                                    "Connected remote device is exist", "Remove IR Key code timer"));
    std::vector<std::string> order;
    for (const sim::Entry& entry : tv.tape.Entries()) {
        if (entry.kind == sim::Kind::Timer || entry.kind == sim::Kind::Kpi) {
            order.push_back(entry.text);
        }
    }
    EXPECT_THAT(order, ElementsAre(testing::EndsWith(" removed"), StartsWith("25_remocon BTCONNECT EV006 ")));
}

TEST_F(ConnectionTest, AHandlerThatGoesLeavesItsTimersAlone)
{
    {
        CSmartRcEventHandler handler;
        handler.StartAmbiLightTimer();
        handler.AddIrKeyCodeTimer();
    }
    EXPECT_EQ(sim::PendingTimers("3600000 ms"), 1);
    EXPECT_EQ(sim::PendingTimers("10 s"), 1);
}

TEST_F(ConnectionTest, TheUnwatchOfASmartRemoteStillSeesItsAddress)
{
    Starts();
    RemoteConnects();
    tv.tape.Clear();
    RemoteGoes();
    EXPECT_TRUE(HasSaid("I Connected remote device is exist"));
    EXPECT_THAT(Deeds("vconf_ignore_key_changed"), IsEmpty());
}

TEST_F(ConnectionTest, ADisconnectionOfARemoteThatNeverCameRunsAllItsSteps)
{
    Starts();
    tv.smartRemote.address = kRemote;
    RemoteGoes();
    EXPECT_THAT(Deeds("vconf_ignore_key_changed"), ElementsAre(Unwatch(kFirstScreen, -1)));
    EXPECT_TRUE(HasSaid("I Remove IR Key code timer"));
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(testing::HasSubstr(";scmac=;")));
}

TEST_F(ConnectionTest, AWheelConnects)
{
    tv.settings.Writes(kUseMode, 1);
    Starts();
    WheelConnects();
    EXPECT_THAT(Deeds(), ElementsAre(Set(kLostWheel, ""), Set(kLostWheelReason, ""), Set(kFlagOfWheel, 0),
                                     Watch(kFirstScreen), Set(kLastWheel, kWheel)));
    EXPECT_THAT(Said("OnHalvoWheelConnected"), ElementsAre(std::string("I halvowheel address = ") + kWheel));
    EXPECT_EQ(remotes->GetSmartRcAddress(), "");
}

TEST_F(ConnectionTest, OnAHalvoMonitorAWheelIsToldTheShopMode)
{
    IsHalvoMonitor();
    tv.settings.Writes(kUseMode, 1);
    tv.smartRemote.deviceType = 0x22; // the wheel goes by the smart remote's type
    Starts();
    RemoteConnects();
    tv.tape.Clear();
    WheelConnects();
    EXPECT_THAT(Deeds(), ElementsAre(Command(kWheel, 0x22, 0x06), Set(kLostWheel, ""), Set(kLostWheelReason, ""),
                                     Set(kFlagOfWheel, 0), Watch(kFirstScreen), Set(kLastWheel, kWheel)));
    EXPECT_TRUE(HasSaid("I Send shopmode to HALVO_WHELL"));
}

TEST_F(ConnectionTest, TheWheelThatConnectedLastKeepsItsWarnings)
{
    Starts();
    WheelConnects();
    WheelGoes();
    tv.settings.Writes(kFlagOfWheel, 1);
    WheelConnects();
    EXPECT_EQ(tv.settings.Int(kFlagOfWheel), 1);
    WheelGoes();
    WheelConnects(kOtherWheel);
    EXPECT_EQ(tv.settings.Int(kFlagOfWheel), 0);
    EXPECT_EQ(tv.settings.Text(kLastWheel), kOtherWheel);
}

TEST_F(ConnectionTest, AWheelDisconnectsWithoutAUsageEvent)
{
    Starts();
    WheelConnects();
    tv.tape.Clear();
    WheelGoes();
    EXPECT_THAT(Said("OnHalvoWheelDisConnected"),
                ElementsAre(std::string("I halvowheel DisConencted address = ") + kWheel));
    // The address is gone already: with no other remote there the watch is ended, of a function that never watched.
    EXPECT_THAT(Deeds(), ElementsAre(Unwatch(kFirstScreen, -1)));
}

TEST_F(ConnectionTest, AWheelThatGoesLeavesTheFirstScreenToTheSmartRemote)
{
    Starts();
    RemoteConnects();
    WheelConnects();
    tv.tape.Clear();
    WheelGoes();
    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_TRUE(HasSaid("I Connected remote device is exist"));
}

TEST_F(ConnectionTest, RemotesThatAreThereAtTheStartAreAnnounced)
{
    tv.smartRemote.IsConnected(kRemote);
    tv.wheel.IsConnected(kWheel);
    remotes->Init(m_dbusClient);
    EXPECT_EQ(remotes->GetSmartRcAddress(), kRemote);
    EXPECT_EQ(tv.settings.Text(kLastWheel), kWheel);
    EXPECT_THAT(Said("CheckConnectedDevice"), ElementsAre("I SC is connected now so call sc connected cb"));
    EXPECT_THAT(Said("CheckConnectedHalvo"), ElementsAre("I halvo wheel is connected now so call halvo connected cb"));
    EXPECT_THAT(tv.tape.Calls({"bt_adapter_free_device_info"}), testing::SizeIs(2));
    EXPECT_THAT(Deeds("bt_hid_send_device_command"), ElementsAre(Command(kRemote, 0x11, 0x07)));
}

TEST_F(ConnectionTest, AScanThatFailsSaysWhy)
{
    tv.smartRemote.IsConnected(kRemote);
    tv.wheel.IsConnected(kWheel);
    struct Case
    {
        const char* function;
        const char* line;
    };
    const Case forRemote[] = {
        {"bt_hid_get_smart_remote_conn_status", "E smart rc disconnected or getting conn status failed"},
        {"bt_hid_get_smart_rc_address", "E fail to get connected smartrc address OPERATION_FAILED"},
        {"bt_adapter_get_bonded_device_info", "E fail to get connected sc device info OPERATION_FAILED"},
    };
    const Case forWheel[] = {
        {"bt_hid_get_halvo_switch_connection_state", "E halvo wheel disconnected or getting conn status failed"},
        {"bt_hid_get_halvo_switch_address", "E getting halvo wheel address is failed"},
        {"bt_adapter_get_bonded_device_info", "E fail to get connected device info OPERATION_FAILED"},
    };
    for (const auto& [function, line] : forRemote) {
        tv.tape.Clear();
        tv.Fails(function, BT_ERROR_OPERATION_FAILED);
        remotes->CheckConnectedDevice();
        tv.Recovers(function);
        EXPECT_THAT(Said("CheckConnectedDevice"), ElementsAre(line));
        EXPECT_EQ(remotes->GetSmartRcAddress(), "") << function;
    }
    for (const auto& [function, line] : forWheel) {
        tv.tape.Clear();
        tv.Fails(function, BT_ERROR_OPERATION_FAILED);
        remotes->CheckConnectedHalvo();
        tv.Recovers(function);
        EXPECT_THAT(Said("CheckConnectedHalvo"), ElementsAre(line));
        EXPECT_EQ(tv.settings.Text(kLastWheel), std::nullopt) << function;
    }
}

TEST_F(ConnectionTest, ARemoteWhoseBondIsGoneIsNotAnnounced)
{
    tv.smartRemote.IsConnected(kRemote);
    tv.devices.ForgetsAll();
    remotes->Init(m_dbusClient);
    EXPECT_THAT(Said("CheckConnectedDevice"),
                ElementsAre("E fail to get connected sc device info REMOTE_DEVICE_NOT_BONDED"));
    EXPECT_THAT(tv.tape.Calls({"bt_adapter_free_device_info"}), ElementsAre("bt_adapter_free_device_info() = 0"));
}

TEST_F(ConnectionTest, CallbacksWithoutTheirArgumentsAreDropped)
{
    Starts();
    bt_device_info_s info = {};
    CSmartRcEventHandler::OnSmartRcConnectionStateChanged(true, &info, nullptr);
    EXPECT_THAT(Said("OnSmartRcConnectionStateChanged"), ElementsAre("E userData is NULL"));
    CSmartRcEventHandler::OnHalvoWheelConnectionStateChanged(false, nullptr, nullptr);
    EXPECT_THAT(Said("OnHalvoWheelConnectionStateChanged"), ElementsAre("E userData is NULL"));
    tv.tape.Clear();
    CSmartRcEventHandler::OnSmartRcConnectionStateChanged(false, nullptr, remotes.get());
    EXPECT_THAT(Said("OnSmartRcConnectionStateChanged"), ElementsAre("E deviceInfo is NULL"));
    CSmartRcEventHandler::OnHalvoWheelConnectionStateChanged(true, nullptr, remotes.get());
    EXPECT_THAT(Said("OnHalvoWheelConnectionStateChanged"), ElementsAre("E deviceInfo is NULL"));
    EXPECT_EQ(TimesSaid("E deviceInfo is NULL"), 2) << "each of them goes no further";
    EXPECT_THAT(Deeds(), IsEmpty());
}

TEST_F(ConnectionTest, RecordsWithoutAnAddressAreDropped)
{
    Starts();
    bt_device_info_s info = {};
    for (const bool connected : {true, false}) {
        CSmartRcEventHandler::OnSmartRcConnectionStateChanged(connected, &info, remotes.get());
        CSmartRcEventHandler::OnHalvoWheelConnectionStateChanged(connected, &info, remotes.get());
        remotes->HandleSmartRcConnectionStateChanged(connected, nullptr);
        remotes->HandleHalvoWheelConnectionStateChanged(connected, nullptr);
    }
    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_EQ(TimesSaid("E deviceInfo->remote_address is NULL"), 4);
    EXPECT_EQ(TimesSaid("E deviceInfo is NULL"), 4);
}

TEST_F(ConnectionTest, ARemoteWithAnEmptyAddressIsToldNothing)
{
    Starts();
    WheelConnects("");
    RemoteConnects("");
    EXPECT_THAT(Deeds("bt_hid_send"), IsEmpty());
    IsHalvoMonitor();
    WheelConnects("");
    EXPECT_THAT(Deeds("bt_hid_send"), IsEmpty());
}

TEST_F(ConnectionTest, TwoRemotesWithOneAddressTakeTurns)
{
    Starts();
    RemoteConnects(kRemote);
    WheelConnects(kRemote);
    EXPECT_EQ(remotes->GetSmartRcAddress(), kRemote);
    RemoteReports(Battery(2, 20));
    EXPECT_EQ(tv.settings.Int(kLevelOfRemote), 2); // the smart remote is asked first
    EXPECT_EQ(tv.settings.Int(kLevelOfWheel), std::nullopt);
    RemoteGoes();
    EXPECT_EQ(remotes->GetSmartRcAddress(), "");
    WheelReports(Battery(3, 20));
    EXPECT_EQ(tv.settings.Int(kLevelOfWheel), 3);
    EXPECT_EQ(tv.settings.Int(kLevelOfRemote), 2);
    WheelGoes();
    RemoteConnects(kRemote);
    RemoteConnects(kRemote);
    RemoteGoes();
    EXPECT_EQ(remotes->GetSmartRcAddress(), "");
}

TEST_F(ConnectionTest, ANameThatIsNoTextDoesNoHarmInAUsageEvent)
{
    Starts();
    RemoteConnects("AA:\xFF\xFE:CC");
    tv.tape.Clear();
    RemoteGoes();
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(testing::HasSubstr("scmac=AA:\xEF\xBF\xBD")));
}

} // namespace
