#pragma once

#include "Slot.h"
#include "bluez/Tree.h"
#include "bus/Deadline.h"
#include "loop/Timer.h"
#include "mgmt/Bytes.h"
#include "mgmt/Client.h"

#include <bt_device.h>

#include <set>
#include <string>

namespace bluez {

class Stack;

/// The bonds: which come, which go, and how to end them.
///
/// A bond is gone when somebody removed it. A device that disappears because its adapter was pulled or the daemon ended
/// is still bonded; the daemon does not tell the one from the other, so who disappears is given a moment.
class Bonds
{
public:
    explicit Bonds(Stack& stack) : m_stack(stack) {}
    Bonds(const Bonds&) = delete;
    Bonds& operator=(const Bonds&) = delete;

    int Destroy(const char* address);
    /// Removes all devices of an adapter and waits for it.
    int RemoveAll(const std::string& adapter, const bus::Deadline& deadline);
    /// Ends the links of a device, without waiting.
    void Disconnect(const std::string& devicePath) const;

    // What the kernel says.
    void OnUnpaired(mgmt::Reader parameters);
    void OnAuthenticationFailed(mgmt::Reader parameters);
    void OnNewKey(mgmt::Reader parameters);

    void DeviceChanged(const Device* before, const Device* now);
    /// What has disappeared was not removed.
    void AdapterWent();

    box::Slot<bt_device_bond_created_cb> onCreated;
    box::Slot<bt_device_bond_destroyed_cb> onDestroyed;

private:
    void TellCreated(int result, const Device* device, const std::string& address) const;
    void TellDestroyed(std::string address) const;
    void TellDisappeared();

    Stack& m_stack;
    std::set<std::string> m_disappeared; ///< bonded devices that went a moment ago
    std::set<std::string> m_unpaired;    ///< told by the kernel; the daemon will say so again
    loop::Timer m_moment;
};

} // namespace bluez
