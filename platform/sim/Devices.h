#pragma once

#include "sim/Slot.h"

#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_gatt.h>
#include <bt_hid.h>

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace sim {

class Television;

/// A device as the set knows it.
struct Device
{
    std::string address;
    std::optional<std::string> name = "Device"; ///< none: the record has no name
    unsigned int vendor = 0;
    unsigned int product = 0;
    unsigned int majorClass = 0; ///< 4 is audio
    unsigned int minorClass = 0; ///< not shifted
    bool bonded = true;
    bool connected = false;
    std::optional<int> rssi = -60; ///< none: asked for, it never answers
    bool hasAddress = true;        ///< false: the record has no address
    bool hasRecord = true;         ///< false: a listing names it without a record
};

/// The platform's record of a device, alive as long as this object and unusable after it.
class DeviceRecord
{
public:
    explicit DeviceRecord(const Device& device);
    ~DeviceRecord();
    DeviceRecord(const DeviceRecord&) = delete;
    DeviceRecord& operator=(const DeviceRecord&) = delete;

    bt_device_info_s* Get()
    {
        return &m_info;
    }

private:
    std::string m_address;
    std::string m_name;
    bt_device_info_s m_info;
};

/// Bonded devices, their links, and what they ask for.
class Devices
{
public:
    explicit Devices(Television& tv) : m_tv(tv) {}

    // What happens.
    /// A bond, with a notice of it. The set knows the device from then on.
    void Bonds(const Device& device, int result = 0);
    /// Is bonded from before the service's start on: nobody is told.
    void Knows(const Device& device);
    void Unbonds(const std::string& address);
    /// The link on which all profiles run. A device that is not bonded may connect, and is not bonded by it.
    /// \param link 0 classic, 1 low energy
    void Connects(const std::string& address, int link = 0);
    void Disconnects(const std::string& address, int reason = 0, int link = 0);
    void ConnectsHid(const std::string& address, int result = 0);
    void DisconnectsHid(const std::string& address, int result = 0);
    void ConnectsGatt(const std::string& address, int result = 0);
    void DisconnectsGatt(const std::string& address, int result = 0);
    /// Reports a signal strength without being asked again, to the callback that asked last.
    void AnswersRssi(const std::string& address, int rssi);
    // Requests; an authorization stays open until it is rejected.
    void AsksForAuthorization(const std::string& address, const std::string& name, int service, int result = 0);
    void AsksForAuthentication(const std::string& address, const std::string& name, int type,
                               const std::string& passkey, int result = 0);
    void AsksForConsent(const std::string& address, const std::string& name, int result = 0);
    void ReachesMaximum(const std::string& address);

    // What is asked.
    [[nodiscard]] const Device* Find(const std::string& address) const;
    [[nodiscard]] bool IsBonded(const std::string& address) const
    {
        return Find(address) != nullptr;
    }
    [[nodiscard]] std::vector<Device> Bonded() const;
    int DestroyBond(const std::string& address);
    int Reject(const std::string& address, int service);
    int AskRssi(const std::string& address, int link, bt_device_rssi_strength_cb callback, void* userData);
    bt_device_info_s* NewRecord(const std::string& address);
    /// Aborts for a record that was not given out, or is freed twice.
    void FreeRecord(bt_device_info_s* record);
    /// Aborts when a record was never freed.
    void CheckRecords() const;
    /// Removes every bond, with a notice of each.
    void ForgetsAll();

    /// What becomes of it when the service asks for a signal strength.
    enum class Strength
    {
        Comes,
        ComesLate,
        NeverComes,
        HasNoAddress
    };
    Strength strength = Strength::Comes;
    bool listsWithoutUserData = false; ///< true: a listing calls back with a null user_data

    Slot<bt_device_auth_event_cb> onAuthorization{"bt_device_auth_event_cb"};
    Slot<bt_adapter_authentication_req_cb> onAuthentication{"bt_adapter_authentication_req_cb"};
    Slot<bt_adapter_ssp_consent_request_cb> onConsent{"bt_adapter_ssp_consent_request_cb"};
    Slot<bt_adapter_max_device_connected_cb> onMaximum{"bt_adapter_max_device_connected_cb"};
    Slot<bt_device_bond_created_cb> onBondCreated{"bt_device_bond_created_cb"};
    Slot<bt_device_bond_destroyed_cb> onBondDestroyed{"bt_device_bond_destroyed_cb"};
    Slot<bt_device_connection_state_changed_cb> onConnection{"bt_device_connection_state_changed_cb"};
    Slot<bt_gatt_connection_state_changed_cb> onGatt{"bt_gatt_connection_state_changed_cb"};
    Slot<bt_hid_host_connection_state_changed_cb> onHid{"bt_hid_host_connection_state_changed_cb"};
    Slot<bt_device_rssi_strength_cb> onRssi{"bt_device_rssi_strength_cb"};

private:
    Device* Known(const std::string& address);
    void TellConnection(bool connected, const std::string& address, int link, int reason);

    Television& m_tv;
    std::list<Device> m_devices;
    std::set<std::string> m_strangers; // connected, but not bonded
    std::map<bt_device_info_s*, std::unique_ptr<DeviceRecord>> m_records;
    std::map<std::string, int> m_openRequests;
};

} // namespace sim
