#pragma once

#include "Bluetooth/BluetoothEventHandler.h"
#include "DbusClient/DbusClient.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "sim/Adapter.h"
#include "sim/Audio.h"
#include "sim/Devices.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"
#include "support/Siblings.h"

#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A television on a bus with its sibling services, and the Bluetooth side of the service, not yet started.
///
/// Every event function returns when the event has been served and what it sent has arrived.
class BluetoothTest : public testing::Test
{
protected:
    static constexpr int kFailed = BT_ERROR_OPERATION_FAILED;
    static constexpr const char* kHandsFreeFeature = "bluetooth.hfp_support";
    static constexpr const char* kSpeaker = "AA:00:00:00:00:01";
    static constexpr const char* kPhone = "AA:00:00:00:00:02";
    static constexpr const char* kRemote = "AA:00:00:00:00:03";
    static constexpr const char* kWheel = "AA:00:00:00:00:04";
    static constexpr const char* kKeyboard = "AA:00:00:00:00:05";
    static constexpr const char* kOtherSpeaker = "AA:00:00:00:00:06";

    // --- The service ---

    /// Init alone: the adapter's change is still on its way.
    void Starts();
    /// Init and all that follows from it.
    void StartsAndSettles();
    /// Serves what is on its way.
    void Settles();
    void TimePasses(std::chrono::milliseconds time);
    /// Forgets the tape and what the siblings received.
    void Forget();

    // --- What the television is like ---

    void AdapterIsOn()
    {
        tv.adapter.state = BT_ADAPTER_ENABLED;
    }
    /// Bonded already, with a signal strength that is told only on demand.
    void IsBonded(sim::Device device);
    void Unbonds(const std::string& address)
    {
        tv.devices.Unbonds(address);
        Settles();
    }
    void HasAudio(int type, const char* address)
    {
        tv.audio.IsConnected(address, type);
    }
    void WokenByBluetooth(int reason, int state, const char* address, int powerOnReason);
    /// Connects the smart remote, and the component that follows it.
    void RemoteIsConnected();

    // --- Events as the stack tells them, with whatever arguments ---

    void AdapterReports(int result, int state);
    void AudioReports(int result, bool connected, const char* address, int type);
    void HidReports(int result, bool connected, const char* address);
    void GattReports(int result, bool connected, const char* address);
    void LinkReports(bool connected, const char* address, int reason);
    void LinkReportsRecord(bool connected, bt_device_connection_info_s* info);
    void SlcReports(bool connected, const char* address);
    void AvrcpControlReports(bool connected, const char* address);
    void AvrcpTargetReports(bool connected, const char* address);
    void InterimVolume(const char* address, unsigned int volume);
    void AbsoluteVolume(const char* address, unsigned int volume);
    void BondCreated(int result, bt_device_info_s* info);
    void BondDestroyed(int result, const char* address);
    void MaxReached(int result, const char* address);
    void AuthorizationRequested(int result, const char* address, const char* name, int service);
    void AuthenticationRequested(int result, int type, const char* name, const char* address, const char* passKey);
    void ConsentRequested(int result, const char* name, const char* address);
    void RssiAnswers(const char* address, int strength);

    /// Texts that a record of the platform can point to.
    char* Writable(const std::string& text);

    // --- What came of it ---

    /// "service.Method (type) body" of all calls that arrived: the connection manager's, the connection shift
    /// service's, the hands-free agent's, each in order.
    std::vector<std::string> Received();
    /// "category name code description".
    std::vector<std::string> Events()
    {
        return tv.tape.Kpi();
    }
    /// "E text", without debug lines and without what settings and features say about themselves.
    std::vector<std::string> Logs();
    /// "VYREL_UTIL E text", likewise.
    std::vector<std::string> TaggedLogs();
    /// Who wrote the lines of Logs().
    std::vector<std::string> LoggingFunctions();
    /// Calls of functions that begin so, with their results.
    std::vector<std::string> Calls(std::string_view prefix)
    {
        return tv.tape.Calls({prefix});
    }
    /// The names of the platform functions that were called, without reads of settings and features.
    std::vector<std::string> Steps();
    std::vector<std::string> FirstSteps(std::size_t count);
    /// Both together, in order.
    std::vector<std::string> StepsAndLogs();
    /// So many of them from the first one of this text on.
    std::vector<std::string> StepsAndLogsFrom(std::string_view first, std::size_t count);
    /// The whole tape, "E text" for log lines, between two entries that contain these texts; fails without them.
    std::vector<std::string> Between(std::string_view first, std::string_view second);

    std::vector<std::string> KernelLog()
    {
        return tv.tape.Kernel();
    }
    /// What the adapter was told last to answer inquiries with: "[bytes in hexadecimal], length".
    std::string ManufacturerData();

    int Int(const char* key)
    {
        return tv.settings.Int(key).value_or(-1);
    }
    /// -1 when it isn't there.
    int Bool(const char* key)
    {
        const std::optional<bool> value = tv.settings.Bool(key);
        return value ? static_cast<int>(*value) : -1;
    }
    std::string Text(const char* key)
    {
        return tv.settings.Text(key).value_or("(none)");
    }

    support::PrivateBus bus;
    sim::VirtualClock clock;
    sim::Television tv;
    support::ConnectionManager connectionManager;
    support::ConnectionShift connectionShift;
    support::HandsFreeAgent handsFreeAgent;
    std::shared_ptr<CDbusClient> dbus = std::make_shared<CDbusClient>();
    std::shared_ptr<CSmartRcEventHandler> smartRc = std::make_shared<CSmartRcEventHandler>();
    std::unique_ptr<CBluetoothEventHandler> handler = std::make_unique<CBluetoothEventHandler>();

private:
    std::array<support::Peer*, 3> Siblings()
    {
        return {&connectionManager, &connectionShift, &handsFreeAgent};
    }
    std::vector<sim::Entry> LogEntries();

    std::vector<std::unique_ptr<std::string>> m_texts;
};
