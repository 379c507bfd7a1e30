#include "people/Json.h"
#include "tv/run/Run.h"
#include "tv/timeline/Formats.h"
#include "tv/timeline/Lanes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace timeline {

namespace {

namespace json = people::json;
using Members = std::vector<std::pair<const char*, std::string>>;

/// Who takes part: the processes of the trace.
struct Process
{
    const char* pid;
    const char* name;
};

constexpr Process kTelevision = {"1", "the television"};
constexpr Process kService = {"2", "the service"};
constexpr Process kSiblings = {"3", "siblings"};

const Process& ProcessOf(std::string_view lane)
{
    if (lane == "set") {
        return kTelevision;
    }
    const bool isOfService = lane == "service" || lane == "settings" || lane == "timers" || lane == "log";
    return isOfService ? kService : kSiblings;
}

/// Where an entry's slice is. Flows are bound to the slice that begins at their time.
struct Place
{
    const char* pid;
    std::string tid;
    std::int64_t start; ///< microseconds
};

Members At(const char* phase, const Place& place)
{
    return {{"ph", json::Text(phase)}, {"pid", place.pid}, {"tid", place.tid}, {"ts", std::to_string(place.start)}};
}

std::string Named(const char* what, const char* pid, const std::string& tid, const std::string& name)
{
    return json::Object({{"ph", json::Text("M")},
                         {"pid", pid},
                         {"tid", tid},
                         {"ts", "0"},
                         {"name", json::Text(what)},
                         {"args", json::Object({{"name", json::Text(name)}})}});
}

std::string Sorted(const char* pid, const std::string& tid)
{
    return json::Object({{"ph", json::Text("M")},
                         {"pid", pid},
                         {"tid", tid},
                         {"ts", "0"},
                         {"name", json::Text("thread_sort_index")},
                         {"args", json::Object({{"sort_index", tid}})}});
}

void NameLanes(std::vector<std::string>& events, const Lanes& lanes)
{
    for (const Process& process : {kTelevision, kService, kSiblings}) {
        events.push_back(Named("process_name", process.pid, "0", process.name));
    }
    for (const std::string& lane : lanes.Names()) {
        const char* pid = ProcessOf(lane).pid;
        const std::string tid = std::to_string(lanes.IndexOf(lane) + 1);
        events.push_back(Named("thread_name", pid, tid, lane));
        events.push_back(Sorted(pid, tid));
    }
}

std::string Slice(const run::Entry& entry, const Place& place)
{
    Members members = At("X", place);
    members.emplace_back("dur", "1");
    members.emplace_back("name", json::Text(entry.Label()));
    members.emplace_back("cat", json::Text(entry.kind));
    std::vector<std::pair<const char*, std::string>> arguments = {
        {"number", std::to_string(entry.id)}, {"at", std::to_string(entry.at)}, {"text", json::Text(entry.text)}};
    for (const auto& [name, value] : entry.details) {
        arguments.emplace_back(name.c_str(), json::Text(value));
    }
    members.emplace_back("args", json::Object(arguments));
    return json::Object(members);
}

std::string Flow(const char* phase, const run::Entry& effect, const Place& place)
{
    Members members = At(phase, place);
    members.emplace_back("id", std::to_string(effect.id));
    members.emplace_back("name", json::Text("cause"));
    members.emplace_back("cat", json::Text("cause"));
    if (std::string_view(phase) == "f") {
        members.emplace_back("bp", json::Text("e")); // to the slice around it, not to the next one
    }
    return json::Object(members);
}

} // namespace

std::string Trace(const run::Run& run)
{
    const Lanes lanes(run);
    std::map<std::uint64_t, Place> places;
    std::map<std::uint64_t, std::vector<const run::Entry*>> effects;
    std::int64_t start = -1;
    for (const run::Entry& entry : run.entries) {
        start = std::max(start + 1, entry.at);
        places[entry.id] = {ProcessOf(entry.lane).pid, std::to_string(lanes.IndexOf(entry.lane) + 1), start};
        if (places.contains(entry.cause)) {
            effects[entry.cause].push_back(&entry);
        }
    }
    std::vector<std::string> events;
    NameLanes(events, lanes);
    for (const run::Entry& entry : run.entries) {
        const Place& place = places.at(entry.id);
        events.push_back(Slice(entry, place));
        if (places.contains(entry.cause)) {
            events.push_back(Flow("f", entry, place));
        }
        for (const run::Entry* effect : effects[entry.id]) {
            events.push_back(Flow("s", *effect, place));
        }
    }
    return json::Object({{"traceEvents", json::Array(events)}, {"displayTimeUnit", json::Text("ms")}}) + "\n";
}

} // namespace timeline
