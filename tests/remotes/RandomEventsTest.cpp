// Events in any order, as a house full of people, weak links and other services makes them.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/ColorSensor.h"
#include "sim/Features.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Timers.h"

#include <gtest/gtest.h>

#include <bt_device.h>
#include <bt_error.h>
#include <bt_hid.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr int kEventsPerSeed = 10000;

constexpr std::array<const char*, 16> kFailing = {"bt_hid_get_smart_remote_conn_status",
                                                  "bt_hid_get_halvo_switch_connection_state",
                                                  "bt_hid_get_smart_rc_address",
                                                  "bt_hid_get_halvo_switch_address",
                                                  "bt_hid_get_smart_rc_device_type",
                                                  "bt_hid_get_smart_rc_fw_version",
                                                  "bt_hid_get_smart_rc_battery_status",
                                                  "bt_hid_get_halvo_switch_battery_status",
                                                  "bt_hid_get_smart_rc_grip_sensor_state",
                                                  "bt_hid_send_device_command",
                                                  "bt_hid_send_rc_command",
                                                  "bt_hid_send_duid",
                                                  "bt_hid_set_conn_no_latency",
                                                  "ppi_ecs_get_colorsensor_info",
                                                  "system_info_get_custom_bool",
                                                  "system_info_get_value_int"};
constexpr std::array<const char*, 4> kFailingSettings = {"vconf_get_int", "vconf_get_str", "vconf_set_int",
                                                         "vconf_set_str"};
constexpr std::array<int, 5> kCodes = {BT_ERROR_RESOURCE_BUSY, BT_ERROR_NOW_IN_PROGRESS, BT_ERROR_ALREADY_DONE,
                                       BT_ERROR_OPERATION_FAILED, BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED};
constexpr std::array<const char*, 9> kWatched = {kUseMode,    kOobStatus, kDuid,        kFactoryMode, kServiceReset,
                                                 kWizardMode, kTouchIr,   kFirstScreen, kPopupCount};
constexpr std::array<const char*, 7> kTexts = {"", "OFF", "PNP_SETUP", "SMARTHUB_SETUP", "x", "\xFF\xFE", "D1234"};
constexpr std::array<const char*, 8> kSolarTexts = {"", "2", "31", "-1", "99999999999999", "garbage", "15", "0"};
constexpr std::array<std::chrono::milliseconds, 7> kTimes = {1ms, 160ms, 450ms, 1100ms, 6s, 11s, 1h};

/// How often a remote may be announced as low: under 50 once and under 10 once, until it recovers or another comes.
class Warnings
{
public:
    void Rearm()
    {
        m_given = 0;
        m_last = 101;
    }
    void Take(int percent)
    {
        EXPECT_LT(++m_given, 3) << "warned a third time, at " << percent;
        EXPECT_LE(percent, m_given == 1 ? 48 : 10) << "warned for the " << m_given << ". time";
        EXPECT_LT(percent, m_last);
        m_last = percent;
    }

private:
    int m_given = 0;
    int m_last = 101;
};

class RandomEventsTest : public RemotesTest, public testing::WithParamInterface<unsigned int>
{
protected:
    int Below(int end)
    {
        return static_cast<int>(m_random() % static_cast<unsigned int>(end));
    }
    unsigned char AnyByte()
    {
        return static_cast<unsigned char>(Below(256));
    }
    template <typename Array>
    auto OneOf(const Array& array)
    {
        return array[static_cast<std::size_t>(Below(static_cast<int>(array.size())))];
    }
    /// With every second seed the settings fail too; what rests on them cannot be held then.
    [[nodiscard]] bool SettingsFail() const
    {
        return GetParam() % 2 == 0;
    }

    void SomethingHappens();
    void SomebodyComesOrGoes();
    void SomethingIsReported();
    void SomebodyWritesASetting();
    void SomethingFailsOrRecovers();
    void SomebodyAsks();
    void TheSetChanges();
    void HoldInvariants();
    void TakeWarnings();
    void ProbeAddresses();

    std::mt19937 m_random{GetParam()};
    std::string m_remote; ///< what the handler must know
    std::string m_wheel;
    Warnings m_warningsOfRemote;
    Warnings m_warningsOfWheel;
};

void RandomEventsTest::SomethingHappens()
{
    switch (Below(16)) {
    case 0:
    case 1:
        return SomebodyComesOrGoes();
    case 2:
    case 3:
    case 4:
    case 5:
    case 6:
        return SomethingIsReported();
    case 7:
    case 8:
        return SomebodyWritesASetting();
    case 9:
    case 10:
        return SomethingFailsOrRecovers();
    case 11:
        return SomebodyAsks();
    case 12:
        return TheSetChanges();
    default:
        return Passes(OneOf(kTimes));
    }
}

void RandomEventsTest::SomebodyComesOrGoes()
{
    switch (Below(6)) {
    case 0:
        m_remote = Below(2) == 0 ? kRemote : kOtherRemote;
        return tv.smartRemote.Connects(m_remote);
    case 1:
        m_wheel = Below(3) == 0 ? kRemote : Below(2) == 0 ? kWheel : kOtherWheel;
        return tv.wheel.Connects(m_wheel);
    case 2:
        m_remote.clear();
        return tv.smartRemote.Disconnects(Below(4));
    case 3:
        m_wheel.clear();
        return tv.wheel.Disconnects(Below(4));
    case 4:
        m_remote.clear();
        return tv.smartRemote.LosesLink(Below(4));
    default:
        m_wheel.clear();
        return tv.wheel.LosesLink(Below(4));
    }
}

void RandomEventsTest::SomethingIsReported()
{
    switch (Below(9)) {
    case 0:
    case 1:
    case 2:
        return tv.smartRemote.ReportsBattery(AnyByte());
    case 3:
    case 4:
        return tv.wheel.ReportsBattery(AnyByte());
    case 5:
        return tv.smartRemote.ReportsCharging(AnyByte() % 12, AnyByte());
    case 6:
        return tv.wheel.ReportsCharging(AnyByte() % 12, AnyByte());
    case 7:
        return tv.smartRemote.IsGripped(AnyByte());
    default:
        return tv.smartRemote.GripSensorTurns(Below(4) - 1);
    }
}

void RandomEventsTest::SomebodyWritesASetting()
{
    const char* key = OneOf(kWatched);
    switch (Below(5)) {
    case 0:
        return tv.settings.Writes(key, OneOf(kTexts));
    case 1:
        return tv.settings.Writes(key, Below(2) == 0);
    default:
        return tv.settings.Writes(key, Below(7));
    }
}

void RandomEventsTest::SomethingFailsOrRecovers()
{
    const char* function = SettingsFail() && Below(5) == 0 ? OneOf(kFailingSettings) : OneOf(kFailing);
    if (Below(2) == 0) {
        tv.Recovers(function);
    } else {
        tv.Fails(function, OneOf(kCodes), 1 + Below(6));
    }
}

void RandomEventsTest::SomebodyAsks()
{
    bt_device_info_s nobody = {};
    switch (Below(12)) {
    case 0:
        remotes->SendResetCommand();
        break;
    case 1:
        remotes->SendResetCommandToHalvoWheel();
        break;
    case 2:
        remotes->SetHsmVconf(Below(2) == 0 ? kRemote : kWheel, Below(7) - 1);
        break;
    case 3:
        remotes->SendNoLatencyCommand();
        break;
    case 4:
        remotes->StartAmbiLightTimer();
        break;
    case 5:
        remotes->SendAmbiLightKpi();
        break;
    case 6:
        remotes->SendDeviceInfoQuery(static_cast<Remote_Control_Device_Type>(Below(3)));
        break;
    case 7:
        CSmartRcEventHandler::OnSmartRcConnectionStateChanged(Below(2) == 0, &nobody, remotes.get());
        break;
    case 8:
        CSmartRcEventHandler::OnHalvoWheelConnectionStateChanged(Below(2) == 0, nullptr, remotes.get());
        break;
    case 9:
        CSmartRcEventHandler::OnSmartRcBatteryNotifyChanged(nullptr, remotes.get());
        break;
    case 10:
        CSmartRcEventHandler::OnGripSensorStateChanged(BT_SC_GRIP_SENSOR_ON, nullptr);
        break;
    default:
        remotes->GripSensorPopupAvailable();
    }
}

void RandomEventsTest::TheSetChanges()
{
    switch (Below(8)) {
    case 0:
        return tv.features.Has("product.is_game_screen_monitor", Below(2) == 0);
    case 1:
        return tv.features.Has("setting.menuitem.remote_grib_support", Below(2) == 0);
    case 2:
        return Below(2) == 0 ? tv.MakesFile("/tmp/app_ready") : tv.RemovesFile("/tmp/app_ready");
    case 3:
        return tv.MakesFile("/tmp/solar", OneOf(kSolarTexts));
    case 4:
        return tv.RemovesFile("/tmp/solar");
    case 5:
        tv.power.state = Below(5);
        return;
    case 6:
        tv.smartRemote.fwVersion = static_cast<unsigned int>(Below(16)) << 28;
        return;
    default:
        tv.smartRemote.gripSensor = Below(4) - 1;
        tv.colorSensor.lux = Below(1000) - 2;
    }
}

/// Follows notices and what makes them due again, in the order in which they are on the tape.
void RandomEventsTest::TakeWarnings()
{
    const auto percentOf = [](const std::string& text) { return std::stoi(text.substr(text.find('\'') + 1)); };
    const std::string clearsRemote = std::string("vconf_set_int(\"") + kFlagOfRemote + "\", 0)";
    const std::string clearsWheel = std::string("vconf_set_int(\"") + kFlagOfWheel + "\", 0)";
    for (const sim::Entry& entry : tv.tape.Entries()) {
        if (entry.text.starts_with(clearsRemote)) {
            m_warningsOfRemote.Rearm();
        } else if (entry.text.starts_with(clearsWheel)) {
            m_warningsOfWheel.Rearm();
        } else if (entry.kind == sim::Kind::Bus && entry.text.find(" SmartRcBatteryLevel ") != std::string::npos) {
            m_warningsOfRemote.Take(percentOf(entry.text));
        } else if (entry.kind == sim::Kind::Bus && entry.text.find(" HalvoWheelBatteryLevel ") != std::string::npos) {
            m_warningsOfWheel.Take(percentOf(entry.text));
        }
    }
}

void RandomEventsTest::HoldInvariants()
{
    EXPECT_EQ(remotes->GetSmartRcAddress(), m_remote);
    EXPECT_LE(sim::PendingTimers("3600000 ms"), 1) << "ambient light";
    EXPECT_LE(sim::PendingTimers("10 s"), m_remote.empty() ? 0 : 1) << "IR key code";
    EXPECT_LE(sim::PendingTimers("5 s"), 1) << "use mode";
    std::string slots;
    remotes->GetSavedAllLuxInfo(slots);
    EXPECT_EQ(std::count(slots.begin(), slots.end(), '|'), 7);
    if (!SettingsFail()) {
        TakeWarnings();
    }
}

/// Has the handler write down which addresses it knows.
void RandomEventsTest::ProbeAddresses()
{
    for (const char* function : kFailingSettings) {
        tv.Recovers(function);
    }
    tv.settings.Writes(kLostRemote, "");
    tv.settings.Writes(kLostWheel, "");
    remotes->SetHsmVconf("probe");
    EXPECT_EQ(tv.settings.Text(kLostRemote), m_remote);
    EXPECT_EQ(tv.settings.Text(kLostWheel), m_wheel);
}

TEST_P(RandomEventsTest, WhateverHappensTheInvariantsHold)
{
    std::cout << "seed " << GetParam() << "\n";
    tv.smartRemote.fwVersion = kSolarVersion;
    Starts();
    for (int event = 0; event < kEventsPerSeed && !HasFailure(); ++event) {
        tv.tape.Clear();
        SomethingHappens();
        Settle();
        HoldInvariants();
        if (event % 100 == 0) {
            ProbeAddresses();
            Heard();
        }
        if (HasFailure()) {
            std::cout << "event " << event << "\n";
            for (const std::string& line : tv.tape.All()) {
                std::cout << line << "\n";
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomEventsTest, testing::Range(1U, 11U),
                         [](const auto& tested) { return std::to_string(tested.param); });

} // namespace
