#include "vyrel-ctl/Show.h"

#include "people/Json.h"
#include "people/Table.h"
#include "people/Text.h"
#include "people/Words.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <optional>

namespace control {

namespace json = people::json;
using people::Table;

namespace {

constexpr const char* kNothing = "none\n";

std::string YesNo(bool value)
{
    return value ? "yes" : "no";
}

/// -1 stands for unknown.
std::string NumberOrNull(long long number)
{
    return number < 0 ? json::kNull : std::to_string(number);
}

std::string Hexadecimal(guint32 number)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08x", number);
    return text.data();
}

std::string LinesOrNothing(const Table& table, const std::string& indent)
{
    return table.IsEmpty() ? indent + kNothing : table.Lines(indent);
}

std::string Battery(const RemoteNow& remote)
{
    constexpr int kEmpty = 0;
    constexpr int kLow = 5;
    if (remote.reading < 0) {
        return "unknown";
    }
    const std::string reading = std::to_string(remote.reading) + "/31";
    return reading + (remote.level == kEmpty ? " empty" : remote.level == kLow ? " low" : "");
}

template <typename Item, typename Say>
std::string ListOf(const std::vector<Item>& items, Say say)
{
    std::vector<std::string> values;
    values.reserve(items.size());
    std::ranges::transform(items, std::back_inserter(values), say);
    return json::Array(values);
}

} // namespace

std::vector<bluez::Device> Befriended(std::vector<bluez::Device> devices)
{
    std::erase_if(devices, [](const bluez::Device& device) { return !device.paired && !device.connected; });
    return devices;
}

std::string DeviceLines(const std::vector<bluez::Device>& devices, const std::string& indent)
{
    Table table({"ADDRESS", "NAME", "KIND", "PAIRED", "TRUSTED", "CONNECTED", "BATTERY"});
    for (const bluez::Device& device : devices) {
        table.Add({device.address, device.name, KindOf(device), YesNo(device.paired), YesNo(device.trusted),
                   YesNo(device.connected), device.battery ? std::to_string(*device.battery) + " %" : ""});
    }
    return LinesOrNothing(table, indent);
}

std::string DeviceJson(const std::vector<bluez::Device>& devices)
{
    return ListOf(devices, [](const bluez::Device& device) {
        return json::Object({{"address", json::Text(device.address)},
                             {"name", json::TextOrNull(device.name)},
                             {"kind", json::TextOrNull(KindOf(device))},
                             {"paired", json::Bool(device.paired)},
                             {"trusted", json::Bool(device.trusted)},
                             {"connected", json::Bool(device.connected)},
                             {"battery_percent", NumberOrNull(device.battery ? int{*device.battery} : -1)}});
    });
}

std::string RemoteLines(const std::vector<RemoteNow>& remotes, const std::string& indent)
{
    constexpr gint64 kMsPerSecond = 1000;
    Table table({"ADDRESS", "KIND", "CONNECTED", "BATTERY", "REPORTED", "TYPE", "FIRMWARE", "PROTOCOL"});
    for (const RemoteNow& remote : remotes) {
        table.Add({remote.address, remote.kind, YesNo(remote.isConnected), Battery(remote),
                   remote.ageMs < 0 ? "" : people::Ago(remote.ageMs / kMsPerSecond) + " ago",
                   remote.type < 0 ? "" : std::to_string(remote.type),
                   remote.firmware == 0 ? "" : Hexadecimal(remote.firmware), YesNo(remote.speaks)});
    }
    return LinesOrNothing(table, indent);
}

std::string RemoteJson(const std::vector<RemoteNow>& remotes)
{
    return ListOf(remotes, [](const RemoteNow& remote) {
        return json::Object({{"address", json::Text(remote.address)},
                             {"kind", json::Text(remote.kind)},
                             {"connected", json::Bool(remote.isConnected)},
                             {"battery_level", NumberOrNull(remote.level)},
                             {"battery_reading", NumberOrNull(remote.reading)},
                             {"battery_age_ms", NumberOrNull(remote.ageMs)},
                             {"type", NumberOrNull(remote.type)},
                             {"firmware", remote.firmware == 0 ? json::kNull : std::to_string(remote.firmware)},
                             {"protocol", json::Bool(remote.speaks)}});
    });
}

std::string PowerLine(const PowerNow& power)
{
    std::string line = people::PowerStateInWords(power.state);
    line += power.ambientMode != 0 ? ", ambient " + people::AmbientModeInWords(power.ambientMode) : "";
    line += power.wakeupReason != 0 ? ", woken for reason " + std::to_string(power.wakeupReason) : "";
    line += power.isLocked ? ", locked" : "";
    return line + "\n";
}

std::string PowerJson(const PowerNow& power)
{
    return json::Object({{"state", json::Text(people::PowerStateInWords(power.state))},
                         {"ambient", json::Text(people::AmbientModeInWords(power.ambientMode))},
                         {"wakeup_reason", std::to_string(power.wakeupReason)},
                         {"locked", json::Bool(power.isLocked)}});
}

std::string RequestLines(const std::vector<people::Request>& requests)
{
    constexpr guint32 kMsPerSecond = 1000;
    Table table({"ADDRESS", "NAME", "QUESTION", "LEFT"});
    for (const people::Request& request : requests) {
        table.Add({request.address, request.name,
                   people::RequestInWords(request.kind, request.code, request.passkey, ""),
                   std::to_string(request.leftMs / kMsPerSecond) + " s"});
    }
    return LinesOrNothing(table, "");
}

std::string RequestJson(const std::vector<people::Request>& requests)
{
    return ListOf(requests, [](const people::Request& request) {
        return json::Object({{"id", std::to_string(request.id)},
                             {"kind", json::Text(request.kind)},
                             {"address", json::Text(request.address)},
                             {"name", json::TextOrNull(request.name)},
                             {"code", std::to_string(request.code)},
                             {"passkey", json::TextOrNull(request.passkey)},
                             {"uuid", json::TextOrNull(request.uuid)},
                             {"left_ms", std::to_string(request.leftMs)}});
    });
}

std::string FeatureLines(const std::vector<Feature>& features)
{
    Table table({"GROUP", "KEY", "VALUE"});
    for (const Feature& feature : features) {
        table.Add({feature.group, feature.key, feature.value});
    }
    return LinesOrNothing(table, "");
}

std::string FeatureJson(const std::vector<Feature>& features)
{
    return ListOf(features, [](const Feature& feature) {
        return json::Object({{"group", json::Text(feature.group)},
                             {"key", json::Text(feature.key)},
                             {"value", json::Text(feature.value)}});
    });
}

} // namespace control
