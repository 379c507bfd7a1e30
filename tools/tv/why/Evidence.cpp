#include "tv/why/Evidence.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <stdexcept>
#include <utility>

namespace why {

namespace {

using Sense = Sight::Sense;

constexpr std::pair<std::string_view, Sense> kSenses[] = {
    {"since no ", Sense::NotSince}, {"no ", Sense::DidNotCome}, {"never ", Sense::Never}};

/// Those of the tape; "removed" is a timer of the attempt that something else took away.
constexpr std::array<std::string_view, 12> kKinds = {"bus",  "call", "event", "fired",   "kernel", "kpi",
                                                     "life", "log",  "reply", "setting", "signal", "timer"};
constexpr std::string_view kRemoved = "removed";

[[noreturn]] void Refuse(const std::string& why, std::string_view cell)
{
    throw std::invalid_argument(why + ": " + std::string(cell));
}

Pattern PatternOf(std::string_view text, std::string_view cell)
{
    const std::size_t blank = text.find(' ');
    const std::string_view kind = text.substr(0, blank);
    if (blank == std::string_view::npos || blank + 1 == text.size()) {
        Refuse("no kind and text in \"" + std::string(text) + "\"", cell);
    }
    if (kind != kRemoved && std::ranges::find(kKinds, kind) == kKinds.end()) {
        Refuse("no kind of entry is called \"" + std::string(kind) + "\"", cell);
    }
    return {std::string(kind), std::string(text.substr(blank + 1))};
}

std::vector<std::string_view> Split(std::string_view text, std::string_view separator)
{
    std::vector<std::string_view> pieces;
    std::size_t end = 0;
    while ((end = text.find(separator)) != std::string_view::npos) {
        pieces.push_back(text.substr(0, end));
        text.remove_prefix(end + separator.size());
    }
    pieces.push_back(text);
    return pieces;
}

Sight SightOf(std::string_view text, std::string_view cell)
{
    Sight sight;
    for (const auto& [words, sense] : kSenses) {
        if (text.starts_with(words)) {
            sight.sense = sense;
            text.remove_prefix(words.size());
            break;
        }
    }
    const std::vector<std::string_view> since = Split(text, " since ");
    const std::vector<std::string_view> before = Split(since.front(), " before ");
    if (before.size() > 2 || (before.size() == 2 && sight.sense != Sense::Came)) {
        Refuse("\"before\" is for one thing that came", cell);
    }
    if (since.size() > 1 && sight.sense != Sense::Never) {
        Refuse("\"since\" at the end is for what never came", cell);
    }
    sight.pattern = PatternOf(before.front(), cell);
    for (std::size_t at = 1; at < before.size(); ++at) {
        sight.before.push_back(PatternOf(before[at], cell));
    }
    for (std::size_t at = 1; at < since.size(); ++at) {
        sight.since.push_back(PatternOf(since[at], cell));
    }
    return sight;
}

} // namespace

Evidence ParseEvidence(std::string_view cell)
{
    Evidence evidence;
    if (cell == "—") {
        return evidence;
    }
    bool isAlternative = false;
    std::string_view rest = cell;
    while (true) {
        const std::size_t end = rest.starts_with('`') ? rest.find('`', 1) : std::string_view::npos;
        if (end == std::string_view::npos) {
            Refuse("what is seen stands in code quotes", cell);
        }
        if (!isAlternative) {
            evidence.emplace_back();
        }
        evidence.back().push_back(SightOf(rest.substr(1, end - 1), cell));
        rest.remove_prefix(end + 1);
        if (rest.empty()) {
            return evidence;
        }
        isAlternative = rest.starts_with(" or ");
        if (!isAlternative && !rest.starts_with("; ")) {
            Refuse(R"(between two things that are seen stands " or " or "; ")", cell);
        }
        rest.remove_prefix(isAlternative ? 4 : 2);
    }
}

bool IsLike(std::string_view text, std::string_view pattern)
{
    std::size_t at = 0;
    std::size_t in = 0;
    std::size_t star = std::string_view::npos; // the last one, and where it began to stand for something
    std::size_t from = 0;
    while (at < text.size()) {
        if (in < pattern.size() && pattern[in] == '*') {
            star = in++;
            from = at;
        } else if (in < pattern.size() && (pattern[in] == '?' || pattern[in] == text[at])) {
            ++in;
            ++at;
        } else if (star != std::string_view::npos) {
            in = star + 1;
            at = ++from;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', in) == std::string_view::npos;
}

} // namespace why
