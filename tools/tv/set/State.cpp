#include "tv/set/State.h"

#include "people/Json.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "sim/Adapter.h"
#include "sim/ColorSensor.h"
#include "sim/Devices.h"
#include "sim/Failures.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/ScreenAndSound.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Timers.h"
#include "tv/language/Numbers.h"
#include "tv/set/Gadgets.h"
#include "tv/set/House.h"
#include "tv/set/Neighbours.h"
#include "tv/set/Stage.h"
#include "tv/set/Wire.h"

#include <device_power.h>

#include <map>
#include <utility>
#include <variant>
#include <vector>

namespace set {

namespace {

namespace json = people::json;
using Members = std::vector<std::pair<const char*, std::string>>;

std::string Power(const sim::Television& tv)
{
    std::vector<std::string> locks;
    for (int state = DEVICE_POWER_STATE_NORMAL; state <= DEVICE_POWER_STATE_SUSPEND; ++state) {
        if (tv.power.IsLocked(state)) {
            locks.push_back(std::to_string(state));
        }
    }
    return json::Object({{"state", std::to_string(tv.power.state)},
                         {"ambient", std::to_string(tv.power.ambientMode)},
                         {"locks", json::Array(locks)},
                         {"ambientLock", json::Bool(tv.screen.IsAmbientLocked())}});
}

std::string Adapter(const sim::Adapter& adapter)
{
    return json::Object({{"state", std::to_string(adapter.state)},
                         {"name", json::Text(adapter.name)},
                         {"visibility", std::to_string(adapter.visibility)},
                         {"connectable", json::Bool(adapter.connectable)},
                         {"headless", json::Bool(adapter.headless)}});
}

Members Remote(const sim::Television& tv, const sim::Remote& remote)
{
    return {{"address", json::Text(remote.address)},
            {"connected", json::Bool(remote.connected)},
            {"bonded", json::Bool(tv.devices.IsBonded(remote.address))},
            {"type", std::to_string(remote.deviceType)},
            {"firmware", std::to_string(remote.fwVersion)},
            {"battery", std::to_string(remote.battery)}};
}

std::string SmartRemote(const sim::Television& tv)
{
    Members members = Remote(tv, tv.smartRemote);
    members.emplace_back("gripSensor", std::to_string(tv.smartRemote.gripSensor));
    return json::Object(members);
}

std::string Device(const sim::Television& tv, const Gadgets::Device& device)
{
    return json::Object({{"address", json::Text(device.address)},
                         {"name", json::Text(device.name)},
                         {"bonded", json::Bool(tv.devices.IsBonded(device.address))},
                         {"connected", json::Bool(device.connected)}});
}

std::string Siblings(const Neighbours& neighbours)
{
    std::vector<std::string> siblings;
    for (const Neighbours::State& state : neighbours.States()) {
        siblings.push_back(
            json::Object({{"name", json::Text(state.name)}, {"behaviour", json::Text(state.behaviour)}}));
    }
    return json::Array(siblings);
}

std::string ValueOf(const settings::Value& value)
{
    if (const bool* truth = std::get_if<bool>(&value)) {
        return json::Bool(*truth);
    }
    if (const int* number = std::get_if<int>(&value)) {
        return std::to_string(*number);
    }
    return json::Text(std::get<std::string>(value));
}

std::string Settings(settings::Store& store)
{
    std::vector<settings::Entry> entries;
    store.List("", &entries);
    std::vector<std::string> all;
    all.reserve(entries.size());
    for (const settings::Entry& entry : entries) {
        all.push_back(json::Object({{"key", json::Text(entry.key)},
                                    {"type", json::Text(settings::TypeName(entry.value))},
                                    {"value", ValueOf(entry.value)}}));
    }
    return json::Array(all);
}

std::string Features(const House& house)
{
    std::vector<std::string> all;
    for (const auto& [name, value] : house.Features()) {
        all.push_back(json::Object({{"name", json::Text(name)}, {"value", json::Text(value)}}));
    }
    return json::Array(all);
}

std::string Failures(const sim::Failures& failures)
{
    std::vector<std::string> all;
    for (const sim::Failures::Failing& failing : failures.All()) {
        all.push_back(json::Object({{"function", json::Text(failing.function)},
                                    {"code", json::Text(language::AsErrorCode(failing.code))},
                                    {"left", std::to_string(failing.times)}}));
    }
    return json::Array(all);
}

std::string Timers(const Stage& stage)
{
    std::vector<std::string> all;
    for (const sim::PendingTimer& timer : sim::PendingTimers()) {
        all.push_back(json::Object({{"number", std::to_string(timer.number)},
                                    {"interval", json::Text(timer.interval)},
                                    {"due", std::to_string(stage.wire.At(timer.due))}}));
    }
    return json::Array(all);
}

} // namespace

std::string StateOf(const Stage& stage)
{
    const sim::Television& tv = stage.tv;
    Members members = {{"running", json::Bool(stage.isRunning)},
                       {"at", std::to_string(stage.wire.At(tv.tape.Now()))},
                       {"clock", json::Text(stage.clockRuns ? "runs" : "stands")},
                       {"power", Power(tv)},
                       {"adapter", Adapter(tv.adapter)},
                       {"remote", SmartRemote(tv)},
                       {"wheel", json::Object(Remote(tv, tv.wheel))}};
    for (const Gadgets::Device& device : stage.gadgets.Devices()) {
        members.emplace_back(device.kind.c_str(), Device(tv, device));
    }
    members.insert(members.end(), {{"stand", json::Object({{"connected", json::Bool(tv.stand.connected)}})},
                                   {"light", std::to_string(tv.colorSensor.lux)},
                                   {"siblings", Siblings(stage.neighbours)},
                                   {"settings", Settings(stage.store)},
                                   {"features", Features(stage.house)},
                                   {"failures", Failures(tv.failures)},
                                   {"timers", Timers(stage)}});
    return json::Object({{"state", json::Object(members)}});
}

} // namespace set
