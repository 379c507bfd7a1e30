#pragma once

#include "sim/Slot.h"

#include <bt_adapter.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace sim {

class Television;

/// The Bluetooth adapter.
class Adapter
{
public:
    explicit Adapter(Television& tv) : m_tv(tv) {}

    // What happens to it.
    void GoesOn();
    void GoesOff(int result = 0);
    /// Reports a change to \p reported without changing.
    void Reports(int result, bt_adapter_state_e reported);

    // What is asked of it.
    int Enable();
    int Disable();
    /// Forgets all pairings and restores what it was delivered with.
    int Reset();
    int GetPowerOnReason(std::string& address, int& reason) const;
    int RegisterHeadless(const std::string& address);
    int UnregisterHeadless(const std::string& address);
    int CreateSocket(const std::string& uuid);
    int Listen(int socket);
    int DestroySocket(int socket);
    [[nodiscard]] std::size_t OpenSockets() const
    {
        return m_sockets.size();
    }
    /// Open sockets that listen on this UUID.
    [[nodiscard]] int ListeningSockets(const std::string& uuid) const;

    // Its state. A test may set it directly; the service is then told nothing.
    bt_adapter_state_e state = BT_ADAPTER_DISABLED;
    std::chrono::milliseconds delay{0}; ///< from a request to the change of state and its notice
    std::string name;
    bt_adapter_visibility_mode_e visibility = BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE;
    bool connectable = true;
    bool headless = false;
    int appReady = 0;
    std::string eirData;
    int chipVersion = 0x2A31;
    /// The device that switched the set on, and why; nobody did when empty.
    std::optional<std::pair<std::string, int>> powerOnReason;
    std::set<std::string> headlessDevices;
    /// true: a listing of the headless devices begins with a null record and with one that has no address
    bool listsNullRecords = false;

    Slot<bt_adapter_state_changed_cb> onStateChanged{"bt_adapter_state_changed_cb"};

private:
    struct Socket
    {
        int number;
        const std::string* uuid;
        bool listening;
    };
    void Change(bt_adapter_state_e newState, int result);
    [[nodiscard]] std::vector<Socket>::iterator Find(int socket);

    Television& m_tv;
    std::set<std::string> m_uuids;
    std::vector<Socket> m_sockets; // the service leaves one open each time the adapter goes on: of those few bytes each
    int m_lastSocket = 0;
};

} // namespace sim
