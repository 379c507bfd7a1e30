#include "tv/timeline/Lanes.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace timeline {

namespace {

constexpr std::string_view kFirst[] = {"set",       "service",       "settings", "connectionmanager", "connectionshift",
                                       "irmonitor", "updatemanager", "hfpAgent", "keyrouter"};
constexpr std::string_view kLast[] = {"timers", "log"};

} // namespace

Lanes::Lanes(const run::Run& run)
{
    const auto add = [&](std::string_view lane) {
        if (std::ranges::find(m_names, lane) == m_names.end()) {
            m_names.emplace_back(lane);
        }
    };
    const auto addUsed = [&](std::string_view lane) {
        if (std::ranges::find(run.entries, lane, &run::Entry::lane) != run.entries.end()) {
            add(lane);
        }
    };
    std::ranges::for_each(kFirst, addUsed);
    for (const run::Entry& entry : run.entries) {
        if (std::ranges::find(kLast, entry.lane) == std::end(kLast)) {
            add(entry.lane);
        }
    }
    std::ranges::for_each(kLast, addUsed);
}

std::size_t Lanes::IndexOf(std::string_view lane) const
{
    return static_cast<std::size_t>(std::ranges::find(m_names, lane) - m_names.begin());
}

} // namespace timeline
