#include "hid/Host.h"

#include "Log.h"
#include "NotSupported.h"
#include "bluez/Address.h"
#include "bluez/DeviceInfo.h"
#include "bluez/Stack.h"
#include "bus/Handles.h"
#include "features/KeyFiles.h"
#include "hid/HidId.h"
#include "power/Wake.h"

#include <bt_error.h>
#include <bt_hid.h>
#include <vconf.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace hid {

namespace {

constexpr const char* kStandSetting = "db/bluetooth_smartrc/rotation_stand_address";
constexpr const char* kBasic = "the remote does not speak the protocol";

/// Which devices are the remotes of this kind: the key files say, or the television's own are.
std::vector<bluez::Identity> Pairs(const char* key, unsigned product)
{
    if (const std::optional<std::string> text = features::KeyFiles::OfBox().PlatformText(key)) {
        if (auto pairs = PairsIn(*text)) {
            return std::move(*pairs);
        }
        PLATFORM_LOG(DLOG_ERROR, "[platform] %s: not a list of pairs like 04E8:2075", key);
    }
    return {{BT_HID_ACCESSORY_VENDOR_ID, product}};
}

bool Holds(const std::vector<bluez::Identity>& pairs, const Node& node)
{
    return std::ranges::any_of(
        pairs, [&](const bluez::Identity& pair) { return pair.vendor == node.vendor && pair.product == node.product; });
}

/// The node of a device on low energy outlives its link. Of a device that the daemon does not know the node is all
/// there is.
bool LinkIsUp(const std::string& address)
{
    const bluez::Device* device = bluez::Stack::Shared().FindDevice(address.c_str());
    return device == nullptr || device->connected;
}

/// The byte that a remote of our own would report for a battery of which only a percentage is known. Its level is a
/// quarter, 1 to 4: never one of those that are warned of, which the reading above it brings by itself.
std::uint8_t BatteryByte(unsigned percent)
{
    constexpr unsigned kHighestReading = 31;
    constexpr unsigned kAll = 100;
    constexpr unsigned kQuarter = 25;
    constexpr unsigned kReadingShift = 3;
    const unsigned charge = std::min(percent, kAll);
    const unsigned level = std::min(charge / kQuarter, 3U) + 1;
    return static_cast<std::uint8_t>(charge * kHighestReading / kAll << kReadingShift | level);
}

std::optional<std::uint8_t> BatteryOfDaemon(const std::string& address)
{
    const bluez::Device* device = bluez::Stack::Shared().FindDevice(address.c_str());
    return device != nullptr && device->battery ? std::optional(BatteryByte(*device->battery)) : std::nullopt;
}

} // namespace

Host& Host::OfProcess()
{
    static Host host;
    return host;
}

Host::Host()
{
    // Made before this object, and so there until it has gone.
    bluez::Stack::Shared();
    TheTransport();
}

Host::~Host()
{
    Close();
}

int Host::Initialize(bt_hid_host_connection_state_changed_cb callback, void* userData)
{
    const int result = m_onHost.Set(callback, userData);
    if (result == BT_ERROR_NONE) {
        m_isClosed = false;
        Open();
    }
    return result;
}

int Host::Deinitialize()
{
    m_isClosed = true;
    Close();
    return m_onHost.Unset();
}

void Host::Open()
{
    if (m_isOpen || m_isClosed) {
        return;
    }
    m_isOpen = true;
    m_isQuiet = true;
    m_smartRemotes = Pairs("remote.smart", BT_HID_SMART_RC_PRODUCT_ID);
    m_wheels = Pairs("remote.wheel", BT_HID_HALVO_SWITCH_PRODUCT_ID);
    bluez::Stack::Shared().onDeviceChanged = [this](const bluez::Device* before, const bluez::Device* now) {
        OnDevice(before, now);
    };
    bluez::Stack::Shared().onAdapterWent = [this](const std::string& address) { OnAdapterWent(address); };
    const std::vector<Node> nodes = TheTransport().Start([this](const Node& node) { OnCame(node); },
                                                         [this](const std::string& path) { OnWent(path); });
    for (const Node& node : nodes) {
        OnCame(node);
    }
    m_isQuiet = false;
}

void Host::Close()
{
    if (!m_isOpen) {
        return;
    }
    m_isOpen = false;
    TheTransport().Stop();
    bluez::Stack::Shared().onDeviceChanged = {};
    bluez::Stack::Shared().onAdapterWent = {};
    m_news.Clear();
    m_remotes.clear();
}

Role Host::RoleOf(const Node& node) const
{
    if (Holds(m_smartRemotes, node)) {
        return Role::SmartRemote;
    }
    return Holds(m_wheels, node) ? Role::Wheel : Role::Other;
}

Remote* Host::With(const std::string& address)
{
    const auto found = std::ranges::find(m_remotes, address, &Remote::Address);
    return found != m_remotes.end() ? &*found : nullptr;
}

Remote* Host::First(Role role)
{
    Open();
    const auto found = std::ranges::find_if(
        m_remotes, [&](const Remote& remote) { return remote.TheRole() == role && remote.IsUp(); });
    return found != m_remotes.end() ? &*found : nullptr;
}

void Host::OnCame(const Node& node)
{
    // What nothing is left of, and nobody waits for.
    m_remotes.remove_if([](const Remote& remote) { return remote.IsForgotten() && !remote.IsUp(); });
    Remote* remote = With(node.address);
    if (remote == nullptr) {
        RemoteListener& listener = *this;
        remote = &m_remotes.emplace_back(listener, node.address, RoleOf(node));
    }
    const bool isOtherVoice = remote->NodeCame(node);
    if (isOtherVoice && remote->IsUp()) {
        remote->LinkMoves(); // of its several nodes this is the one that counts
    }
    Update(*remote);
}

void Host::OnWent(const std::string& path)
{
    for (Remote& remote : m_remotes) {
        remote.NodeWent(path);
        Update(remote);
    }
}

void Host::OnAdapterWent(const std::string& address)
{
    for (Remote& remote : m_remotes) {
        remote.AdapterWent(bluez::Normalised(address));
        Update(remote);
    }
}

void Host::OnDevice(const bluez::Device* before, const bluez::Device* now)
{
    const bluez::Device* any = now != nullptr ? now : before;
    Remote* remote = With(any->address);
    if (remote == nullptr) {
        return;
    }
    Update(*remote);
    const bool isNews = now != nullptr && now->battery && (before == nullptr || before->battery != now->battery);
    if (isNews && remote->IsUp() && remote->IsAccessory() && !remote->Speaks()) {
        BatteryReported(*remote, BatteryByte(*now->battery));
    }
}

void Host::Update(Remote& remote)
{
    const bool isUp = remote.HasNode() && LinkIsUp(remote.Address());
    if (isUp == remote.IsUp()) {
        return;
    }
    if (isUp) {
        if (m_isQuiet) {
            remote.isTold = true;
        }
        if (remote.IsAccessory()) {
            power::Wakes::OfProcess().Reached(power::Milestone::FirstRemote);
        }
        remote.LinkUp();
        return;
    }
    remote.LinkDown();
    Note(remote);
    if (std::exchange(remote.isTold, false)) {
        TellConnection(remote, false);
    }
}

void Host::RemoteKnown(Remote& remote)
{
    Note(remote);
    if (!std::exchange(remote.isTold, true)) {
        TellConnection(remote, true);
    }
}

void Host::TellConnection(const Remote& remote, bool isConnected)
{
    m_news.Post([this, isConnected, address = remote.Address(), role = remote.TheRole()] {
        // Whoever is told first may close the host.
        const auto onHost = m_onHost;
        if (role != Role::Other) {
            const bluez::Device* known = bluez::Stack::Shared().FindDevice(address.c_str());
            bluez::Device device = known != nullptr ? *known : bluez::Device();
            device.address = address;
            device.connected = isConnected;
            const bluez::InfoPtr info = bluez::MakeInfo(device);
            if (info && role == Role::SmartRemote) {
                onSmartRemote.Tell(isConnected, info.get());
            } else if (info) {
                onWheel.Tell(isConnected, info.get());
            }
        }
        if (m_onHost.IsSet()) {
            onHost.Tell(int{BT_ERROR_NONE}, isConnected, address.c_str());
        }
    });
}

void Host::Note(const Remote& remote, std::optional<std::uint8_t> battery)
{
    if (remote.IsAccessory()) {
        m_roster.Note(remote, battery);
    }
}

const std::list<RosterEntry>& Host::KnownRemotes()
{
    // What was answered or learned since nobody had a reason to note.
    for (const Remote& remote : m_remotes) {
        const auto& entries = m_roster.Entries();
        const auto known = std::ranges::find(entries, remote.Address(), &RosterEntry::address);
        if (remote.IsUp() && (known == entries.end() || !known->battery)) {
            Note(remote, remote.KnownBattery() ? remote.KnownBattery() : BatteryOfDaemon(remote.Address()));
        }
    }
    return m_roster.Entries();
}

void Host::BatteryReported(const Remote& remote, std::uint8_t status)
{
    Note(remote, status);
    m_news.Post([this, status, address = remote.Address()]() {
        std::string text = address; // the receiver may write to it
        bt_hid_battery_status_info_s info{status, text.data()};
        onBattery.Tell(&info);
    });
}

void Host::ChargingReported(const Remote& remote, std::uint8_t status, std::uint8_t harvest)
{
    const bool isWheel = remote.TheRole() == Role::Wheel;
    m_news.Post(
        [=, this] { isWheel ? onWheelCharging.Tell(status, harvest) : onSmartRemoteCharging.Tell(status, harvest); });
}

void Host::Gripped(const Remote& remote, std::uint8_t key)
{
    if (remote.TheRole() == Role::SmartRemote) {
        m_news.Post([=, this] { onGripped.Tell(key); });
    }
}

void Host::GripStateReported(const Remote& remote, int state)
{
    if (remote.TheRole() == Role::SmartRemote) {
        m_news.Post([=, this] { onGripState.Tell(state); });
    }
}

bool Host::IsConnected(Role role)
{
    return First(role) != nullptr;
}

int Host::GetAddress(Role role, char** address)
{
    const Remote* remote = First(role);
    if (remote == nullptr) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    char* text = strdup(remote->Address().c_str());
    if (text == nullptr) {
        return BT_ERROR_OUT_OF_MEMORY;
    }
    *address = text;
    return BT_ERROR_NONE;
}

int Host::GetDeviceType(const char* function, unsigned char& type)
{
    Remote* remote = First(Role::SmartRemote);
    if (remote == nullptr) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    if (!remote->Speaks()) {
        return NotSupported(function, kBasic);
    }
    const std::optional<Identity> identity = remote->WhatItIs();
    if (!identity) {
        return BT_ERROR_OPERATION_FAILED;
    }
    type = identity->deviceType;
    return BT_ERROR_NONE;
}

int Host::FindAccessory(const char* address, Remote*& remote)
{
    if (address == nullptr || !bluez::IsAddress(address)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    Open();
    remote = With(bluez::Normalised(address));
    return remote != nullptr && remote->IsAccessory() && remote->IsUp() ? BT_ERROR_NONE
                                                                        : BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}

int Host::GetFirmware(const char* function, const char* address, unsigned& version)
{
    Remote* remote = nullptr;
    if (const int result = FindAccessory(address, remote); result != BT_ERROR_NONE) {
        return result;
    }
    if (remote->Speaks()) {
        const std::optional<Identity> identity = remote->WhatItIs();
        if (!identity) {
            return BT_ERROR_OPERATION_FAILED;
        }
        version = identity->firmware;
        return BT_ERROR_NONE;
    }
    const bluez::Device* device = bluez::Stack::Shared().FindDevice(remote->Address().c_str());
    const auto identity = device != nullptr ? bluez::IdentityIn(device->modalias) : std::nullopt;
    if (!identity) {
        return NotSupported(function, "the remote neither speaks the protocol nor states a version");
    }
    version = identity->version;
    return BT_ERROR_NONE;
}

int Host::GetBattery(Role role, unsigned char& status)
{
    Remote* remote = First(role);
    if (remote == nullptr) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    std::optional<std::uint8_t> battery = remote->Speaks() ? remote->Battery() : std::nullopt;
    if (!battery) {
        battery = BatteryOfDaemon(remote->Address());
    }
    if (!battery) {
        return BT_ERROR_OPERATION_FAILED;
    }
    status = *battery;
    return BT_ERROR_NONE;
}

int Host::GetGripState(const char* function, int& state)
{
    Remote* remote = First(Role::SmartRemote);
    if (remote == nullptr) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    if (!remote->Speaks()) {
        return NotSupported(function, kBasic);
    }
    const std::optional<Identity> identity = remote->WhatItIs();
    if (identity && (identity->capabilities & kHasGripSensor) == 0) {
        state = BT_SC_GRIP_SENSOR_NOT_AVAILABLE;
        return BT_ERROR_NONE;
    }
    const std::optional<int> grip = remote->GripState();
    if (!grip) {
        return BT_ERROR_OPERATION_FAILED;
    }
    state = *grip;
    return BT_ERROR_NONE;
}

int Host::SendToRemote(const char* function, const char* address, std::vector<Bytes> reports)
{
    Remote* remote = nullptr;
    if (const int result = FindAccessory(address, remote); result != BT_ERROR_NONE) {
        return result;
    }
    return remote->Speaks() ? remote->Send(std::move(reports)) : NotSupported(function, kBasic);
}

int Host::SendDuid(const char* function, const char* address, const char* duid)
{
    const std::size_t size = duid != nullptr ? std::strlen(duid) : 0;
    if (size == 0 || size > kChunkBytes * kMostChunks) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    Remote* remote = nullptr;
    if (const int result = FindAccessory(address, remote); result != BT_ERROR_NONE) {
        return result;
    }
    if (remote->HasDuidOnItsWay()) {
        return BT_ERROR_NOW_IN_PROGRESS;
    }
    const Bytes bytes(duid, duid + size);
    return SendToRemote(function, address, DuidChunks(bytes));
}

Remote* Host::Stand()
{
    Open();
    const std::unique_ptr<char, bus::ReleaseWith<std::free>> address(vconf_get_str(kStandSetting));
    if (!address || !bluez::IsAddress(address.get())) {
        return nullptr;
    }
    Remote* stand = With(bluez::Normalised(address.get()));
    return stand != nullptr && stand->IsUp() ? stand : nullptr;
}

bool Host::IsStandConnected()
{
    return Stand() != nullptr;
}

int Host::SendToStand(const char* function, Bytes report)
{
    Remote* stand = Stand();
    if (stand == nullptr) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    return stand->TakesStandCommands() ? stand->Send({std::move(report)})
                                       : NotSupported(function, "the stand takes no commands");
}

} // namespace hid
