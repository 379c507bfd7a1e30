#include "tv/why/Judgement.h"

#include "tv/run/Run.h"
#include "tv/why/Evidence.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace why {

namespace {

using Places = History::Places;
using Sense = Sight::Sense;

/// How a text of the log looks once it has been formatted.
Pattern LoggedAs(const std::string& format)
{
    std::string text;
    for (std::size_t at = 0; at < format.size(); ++at) {
        if (format[at] != '%') {
            text += format[at];
            continue;
        }
        at = format.find_first_of("%dsxu", at + 1);
        if (at == std::string::npos) {
            break;
        }
        text += format[at] == '%' ? '%' : '*';
    }
    return {"log", text};
}

/// Whether a call asks for what "decided by" names.
bool AsksFor(const run::Entry& entry, std::string_view decidedBy)
{
    const std::size_t blank = decidedBy.find(' ');
    const std::string_view name = blank == std::string_view::npos ? "" : decidedBy.substr(blank + 1);
    if (decidedBy.starts_with("platform ")) {
        return entry.kind == "call" && entry.text.starts_with(std::string(name) + "(");
    }
    if (decidedBy.starts_with("setting ")) {
        return entry.kind == "call" && entry.text.starts_with("vconf_get_") &&
               entry.text.find("(\"" + std::string(name) + "\")") != std::string::npos;
    }
    return decidedBy.starts_with("feature ") && entry.kind == "call" && entry.text.starts_with("system_info_get_") &&
           entry.text.find("/" + std::string(name) + "\")") != std::string::npos;
}

/// One time that a way was tried.
class Attempt
{
public:
    Attempt(const History& history, const Way& way, std::size_t anchor)
        : m_history(history),
          m_way(way),
          m_anchor(anchor),
          m_places(history.WhatCameOf(anchor)),
          m_at(anchor)
    {}

    Judgement Judged(const Outcome& outcome, std::size_t begins)
    {
        Judgement judgement = {.way = &m_way, .state = Judgement::State::Failed, .tried = m_anchor};
        for (const Condition& condition : m_way.conditions) {
            const auto number = static_cast<std::size_t>(&condition - m_way.conditions.data());
            if (!Holds(condition, number == begins)) {
                judgement.condition = &condition;
                judgement.looked = m_culprit ? m_culprit : WhereItLooked(condition);
                judgement.came = IsUndone(condition) ? Find(outcome.seenIn.front(), 0) : std::nullopt;
                return judgement;
            }
            ++judgement.held;
        }
        judgement.came = Find(outcome.seenIn.front(), 0);
        judgement.state = judgement.came ? Judgement::State::Came : Judgement::State::Unexplained;
        return judgement;
    }

    /// What of the outcome came of it.
    [[nodiscard]] Places OutcomesIn(const Outcome& outcome) const
    {
        Places found;
        std::ranges::copy_if(m_places, std::back_inserter(found), [&](std::size_t place) {
            return std::ranges::any_of(outcome.seenIn.front(),
                                       [&](const Sight& sight) { return IsHere(place, sight.pattern); });
        });
        return found;
    }

private:
    /// Whether what does not hold came after the outcome.
    static bool IsUndone(const Condition& condition)
    {
        return !condition.seenIn.empty() && condition.seenIn.front().front().sense == Sense::NotSince;
    }

    bool Holds(const Condition& condition, bool begins)
    {
        m_culprit.reset();
        for (std::size_t clause = 0; clause < condition.seenIn.size(); ++clause) {
            if (begins && clause == 0) {
                continue; // is what was looked for
            }
            const std::vector<Sight>& alternatives = condition.seenIn[clause];
            if (std::ranges::none_of(alternatives, [&](const Sight& sight) { return Shows(sight); })) {
                return false;
            }
        }
        return true;
    }

    bool Shows(const Sight& sight)
    {
        switch (sight.sense) {
        case Sense::Came:
            return Came(sight);
        case Sense::DidNotCome:
            m_culprit = sight.pattern.kind == "removed"                 ? Removal()
                        : IsLike(m_history.At(m_anchor), sight.pattern) ? std::optional(m_anchor)
                                                                        : First(sight.pattern, m_at);
            return !m_culprit;
        case Sense::NotSince:
            m_culprit = FirstOfAll(sight.pattern, m_at + 1);
            return !m_culprit;
        case Sense::Never:
            m_culprit = LastNotTakenBack(sight);
            return !m_culprit;
        }
        return false;
    }

    bool Came(const Sight& sight)
    {
        if (IsLike(m_history.At(m_anchor), sight.pattern)) {
            return true;
        }
        const std::optional<std::size_t> found = First(sight.pattern, m_at);
        const std::optional<std::size_t> end =
            found && !sight.before.empty() ? First(sight.before.front(), m_at) : std::nullopt;
        if (!found || (end && *end < *found)) {
            return false;
        }
        m_at = *found;
        return true;
    }

    [[nodiscard]] bool IsHere(std::size_t place, const Pattern& pattern) const
    {
        const run::Entry& entry = m_history.At(place);
        const bool isTimed = pattern.kind == "fired" && m_history.At(m_at).kind == "timer";
        return IsLike(entry, pattern) && (!isTimed || entry.cause == m_history.At(m_at).id);
    }

    [[nodiscard]] std::optional<std::size_t> First(const Pattern& pattern, std::size_t from) const
    {
        const auto begin = std::ranges::lower_bound(m_places, from);
        const auto found =
            std::find_if(begin, m_places.end(), [&](std::size_t place) { return IsHere(place, pattern); });
        return found != m_places.end() ? std::optional(*found) : std::nullopt;
    }

    [[nodiscard]] std::optional<std::size_t> Find(const std::vector<Sight>& alternatives, std::size_t from) const
    {
        const auto begin = std::ranges::lower_bound(m_places, from);
        const auto found = std::find_if(begin, m_places.end(), [&](std::size_t place) {
            return std::ranges::any_of(alternatives, [&](const Sight& sight) { return IsHere(place, sight.pattern); });
        });
        return found != m_places.end() ? std::optional(*found) : std::nullopt;
    }

    [[nodiscard]] std::optional<std::size_t> FirstOfAll(const Pattern& pattern, std::size_t from) const
    {
        for (std::size_t place = from; place < m_history.Entries().size(); ++place) {
            if (IsLike(m_history.At(place), pattern)) {
                return place;
            }
        }
        return std::nullopt;
    }

    [[nodiscard]] std::optional<std::size_t> LastNotTakenBack(const Sight& sight) const
    {
        return LastThatCounts(m_history, sight, m_anchor);
    }

    /// The end of the attempt's timer by something that did not come of the attempt.
    [[nodiscard]] std::optional<std::size_t> Removal() const
    {
        const run::Entry& timer = m_history.At(m_at);
        const std::string text = "timer " + std::string(DetailOf(timer, "timer")) + " removed";
        for (std::size_t place = m_at + 1; place < m_history.Entries().size(); ++place) {
            const run::Entry& entry = m_history.At(place);
            if (entry.kind == "life") {
                return std::nullopt; // another process, with timers of its own
            }
            if (entry.kind == "timer" && entry.text == text) {
                return std::ranges::binary_search(m_places, place) ? std::nullopt : std::optional(place);
            }
        }
        return std::nullopt;
    }

    /// What the service logs when the condition does not hold; else what it asked for; else how far it got.
    [[nodiscard]] std::size_t WhereItLooked(const Condition& condition) const
    {
        for (const std::string& log : condition.logs) {
            if (const std::optional<std::size_t> found = First(LoggedAs(log), m_at)) {
                return *found;
            }
        }
        if (m_history.At(m_at).kind == "timer") {
            return Removal().value_or(m_at);
        }
        const auto begin = std::ranges::lower_bound(m_places, m_at);
        const auto asked = std::find_if(begin, m_places.end(), [&](std::size_t place) {
            return std::ranges::any_of(condition.decidedBy, [&](const std::string& decidedBy) {
                return AsksFor(m_history.At(place), decidedBy);
            });
        });
        return asked != m_places.end() ? *asked : m_at;
    }

public:
    /// Of what should never have come before \p end: the last that was not taken back since.
    static std::optional<std::size_t> LastThatCounts(const History& history, const Sight& sight, std::size_t end)
    {
        const auto found =
            history.LastBefore(end, [&](const run::Entry& entry) { return IsLike(entry, sight.pattern); });
        const auto begin = history.LastBefore(end, [&](const run::Entry& entry) {
            return IsStart(entry) ||
                   std::ranges::any_of(sight.since, [&](const Pattern& since) { return IsLike(entry, since); });
        });
        return found && (!begin || *begin < *found) ? found : std::nullopt;
    }

private:
    const History& m_history;
    const Way& m_way;
    std::size_t m_anchor;
    Places m_places;
    std::size_t m_at; ///< how far the attempt got
    std::optional<std::size_t> m_culprit;
};

/// The number of the condition that begins the way.
std::size_t BeginOf(const Way& way)
{
    const auto begin = std::ranges::find_if(way.conditions, [](const Condition& condition) {
        return !condition.seenIn.empty() && condition.seenIn.front().front().sense == Sense::Came;
    });
    return static_cast<std::size_t>(begin - way.conditions.begin());
}

bool Begins(const run::Entry& entry, const Condition& condition)
{
    return std::ranges::any_of(condition.seenIn.front(),
                               [&](const Sight& sight) { return IsLike(entry, sight.pattern); });
}

/// Of a way that was not tried: what comes before its begin may be why.
Judgement NotTried(const History& history, const Way& way, std::size_t begins)
{
    Judgement judgement = {.way = &way, .condition = &way.conditions[begins], .held = begins};
    for (std::size_t number = 0; number < begins; ++number) {
        for (const std::vector<Sight>& alternatives : way.conditions[number].seenIn) {
            judgement.looked = Attempt::LastThatCounts(history, alternatives.front(), history.Entries().size());
            if (judgement.looked) {
                judgement.state = Judgement::State::Failed;
                judgement.condition = &way.conditions[number];
                judgement.held = number;
                return judgement;
            }
        }
    }
    return judgement;
}

/// Whether the outcome at \p place came by this way, whenever that was.
bool Explains(const History& history, const Outcome& outcome, const Way& way, std::size_t place)
{
    const std::size_t begins = BeginOf(way);
    for (std::size_t anchor = 0; anchor <= place; ++anchor) {
        if (!Begins(history.At(anchor), way.conditions[begins])) {
            continue;
        }
        Attempt attempt(history, way, anchor);
        if (std::ranges::binary_search(attempt.OutcomesIn(outcome), place) && attempt.Judged(outcome, begins).came) {
            return true;
        }
    }
    return false;
}

/// \param begin of what counts
/// \param wanted whether this is the one; otherwise the one before is looked at
template <typename Wanted>
std::optional<Judgement> LastAttempt(const History& history, const Outcome& outcome, const Way& way, std::size_t begin,
                                     Wanted wanted)
{
    const std::size_t begins = BeginOf(way);
    std::size_t end = history.Entries().size();
    while (const auto anchor = history.LastBefore(
               end, [&](const run::Entry& entry) { return Begins(entry, way.conditions[begins]); })) {
        if (*anchor < begin) {
            break;
        }
        Judgement judgement = Attempt(history, way, *anchor).Judged(outcome, begins);
        if (wanted(judgement)) {
            return judgement;
        }
        end = *anchor;
    }
    return std::nullopt;
}

} // namespace

Judgement Judge(const History& history, const Outcome& outcome, const Way& way)
{
    const auto last = LastAttempt(history, outcome, way, history.LastStart(), [](const Judgement&) { return true; });
    return last ? *last : NotTried(history, way, BeginOf(way));
}

std::optional<std::size_t> CameAllTheSame(const History& history, const Outcome& outcome, const Judgement& judgement)
{
    if (judgement.state != Judgement::State::Failed || judgement.came || !judgement.tried) {
        return std::nullopt;
    }
    for (const std::size_t place : Attempt(history, *judgement.way, *judgement.tried).OutcomesIn(outcome)) {
        const auto explains = [&](const Way& way) { return Explains(history, outcome, way, place); };
        if (std::ranges::none_of(outcome.ways, explains)) {
            return place;
        }
    }
    return std::nullopt;
}

std::vector<Judgement> Judge(const History& history, const Outcome& outcome)
{
    std::vector<Judgement> judgements;
    for (const Way& way : outcome.ways) {
        judgements.push_back(Judge(history, outcome, way));
    }
    return judgements;
}

std::optional<Judgement> LastThatCame(const History& history, const Outcome& outcome, const Way& way, std::size_t begin)
{
    return LastAttempt(history, outcome, way, begin,
                       [](const Judgement& judgement) { return judgement.state == Judgement::State::Came; });
}

} // namespace why
