#include "tv/set/Reports.h"

#include "sim/Devices.h"
#include "sim/Power.h"
#include "sim/Queue.h"
#include "sim/Remotes.h"
#include "sim/Slot.h"
#include "tv/language/Commands.h"

#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_hid.h>
#include <device_power.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace set {

namespace {

using language::Line;
using language::Verb;

constexpr unsigned char kBatteryByte = 0x28;
constexpr int kMusicService = 18;

sim::Devices::Strength StrengthNamed(const std::string& name)
{
    using Strength = sim::Devices::Strength;
    constexpr std::pair<std::string_view, Strength> kStrengths[] = {{"comes", Strength::Comes},
                                                                    {"late", Strength::ComesLate},
                                                                    {"never", Strength::NeverComes},
                                                                    {"without-address", Strength::HasNoAddress}};
    return std::ranges::find(kStrengths, name, &std::pair<std::string_view, Strength>::first)->second;
}

} // namespace

void Reports::OfRemote(const std::string& what, bool hasRecord, bool hasAddress)
{
    m_tv.queue.Post([this, what, hasRecord, hasAddress] {
        sim::Device device = {.address = ""};
        device.hasAddress = hasAddress;
        sim::DeviceRecord record(device);
        bt_device_info_s* info = hasRecord ? record.Get() : nullptr;
        bt_hid_battery_status_info_s status = {kBatteryByte, nullptr};
        if (what == "battery") {
            m_tv.smartRemote.onBattery.Tell(hasRecord ? &status : nullptr);
        } else if (what == "wheel") {
            m_tv.wheel.onConnection.Tell(true, info);
        } else {
            m_tv.smartRemote.onConnection.Tell(what == "remote", info);
        }
    });
}

void Reports::OfRequest(const std::string& what, bool hasAddress)
{
    m_tv.queue.Post([this, what, hasAddress] {
        std::string known = hasAddress ? "5C:51:4F:00:00:01" : "Device";
        char* address = hasAddress ? known.data() : nullptr;
        char* name = hasAddress ? nullptr : known.data();
        if (what == "service") {
            m_tv.devices.onAuthorization.Tell(0, address, name, static_cast<bt_profile_service_id_e>(kMusicService));
        } else if (what == "passkey") {
            m_tv.devices.onAuthentication.Tell(0, static_cast<bt_authentication_type_info_e>(2), name, address,
                                               static_cast<char*>(nullptr));
        } else {
            m_tv.devices.onConsent.Tell(0, name, address);
        }
    });
}

bool Reports::Does(const Line& line)
{
    switch (line.command->verb) {
    case Verb::ReportRemote:
        OfRemote(line.literals[1], line.literals.back() == "address", false);
        return true;
    case Verb::ReportEmpty:
        OfRemote(line.literals[1], true, true);
        return true;
    case Verb::ReportRequest:
        OfRequest(line.literals[1], line.literals.back() == "name");
        return true;
    case Verb::ReportPower:
        m_tv.power.TellsStateChange(nullptr);
        return true;
    case Verb::Strength: {
        m_tv.devices.strength = StrengthNamed(line.literals.back());
        m_strength = line.text;
        return true;
    }
    default:
        return false;
    }
}

std::vector<std::string> Reports::Furniture() const
{
    return m_strength.empty() ? std::vector<std::string>() : std::vector{m_strength};
}

} // namespace set
