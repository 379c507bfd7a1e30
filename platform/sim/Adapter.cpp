#include "sim/Adapter.h"

#include "sim/Devices.h"
#include "sim/Queue.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <bt_adapter.h>
#include <bt_error.h>

#include <algorithm>
#include <functional>

namespace sim {

void Adapter::GoesOn()
{
    const Tape::Scope happens = m_tv.tape.Note("the adapter goes on");
    Change(BT_ADAPTER_ENABLED, 0);
}

void Adapter::GoesOff(int result)
{
    const Tape::Scope happens = m_tv.tape.Note("the adapter goes off");
    Change(BT_ADAPTER_DISABLED, result);
}

void Adapter::Reports(int result, bt_adapter_state_e reported)
{
    m_tv.queue.Post([=, this] { onStateChanged.Tell(result, reported); });
}

void Adapter::Change(bt_adapter_state_e newState, int result)
{
    m_tv.queue.PostAfter(delay, [=, this] {
        state = newState;
        onStateChanged.Tell(result, newState);
    });
}

int Adapter::Enable()
{
    if (state == BT_ADAPTER_ENABLED) {
        return BT_ERROR_ALREADY_DONE;
    }
    Change(BT_ADAPTER_ENABLED, 0);
    return BT_ERROR_NONE;
}

int Adapter::Disable()
{
    if (state == BT_ADAPTER_DISABLED) {
        return BT_ERROR_NOT_ENABLED;
    }
    Change(BT_ADAPTER_DISABLED, 0);
    return BT_ERROR_NONE;
}

int Adapter::Reset()
{
    m_tv.devices.ForgetsAll();
    name.clear();
    visibility = BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE;
    connectable = true;
    headless = false;
    headlessDevices.clear();
    return BT_ERROR_NONE;
}

int Adapter::GetPowerOnReason(std::string& address, int& reason) const
{
    if (!powerOnReason) {
        return BT_ERROR_OPERATION_FAILED;
    }
    address = powerOnReason->first;
    reason = powerOnReason->second;
    return BT_ERROR_NONE;
}

int Adapter::RegisterHeadless(const std::string& address)
{
    headlessDevices.insert(address);
    return BT_ERROR_NONE;
}

int Adapter::UnregisterHeadless(const std::string& address)
{
    return headlessDevices.erase(address) == 1 ? BT_ERROR_NONE : BT_ERROR_REMOTE_DEVICE_NOT_FOUND;
}

int Adapter::CreateSocket(const std::string& uuid)
{
    m_sockets.push_back({++m_lastSocket, &*m_uuids.insert(uuid).first, false});
    return m_lastSocket;
}

std::vector<Adapter::Socket>::iterator Adapter::Find(int socket)
{
    return std::ranges::find(m_sockets, socket, &Socket::number);
}

int Adapter::Listen(int socket)
{
    const auto found = Find(socket);
    if (found == m_sockets.end()) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    found->listening = true;
    return BT_ERROR_NONE;
}

int Adapter::DestroySocket(int socket)
{
    const auto found = Find(socket);
    if (found == m_sockets.end()) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    m_sockets.erase(found);
    return BT_ERROR_NONE;
}

int Adapter::ListeningSockets(const std::string& uuid) const
{
    return static_cast<int>(std::ranges::count_if(
        m_sockets, [&](const Socket& socket) { return *socket.uuid == uuid && socket.listening; }));
}

} // namespace sim
