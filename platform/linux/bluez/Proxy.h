#pragma once

#include "bluez_dbus.h"
#include "bus/Remote.h"

#include <string>

namespace bluez {

/// A proxy of generated code for one object of the daemon's present life, for its calls only: it asks for no
/// properties and waits for no answer while it is made. Null when there is no daemon.
template <auto New>
auto MakeProxy(const bus::Remote& remote, const std::string& path)
{
    using Proxy = std::remove_pointer_t<decltype(New(nullptr, G_DBUS_PROXY_FLAGS_NONE, "", "", nullptr, nullptr))>;
    constexpr auto kFlags =
        static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                     G_DBUS_PROXY_FLAGS_DO_NOT_CONNECT_SIGNALS | G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START);
    return bus::ObjectPtr<Proxy>(
        remote.IsThere() ? New(remote.connection, kFlags, remote.owner.c_str(), path.c_str(), nullptr, nullptr)
                         : nullptr);
}

inline auto AdapterProxy(const bus::Remote& remote, const std::string& path)
{
    return MakeProxy<bluez_adapter1_proxy_new_sync>(remote, path);
}

inline auto DeviceProxy(const bus::Remote& remote, const std::string& path)
{
    return MakeProxy<bluez_device1_proxy_new_sync>(remote, path);
}

inline constexpr const char* kManagerPath = "/org/bluez";

} // namespace bluez
