#include "tv/set/Gadgets.h"

#include "sim/Audio.h"
#include "tv/language/Commands.h"
#include "tv/language/Words.h"

#include <bt_hid.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <stdexcept>
#include <utility>

namespace set {

namespace {

using language::Line;
using language::Verb;

constexpr const char* kRemoteAddress = "5C:51:4F:00:00:02";
constexpr const char* kWheelAddress = "5C:51:4F:00:00:03";

// Audio profiles as the platform numbers them.
constexpr int kHandsFree = 1;
constexpr int kMusic = 2;
constexpr int kMusicService = 18; // what a speaker asks to be let in for
constexpr int kPasskeyToCompare = 2;

} // namespace

Gadgets::Gadgets(sim::Television& tv)
    : m_tv(tv),
      m_devices{{"speaker", "5C:51:4F:00:00:01", "Kitchen speaker", 4, 20},
                {"phone", "5C:51:4F:00:00:04", "Phone", 2, 3},
                {"keyboard", "5C:51:4F:00:00:05", "Keyboard", 5, 16}}
{
    m_tv.smartRemote.address = kRemoteAddress;
    m_tv.wheel.address = kWheelAddress;
}

bool Gadgets::Does(const Line& line)
{
    return DoesRemote(line) || DoesLowEnergy(line) || DoesDevice(line) || DoesStand(line);
}

sim::Remote& Gadgets::RemoteOf(const Line& line)
{
    return line.literals.front() == "wheel" ? static_cast<sim::Remote&>(m_tv.wheel) : m_tv.smartRemote;
}

bool Gadgets::DoesRemote(const Line& line)
{
    sim::Remote& remote = RemoteOf(line);
    switch (line.command->verb) {
    case Verb::RemoteConnects: {
        const std::string address = line.Has("ADDRESS") ? line.Text("ADDRESS") : remote.address;
        m_kindOf[address] = line.literals.front();
        remote.Connects(address);
        m_tv.devices.ConnectsHid(address);
        return true;
    }
    case Verb::RemoteDisconnects:
        remote.Disconnects(line.Number("REASON"));
        m_tv.devices.DisconnectsHid(remote.address);
        return true;
    case Verb::RemoteIsLost:
        remote.LosesLink(line.Number("REASON"));
        m_tv.devices.DisconnectsHid(remote.address);
        return true;
    case Verb::RemoteIsKnown:
        m_kindOf[remote.address] = line.literals.front();
        m_tv.devices.Knows({.address = remote.address,
                            .name = remote.name,
                            .vendor = BT_HID_ACCESSORY_VENDOR_ID,
                            .product = line.literals.front() == "wheel" ? BT_HID_HALVO_SWITCH_PRODUCT_ID
                                                                        : BT_HID_SMART_RC_PRODUCT_ID});
        return true;
    case Verb::BatteryLevel: {
        constexpr int kLevelShift = 3; // the lower bits say something else
        constexpr int kOtherBits = 3;
        remote.ReportsBattery(static_cast<unsigned char>((line.Number("LEVEL") << kLevelShift) | kOtherBits));
        return true;
    }
    case Verb::BatteryByte:
        remote.ReportsBattery(static_cast<unsigned char>(line.Number("BYTE")));
        return true;
    case Verb::Charges:
        remote.ReportsCharging(static_cast<unsigned char>(line.Number("STATUS")),
                               static_cast<unsigned char>(line.Number("HARVEST")));
        return true;
    case Verb::RemoteType:
        remote.deviceType = static_cast<unsigned char>(line.Number("BYTE"));
        return true;
    case Verb::RemoteFirmware:
        remote.fwVersion = static_cast<unsigned int>(line.Number("NUMBER"));
        return true;
    case Verb::RemoteAddress:
        remote.address = line.Text("ADDRESS");
        return true;
    case Verb::RemoteIsGripped:
        m_tv.smartRemote.IsGripped(static_cast<unsigned char>(line.Number("BYTE", 1)));
        return true;
    case Verb::GripSensor: {
        const std::string& how = line.literals.back();
        m_tv.smartRemote.GripSensorTurns(how == "on"    ? BT_SC_GRIP_SENSOR_ON
                                         : how == "off" ? BT_SC_GRIP_SENSOR_OFF
                                                        : BT_SC_GRIP_SENSOR_NOT_AVAILABLE);
        return true;
    }
    default:
        return false;
    }
}

Gadgets::Device& Gadgets::DeviceOf(const Line& line)
{
    const auto found = std::ranges::find(m_devices, line.literals.front(), &Device::kind);
    if (found == m_devices.end()) {
        throw std::logic_error("no such device: " + line.literals.front());
    }
    return *found;
}

sim::Device Gadgets::Record(const Device& device) const
{
    return {.address = device.address,
            .name = device.saysName ? std::optional(device.name) : std::nullopt,
            .majorClass = device.majorClass,
            .minorClass = device.minorClass,
            .connected = device.connected};
}

/// The link comes first, then what runs on it.
void Gadgets::Connects(Device& device)
{
    device.connected = true;
    m_kindOf[device.address] = device.kind;
    m_tv.devices.Connects(device.address);
    if (device.kind == "speaker") {
        m_tv.audio.Connects(device.address, kMusic);
    } else if (device.kind == "phone") {
        m_tv.audio.Connects(device.address, kHandsFree);
        m_tv.audio.ServiceLevel(true, device.address);
    } else {
        m_tv.devices.ConnectsHid(device.address);
    }
}

void Gadgets::EndsProfiles(const Device& device)
{
    if (device.kind == "speaker") {
        m_tv.audio.Disconnects(device.address, kMusic);
    } else if (device.kind == "phone") {
        m_tv.audio.ServiceLevel(false, device.address);
        m_tv.audio.Disconnects(device.address, kHandsFree);
    } else {
        m_tv.devices.DisconnectsHid(device.address);
    }
}

void Gadgets::Disconnects(Device& device, int reason)
{
    device.connected = false;
    EndsProfiles(device);
    m_tv.devices.Disconnects(device.address, reason);
}

void Gadgets::Loses(Device& device, int reason)
{
    device.connected = false;
    m_tv.devices.Disconnects(device.address, reason);
    EndsProfiles(device);
}

bool Gadgets::DoesDevice(const Line& line)
{
    switch (line.command->verb) {
    case Verb::DeviceConnects:
        Connects(DeviceOf(line));
        return true;
    case Verb::DeviceDisconnects:
        Disconnects(DeviceOf(line), line.Number("REASON"));
        return true;
    case Verb::DeviceIsLost:
        Loses(DeviceOf(line), line.Number("REASON"));
        return true;
    case Verb::DeviceAsks:
        m_tv.devices.AsksForAuthorization(DeviceOf(line).address, DeviceOf(line).name,
                                          line.Number("SERVICE", kMusicService));
        return true;
    case Verb::DevicePairs:
        if (line.Has("PASSKEY")) {
            m_tv.devices.AsksForAuthentication(DeviceOf(line).address, DeviceOf(line).name, kPasskeyToCompare,
                                               line.Text("PASSKEY"));
        } else {
            m_tv.devices.AsksForConsent(DeviceOf(line).address, DeviceOf(line).name);
        }
        return true;
    case Verb::DeviceBonds:
        m_kindOf[DeviceOf(line).address] = DeviceOf(line).kind;
        m_tv.devices.Bonds(Record(DeviceOf(line)));
        return true;
    case Verb::DeviceIsKnown:
        m_kindOf[DeviceOf(line).address] = DeviceOf(line).kind;
        m_tv.devices.Knows(Record(DeviceOf(line)));
        return true;
    case Verb::DeviceUnbonds:
        if (!m_tv.devices.IsBonded(DeviceOf(line).address)) {
            throw std::runtime_error("the " + line.literals.front() + " is not paired");
        }
        m_tv.devices.Unbonds(DeviceOf(line).address);
        return true;
    case Verb::DeviceName:
        DeviceOf(line).saysName = line.arguments.find("TEXT")->second.quoted || line.Text("TEXT") != "none";
        if (DeviceOf(line).saysName) {
            DeviceOf(line).name = line.Text("TEXT");
        }
        return true;
    case Verb::DeviceAddress:
        if (DeviceOf(line).connected) {
            throw std::runtime_error("the " + line.literals.front() +
                                     " is connected, and nobody changes its address meanwhile: disconnect it first");
        }
        DeviceOf(line).address = line.Text("ADDRESS");
        return true;
    case Verb::SpeakerVolume:
        m_tv.audio.InterimVolume(DeviceOf(line).address, static_cast<unsigned int>(line.Number("VOLUME")));
        return true;
    default:
        return false;
    }
}

bool Gadgets::DoesLowEnergy(const Line& line)
{
    if (line.command->verb != Verb::LowEnergy) {
        return false;
    }
    const std::string& what = line.literals.front();
    const std::string& address = what == "remote" || what == "wheel" ? RemoteOf(line).address : DeviceOf(line).address;
    if (line.literals.back() == "on") {
        m_tv.devices.ConnectsGatt(address);
    } else {
        m_tv.devices.DisconnectsGatt(address);
    }
    return true;
}

bool Gadgets::DoesStand(const Line& line)
{
    if (line.command->verb != Verb::Stand) {
        return false;
    }
    m_tv.stand.connected = line.literals.back() == "connect";
    return true;
}

void Gadgets::AddRemote(std::vector<std::string>& lines, const std::string& name, const sim::Remote& remote) const
{
    lines.push_back(name + " address " + remote.address);
    lines.push_back(name + " type " + std::to_string(remote.deviceType));
    lines.push_back(name + " firmware " + std::to_string(static_cast<int>(remote.fwVersion)));
}

std::vector<std::string> Gadgets::Furniture() const
{
    std::vector<std::string> lines;
    for (const Device& device : m_devices) {
        lines.push_back(device.kind + " name " + (device.saysName ? language::AsQuoted(device.name) : "none"));
    }
    for (const sim::Device& bonded : m_tv.devices.Bonded()) {
        const auto kind = m_kindOf.find(bonded.address);
        if (kind != m_kindOf.end()) {
            lines.push_back(kind->second + " address " + bonded.address);
            lines.push_back(kind->second + " known");
        }
    }
    for (const Device& device : m_devices) {
        lines.push_back(device.kind + " address " + device.address);
    }
    AddRemote(lines, "remote", m_tv.smartRemote);
    AddRemote(lines, "wheel", m_tv.wheel);
    lines.emplace_back(m_tv.stand.connected ? "stand connect" : "stand disconnect");
    return lines;
}

} // namespace set
