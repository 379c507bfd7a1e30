// The grip sensor and the touch-IR monitor.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/ColorSensor.h"
#include "sim/Features.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_error.h>
#include <bt_hid.h>

#include <array>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr const char* kSupport = "setting.menuitem.remote_grib_support";

class GripSensorTest : public RemotesTest
{
protected:
    GripSensorTest()
    {
        tv.features.Has(kSupport);
        tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_ON;
    }

    void StartsWithRemote()
    {
        Starts();
        RemoteConnects();
        tv.smartRemote.battery = Battery(1, 14);
        tv.colorSensor.lux = 90;
        Heard();
        tv.tape.Clear();
    }
    /// Commands to the sensor since the tape was cleared.
    std::vector<std::string> Commands()
    {
        std::vector<std::string> commands = Deeds("bt_hid_send_device_command");
        std::erase(commands, Command(kRemote, 0x11, 0x07)); // shop mode
        return commands;
    }
    static std::string On(int result = 0)
    {
        return Command(kRemote, 0x11, 0x30, result);
    }
    static std::string Off(int result = 0)
    {
        return Command(kRemote, 0x11, 0x31, result);
    }
    void Gripped(unsigned char key)
    {
        tv.tape.Clear();
        tv.smartRemote.IsGripped(key);
        Settle();
    }
    void SensorTurns(int state)
    {
        tv.tape.Clear();
        tv.smartRemote.GripSensorTurns(state);
        Settle();
    }
};

// --- On and off ---

TEST_F(GripSensorTest, WithoutARemoteNothingIsDone)
{
    remotes->SetGripSensorOnOff();
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I SetGripSensorOnOff", "E smartRC is not connected"));
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
}

TEST_F(GripSensorTest, ARemoteWithoutASensorIsLeftAlone)
{
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_NOT_AVAILABLE;
    StartsWithRemote();
    remotes->SetGripSensorOnOff();
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I SetGripSensorOnOff",
                                                "I bt_hid_get_smart_rc_grip_sensor_state ret = ERROR_NONE state = -1",
                                                "I Not support Grip Sensor"));
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_ON;
    tv.settings.Writes(kWizardMode, "PNP_SETUP");
    tv.Fails("bt_hid_get_smart_rc_grip_sensor_state", BT_ERROR_NOT_ENABLED);
    tv.tape.Clear();
    remotes->SetGripSensorOnOff();
    EXPECT_TRUE(HasSaid("I bt_hid_get_smart_rc_grip_sensor_state ret = NOT_ENABLED state = -1"));
    EXPECT_THAT(Commands(), IsEmpty());
}

TEST_F(GripSensorTest, ASetThatDoesNotSupportTheSensorSwitchesItOff)
{
    for (const auto state : {BT_SC_GRIP_SENSOR_ON, BT_SC_GRIP_SENSOR_OFF}) {
        tv.features.Has(kSupport, false);
        tv.smartRemote.gripSensor = state;
        if (remotes->GetSmartRcAddress().empty()) {
            Starts();
        }
        tv.tape.Clear();
        RemoteConnects();
        EXPECT_THAT(Commands(), ElementsAre(Off()));
        EXPECT_TRUE(HasSaid("I GripSensorOff"));
        EXPECT_FALSE(HasSaid("I wizardMode : "));
    }
    tv.features.Forgets(kSupport);
    tv.tape.Clear();
    remotes->SetGripSensorOnOff();
    EXPECT_THAT(Commands(), ElementsAre(Off()));
}

TEST_F(GripSensorTest, TheSetupWizardSwitchesTheSensorOffAndItsEndOnAgain)
{
    Starts();
    for (const char* mode : {"PNP_SETUP", "SMARTHUB_SETUP", "OSU_TERMS_SETUP"}) {
        tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_ON;
        Writes(kWizardMode, mode);
        tv.tape.Clear();
        RemoteConnects();
        EXPECT_THAT(Commands(), ElementsAre(Off())) << mode;
        EXPECT_TRUE(HasSaid(std::string("I wizardMode : ") + mode));
        tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_OFF;
        tv.tape.Clear();
        Writes(kWizardMode, "OFF");
        EXPECT_THAT(Commands(), ElementsAre(On())) << mode;
        EXPECT_TRUE(HasSaid("I GripSensorOn"));
        tv.tape.Clear();
        Writes(kWizardMode, "OFF"); // it has recovered
        EXPECT_THAT(Commands(), IsEmpty());
        RemoteGoes();
    }
}

TEST_F(GripSensorTest, OtherWizardModesLeaveTheSensorAlone)
{
    StartsWithRemote();
    for (const char* mode : {"", "OFF", "off", "PNP_SETUP ", "pnp_setup", "PNP", "NETWORK_SETUP"}) {
        Writes(kWizardMode, mode);
    }
    tv.settings.Removes(kWizardMode);
    remotes->SetGripSensorOnOff();
    Writes(kWizardMode, 7);
    EXPECT_THAT(Commands(), IsEmpty());
}

TEST_F(GripSensorTest, ASensorThatIsOffAlreadyIsNotSwitchedOff)
{
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_OFF;
    StartsWithRemote();
    Writes(kWizardMode, "PNP_SETUP");
    Writes(kWizardMode, "OFF"); // nor on: it was not the wizard
    EXPECT_THAT(Commands(), IsEmpty());
}

TEST_F(GripSensorTest, OnlyTheModeOffBringsTheSensorBack)
{
    StartsWithRemote();
    Writes(kWizardMode, "PNP_SETUP");
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_OFF;
    tv.tape.Clear();
    for (const char* mode : {"", "DONE", "off", "SMARTHUB_SETUP", "OFF "}) {
        Writes(kWizardMode, mode);
    }
    EXPECT_THAT(Commands(), IsEmpty());
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_ON;
    Writes(kWizardMode, "OFF"); // it is on: nothing to do, and still to be done
    EXPECT_THAT(Commands(), IsEmpty());
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_OFF;
    Writes(kWizardMode, "OFF");
    EXPECT_THAT(Commands(), ElementsAre(On()));
}

TEST_F(GripSensorTest, WhatTheWizardSwitchedOffIsRememberedByTheProcess)
{
    StartsWithRemote();
    Writes(kWizardMode, "PNP_SETUP");
    RemoteGoes();
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_OFF;
    Writes(kWizardMode, "OFF");
    tv.tape.Clear();
    RemoteConnects();
    EXPECT_THAT(Commands(), ElementsAre(On()));
}

TEST_F(GripSensorTest, ASetWithoutSupportForgetsTheRecovery)
{
    StartsWithRemote();
    Writes(kWizardMode, "PNP_SETUP");
    tv.features.Has(kSupport, false);
    remotes->SetGripSensorOnOff();
    tv.features.Has(kSupport, true);
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_OFF;
    tv.tape.Clear();
    Writes(kWizardMode, "OFF");
    EXPECT_THAT(Commands(), IsEmpty());
}

TEST_F(GripSensorTest, ACommandThatFailsIsNotLookedAt)
{
    StartsWithRemote();
    tv.Fails("bt_hid_send_device_command", BT_ERROR_RESOURCE_BUSY);
    tv.Fails("bt_hid_get_smart_rc_device_type", BT_ERROR_OPERATION_FAILED);
    remotes->GripSensorOn(kRemote);
    remotes->GripSensorOff(kRemote);
    EXPECT_THAT(Commands(), ElementsAre(Command(kRemote, 0, 0x30, BT_ERROR_RESOURCE_BUSY),
                                        Command(kRemote, 0, 0x31, BT_ERROR_RESOURCE_BUSY)));
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I GripSensorOn", "I GripSensorOff"));
}

// --- A change of its state ---

TEST_F(GripSensorTest, TheFirstStateOfTheProcessSetsTheSensorTheLaterOnesDoNot)
{
    StartsWithRemote();
    SensorTurns(BT_SC_GRIP_SENSOR_NOT_AVAILABLE); // does not count
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E state = -1"));
    Writes(kWizardMode, "PNP_SETUP");
    SensorTurns(BT_SC_GRIP_SENSOR_ON);
    EXPECT_TRUE(HasSaid("E state = 1"));
    EXPECT_THAT(Commands(), ElementsAre(Off()));
    SensorTurns(BT_SC_GRIP_SENSOR_ON);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E state = 1"));
    EXPECT_THAT(Commands(), IsEmpty());
}

TEST_F(GripSensorTest, AStateResetsThePopupCounter)
{
    StartsWithRemote();
    for (const auto state : {BT_SC_GRIP_SENSOR_ON, BT_SC_GRIP_SENSOR_OFF}) {
        tv.settings.Writes(kPopupCount, 5);
        SensorTurns(state);
        EXPECT_EQ(tv.settings.Int(kPopupCount), 0);
    }
    tv.settings.Writes(kPopupCount, 5);
    SensorTurns(BT_SC_GRIP_SENSOR_NOT_AVAILABLE);
    EXPECT_EQ(tv.settings.Int(kPopupCount), 5);
}

TEST_F(GripSensorTest, AStateWithoutUserDataResetsTheCounterAndNoMore)
{
    StartsWithRemote();
    tv.settings.Writes(kPopupCount, 5);
    CSmartRcEventHandler::OnGripSensorStateChanged(BT_SC_GRIP_SENSOR_ON, nullptr);
    EXPECT_EQ(tv.settings.Int(kPopupCount), 0);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E state = 1", "E userData is NULL"));
    SensorTurns(BT_SC_GRIP_SENSOR_ON);
    EXPECT_TRUE(HasSaid("I SetGripSensorOnOff"));
}

// Sensors to come may have more states than the two that are known.
constexpr std::array<int, 6> kUnknownStates = {2, 3, 127, 2147483647, -2, -2147483647 - 1};

TEST_F(GripSensorTest, AStateThatNobodyKnowsIsASensorAndNeitherOnNorOff)
{
    StartsWithRemote();
    for (const int state : kUnknownStates) {
        tv.settings.Writes(kPopupCount, 5);
        SensorTurns(state);
        EXPECT_TRUE(HasSaid("E state = " + std::to_string(state)));
        EXPECT_EQ(tv.settings.Int(kPopupCount), 0) << state;
        EXPECT_EQ(remotes->getGripSensorKpiStatus(), 1) << state;
        EXPECT_TRUE(remotes->GripSensorPopupAvailable()) << state;
        tv.settings.Writes(kWizardMode, "PNP_SETUP");
        remotes->SetGripSensorOnOff();
        EXPECT_TRUE(
            HasSaid("I bt_hid_get_smart_rc_grip_sensor_state ret = ERROR_NONE state = " + std::to_string(state)));
        tv.settings.Writes(kWizardMode, "OFF");
        remotes->SetGripSensorOnOff();
        EXPECT_THAT(Commands(), IsEmpty()) << state;
    }
}

TEST_F(GripSensorTest, AStateThatNobodyKnowsDoesNotEndARecovery)
{
    StartsWithRemote();
    Writes(kWizardMode, "PNP_SETUP");
    tv.tape.Clear();
    for (const int state : kUnknownStates) {
        SensorTurns(state);
        Writes(kWizardMode, "OFF");
        EXPECT_THAT(Commands(), IsEmpty()) << state;
    }
    SensorTurns(BT_SC_GRIP_SENSOR_OFF);
    Writes(kWizardMode, "OFF");
    EXPECT_THAT(Commands(), ElementsAre(On()));
}

// --- A grip ---

TEST_F(GripSensorTest, AGripShowsThePopupAndTellsTheCollector)
{
    StartsWithRemote();
    Gripped(0x42);
    EXPECT_THAT(Heard(), ElementsAre("GripSensorDetected"));
    EXPECT_THAT(Deeds(), ElementsAre(Solar(14, 90, 5, 0x42)));
    EXPECT_THAT(Said("HandleGripSensorDetected"), ElementsAre("I Grip Sensor Detected"));
    EXPECT_THAT(Said("GripSensorPopupAvailable"), ElementsAre("I count : 0"));
    EXPECT_THAT(Said("sendGripsensorKpi"), ElementsAre("I adc = 14 lux = 90 status = 5 key = 66"));
    EXPECT_EQ(tv.settings.Int(kPopupCount), std::nullopt); // somebody else counts
}

TEST_F(GripSensorTest, ForTheCollectorTheBatteryIsReadBeforeTheLight)
{
    StartsWithRemote();
    Gripped(0x42);
    EXPECT_THAT(
        tv.tape.Calls({"bt_hid_get_smart_rc_battery_status", "ppi_ecs_get_colorsensor_info"}),
        ElementsAre(HasSubstr("bt_hid_get_smart_rc_battery_status"), HasSubstr("ppi_ecs_get_colorsensor_info")));
}

TEST_F(GripSensorTest, ThePopupIsShownFiveTimes)
{
    StartsWithRemote();
    for (const int count : {-1, 0, 4}) {
        tv.settings.Writes(kPopupCount, count);
        Gripped(1);
        EXPECT_THAT(Heard(), SizeIs(1)) << count;
    }
    for (const int count : {5, 6, 2147483647}) {
        tv.settings.Writes(kPopupCount, count);
        Gripped(1);
        EXPECT_THAT(Heard(), IsEmpty()) << count;
        EXPECT_THAT(Said("GripSensorPopupAvailable"),
                    ElementsAre("I count : " + std::to_string(count), "E reached max count"));
        EXPECT_THAT(tv.tape.Kpi(), SizeIs(1)) << count;
    }
}

TEST_F(GripSensorTest, TheSetupWizardAllowsNoPopup)
{
    StartsWithRemote();
    for (const char* mode : {"PNP_SETUP", "SMARTHUB_SETUP", "OSU_TERMS_SETUP"}) {
        tv.settings.Writes(kWizardMode, mode);
        Gripped(1);
        EXPECT_THAT(Heard(), IsEmpty());
        EXPECT_THAT(Said("GripSensorPopupAvailable"), ElementsAre(std::string("E wizard mode == ") + mode));
        EXPECT_THAT(tv.tape.Kpi(), SizeIs(1));
    }
    tv.settings.Writes(kWizardMode, "OFF");
    Gripped(1);
    EXPECT_THAT(Heard(), SizeIs(1));
}

TEST_F(GripSensorTest, WithoutASensorThereIsNoPopup)
{
    StartsWithRemote();
    tv.Fails("bt_hid_get_smart_rc_grip_sensor_state", BT_ERROR_OPERATION_FAILED);
    Gripped(1);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_THAT(Said("GripSensorPopupAvailable"), ElementsAre("E BT_SC_GRIP_SENSOR_NOT_AVAILABLE"));
    EXPECT_TRUE(HasSaid("I bt_hid_get_smart_rc_grip_sensor_state ret = OPERATION_FAILED state = -1"));
    EXPECT_THAT(tv.tape.Kpi(), SizeIs(1));
}

TEST_F(GripSensorTest, ASensorThatIsOffStillMayShowThePopup)
{
    StartsWithRemote();
    tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_OFF;
    EXPECT_TRUE(remotes->GripSensorPopupAvailable());
}

TEST_F(GripSensorTest, WhatCannotBeReadSuppressesTheEvent)
{
    StartsWithRemote();
    for (const char* function : {"bt_hid_get_smart_rc_battery_status", "ppi_ecs_get_colorsensor_info"}) {
        tv.Fails(function, BT_ERROR_OPERATION_FAILED);
        Gripped(1);
        tv.Recovers(function);
        EXPECT_THAT(tv.tape.Kpi(), IsEmpty()) << function;
        EXPECT_THAT(Said("sendGripsensorKpi"), ElementsAre("E kpi value data is invalid"));
        EXPECT_THAT(Heard(), SizeIs(1)) << function;
    }
}

TEST_F(GripSensorTest, TextsThatAreThrownAreCaughtAndLogged)
{
    StartsWithRemote();
    tv.colorSensor.curve = []() -> int { throw std::runtime_error("out of order"); };
    remotes->sendGripsensorKpi(1);
    tv.colorSensor.curve = []() -> int { throw std::string("a text with a % in it"); };
    remotes->sendGripsensorKpi(1);
    EXPECT_THAT(Said("sendGripsensorKpi"), ElementsAre("E out of order", "E a text with a % in it"));
    EXPECT_THAT(tv.tape.Kpi(), IsEmpty());
}

TEST_F(GripSensorTest, AGripWithoutUserDataIsDropped)
{
    CSmartRcEventHandler::OnGripSensorDetected(1, nullptr);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E userData is NULL"));
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
}

TEST_F(GripSensorTest, AGripWithNothingConnectedDoesNoHarm)
{
    Starts();
    Gripped(255);
    EXPECT_THAT(tv.tape.Kpi(), IsEmpty());
}

// --- Touch IR ---

class TouchIrTest : public RemotesTest
{
protected:
    void Starts(int mode)
    {
        tv.settings.Writes(kTouchIr, mode);
        RemotesTest::Starts();
    }
};

TEST_F(TouchIrTest, TheStartStartsTheMonitorForEveryModeButZero)
{
    Starts(0);
    for (const int mode : {1, 2, -1}) {
        Writes(kTouchIr, mode);
        Heard();
        remotes->StartTouchIrMonitor();
        EXPECT_THAT(Heard(), ElementsAre("irmonitor Start")) << mode;
    }
    Writes(kTouchIr, 0);
    tv.tape.Clear();
    remotes->StartTouchIrMonitor();
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E touchIrMode is not enabled"));
    Writes(kTouchIr, "1");
    remotes->StartTouchIrMonitor();
    tv.settings.Removes(kTouchIr);
    remotes->StartTouchIrMonitor();
    EXPECT_EQ(TimesSaid("E touchIrMode is not enabled"), 3);
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(TouchIrTest, TheServiceStartsTheMonitorAtItsStart)
{
    Starts(1);
    EXPECT_THAT(Heard(), ElementsAre("irmonitor Start"));
}

TEST_F(TouchIrTest, AChangeToOneStartsTheMonitorAndAnyOtherStopsIt)
{
    Starts(0);
    tv.PostsFlag("/tmp/.bt_irmonitor");
    for (const int mode : {1, 2, 1, 0, -1}) {
        tv.tape.Clear();
        Writes(kTouchIr, mode);
        EXPECT_TRUE(HasSaid("I touchIrMode: " + std::to_string(mode)));
    }
    EXPECT_THAT(Heard(), ElementsAre("irmonitor Start", "irmonitor Stop", "irmonitor Start", "irmonitor Stop",
                                     "irmonitor Stop"));
}

TEST_F(TouchIrTest, AMonitorThatDoesNotRunIsNotStopped)
{
    Starts(0);
    Writes(kTouchIr, 0);
    EXPECT_THAT(Heard(), IsEmpty());
    EXPECT_TRUE(HasSaid("E Stop command but irmonitor is not running"));
}

TEST_F(TouchIrTest, ASettingOfAnotherTypeCountsAsOff)
{
    Starts(0);
    tv.PostsFlag("/tmp/.bt_irmonitor");
    Writes(kTouchIr, "1");
    EXPECT_THAT(Heard(), ElementsAre("irmonitor Stop"));
    remotes->OnTouchIrModeChanged(nullptr);
    EXPECT_TRUE(HasSaid("E keyNode is null"));
    EXPECT_THAT(Heard(), IsEmpty());
}

} // namespace
