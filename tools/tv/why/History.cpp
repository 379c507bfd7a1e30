#include "tv/why/History.h"

#include <algorithm>
#include <string>
#include <utility>

namespace why {

namespace {

/// What other entries happen within; nothing comes of the others but what is put there for later, such as a timer.
bool IsHandling(const run::Entry& entry)
{
    return entry.kind != "log" && entry.kind != "call" && entry.kind != "kernel" && entry.kind != "kpi";
}

} // namespace

History::History(const run::Run& run) : m_entries(run.entries), m_effects(run.entries.size())
{
    for (std::size_t place = 0; place < m_entries.size(); ++place) {
        if (const std::optional<std::size_t> cause = PlaceOf(m_entries[place].cause)) {
            m_effects[*cause].push_back(place);
        }
    }
}

std::optional<std::size_t> History::PlaceOf(std::uint64_t id) const
{
    const auto found = std::ranges::lower_bound(m_entries, id, {}, &run::Entry::id);
    if (found == m_entries.end() || found->id != id) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - m_entries.begin());
}

void History::AddAllThatCameOf(std::size_t place, Places& places) const
{
    const std::size_t first = places.size();
    places.insert(places.end(), m_effects[place].begin(), m_effects[place].end());
    for (std::size_t next = first; next < places.size(); ++next) {
        const Places& effects = m_effects[places[next]];
        places.insert(places.end(), effects.begin(), effects.end());
    }
}

History::Places History::WhatCameOf(std::size_t place) const
{
    Places places = {place};
    AddAllThatCameOf(place, places);
    const std::optional<std::size_t> cause = PlaceOf(m_entries[place].cause);
    if (!IsHandling(m_entries[place]) && cause) {
        for (const std::size_t other : m_effects[*cause]) {
            if (other > place) {
                places.push_back(other);
                AddAllThatCameOf(other, places);
            }
        }
    }
    std::ranges::sort(places);
    places.erase(std::unique(places.begin(), places.end()), places.end());
    return places;
}

History::Places History::ChainOf(std::size_t place) const
{
    Places chain = {place};
    while (const std::optional<std::size_t> cause = PlaceOf(m_entries[chain.back()].cause)) {
        chain.push_back(*cause); // causes have lower ids, so this ends
    }
    std::ranges::reverse(chain);
    return chain;
}

std::optional<std::size_t> History::LastBefore(std::size_t end,
                                               const std::function<bool(const run::Entry&)>& isIt) const
{
    for (std::size_t place = std::min(end, m_entries.size()); place > 0; --place) {
        if (isIt(m_entries[place - 1])) {
            return place - 1;
        }
    }
    return std::nullopt;
}

std::size_t History::LastStart() const
{
    return LastBefore(m_entries.size(), IsStart).value_or(0);
}

bool IsStart(const run::Entry& entry)
{
    return entry.kind == "life" && entry.text.find("plugged in") != std::string::npos;
}

std::string_view DetailOf(const run::Entry& entry, std::string_view name)
{
    const auto found = std::ranges::find(entry.details, name, &std::pair<std::string, std::string>::first);
    return found != entry.details.end() ? std::string_view(found->second) : std::string_view();
}

bool IsLike(const run::Entry& entry, const Pattern& pattern)
{
    return entry.kind == pattern.kind &&
           IsLike(entry.kind == "log" ? DetailOf(entry, "message") : std::string_view(entry.text), pattern.text);
}

bool IsQuery(const run::Entry& entry)
{
    return entry.kind == "call" && DetailOf(entry, "query") == "true";
}

bool IsDone(const run::Entry& entry)
{
    return entry.kind == "bus" || entry.kind == "kpi" || entry.kind == "kernel" ||
           (entry.kind == "call" && !IsQuery(entry) && !entry.subject.empty());
}

} // namespace why
