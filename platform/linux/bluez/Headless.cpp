#include "bluez/Headless.h"

#include "bluez/Address.h"
#include "bluez/Bonds.h"
#include "bluez/Daemon.h"
#include "bluez/Power.h"
#include "bluez/Stack.h"
#include "bluez/Tree.h"
#include "bus/Deadline.h"
#include "bus/Handles.h"
#include "bus/Remote.h"

#include <glib.h>

#include <bt_error.h>
#include <vconf.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <sstream>

namespace bluez {

namespace {

constexpr const char* kSetting = "db/platform/headless_devices"; // addresses with a space between them

} // namespace

void Headless::Load()
{
    if (m_isLoaded) {
        return;
    }
    m_isLoaded = true;
    const std::unique_ptr<char, bus::ReleaseWith<std::free>> text(vconf_get_str(kSetting));
    std::istringstream words(text ? text.get() : "");
    for (std::string word; words >> word;) {
        if (IsAddress(word)) {
            m_addresses.insert(Normalised(word));
        }
    }
}

void Headless::Store() const
{
    std::string text;
    for (const std::string& address : m_addresses) {
        text.append(text.empty() ? "" : " ").append(address);
    }
    vconf_set_str(kSetting, text.c_str());
}

void Headless::Allow(const std::string& address, bool allowed) const
{
    const Device* device = m_stack.FindDevice(address.c_str());
    if (device == nullptr) {
        return;
    }
    const bus::Remote& remote = m_stack.daemon.Remote();
    // Only a device that may wake a box of this kind has the property.
    if (device->wakeAllowed && *device->wakeAllowed != allowed) {
        bus::SetPropertyLater(remote, device->path, kDeviceInterface, "WakeAllowed", g_variant_new_boolean(allowed));
    }
    if (allowed && !device->trusted) {
        bus::SetPropertyLater(remote, device->path, kDeviceInterface, "Trusted", g_variant_new_boolean(TRUE));
    }
}

int Headless::Register(const char* address)
{
    if (!IsAddress(address)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    Load();
    const std::string normalised = Normalised(address);
    if (m_addresses.insert(normalised).second) {
        Store();
    }
    Allow(normalised, true);
    return BT_ERROR_NONE;
}

int Headless::Unregister(const char* address)
{
    if (!IsAddress(address)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    Load();
    const std::string normalised = Normalised(address);
    if (m_addresses.erase(normalised) == 0) {
        return BT_ERROR_REMOTE_DEVICE_NOT_FOUND;
    }
    Store();
    Allow(normalised, false);
    return BT_ERROR_NONE;
}

std::set<std::string> Headless::Addresses()
{
    Load();
    return m_addresses;
}

void Headless::Clear()
{
    Load();
    if (!m_addresses.empty()) {
        m_addresses.clear();
        Store();
    }
}

int Headless::SetMode(bool on)
{
    const bus::Deadline deadline;
    bool powered = false;
    if (const int result = m_stack.power.ReadPowered(powered, deadline); result != BT_ERROR_NONE) {
        return result;
    }
    if (!powered) {
        return BT_ERROR_NOT_ENABLED;
    }
    if (!on) {
        return m_stack.power.SetReachable(m_stack.power.WantsVisible(), true, deadline);
    }
    if (const int result = m_stack.power.SetReachable(false, false, deadline); result != BT_ERROR_NONE) {
        return result;
    }
    Load();
    for (const auto& [path, device] : m_stack.daemon.Objects().Devices()) {
        if (m_addresses.contains(device.address)) {
            Allow(device.address, true);
        } else if (device.connected) {
            m_stack.bonds.Disconnect(path);
        }
    }
    return BT_ERROR_NONE;
}

} // namespace bluez
