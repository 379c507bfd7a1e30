// The sun and the grip: what charging tells, and the usage event of both.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/ColorSensor.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_error.h>
#include <bt_hid.h>

#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;

namespace {

class SolarTest : public RemotesTest
{
protected:
    void StartsWithBoth()
    {
        Starts();
        RemoteConnects();
        WheelConnects();
        tv.smartRemote.battery = Battery(5, 9);
        tv.wheel.battery = Battery(5, 21);
        tv.colorSensor.lux = 450;
        Heard();
        tv.tape.Clear();
    }
    void RemoteCharges(unsigned char status, unsigned char harvestTime)
    {
        tv.tape.Clear();
        tv.smartRemote.ReportsCharging(status, harvestTime);
        Settle();
    }
    void WheelCharges(unsigned char status, unsigned char harvestTime)
    {
        tv.tape.Clear();
        tv.wheel.ReportsCharging(status, harvestTime);
        Settle();
    }
};

/// The reason of a charging status; none for one that has no reason.
std::optional<int> ReasonOf(int status)
{
    const std::map<int, int> reasons = {{5, 1}, {6, 0}, {7, 2}, {8, 4}, {9, 3}};
    const auto found = reasons.find(status);
    return found != reasons.end() ? std::optional(found->second) : std::nullopt;
}

TEST_F(SolarTest, EveryChargingStatusHasItsEventAndItsCall)
{
    StartsWithBoth();
    for (int status = 0; status < 256; ++status) {
        const auto byte = static_cast<unsigned char>(status);
        const std::optional<int> reason = ReasonOf(status);
        // 8 keeps the harvest time, 9 takes the grip sensor's status: 1, there is none.
        const int detail = status == 8 ? 77 : status == 9 ? 1 : 0;
        RemoteCharges(byte, 77);
        const std::vector<std::string> ofRemote = Deeds();
        WheelCharges(byte, 77);
        const std::vector<std::string> ofWheel = Deeds();
        if (reason) {
            EXPECT_THAT(ofRemote, ElementsAre(Solar(9, 450, *reason, detail)));
            EXPECT_THAT(ofWheel, ElementsAre(Solar(21, 450, *reason, detail)));
        } else {
            EXPECT_THAT(ofRemote, IsEmpty());
            EXPECT_THAT(ofWheel, IsEmpty());
            EXPECT_TRUE(HasSaid("E solar kpi value is invalid , do not send solar kpi"));
        }
        std::vector<std::string> expected;
        if (status == 6 || status == 7) {
            const std::string body = "BatteryChargingStatus (y) (0x0" + std::to_string(status) + ",)";
            expected = {"SmartRc" + body, "HalvoWheel" + body};
        }
        EXPECT_EQ(Heard(), expected) << status;
        EXPECT_EQ(remotes->GetSolarEventReason(byte), reason.value_or(-1));
    }
}

TEST_F(SolarTest, AReportIsLogged)
{
    StartsWithBoth();
    RemoteCharges(0x0B, 255);
    EXPECT_TRUE(HasSaid("I charging status : 0xb, harvestTime = 255"));
    WheelCharges(8, 200);
    EXPECT_THAT(tv.tape.Messages(), IsSupersetOf({"I charging status : 0x8, harvestTime = 200",
                                                  "I adc = 21 lux = 450 reason = 4 harvest time = 200"}));
}

TEST_F(SolarTest, ReportsWithNothingConnectedStillReachTheConnectionManager)
{
    Starts();
    RemoteCharges(6, 3);
    EXPECT_THAT(tv.tape.Messages(), IsSupersetOf({"E device is not connected"}));
    WheelCharges(7, 3);
    EXPECT_TRUE(HasSaid("E device is not connected"));
    EXPECT_THAT(tv.tape.Kpi(), IsEmpty());
    EXPECT_THAT(Heard(),
                ElementsAre("SmartRcBatteryChargingStatus (y) (0x06,)", "HalvoWheelBatteryChargingStatus (y) (0x07,)"));
}

TEST_F(SolarTest, CallbacksWithoutUserDataAreDropped)
{
    StartsWithBoth();
    CSmartRcEventHandler::OnSmartRcBatteryChargingStatusRecieved(6, 1, nullptr);
    CSmartRcEventHandler::OnHalvoWheelBatteryChargingStatusRecieved(6, 1, nullptr);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E userData is NULL", "E userData is NULL"));
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(SolarTest, TheGripSensorsStatusGoesWithABatteryReport)
{
    StartsWithBoth();
    const std::map<bt_hid_sc_grip_sensor_state_e, int> statuses = {
        {BT_SC_GRIP_SENSOR_NOT_AVAILABLE, 1}, {BT_SC_GRIP_SENSOR_OFF, 2}, {BT_SC_GRIP_SENSOR_ON, 3}};
    for (const auto& [state, status] : statuses) {
        tv.smartRemote.gripSensor = state;
        EXPECT_EQ(remotes->getGripSensorKpiStatus(), status);
        RemoteCharges(9, 50);
        EXPECT_THAT(Deeds(), ElementsAre(Solar(9, 450, 3, status)));
    }
    tv.Fails("bt_hid_get_smart_rc_grip_sensor_state", BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(remotes->getGripSensorKpiStatus(), 1);
}

TEST_F(SolarTest, WhatCannotBeReadSuppressesTheEvent)
{
    StartsWithBoth();
    for (const char* function : {"bt_hid_get_smart_rc_battery_status", "ppi_ecs_get_colorsensor_info"}) {
        tv.Fails(function, BT_ERROR_OPERATION_FAILED);
        RemoteCharges(6, 1);
        tv.Recovers(function);
        EXPECT_THAT(tv.tape.Kpi(), IsEmpty()) << function;
        EXPECT_TRUE(HasSaid("E solar kpi value is invalid , do not send solar kpi")) << function;
    }
    tv.Fails("bt_hid_get_halvo_switch_battery_status", BT_ERROR_OPERATION_FAILED);
    WheelCharges(6, 1);
    EXPECT_THAT(tv.tape.Kpi(), IsEmpty());
    EXPECT_TRUE(HasSaid("E getting battery status failed OPERATION_FAILED"));
    RemoteCharges(6, 1);
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(Solar(9, 450, 0, 0)));
    EXPECT_THAT(Heard(), testing::SizeIs(4)); // the calls went out every time
}

TEST_F(SolarTest, DarknessIsAReadingLikeAnyOther)
{
    StartsWithBoth();
    tv.colorSensor.lux = 0;
    RemoteCharges(6, 1);
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(Solar(9, 0, 0, 0)));
    tv.colorSensor.lux = -2; // the sensor's words are signed
    RemoteCharges(6, 1);
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(Solar(9, -2, 0, 0)));
    tv.colorSensor.lux = -1; // cannot be told from a failure
    RemoteCharges(6, 1);
    EXPECT_THAT(tv.tape.Kpi(), IsEmpty());
}

TEST_F(SolarTest, AReadingThatIsGivenIsNotAskedFor)
{
    StartsWithBoth();
    remotes->SendSolarChargeKpi(5, SmartRc, 31, 9);
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(Solar(31, 450, 1, 0)));
    EXPECT_THAT(Deeds("bt_hid_get_smart_rc_battery_status"), IsEmpty());
    tv.tape.Clear();
    remotes->SendSolarChargeKpi(8, HalvoWheel, 0, 9);
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(Solar(0, 450, 4, 9)));
    tv.tape.Clear();
    remotes->SendSolarChargeKpi(8, static_cast<Remote_Control_Device_Type>(2), 0, 9);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E invalid device type", "E device is not connected"));
}

TEST_F(SolarTest, TheReadingIsTheUpperFiveBits)
{
    StartsWithBoth();
    for (int byte = 0; byte < 256; ++byte) {
        tv.smartRemote.battery = static_cast<unsigned char>(byte);
        tv.wheel.battery = static_cast<unsigned char>(255 - byte);
        int adc = -5;
        remotes->GetSmartRcAdc(adc);
        EXPECT_EQ(adc, byte / 8);
        remotes->GetHalvoWheelAdc(adc);
        EXPECT_EQ(adc, (255 - byte) / 8);
    }
    tv.Fails("bt_hid_get_smart_rc_battery_status", BT_ERROR_NOT_ENABLED);
    tv.Fails("bt_hid_get_halvo_switch_battery_status", BT_ERROR_NOT_ENABLED);
    tv.tape.Clear();
    int adc = 5;
    remotes->GetSmartRcAdc(adc);
    EXPECT_EQ(adc, -1);
    adc = 5;
    remotes->GetHalvoWheelAdc(adc);
    EXPECT_EQ(adc, -1);
    EXPECT_EQ(TimesSaid("E getting battery status failed NOT_ENABLED"), 2);
}

TEST_F(SolarTest, ACollectorThatFailsIsItsOwnBusiness)
{
    StartsWithBoth();
    tv.Fails("AddEventLogAsync", -1);
    RemoteCharges(6, 1);
    EXPECT_THAT(Heard(), ElementsAre("SmartRcBatteryChargingStatus (y) (0x06,)"));
}

TEST_F(SolarTest, WithoutABusClientNothingIsSentAndNothingIsLost)
{
    remotes->Init(nullptr);
    Settle();
    RemoteConnects();
    RemoteReports(Battery(5, 1));
    EXPECT_EQ(TimesSaid("E no bus client, SmartRcBatteryNotify is dropped"), 1);
    EXPECT_EQ(tv.settings.Int(kLevelOfRemote), 5);
}

} // namespace
