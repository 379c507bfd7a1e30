#include "bluez/Stack.h"

#include "Log.h"
#include "bluez/Address.h"
#include "bus/Handles.h"
#include "bus/Remote.h"
#include "bus/SystemBus.h"
#include "mgmt/Bytes.h"
#include "power/PowerManager.h"

#include <gio/gio.h>

#include <vconf.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <optional>

namespace bluez {

namespace {

// Names an adapter of a box that has several: "hci1".
constexpr const char* kAdapterSetting = "db/platform/adapter";
// The address of the device that woke the box; empty when none did. Lives as long as the box is on.
constexpr const char* kWakeSetting = "memory/platform/wake_device";

std::string Setting(const char* key)
{
    const std::unique_ptr<char, bus::ReleaseWith<std::free>> text(vconf_get_str(key));
    return text ? text.get() : "";
}

/// \return whether the event said anything
bool RememberWake(mgmt::Reader parameters)
{
    constexpr std::uint8_t kWokenByDevice = 2;
    const auto reason = parameters.Byte();
    const auto address = parameters.Address();
    if (!address) {
        return false;
    }
    vconf_set_str(kWakeSetting, *reason == kWokenByDevice ? AddressText(*address).c_str() : "");
    return true;
}

bool TellsThatItIsOff(mgmt::Reader parameters)
{
    const auto settings = parameters.Word(); // the lower half
    return settings && (*settings & mgmt::kPowered) == 0;
}

} // namespace

Stack& Stack::Shared()
{
    static Stack stack;
    return stack;
}

Stack::Stack()
    : daemon(*this, *this),
      kernel([this](mgmt::Event event, std::span<const std::uint8_t> parameters) { OnKernelEvent(event, parameters); }),
      power(*this),
      advertiser(*this),
      headless(*this),
      links(*this),
      bonds(*this),
      audio(*this),
      broker(*this),
      profiles(*this)
{
    // Made before this object, and so there until it has gone.
    bus::SystemBus::Shared();
    daemon.onBusSettled = [this](GDBusConnection* connection) { broker.BusSettled(connection); };
    daemon.onBusWent = [this] { BusWent(); };
}

void Stack::Init()
{
    if (m_isInitialised) {
        return;
    }
    m_isInitialised = true;
    m_preferred = Setting(kAdapterSetting);
    m_isQuiet = true;
    kernel.Open();
    daemon.Start();
    m_isQuiet = false;
}

void Stack::Deinit()
{
    if (!m_isInitialised) {
        return;
    }
    m_isQuiet = true;
    profiles.Forget();
    advertiser.Forget();
    daemon.Stop();
    kernel.Close();
    m_kernelTells = false;
    links.Forget();
    power.Forget();
    m_isQuiet = false;
    m_isInitialised = false;
}

const Adapter* Stack::TheAdapter() const
{
    const auto found = daemon.Objects().Adapters().find(m_chosen);
    return found != daemon.Objects().Adapters().end() ? &found->second : nullptr;
}

int Stack::Index() const
{
    const Adapter* adapter = TheAdapter();
    return adapter != nullptr ? adapter->Index() : -1;
}

const Device* Stack::FindDevice(const char* address) const
{
    return m_chosen.empty() ? nullptr : daemon.Objects().DeviceWith(m_chosen, Normalised(address));
}

std::string Stack::WakeDevice() const
{
    const std::string address = Setting(kWakeSetting);
    return IsAddress(address) ? address : "";
}

void Stack::Choose()
{
    const auto& adapters = daemon.Objects().Adapters();
    m_chosen.clear();
    for (const auto& [path, adapter] : adapters) {
        if (m_chosen.empty() || path.ends_with("/" + m_preferred)) {
            m_chosen = path;
        }
    }
    kernel.Choose(Index());
    if (const Adapter* adapter = TheAdapter()) {
        const Adapter now = *adapter;
        ListenToKernel();
        power.AdapterCame(now);
        advertiser.AdapterChanged(nullptr, &now);
    }
}

void Stack::ListenToKernel()
{
    // Without an adapter the kernel may lack its Bluetooth part, which comes with the first one.
    if (!kernel.Open()) {
        m_kernelTells = false;
        return;
    }
    // Only who may manage the controller is told of devices, and only such a process is answered this.
    kernel.Send(mgmt::Command::GetConnections, {}, [this](const mgmt::Reply& reply) {
        m_kernelTells = reply.status != mgmt::kPermissionDenied;
        if (reply.status == mgmt::kSuccess) {
            links.OnConnections(reply.parameters);
        } else if (!m_kernelTells) {
            PLATFORM_LOG(DLOG_WARN, "the kernel does not tell of Bluetooth links: CAP_NET_ADMIN is missing");
        }
    });
}

void Stack::AdapterChanged(const Adapter* before, const Adapter* now)
{
    if (now == nullptr) {
        if (before->path == m_chosen) {
            bonds.AdapterWent();
            advertiser.AdapterWent();
            if (!m_kernelTells) {
                links.DropAll();
            }
            m_chosen.clear();
            power.AdapterWent();
            Choose();
        }
        if (onAdapterWent && daemon.Remote().IsThere()) {
            onAdapterWent(before->address);
        }
        return;
    }
    const bool isPreferred = !m_preferred.empty() && now->path.ends_with("/" + m_preferred);
    if (m_chosen.empty() || (before == nullptr && isPreferred && now->path != m_chosen)) {
        if (!m_chosen.empty()) {
            power.AdapterWent();
        }
        Choose();
        return;
    }
    if (now->path != m_chosen) {
        return;
    }
    if (before != nullptr && before->powered && !now->powered) {
        links.DropAll();
    }
    power.AdapterChanged(*now);
    advertiser.AdapterChanged(before, now);
}

void Stack::DeviceChanged(const Device* before, const Device* now)
{
    const Device* any = now != nullptr ? now : before;
    // The devices of an adapter that has just gone are reported for what they were.
    if (!m_chosen.empty() && !any->path.starts_with(m_chosen + "/")) {
        return;
    }
    links.DeviceChanged(before, now);
    if (now != nullptr && now->paired && before != nullptr && !before->paired) {
        broker.PairingEnded(now->address, true);
    }
    bonds.DeviceChanged(before, now);
    audio.DeviceChanged(before, now);
    if (onDeviceChanged && !m_isQuiet) {
        onDeviceChanged(before, now);
    }
}

void Stack::TransportChanged(const Transport* before, const Transport* now)
{
    audio.TransportChanged(before, now);
}

void Stack::ManagerCame(std::string_view interface)
{
    // A daemon that has just started both lists its managers and announces them.
    if (!m_managers.emplace(interface).second) {
        return;
    }
    if (interface == "org.bluez.AgentManager1") {
        broker.ManagerCame();
    } else {
        profiles.ManagerCame();
    }
}

void Stack::DaemonWent()
{
    m_managers.clear();
    broker.DaemonWent();
    bonds.AdapterWent();
    advertiser.AdapterWent();
}

void Stack::BusWent()
{
    broker.BusWent();
    profiles.BusWent();
    advertiser.BusWent();
}

void Stack::OnKernelEvent(mgmt::Event event, std::span<const std::uint8_t> parameters)
{
    const mgmt::Reader reader(parameters);
    switch (event) {
    case mgmt::Event::DeviceConnected:
        m_kernelTells = true;
        links.OnConnected(reader);
        break;
    case mgmt::Event::DeviceDisconnected:
        m_kernelTells = true;
        links.OnDisconnected(reader);
        break;
    case mgmt::Event::ConnectFailed:
        links.OnConnectFailed(reader);
        break;
    case mgmt::Event::NewIdentityResolvingKey:
        links.OnIdentity(reader);
        break;
    case mgmt::Event::NewSettings:
        // The links of an adapter that is pulled end here, before the daemon takes the nodes of its remotes away: a
        // remote's link is told before the remote itself.
        if (TellsThatItIsOff(reader)) {
            links.DropAll();
        }
        break;
    case mgmt::Event::IndexRemoved:
        links.DropAll();
        break;
    case mgmt::Event::DeviceUnpaired:
        bonds.OnUnpaired(reader);
        break;
    case mgmt::Event::AuthenticationFailed:
        bonds.OnAuthenticationFailed(reader);
        break;
    case mgmt::Event::NewLinkKey:
    case mgmt::Event::NewLongTermKey:
        bonds.OnNewKey(reader);
        break;
    case mgmt::Event::LocalNameChanged:
    case mgmt::Event::ClassOfDeviceChanged:
        advertiser.ResponseChanged();
        break;
    case mgmt::Event::ControllerResume:
        if (RememberWake(reader)) {
            const std::string device = WakeDevice();
            power::PowerManager::OfProcess().ControllerResumed(!device.empty(), audio.IsAudioDevice(device));
        }
        break;
    default:
        break;
    }
}

} // namespace bluez
