#include "tv/set/Wire.h"

#include "people/Json.h"
#include "tv/set/Words.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

namespace set {

namespace {

namespace json = people::json;
using sim::Kind;
using Members = std::vector<std::pair<const char*, std::string>>;

constexpr std::pair<Kind, const char*> kKinds[] = {
    {Kind::Call, "call"},       {Kind::Log, "log"},     {Kind::Kernel, "kernel"}, {Kind::Kpi, "kpi"},
    {Kind::Timer, "timer"},     {Kind::Sleep, "sleep"}, {Kind::Bus, "bus"},       {Kind::Note, "note"},
    {Kind::Event, "event"},     {Kind::Fired, "fired"}, {Kind::Reply, "reply"},   {Kind::Signal, "signal"},
    {Kind::Setting, "setting"}, {Kind::Line, "line"},   {Kind::Life, "life"},
};

constexpr std::pair<std::string_view, const char*> kLanes[] = {
    {"com.quorix.tv.bt.connectionmanager", "connectionmanager"},
    {"com.quorix.tv.bt.connectionshift", "connectionshift"},
    {"com.quorix.tv.bt.irmonitor", "irmonitor"},
    {"com.quorix.tv.bt.updatemanager", "updatemanager"},
    {"com.quorix.tv.hfpAgent", "hfpAgent"},
    {"keyrouter.dbus.Signal", "keyrouter"},
};

const char* NameOf(Kind kind)
{
    return std::ranges::find(kKinds, kind, &std::pair<Kind, const char*>::first)->second;
}

bool IsSettingCall(const sim::Entry& entry)
{
    return entry.kind == Kind::Call && entry.function.starts_with("vconf_");
}

std::string LaneOf(const sim::Entry& entry)
{
    switch (entry.kind) {
    case Kind::Log:
    case Kind::Kernel:
    case Kind::Kpi:
        return "log";
    case Kind::Timer:
    case Kind::Fired:
        return "timers";
    case Kind::Bus:
    case Kind::Reply:
        return set::LaneOf(entry.destination);
    case Kind::Signal:
        return set::LaneOf(entry.interface);
    case Kind::Setting:
        return "settings";
    case Kind::Call:
        return IsSettingCall(entry) ? "settings" : "service";
    case Kind::Sleep:
        return "service";
    case Kind::Note:
    case Kind::Event:
    case Kind::Line:
    case Kind::Life:
        break;
    }
    return "set";
}

void AddTexts(Members& members, const char* name, const std::vector<std::string>& texts)
{
    if (texts.empty()) {
        return;
    }
    std::vector<std::string> objects;
    objects.reserve(texts.size());
    for (const std::string& text : texts) {
        objects.push_back(json::Object({{"text", json::Text(text)}}));
    }
    members.emplace_back(name, json::Array(objects));
}

void AddText(Members& members, const char* name, const std::string& text)
{
    if (!text.empty()) {
        members.emplace_back(name, json::Text(text));
    }
}

void AddLog(Members& members, const sim::Entry& entry)
{
    members.emplace_back("priority", json::Text(std::string(1, sim::PriorityLetter(entry.priority))));
    AddText(members, "tag", entry.tag);
    AddText(members, "file", entry.file);
    members.emplace_back("line", std::to_string(entry.line));
    AddText(members, "message", entry.message);
}

void AddMessage(Members& members, const sim::Entry& entry)
{
    AddText(members, "how", entry.how);
    AddText(members, "destination", entry.destination);
    AddText(members, "interface", entry.interface);
    AddText(members, "path", entry.path);
    AddText(members, "member", entry.member);
    AddText(members, "signature", entry.signature);
    AddText(members, "body", entry.body);
    if (entry.timeout > 0) {
        members.emplace_back("timeout", std::to_string(entry.timeout));
    }
}

} // namespace

std::string LaneOf(std::string_view busName)
{
    const auto found = std::ranges::find(kLanes, busName, [](const auto& lane) { return lane.first; });
    return found != std::end(kLanes) ? found->second : std::string(busName.empty() ? "set" : busName);
}

void Wire::Send(const std::string& object) const
{
    const std::string line = object + "\n";
    std::size_t sent = 0;
    while (sent < line.size()) {
        const ssize_t count = ::send(m_descriptor, line.data() + sent, line.size() - sent, MSG_NOSIGNAL);
        if (count >= 0) {
            sent += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            ::_exit(EXIT_FAILURE); // whoever drives the television is gone, and nobody would see what it does
        }
    }
}

void Wire::Sends(const sim::Entry& entry) const
{
    Send(ObjectOf(entry, m_start));
}

std::string ObjectOf(const sim::Entry& entry, Wire::Start start)
{
    Members members = {{"id", std::to_string(start.lastId + entry.id)},
                       {"cause", std::to_string(entry.cause != sim::kNoEntry ? start.lastId + entry.cause : 0)},
                       {"at", std::to_string(start.at + std::max<std::int64_t>(entry.at, 0))},
                       {"lane", json::Text(LaneOf(entry))},
                       {"kind", json::Text(NameOf(entry.kind))},
                       {"text", json::Text(entry.text)}};
    AddText(members, "function", entry.function);
    AddTexts(members, "arguments", entry.arguments);
    AddText(members, "result", entry.result);
    AddTexts(members, "outputs", entry.outputs);
    if (entry.query) {
        members.emplace_back("query", "true");
    }
    if (entry.timer != 0) {
        members.emplace_back("timer", std::to_string(entry.timer));
    }
    if (entry.kind == Kind::Log) {
        AddLog(members, entry);
    }
    AddMessage(members, entry);
    if (const std::optional<Line> line = InWords(entry)) {
        AddText(members, "subject", line->subject);
        AddText(members, "words", line->text);
    }
    return json::Object(members);
}

} // namespace set
