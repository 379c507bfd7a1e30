// A month of a household, on virtual time.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/Adapter.h"
#include "sim/ColorSensor.h"
#include "sim/Features.h"
#include "sim/Power.h"
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
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <memory>
#include <set>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

namespace {

constexpr int kDays = 30;
constexpr int kFirstHour = 8;
constexpr int kLastHour = 23;

constexpr int kShopDay = 4;         ///< the set is on display
constexpr int kShortDay = 6;        ///< it goes to standby at noon
constexpr int kBusyDay = 11;        ///< links are weak
constexpr int kFactoryDay = 13;     ///< somebody opens the factory menu
constexpr int kSunnyDay = 15;       ///< the smart remote lies in the sun
constexpr int kDuidDay = 18;        ///< the set gets another id
constexpr int kResetDay = 20;       ///< Bluetooth is reset
constexpr int kOtherRemoteDay = 22; ///< a new smart remote is bought
constexpr int kLossDay = 25;        ///< the battery is taken out

/// The light in the room: dark at night, brightest at noon.
int LuxAt(int hour)
{
    return hour < 6 || hour > 20 ? 0 : 1000 - 100 * std::abs(hour - 13);
}

class MonthTest : public RemotesTest
{
protected:
    MonthTest()
    {
        tv.smartRemote.fwVersion = 0xF0000002U; // solar, two microphones
        tv.smartRemote.gripSensor = BT_SC_GRIP_SENSOR_ON;
        tv.features.Has("setting.menuitem.remote_grib_support");
        tv.MakesFile("/tmp/app_ready");
        tv.colorSensor.curve = [this] { return LuxAt(m_hour % 24); };
    }

    /// Empties the tape into the books of the month, which would grow too long otherwise.
    void KeepBooks()
    {
        const std::vector<std::string> heard = Heard();
        m_heard.insert(m_heard.end(), heard.begin(), heard.end());
        for (const sim::Entry& entry : tv.tape.Entries()) {
            if (entry.kind == sim::Kind::Kpi || entry.text.starts_with("bt_hid_send") ||
                entry.text.starts_with("bt_hid_set_conn")) {
                m_deeds.push_back(entry.text);
            }
            EXPECT_FALSE(entry.kind == sim::Kind::Log && entry.message.starts_with("exception")) << entry.text;
        }
        tv.tape.Clear();
    }

    [[nodiscard]] int Count(const std::string& text) const
    {
        return static_cast<int>(std::ranges::count_if(
            m_deeds, [&](const std::string& deed) { return deed.find(text) != std::string::npos; }));
    }
    [[nodiscard]] int CountHeard(const std::string& text) const
    {
        return static_cast<int>(std::ranges::count_if(
            m_heard, [&](const std::string& call) { return call.find(text) != std::string::npos; }));
    }
    [[nodiscard]] std::vector<std::string> HeardOf(const std::string& method) const
    {
        std::vector<std::string> calls;
        std::ranges::copy_if(m_heard, std::back_inserter(calls),
                             [&](const std::string& call) { return call.starts_with(method + " "); });
        return calls;
    }

    void AnHourPasses()
    {
        ++m_hour;
        Passes(1h);
    }
    void Morning(int day);
    void Daytime(int day, int hour);
    void Evening(int day);

    /// Sunk by two a day, and full again after the sunny day.
    static int AdcOfRemote(int day)
    {
        return day < kSunnyDay ? 31 - 2 * day : 31 - 2 * (day - kSunnyDay);
    }
    static int AdcOfWheel(int day)
    {
        return 31 - day;
    }

    int m_hour = 0;
    std::string m_address = kRemote;
    std::vector<std::string> m_deeds;
    std::vector<std::string> m_heard;
};

void MonthTest::Morning(int day)
{
    tv.power.state = 0;
    remotes->StartAmbiLightTimer();
    if (day == kOtherRemoteDay) {
        m_address = kOtherRemote;
    }
    if (day == kBusyDay) {
        tv.Fails("bt_hid_send_device_command", BT_ERROR_RESOURCE_BUSY, 3);
        tv.Fails("bt_hid_send_rc_command", BT_ERROR_RESOURCE_BUSY, 2);
    }
    RemoteConnects(m_address);
    WheelConnects();
    EXPECT_EQ(remotes->GetSmartRcAddress(), m_address);
    Writes(kLastRemote, m_address.c_str()); // as the connection's usage event does
    if (day != kBusyDay) {
        Writes(kFirstScreen, 1);
    }
}

void MonthTest::Daytime(int day, int hour)
{
    if (hour % 4 == 0) { // 12, 16 and 20 o'clock
        tv.smartRemote.ReportsBattery(Battery(3, AdcOfRemote(day)));
        tv.wheel.ReportsBattery(Battery(4, AdcOfWheel(day)));
    }
    if (day == kSunnyDay && hour == 12) {
        tv.smartRemote.ReportsCharging(6, 0);
        tv.smartRemote.ReportsCharging(8, 45);
        tv.smartRemote.ReportsCharging(7, 0);
    }
    if (hour == 19) {
        tv.smartRemote.IsGripped(1);
    }
    if (hour == 10) {
        switch (day) {
        case kShopDay:
            tv.settings.Writes(kUseMode, 1);
            break;
        case kShopDay + 1:
            tv.settings.Writes(kUseMode, 0);
            break;
        case kFactoryDay:
            tv.Fails("bt_hid_set_conn_no_latency", BT_ERROR_NOW_IN_PROGRESS, 2);
            tv.settings.Writes(kFactoryMode, 1);
            break;
        case kDuidDay:
            tv.Fails("bt_hid_send_duid", BT_ERROR_NOW_IN_PROGRESS, 1);
            tv.settings.Writes(kDuid, "DUID-2");
            break;
        case kResetDay:
            EXPECT_TRUE(remotes->SendResetCommand());
            EXPECT_TRUE(remotes->SendResetCommandToHalvoWheel());
            break;
        default:
            break;
        }
    }
    Settle();
}

void MonthTest::Evening(int day)
{
    remotes->SendAmbiLightKpi();
    tv.power.state = 2;
    if (day == kLossDay) {
        tv.smartRemote.LosesLink(1);
        tv.wheel.LosesLink(1);
    } else {
        tv.smartRemote.Disconnects();
        tv.wheel.Disconnects();
    }
    Settle();
    EXPECT_EQ(remotes->GetSmartRcAddress(), "");
    EXPECT_EQ(sim::PendingTimers("3600000 ms"), 0);
    EXPECT_EQ(sim::PendingTimers("10 s"), 0);
}

TEST_F(MonthTest, EveryThingHappensAsOftenAsItShould)
{
    bt_device_set_connection_state_changed_cb(
        [](bool connected, bt_device_connection_info_s* info, void* handler) {
            if (!connected) {
                static_cast<CSmartRcEventHandler*>(handler)->SetHsmVconf(info->remote_address, info->disconnect_reason);
            }
        },
        remotes.get());
    Starts();
    for (int day = 0; day < kDays; ++day) {
        const int lastHour = day == kShortDay ? 12 : kLastHour;
        while (m_hour % 24 != kFirstHour) {
            AnHourPasses();
            KeepBooks();
        }
        Morning(day);
        while (m_hour % 24 != lastHour) {
            AnHourPasses();
            Daytime(day, m_hour % 24);
        }
        Evening(day);
        KeepBooks();
        EXPECT_EQ(tv.settings.Text(kLostRemote), day == kLossDay ? m_address : "") << day;
        EXPECT_EQ(tv.settings.Text(kLostWheelReason), day == kLossDay ? "Timeout" : "") << day;
        while (m_hour % 24 != 0) {
            AnHourPasses();
        }
    }

    // Connection. The wheel is no Halvo monitor's, so it is told nothing of shop mode.
    EXPECT_EQ(Count("BTCONNECT EV006"), kDays);
    EXPECT_EQ(Count(", 0x06) = 0"), 1 + 1);         // when it was written, and the next morning
    EXPECT_EQ(Count(", 0x07) = 0"), kDays - 1 + 1); // every other morning, and when shop mode ended
    EXPECT_EQ(Count(", 0x07) = -16"), 3);           // the busy day: the first send and two retries
    EXPECT_EQ(tv.adapter.headlessDevices, std::set<std::string>{kRemote});

    // Battery: three reports a day, one at noon on the short day.
    const int reports = 3 * kDays - 2;
    EXPECT_EQ(Count("BATTERY EV005 {product=TV-55;batlev=3}"), reports);
    EXPECT_EQ(Count("BATTERY EV005 {product=TV-55;batlev=4}"), reports);
    // 15 on the 9th day and 3 on the 15th; recovered in the sun; 15 again on the 24th, of a new remote, and 3 on the
    // 30th.
    EXPECT_THAT(HeardOf("SmartRcBatteryLevel"),
                ElementsAre("SmartRcBatteryLevel (s) ('48',)", "SmartRcBatteryLevel (s) ('10',)",
                            "SmartRcBatteryLevel (s) ('48',)", "SmartRcBatteryLevel (s) ('10',)"));
    EXPECT_THAT(HeardOf("HalvoWheelBatteryLevel"),
                ElementsAre("HalvoWheelBatteryLevel (s) ('48',)", "HalvoWheelBatteryLevel (s) ('10',)"));
    EXPECT_EQ(tv.settings.Int(kFlagOfRemote), 3);
    EXPECT_EQ(tv.settings.Int(kFlagOfWheel), 3);

    // Sun and grips.
    EXPECT_THAT(HeardOf("SmartRcBatteryChargingStatus"),
                ElementsAre("SmartRcBatteryChargingStatus (y) (0x06,)", "SmartRcBatteryChargingStatus (y) (0x07,)"));
    EXPECT_EQ(Count(";status=4;harvtime=45}"), 1);
    EXPECT_EQ(Count(";status=3;harvtime="), 2 * reports);
    EXPECT_EQ(Count(";status=5;harvtime=1}"), kDays - 1);
    EXPECT_EQ(CountHeard("GripSensorDetected"), kDays - 1);

    // Light: eight samples a day, four on the short one, and the eight hours before the first morning.
    EXPECT_EQ(Count("AMBILIGHT EV015"), kDays + 1);
    EXPECT_EQ(Count("{lux=0|0|0|0|0|300|400|500;"), 1);
    EXPECT_EQ(Count("{lux=600|700|800|900|1000|900|800|700;"), kDays - 1);
    EXPECT_EQ(Count("{lux=600|700|800|900||||;"), 1);

    // What was sent to them.
    EXPECT_EQ(Count(", [24 07], 2) = 0"), kDays);
    EXPECT_EQ(Count(", [24 07], 2) = -16"), 2);
    EXPECT_EQ(Count(std::string("\"") + kWheel + "\", [01 00 00], 3) = 0"), kDays - 1);
    EXPECT_EQ(Count(", [01 00 00], 3) = 0"), 2 * (kDays - 1));
    EXPECT_THAT(Count("bt_hid_set_conn_no_latency"), 2 + 1 + 1);
    EXPECT_EQ(Count("bt_hid_send_duid"), 2);
    EXPECT_EQ(tv.smartRemote.duid, "DUID-2");
    EXPECT_EQ(Count(", 0x05) = 0"), 2);
    EXPECT_EQ(tv.settings.Text(kLastWheel), kWheel);
}

} // namespace
