#pragma once

#include "Slot.h"
#include "bluez/Modalias.h"
#include "bluez/Tree.h"
#include "hid/Protocol.h"
#include "hid/Remote.h"
#include "hid/Roster.h"
#include "hid/Transport.h"
#include "loop/Queue.h"

#include <glib.h>

#include <bt_hid.h>

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace hid {

/// All input devices on Bluetooth, and among them the box's own remotes.
///
/// Opened by whoever asks first, since the service asks for its remotes before it opens the host; what is there then
/// was there before, and is not told. What is told is told later, from the main loop.
class Host final : private RemoteListener
{
public:
    static Host& OfProcess();

    Host();
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    int Initialize(bt_hid_host_connection_state_changed_cb callback, void* userData);
    /// Lets go of all devices, and of what is on its way to them.
    int Deinitialize();

    [[nodiscard]] bool IsConnected(Role role);
    /// Of several the one that came first. \return malloc-ed
    int GetAddress(Role role, char** address);
    int GetDeviceType(const char* function, unsigned char& type);
    int GetFirmware(const char* function, const char* address, unsigned& version);
    int GetBattery(Role role, unsigned char& status);
    int GetGripState(const char* function, int& state);
    int SendToRemote(const char* function, const char* address, std::vector<Bytes> reports);
    int SendDuid(const char* function, const char* address, const char* duid);

    /// The box's own remotes, the present ones and those that were. Asks nobody anything.
    [[nodiscard]] const std::list<RosterEntry>& KnownRemotes();

    [[nodiscard]] bool IsStandConnected();
    int SendToStand(const char* function, Bytes report);

    box::Slot<bt_hid_smart_rc_connection_cb> onSmartRemote;
    box::Slot<bt_hid_halvo_switch_connection_state_changed_cb> onWheel;
    box::Slot<bt_hid_battery_status_received_cb> onBattery;
    box::Slot<bt_hid_smart_rc_charging_status_received_cb> onSmartRemoteCharging;
    box::Slot<bt_hid_halvo_switch_charging_status_received_cb> onWheelCharging;
    box::Slot<bt_hid_smart_rc_grip_sensor_detected_cb> onGripped;
    box::Slot<bt_hid_smart_rc_grip_sensor_state_changed_cb> onGripState;

private:
    void RemoteKnown(Remote& remote) override;
    void BatteryReported(const Remote& remote, std::uint8_t status) override;
    void ChargingReported(const Remote& remote, std::uint8_t status, std::uint8_t harvest) override;
    void Gripped(const Remote& remote, std::uint8_t key) override;
    void GripStateReported(const Remote& remote, int state) override;

    void Open();
    void Close();
    void OnCame(const Node& node);
    void OnWent(const std::string& path);
    void OnAdapterWent(const std::string& address);
    void OnDevice(const bluez::Device* before, const bluez::Device* now);
    void Update(Remote& remote);
    void Note(const Remote& remote, std::optional<std::uint8_t> battery = std::nullopt);
    void TellConnection(const Remote& remote, bool isConnected);
    [[nodiscard]] Role RoleOf(const Node& node) const;
    [[nodiscard]] Remote* First(Role role);
    [[nodiscard]] Remote* With(const std::string& address);
    /// A connected accessory. \return a code of bt_error.h
    int FindAccessory(const char* address, Remote*& remote);
    Remote* Stand();

    box::Slot<bt_hid_host_connection_state_changed_cb> m_onHost;
    bool m_isOpen = false;
    bool m_isClosed = false; ///< for good, until it is initialised again
    bool m_isQuiet = false;
    std::vector<bluez::Identity> m_smartRemotes;
    std::vector<bluez::Identity> m_wheels;
    std::list<Remote> m_remotes; ///< in the order in which they came
    Roster m_roster;
    loop::Queue m_news{G_PRIORITY_DEFAULT};
};

} // namespace hid
