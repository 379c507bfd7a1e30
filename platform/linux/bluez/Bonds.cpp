#include "bluez/Bonds.h"

#include "Log.h"
#include "bluez/Address.h"
#include "bluez/Broker.h"
#include "bluez/Daemon.h"
#include "bluez/DeviceInfo.h"
#include "bluez/Proxy.h"
#include "bluez/Result.h"
#include "bluez/Stack.h"
#include "bus/Handles.h"
#include "bus/Remote.h"
#include "mgmt/Protocol.h"

#include <gio/gio.h>

#include <bluez_dbus.h>
#include <bt_error.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace bluez {

namespace {

constexpr guint kMomentMs = 500;

int ResultOfStatus(std::uint8_t status)
{
    switch (status) {
    case mgmt::kRejected:
        return BT_ERROR_AUTH_REJECTED;
    case mgmt::kTimeout:
        return BT_ERROR_TIMED_OUT;
    default:
        return BT_ERROR_AUTH_FAILED;
    }
}

} // namespace

void Bonds::TellCreated(int result, const Device* device, const std::string& address) const
{
    // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): it does not see the owner behind the question mark.
    const InfoPtr info = device != nullptr ? MakeInfo(*device) : MakeInfo(address);
    if (info && m_stack.MayTell()) {
        onCreated.Tell(result, info.get());
    }
}

void Bonds::TellDestroyed(std::string address) const
{
    if (m_stack.MayTell()) {
        onDestroyed.Tell(int{BT_ERROR_NONE}, address.data());
    }
}

void Bonds::DeviceChanged(const Device* before, const Device* now)
{
    const bool was = before != nullptr && before->bonded;
    const bool is = now != nullptr && now->bonded;
    if (is && !was) {
        m_unpaired.erase(now->address);
        m_disappeared.erase(now->address);
        // What comes with its bond had it before: the daemon has just read its own store.
        if (before != nullptr) {
            TellCreated(BT_ERROR_NONE, now, now->address);
        }
    } else if (was && !is) {
        if (m_unpaired.erase(before->address) != 0) {
            return;
        }
        if (now != nullptr) {
            TellDestroyed(before->address);
        } else if (m_stack.TheAdapter() != nullptr) {
            m_disappeared.insert(before->address);
            m_moment.Start(kMomentMs, [this] { TellDisappeared(); });
        }
    } else if (now == nullptr && before != nullptr) {
        m_unpaired.erase(before->address);
    }
}

void Bonds::TellDisappeared()
{
    for (const std::string& address : std::exchange(m_disappeared, {})) {
        TellDestroyed(address);
    }
}

void Bonds::AdapterWent()
{
    m_moment.Stop();
    m_disappeared.clear();
    m_unpaired.clear();
}

void Bonds::OnUnpaired(mgmt::Reader parameters)
{
    const auto bytes = parameters.Address();
    if (!bytes) {
        return;
    }
    const std::string address = AddressText(*bytes);
    if (m_disappeared.erase(address) != 0) {
        TellDestroyed(address);
        return;
    }
    // A device of two transports is unpaired on each; that is one bond.
    const Device* device = m_stack.FindDevice(address.c_str());
    if (device != nullptr && device->bonded && m_unpaired.insert(address).second) {
        TellDestroyed(address);
    }
}

void Bonds::OnAuthenticationFailed(mgmt::Reader parameters)
{
    const auto bytes = parameters.Address();
    parameters.Byte();
    const auto status = parameters.Byte();
    if (status) {
        const std::string address = AddressText(*bytes);
        m_stack.broker.PairingEnded(address, false);
        TellCreated(ResultOfStatus(*status), m_stack.FindDevice(address.c_str()), address);
    }
}

void Bonds::OnNewKey(mgmt::Reader parameters)
{
    const auto isStored = parameters.Byte();
    const auto bytes = parameters.Address();
    if (!bytes || *isStored == 0) {
        return;
    }
    // A device that forgot its own side of the bond and has paired again: the daemon sees no change in it.
    const Device* device = m_stack.FindDevice(AddressText(*bytes).c_str());
    if (device != nullptr && device->bonded && !m_unpaired.contains(device->address)) {
        TellCreated(BT_ERROR_NONE, device, device->address);
    }
}

int Bonds::Destroy(const char* address)
{
    if (!IsAddress(address)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    if (m_stack.TheAdapter() == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    const Device* device = m_stack.FindDevice(address);
    if (device == nullptr || !device->bonded) {
        return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
    }
    const bus::Remote& remote = m_stack.daemon.Remote();
    const auto adapter = AdapterProxy(remote, m_stack.TheAdapter()->path);
    if (!adapter) {
        return BT_ERROR_OPERATION_FAILED;
    }
    bluez_adapter1_call_remove_device(
        adapter.get(), device->path.c_str(), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, bus::OnDone,
        bus::Done([text = device->address](GObject* source, GAsyncResult* result) {
            GError* failure = nullptr;
            if (bluez_adapter1_call_remove_device_finish(BLUEZ_ADAPTER1(source), result, &failure) == FALSE) {
                const bus::ErrorPtr error(failure);
                PLATFORM_LOG(DLOG_ERROR, "cannot remove the bond of %s: %s", text.c_str(), error->message);
            }
        }));
    return BT_ERROR_NONE;
}

// NOLINTNEXTLINE(readability-make-member-function-const): the bonds that the daemon keeps are what it changes.
int Bonds::RemoveAll(const std::string& adapterPath, const bus::Deadline& deadline)
{
    // What outlives this call, because answers may come after the deadline.
    struct Progress
    {
        int open = 0;
        int result = BT_ERROR_NONE;
    };
    const bus::Remote& remote = m_stack.daemon.Remote();
    const auto progress = std::make_shared<Progress>();
    const bus::ContextPtr context(g_main_context_new());
    // Made before the private context, because what a proxy leaves behind is cleared away where it was made.
    const auto adapter = AdapterProxy(remote, adapterPath);
    g_main_context_push_thread_default(context.get());
    for (const auto& [path, device] : m_stack.daemon.Objects().Devices()) {
        if (!adapter || !path.starts_with(adapterPath + "/")) {
            continue;
        }
        ++progress->open;
        bluez_adapter1_call_remove_device(
            adapter.get(), path.c_str(), G_DBUS_CALL_FLAGS_NONE, deadline.RemainingMs(), nullptr, bus::OnDone,
            bus::Done([progress](GObject* source, GAsyncResult* result) {
                GError* failure = nullptr;
                --progress->open;
                if (bluez_adapter1_call_remove_device_finish(BLUEZ_ADAPTER1(source), result, &failure) == FALSE) {
                    const bus::ErrorPtr error(failure);
                    progress->result = ResultOf(error.get());
                }
            }));
    }
    g_main_context_pop_thread_default(context.get());
    // Each call ends with its own time-out at the latest, so this ends with the deadline.
    while (progress->open > 0) {
        g_main_context_iteration(context.get(), TRUE);
    }
    return progress->result;
}

void Bonds::Disconnect(const std::string& devicePath) const
{
    const auto device = DeviceProxy(m_stack.daemon.Remote(), devicePath);
    if (device) {
        bluez_device1_call_disconnect(device.get(), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    }
}

} // namespace bluez
