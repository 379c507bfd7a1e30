#pragma once

#include "DbusClient/DbusClient.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"
#include "support/Siblings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

inline constexpr const char* kRemote = "AA:BB:CC:DD:EE:01";
inline constexpr const char* kOtherRemote = "AA:BB:CC:DD:EE:02";
inline constexpr const char* kWheel = "AA:BB:CC:DD:EE:11";
inline constexpr const char* kOtherWheel = "AA:BB:CC:DD:EE:12";

inline constexpr const char* kUseMode = "db/menu/support/use_mode";
inline constexpr const char* kDuid = "db/comss/duid";
inline constexpr const char* kOobStatus = "db/vyrel/oob_status";
inline constexpr const char* kFactoryMode = "memory/factoryapp/factory_mode";
inline constexpr const char* kServiceReset = "db/notification-service/reset";
inline constexpr const char* kWizardMode = "memory/wizard/wizard_mode";
inline constexpr const char* kTouchIr = "memory/touch_interactive/touch_interactive_running";
inline constexpr const char* kFirstScreen = "memory/volt/firstscreen_state";
inline constexpr const char* kLevelOfRemote = "memory/sp-kpi/batlev";
inline constexpr const char* kLevelOfWheel = "memory/org.vantor.vyrel/halvo_wheel_battery_level";
inline constexpr const char* kFlagOfRemote = "db/vyrel/smartrc_adc_flag";
inline constexpr const char* kFlagOfWheel = "db/vyrel/halvowheel_adc_flag";
inline constexpr const char* kLastRemote = "db/vyrel/last_smartrc_address";
inline constexpr const char* kLastWheel = "db/vyrel/last_halvo_wheel_address";
inline constexpr const char* kLostRemote = "memory/org.vantor.vyrel/hsm_remocon_disconnected_address";
inline constexpr const char* kLostRemoteReason = "memory/org.vantor.vyrel/hsm_remocon_disconnect_reason";
inline constexpr const char* kLostWheel = "memory/org.vantor.vyrel/hsm_wheel_disconnected_address";
inline constexpr const char* kLostWheelReason = "memory/org.vantor.vyrel/hsm_wheel_disconnected_reason";
inline constexpr const char* kPopupCount = "memory/vyrel/count_display_grip_sensor_popup";

// Firmware versions. The top four bits say what kind of remote it is: 1 has a solar cell, 0 has none, 11 has two
// microphones.
inline constexpr unsigned int kSolarVersion = 0x10000123;
inline constexpr unsigned int kPlainVersion = 0x00000123;
inline constexpr unsigned int kTwoMicrophoneVersion = 0xB0000001;

/// The byte of a battery report: the level code in its low three bits, the reading of the converter (0 to 31) above.
constexpr unsigned char Battery(int level, int adc)
{
    return static_cast<unsigned char>(adc << 3 | level);
}

/// A simulated television whose remotes are not connected, the handler under test, and on a real bus the services that
/// it calls.
class RemotesTest : public ::testing::Test
{
protected:
    RemotesTest();
    ~RemotesTest() override;

    /// Starts the handler and clears the tape, which then holds what comes after the start only.
    void Starts();
    /// Runs the main loop until nothing is pending, without letting time pass.
    static void Settle();
    /// Advances the virtual clock; timers that are due by then fire.
    void Passes(std::chrono::milliseconds time);

    void RemoteConnects(const std::string& address = kRemote);
    void RemoteGoes();
    void WheelConnects(const std::string& address = kWheel);
    void WheelGoes();
    /// Clears the tape and lets the connected remote report its battery.
    void RemoteReports(unsigned char battery);
    void WheelReports(unsigned char battery);
    void Writes(const char* key, int value);
    void Writes(const char* key, const char* value);
    void IsHalvoMonitor();

    /// Platform calls and usage events on the tape, in order; calls that only ask are left out.
    std::vector<std::string> Deeds();
    /// Calls of the platform functions whose names begin so, those that only ask too.
    std::vector<std::string> Deeds(std::string_view function);
    /// What this function of the service logged, without debug lines: priority letter and text, "E text".
    std::vector<std::string> Said(std::string_view function);
    /// True when this line, "E text", is on the tape.
    bool HasSaid(const std::string& line);
    /// How often this line is on the tape.
    int TimesSaid(const std::string& line);
    /// Method calls that the siblings received since this was last called: first those of the connection manager,
    /// `SmartRcBatteryLevel (s) ('48',)`, then those of the touch-IR monitor, `irmonitor Start`.
    std::vector<std::string> Heard();

    // The text of a platform call, or of a usage event, as it stands on the tape.
    static std::string Watch(const char* key);
    static std::string Unwatch(const char* key, int result = 0);
    static std::string Set(const char* key, const char* value);
    static std::string Set(const char* key, int value);
    static std::string Command(const char* address, int deviceType, int command, int result = 0);
    static std::string RcCommand(const char* address, const char* bytes, int result = 0);
    static std::string NoLatency(const char* address, int result = 0);
    static std::string DuidSent(const char* address, const char* duid, int result = 0);
    static std::string Solar(int adc, int lux, int status, int harvestTime);

    support::PrivateBus m_bus;
    support::ConnectionManager m_connectionManager;
    support::IrMonitor m_irMonitor;
    sim::VirtualClock m_clock;
    sim::Television tv;
    std::shared_ptr<CDbusClient> m_dbusClient = std::make_shared<CDbusClient>();
    std::shared_ptr<CSmartRcEventHandler> remotes;
};
