#include "tv/why/Answer.h"

#include "tv/language/Nearest.h"
#include "tv/run/Run.h"
#include "tv/why/Conditions.h"
#include "tv/why/Evidence.h"
#include "tv/why/Judgement.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <compare>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

namespace why {

namespace {

using State = Judgement::State;

constexpr std::size_t kMostAsked = 12; // of what was asked for within one handling; the last ones decide
constexpr std::size_t kLongestText = 160;

std::string Shortened(const std::string& text)
{
    std::size_t end = kLongestText;
    if (text.size() <= end) {
        return text;
    }
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        --end; // not within a character
    }
    return text.substr(0, end) + "...";
}

std::string Moment(std::int64_t microseconds)
{
    std::array<char, 32> text = {};
    std::snprintf(text.data(), text.size(), "%.3f s", static_cast<double>(microseconds) / 1e6);
    return text.data();
}

std::string Number(const run::Entry& entry)
{
    return "[" + std::to_string(entry.id) + "]";
}

/// What it was, as the tape has it; of a line of the log what it says.
std::string Told(const run::Entry& entry)
{
    if (entry.kind == "log") {
        return "the log: " + Shortened(std::string(DetailOf(entry, "message")));
    }
    return (entry.kind == "line" ? "the line: " : "") + Shortened(entry.text) +
           (entry.words.empty() || entry.words == entry.text ? "" : "   (" + Shortened(entry.words) + ")");
}

/// Of a cell, the marks that make a word of the code one.
std::string WithoutQuotes(std::string text)
{
    std::erase(text, '`');
    return text;
}

std::string Line(std::size_t indent, const std::string& text)
{
    return std::string(indent, ' ') + text + "\n";
}

std::string WithMoment(const run::Entry& entry)
{
    return "at " + Moment(entry.at) + " " + Number(entry) + " " + Told(entry);
}

/// What was asked for within the handling of \p cause before \p next, and what it was.
std::string AskedFor(const History& history, std::size_t cause, std::size_t next)
{
    std::vector<std::size_t> asked;
    for (const std::size_t place : history.EffectsOf(cause)) {
        if (place < next && IsQuery(history.At(place))) {
            asked.push_back(place);
        }
    }
    std::string text;
    const std::size_t left = asked.size() - std::min(asked.size(), kMostAsked);
    if (left > 0) {
        text += Line(6, "asked for " + std::to_string(left) + " more before");
    }
    for (std::size_t at = left; at < asked.size(); ++at) {
        text += Line(6, "asked: " + Number(history.At(asked[at])) + " " + Told(history.At(asked[at])));
    }
    return text;
}

std::string ChainInWords(const History& history, std::size_t place)
{
    const History::Places chain = history.ChainOf(place);
    std::string text;
    if (history.At(chain.front()).cause != 0) {
        text += Line(3, "what led to this is not in the run");
    }
    for (std::size_t at = 0; at < chain.size(); ++at) {
        text += Line(3, (at == 0 ? "" : "so ") + WithMoment(history.At(chain[at])));
        if (at + 1 < chain.size()) {
            text += AskedFor(history, chain[at], chain[at + 1]);
        }
    }
    return text;
}

/// Its chain of causes in one line, up to \p known, which was told before.
std::string Because(const History& history, std::size_t place, std::optional<std::size_t> known = {})
{
    std::string text;
    const History::Places chain = history.ChainOf(place);
    for (std::size_t at = chain.size() - 1; at > 0 && chain[at] != known && chain[at - 1] != known; --at) {
        text += ", because of " + Number(history.At(chain[at - 1])) + " " + Told(history.At(chain[at - 1]));
    }
    return text;
}

bool HasPart(const run::Entry& entry, std::string_view part)
{
    return entry.text.find(part) != std::string::npos || entry.words.find(part) != std::string::npos;
}

std::string_view NameIn(std::string_view decidedBy)
{
    const std::size_t blank = decidedBy.find(' ');
    return blank == std::string_view::npos ? std::string_view() : decidedBy.substr(blank + 1);
}

/// Who made it what it was, for one item of "decided by": a text, or none.
class Setter
{
public:
    Setter(const History& history, std::size_t end, std::optional<std::size_t> tried)
        : m_history(history),
          m_end(end),
          m_tried(tried)
    {}

    [[nodiscard]] std::string Of(const std::string& decidedBy) const
    {
        const std::string name(NameIn(decidedBy));
        if (decidedBy.starts_with("setting ")) {
            return Setting(name);
        }
        if (decidedBy.starts_with("feature ")) {
            return Feature(name);
        }
        if (decidedBy.starts_with("platform ")) {
            return Platform(name);
        }
        if (decidedBy.starts_with("file ")) {
            return File(name);
        }
        return "";
    }

private:
    [[nodiscard]] std::optional<std::size_t> LastCall(const std::string& begin, const std::string& part) const
    {
        return m_history.LastBefore(m_end, [&](const run::Entry& entry) {
            return entry.kind == "call" && entry.text.starts_with(begin) && entry.text.find(part) != std::string::npos;
        });
    }

    [[nodiscard]] std::optional<std::size_t> LastLine(const std::string& begin) const
    {
        return m_history.LastBefore(m_end, [&](const run::Entry& entry) {
            return entry.kind == "line" && (entry.text == begin || entry.text.starts_with(begin + " "));
        });
    }

    [[nodiscard]] std::string Saying(const std::string& what, std::optional<std::size_t> place) const
    {
        return place ? Line(6, what + " " + WithMoment(m_history.At(*place)) + Because(m_history, *place, m_tried))
                     : "";
    }

    [[nodiscard]] std::string Setting(const std::string& key) const
    {
        const auto isWrite = [&](const run::Entry& entry) {
            const bool isCall =
                entry.kind == "call" && (entry.text.starts_with("vconf_set_") || entry.text.starts_with("vconf_unset"));
            return (isCall && entry.text.find("(\"" + key + "\"") != std::string::npos) ||
                   (entry.kind == "note" && entry.text.find(" " + key) != std::string::npos);
        };
        const std::string read = Saying("the setting was read", LastCall("vconf_get_", "(\"" + key + "\")"));
        const auto write = m_history.LastBefore(m_end, isWrite);
        return read + (write ? Saying("it was written", write) : Line(6, "nobody has written " + key + " in this run"));
    }

    [[nodiscard]] std::string Feature(const std::string& key) const
    {
        const std::string read = Saying("the feature was read", LastCall("system_info_get_", "/" + key + "\")"));
        const auto line = LastLine("feature " + key);
        return read + (line ? Saying("the set is furnished so", line)
                            : Line(6, "no line of this run says what " + key + " is; the set is as it was furnished"));
    }

    [[nodiscard]] std::string Platform(const std::string& function) const
    {
        return Saying("the platform answered", LastCall(function + "(", "")) +
               Saying("it was told to fail", LastLine("fail " + function));
    }

    [[nodiscard]] std::string File(const std::string& path) const
    {
        const auto line = m_history.LastBefore(m_end, [&](const run::Entry& entry) {
            return entry.kind == "line" && entry.text.find(path) != std::string::npos &&
                   (entry.text.starts_with("file ") || entry.text.starts_with("remove "));
        });
        return line ? Saying("the file", line) : Line(6, "no line of this run makes or removes " + path);
    }

    const History& m_history;
    std::size_t m_end;
    std::optional<std::size_t> m_tried;
};

std::string Joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : ", ") + text;
    }
    return all;
}

/// What would have to come for a way to be tried.
std::string WhatHasToCome(const Condition& condition)
{
    std::vector<std::string> wanted;
    for (const std::string& decidedBy : condition.decidedBy) {
        const std::string name(NameIn(decidedBy));
        if (decidedBy.starts_with("event ")) {
            wanted.push_back("the platform never reported anything to whom registered with " + name);
        } else if (decidedBy.starts_with("message ")) {
            wanted.push_back(name + " never went over the bus");
        } else if (decidedBy.starts_with("setting ")) {
            wanted.push_back("nobody wrote " + name);
        }
    }
    return wanted.empty() ? "what begins it never happened" : Joined(wanted);
}

std::string InWords(const History& history, const Judgement& judgement)
{
    const Way& way = *judgement.way;
    std::string text = "way " + way.name;
    if (judgement.tried) {
        text += ", tried " + WithMoment(history.At(*judgement.tried)) + Because(history, *judgement.tried);
    }
    text += "\n";
    switch (judgement.state) {
    case State::Came:
        return text + Line(3, "it came " + WithMoment(history.At(*judgement.came)));
    case State::Unexplained:
        return text + Line(3, "each condition of the table held, and yet it did not come: the table says too little");
    case State::NeverTried:
        return text + Line(3, "not tried since the service was started: " + WhatHasToCome(*judgement.condition)) +
               Line(6, "what has to come: " + WithoutQuotes(judgement.condition->condition));
    case State::Failed:
        break;
    }
    const Condition& condition = *judgement.condition;
    text += Line(3, "this did not hold: " + WithoutQuotes(condition.condition));
    text += Line(6, "it must be: " + WithoutQuotes(condition.mustBe) + "; it is decided by " +
                        Joined(condition.decidedBy) + ", in " + condition.function);
    const std::size_t end = judgement.looked ? *judgement.looked + 1 : history.Entries().size();
    if (judgement.looked) {
        const run::Entry& entry = history.At(*judgement.looked);
        text +=
            Line(6, "looked at " + WithMoment(entry).substr(3) + Because(history, *judgement.looked, judgement.tried));
    }
    for (const std::string& decidedBy : condition.decidedBy) {
        text += Setter(history, end, judgement.tried).Of(decidedBy);
    }
    return text + Line(6, std::to_string(judgement.held) + " of " + std::to_string(way.conditions.size()) +
                              " conditions held before it");
}

/// The one that got farthest first.
void Sort(std::vector<Judgement>& judgements)
{
    std::ranges::stable_sort(judgements, [](const Judgement& one, const Judgement& other) {
        const auto rank = [](const Judgement& judgement) {
            return std::tuple(judgement.state != State::NeverTried, judgement.held, judgement.tried.value_or(0));
        };
        return rank(one) > rank(other);
    });
}

const Outcome& Named(std::string_view name)
{
    if (const Outcome* outcome = OutcomeOf(name)) {
        return *outcome;
    }
    std::vector<std::string> names;
    std::ranges::transform(Outcomes(), std::back_inserter(names), &Outcome::name);
    throw Unanswerable("no outcome is called \"" + Shortened(std::string(name)) + "\"" +
                       language::SuggestionOrAll(name, names));
}

const Way& Named(const Outcome& outcome, std::string_view name)
{
    if (const Way* way = WayOf(outcome, name)) {
        return *way;
    }
    std::vector<std::string> names;
    std::ranges::transform(outcome.ways, std::back_inserter(names), &Way::name);
    throw Unanswerable(outcome.name + " has no way that is called \"" + Shortened(std::string(name)) + "\"" +
                       language::SuggestionOrAll(name, names));
}

std::optional<Judgement> LatestThatCame(const History& history, const Outcome& outcome,
                                        const std::vector<Judgement>& judgements, std::size_t begin)
{
    std::optional<Judgement> latest;
    for (const Judgement& judgement : judgements) {
        const std::optional<Judgement> came = LastThatCame(history, outcome, *judgement.way, begin);
        if (came && (!latest || *came->came > *latest->came)) {
            latest = came;
        }
    }
    return latest;
}

/// An outcome that came by none of the ways, such as an adapter that goes on by itself.
std::optional<std::size_t> LastByItself(const History& history, const Outcome& outcome)
{
    const auto last = history.LastBefore(history.Entries().size(), [&](const run::Entry& entry) {
        return std::ranges::any_of(outcome.seenIn.front(),
                                   [&](const Sight& sight) { return IsLike(entry, sight.pattern); });
    });
    return last && *last >= history.LastStart() ? last : std::nullopt;
}

std::size_t PlaceFor(const History& history, std::string_view what)
{
    const std::size_t end = history.Entries().size();
    if (what.empty()) {
        if (const auto last = history.LastBefore(end, IsDone)) {
            return *last;
        }
        throw Unanswerable("the service has done nothing yet; \"plug\" starts it");
    }
    if (what == "not") {
        std::vector<std::string> names;
        std::ranges::transform(Outcomes(), std::back_inserter(names), &Outcome::name);
        throw Unanswerable("why not what? There are: " + Joined(names));
    }
    std::uint64_t id = 0;
    const auto [rest, failure] = std::from_chars(what.data(), what.data() + what.size(), id);
    if (failure == std::errc() && rest == what.data() + what.size()) {
        if (const auto place = history.PlaceOf(id)) {
            return *place;
        }
        throw Unanswerable("there is no entry " + std::string(what) +
                           (end == 0 ? "; nothing has happened yet"
                                     : "; they go from " + std::to_string(history.At(0).id) + " to " +
                                           std::to_string(history.At(end - 1).id)));
    }
    const auto isOne = [&](const run::Entry& entry) { return HasPart(entry, what); };
    if (const auto last =
            history.LastBefore(end, [&](const run::Entry& entry) { return IsDone(entry) && isOne(entry); })) {
        return *last;
    }
    if (const auto last = history.LastBefore(end, isOne)) {
        return *last;
    }
    if (OutcomeOf(what) != nullptr) {
        throw Unanswerable("ask \"why not " + std::string(what) + "\": it says, too, when it did happen");
    }
    std::set<std::string> names;
    for (const run::Entry& entry : history.Entries()) {
        for (const char* name : {"function", "member"}) {
            names.emplace(DetailOf(entry, name));
        }
    }
    names.erase("");
    throw Unanswerable("nothing that happened has \"" + Shortened(std::string(what)) + "\" in it" +
                       language::Suggestion(what, {names.begin(), names.end()}));
}

} // namespace

std::string Why(const History& history, std::string_view what)
{
    const std::size_t place = PlaceFor(history, what);
    return "why " + Number(history.At(place)) + " " + Told(history.At(place)) + "\n" + ChainInWords(history, place);
}

std::string WhyNot(const History& history, std::string_view name, std::string_view wayName)
{
    const Outcome& outcome = Named(name);
    std::vector<Judgement> judgements =
        wayName.empty() ? Judge(history, outcome) : std::vector{Judge(history, outcome, Named(outcome, wayName))};
    const std::optional<Judgement> came = LatestThatCame(history, outcome, judgements, history.LastStart());
    std::string text;
    if (came) {
        const run::Entry& entry = history.At(*came->came);
        text = outcome.name + " did happen, by the way " + came->way->name + ", " + WithMoment(entry) + "\n" +
               ChainInWords(history, *came->came);
        std::erase_if(judgements, [&](const Judgement& judgement) {
            return judgement.state == State::Came || !judgement.tried || *judgement.tried <= *came->tried;
        });
        text += judgements.empty() ? "" : "It was tried again since, and did not come:\n";
    } else if (const auto itself = wayName.empty() ? LastByItself(history, outcome) : std::nullopt) {
        text = outcome.name +
               " happened without the service's doing, or has been undone since: " + WithMoment(history.At(*itself)) +
               Because(history, *itself) + "\n";
    } else {
        text = outcome.name + " did not happen (it has when " + WithoutQuotes(outcome.when) + ")\n";
    }
    Sort(judgements);
    for (const Judgement& judgement : judgements) {
        text += InWords(history, judgement);
    }
    const std::optional<Judgement> before = came ? std::nullopt : LatestThatCame(history, outcome, judgements, 0);
    return text + (before ? "before the service was started last, it did happen " +
                                WithMoment(history.At(*before->came)) + "\n"
                          : "");
}

std::string Objection(const History& history, std::string_view name, std::string_view wayName,
                      std::string_view condition)
{
    const Outcome& outcome = Named(name);
    const Way& way = Named(outcome, wayName);
    const bool isKnown = condition.empty() ||
                         std::ranges::find(way.conditions, condition, &Condition::condition) != way.conditions.end();
    if (!isKnown) {
        std::vector<std::string> conditions;
        std::ranges::transform(way.conditions, std::back_inserter(conditions), &Condition::condition);
        throw Unanswerable("\"" + std::string(condition) + "\" is no condition of " + outcome.name + ", " + way.name +
                           language::SuggestionOrAll(condition, conditions));
    }
    const Judgement judgement = Judge(history, outcome, way);
    const bool isSo = condition.empty() ? judgement.state == State::Came
                                        : judgement.condition != nullptr && judgement.condition->condition == condition;
    std::string is = isSo ? "" : InWords(history, judgement);
    if (const std::optional<std::size_t> came = isSo ? CameAllTheSame(history, outcome, judgement) : std::nullopt) {
        is = InWords(history, judgement) + "and yet it came " + WithMoment(history.At(*came)) + "\n";
    }
    if (!is.empty()) {
        is.pop_back(); // the last line end
        is.insert(0, "it is otherwise: ");
    }
    return is;
}

} // namespace why
