// All at a glance.

#include "bluez/Tree.h"
#include "bus/Handles.h"
#include "bus/SystemBus.h"
#include "people/Bus.h"
#include "people/Failure.h"
#include "people/Json.h"
#include "people/Output.h"
#include "people/Table.h"
#include "people/Text.h"
#include "people/Words.h"
#include "vyrel-ctl/Box.h"
#include "vyrel-ctl/Show.h"

#include <glib.h>

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace control {

namespace json = people::json;

namespace {

constexpr const char* kIndent = "  ";

/// One part of the status, in both forms.
struct Part
{
    const char* title;
    const char* name;
    std::string lines; ///< with the indent, and an end of line
    std::string value;
};

std::string WakeTime(gint64 seconds)
{
    const bus::ReleaseWith<g_date_time_unref> release;
    GDateTime* time = g_date_time_new_from_unix_local(seconds);
    if (time == nullptr) {
        return std::to_string(seconds);
    }
    const bus::TextPtr text(g_date_time_format(time, "%Y-%m-%d %H:%M:%S"));
    release(time);
    return text.get();
}

std::string Milliseconds(int milliseconds)
{
    return milliseconds < 0 ? "-" : std::to_string(milliseconds) + " ms";
}

std::string WakeLines(const std::vector<Wake>& wakes)
{
    people::Table table({"WHEN", "WHAT", "ADAPTER ON", "FIRST REMOTE", "LAST SPEAKER"});
    for (const Wake& wake : wakes) {
        table.Add({WakeTime(wake.time), wake.cause, Milliseconds(wake.adapterMs), Milliseconds(wake.remoteMs),
                   Milliseconds(wake.speakerMs)});
    }
    return table.Lines(kIndent);
}

std::string WakeJson(const std::vector<Wake>& wakes)
{
    const auto number = [](int value) { return value < 0 ? json::kNull : std::to_string(value); };
    std::vector<std::string> values;
    values.reserve(wakes.size());
    for (const Wake& wake : wakes) {
        values.push_back(json::Object({{"cause", json::Text(wake.cause)},
                                       {"time", std::to_string(wake.time)},
                                       {"adapter_ms", number(wake.adapterMs)},
                                       {"remote_ms", number(wake.remoteMs)},
                                       {"speaker_ms", number(wake.speakerMs)}}));
    }
    return json::Array(values);
}

std::string AdapterLines(const std::vector<bluez::Adapter>& adapters)
{
    std::string lines;
    for (const bluez::Adapter& adapter : adapters) {
        lines += kIndent + people::Printable("hci" + std::to_string(adapter.Index()) + "  " + adapter.address + "  \"" +
                                             adapter.alias + "\"  ");
        lines += adapter.powered ? "on" : "off";
        lines += adapter.discoverable ? ", visible\n" : "\n";
    }
    return lines.empty() ? std::string(kIndent) + "none\n" : lines;
}

std::string AdapterJson(const std::vector<bluez::Adapter>& adapters)
{
    std::vector<std::string> values;
    values.reserve(adapters.size());
    for (const bluez::Adapter& adapter : adapters) {
        values.push_back(json::Object({{"index", std::to_string(adapter.Index())},
                                       {"address", json::Text(adapter.address)},
                                       {"name", json::Text(adapter.alias)},
                                       {"powered", json::Bool(adapter.powered)},
                                       {"discoverable", json::Bool(adapter.discoverable)}}));
    }
    return json::Array(values);
}

class Status
{
public:
    explicit Status(const people::Bus& bus) : m_bus(bus) {}

    void AddService();
    void AddBluetooth();
    void AddPlatform();
    void AddSiblings();

    [[nodiscard]] std::string Lines() const;
    [[nodiscard]] std::string Json() const;
    [[nodiscard]] int ExitStatus() const
    {
        return m_status;
    }

private:
    void Add(const char* title, const char* name, std::string lines, std::string value)
    {
        m_parts.push_back({title, name, std::move(lines), std::move(value)});
    }
    /// Parts that come together or not at all.
    void Try(const std::vector<std::pair<const char*, const char*>>& parts, const std::function<void()>& add);

    const people::Bus& m_bus;
    std::vector<Part> m_parts;
    int m_status = people::kDone;
};

void Status::Try(const std::vector<std::pair<const char*, const char*>>& parts, const std::function<void()>& add)
{
    try {
        add();
    } catch (const people::Failure& failure) {
        m_status = m_status != people::kDone ? m_status : failure.Status();
        const std::string reason = kIndent + people::Printable(failure.what()) + "\n";
        for (const auto& [title, name] : parts) {
            Add(title, name, reason, json::kNull);
        }
    }
}

void Status::AddService()
{
    const bool isThere = m_bus.Has(people::kService);
    if (!isThere) {
        m_status = people::kNoService;
    }
    Add("Service", "service", kIndent + std::string(isThere ? "running\n" : "not running\n"), json::Bool(isThere));
}

void Status::AddBluetooth()
{
    Try({{"Adapter", "adapters"}, {"Devices", "devices"}}, [this] {
        const Bluetooth bluetooth = AskBluetooth(m_bus);
        const std::vector<bluez::Device> devices = Befriended(bluetooth.devices);
        Add("Adapter", "adapters", AdapterLines(bluetooth.adapters), AdapterJson(bluetooth.adapters));
        Add("Devices", "devices", DeviceLines(devices, kIndent), DeviceJson(devices));
    });
}

void Status::AddPlatform()
{
    Try({{"Power", "power"}, {"Last wakes", "wakes"}}, [this] {
        std::vector<Wake> wakes;
        const PowerNow power = AskPower(m_bus, wakes);
        Add("Power", "power", kIndent + PowerLine(power), PowerJson(power));
        Add("Last wakes", "wakes", WakeLines(wakes), WakeJson(wakes));
    });
    Try({{"Remotes", "remotes"}}, [this] {
        const std::vector<RemoteNow> remotes = AskRemotes(m_bus);
        Add("Remotes", "remotes", RemoteLines(remotes, kIndent), RemoteJson(remotes));
    });
}

void Status::AddSiblings()
{
    std::string lines;
    std::vector<std::pair<const char*, std::string>> members;
    for (const people::SiblingName& sibling : people::kSiblings) {
        const bool isThere = m_bus.Has(sibling.busName);
        const std::string title = sibling.title;
        constexpr std::size_t kColumn = 20;
        lines += kIndent + title + std::string(kColumn - title.size(), ' ') + (isThere ? "here\n" : "absent\n");
        members.emplace_back(sibling.busName, json::Bool(isThere));
    }
    Add("Siblings", "siblings", std::move(lines), json::Object(members));
}

std::string Status::Lines() const
{
    std::string lines;
    for (const Part& part : m_parts) {
        lines += std::string(part.title) + "\n" + part.lines;
    }
    return lines;
}

std::string Status::Json() const
{
    std::vector<std::pair<const char*, std::string>> members;
    for (const Part& part : m_parts) {
        members.emplace_back(part.name, part.value);
    }
    return json::Object(members) + "\n";
}

} // namespace

int ShowStatus(const people::Bus& bus, bool json)
{
    Status status(bus);
    status.AddService();
    status.AddBluetooth();
    status.AddPlatform();
    status.AddSiblings();
    people::Print(json ? status.Json() : status.Lines());
    return status.ExitStatus();
}

} // namespace control
