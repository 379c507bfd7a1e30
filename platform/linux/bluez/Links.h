#pragma once

#include "Slot.h"
#include "bluez/Tree.h"
#include "mgmt/Bytes.h"
#include "mgmt/Client.h"

#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_gatt.h>

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <utility>

namespace bluez {

class Stack;

/// The links to remote devices, on either transport. The kernel tells of them, with the reason of a loss; where it may
/// not tell this process, the daemon's word is taken, without a reason.
class Links
{
public:
    explicit Links(Stack& stack) : m_stack(stack) {}
    Links(const Links&) = delete;
    Links& operator=(const Links&) = delete;

    int AskRssi(const char* address, int linkType, bt_device_rssi_strength_cb callback, void* userData);
    /// The controller's latency for this device's link; see hci::Controller.
    int SetNoLatency(const char* address, bool on);

    // What the kernel says, each with its parameters. What is too short is dropped.
    void OnConnected(mgmt::Reader parameters);
    void OnDisconnected(mgmt::Reader parameters);
    void OnConnectFailed(mgmt::Reader parameters);
    void OnIdentity(mgmt::Reader parameters);
    /// The links that there are, from the reply to Get Connections: they are taken in silently.
    void OnConnections(std::span<const std::uint8_t> parameters);

    /// What the daemon says.
    void DeviceChanged(const Device* before, const Device* now);

    /// The adapter is off or gone: so are all links.
    void DropAll();
    void Forget();

    box::Slot<bt_device_connection_state_changed_cb> onConnection;
    box::Slot<bt_gatt_connection_state_changed_cb> onGatt;
    box::Slot<bt_adapter_max_device_connected_cb> onMaxConnected;

private:
    /// Address in capital letters, and whether the link is a low-energy one.
    using Key = std::pair<std::string, bool>;

    void Come(const std::string& address, std::uint8_t type);
    void Go(const Key& key, int reason);
    void Tell(bool connected, const Key& key, int reason) const;
    [[nodiscard]] std::map<Key, std::uint8_t>::const_iterator Find(const std::string& address, int linkType) const;

    Stack& m_stack;
    std::map<Key, std::uint8_t> m_links; ///< to the kernel's type of the address
    std::map<Key, bool> m_noLatency;     ///< of links of which it was asked
    bool m_seeded = false;
};

} // namespace bluez
