#include "tv/scenario/Expectations.h"

#include "GlibPointers.h"
#include "tv/language/Body.h"
#include "tv/language/Commands.h"
#include "tv/language/Numbers.h"
#include "tv/language/Words.h"
#include "tv/why/Answer.h"
#include "tv/why/History.h"

#include <glib.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

namespace scenario {

namespace {

using front::Entry;
using language::Line;
using language::Verb;

constexpr std::size_t kLongestWindow = 100'000; // entries
constexpr std::size_t kMostShown = 12;          // of what came instead

bool Contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

Util::VariantPtr Parsed(const GVariantType* type, const std::string& text)
{
    return Util::VariantPtr(language::IsReadable(text) ? g_variant_parse(type, text.c_str(), nullptr, nullptr, nullptr)
                                                       : nullptr);
}

/// One value that stands in parentheses is a body, too, though GVariant would write a comma behind it.
bool IsSameBody(const Entry& entry, const std::string& wanted)
{
    if (entry.signature.empty() || g_variant_type_string_is_valid(entry.signature.c_str()) == FALSE) {
        return wanted == "()";
    }
    const auto* type = reinterpret_cast<const GVariantType*>(entry.signature.c_str());
    const Util::VariantPtr body = Parsed(type, entry.body);
    Util::VariantPtr other = Parsed(type, wanted);
    if (!other && wanted.ends_with(')')) {
        other = Parsed(type, wanted.substr(0, wanted.size() - 1) + ",)");
    }
    return body && other && g_variant_equal(body.get(), other.get()) != FALSE;
}

bool IsMessage(const Entry& entry)
{
    return entry.kind == "bus";
}

bool IsSent(const Entry& entry, const Line& line)
{
    return IsMessage(entry) && entry.lane == line.Text("SIBLING") && entry.member == line.Text("MEMBER") &&
           (!line.Has("BODY") || IsSameBody(entry, line.Text("BODY")));
}

/// What somebody outside the service would notice of it.
bool IsDone(const Entry& entry)
{
    return entry.kind == "bus" || entry.kind == "kpi" || entry.kind == "kernel" ||
           (entry.kind == "call" && !entry.query && !entry.subject.empty());
}

bool IsOther(const Entry& entry)
{
    return entry.kind != "line";
}

std::string Shown(const Entry& entry)
{
    constexpr std::size_t kLongest = 200;
    return entry.text.size() > kLongest ? entry.text.substr(0, kLongest) + "..." : entry.text;
}

/// A value of the state as it would be written in a line.
std::string AsWritten(const front::Object& setting)
{
    return setting.Text("type") == "string" ? language::AsQuoted(setting.Text("value")) : setting.Json("value");
}

std::string AsWritten(const language::Word& value)
{
    const bool isPlain = !value.quoted && (value.text == "true" || value.text == "false" || value.text == "none");
    if (isPlain) {
        return value.text;
    }
    const std::optional<int> number = value.quoted ? std::nullopt : language::NumberIn(value.text);
    return number ? std::to_string(*number) : language::AsQuoted(value.text);
}

} // namespace

void Expectations::Hears(const Entry& entry)
{
    m_window.push_back(entry);
    if (m_window.size() > kLongestWindow) {
        m_window.pop_front();
        m_met -= std::min<std::size_t>(m_met, 1);
    }
}

void Expectations::Deed()
{
    if (m_asked) {
        m_asked = false;
        m_window.clear();
        m_met = 0;
    }
}

std::string Expectations::InsteadOf(const Test& isAlike) const
{
    std::vector<std::string> alike;
    for (const Entry& entry : m_window) {
        if (isAlike(entry)) {
            alike.push_back(Shown(entry));
        }
    }
    if (alike.empty()) {
        return "; nothing of the kind came";
    }
    std::string text = "; what came instead:";
    const std::size_t left = alike.size() - std::min(alike.size(), kMostShown);
    for (std::size_t index = left; index < alike.size(); ++index) {
        text += "\n    " + alike[index];
    }
    return text + (left > 0 ? "\n    and " + std::to_string(left) + " before" : "");
}

std::string Expectations::Wanted(const Test& isIt, const Test& isAlike)
{
    const auto begin = m_window.begin() + static_cast<std::ptrdiff_t>(m_met);
    const auto found = std::find_if(begin, m_window.end(), isIt);
    if (found != m_window.end()) {
        m_met = static_cast<std::size_t>(found - m_window.begin()) + 1;
        return "";
    }
    const bool came = std::any_of(m_window.begin(), begin, isIt);
    return came ? "it came, but before what was expected before it" : "it did not come" + InsteadOf(isAlike);
}

std::string Expectations::Unwanted(const Test& isIt) const
{
    const auto found = std::find_if(m_window.begin(), m_window.end(), isIt);
    return found == m_window.end() ? "" : "it came: " + Shown(*found);
}

std::string Expectations::Setting(const Line& line) const
{
    const std::string wanted = AsWritten(line.arguments.find("VALUE")->second);
    std::string is = "none";
    for (const front::Object& setting : State().Members("settings")) {
        if (setting.Text("key") == line.Text("SETTING")) {
            is = AsWritten(setting);
        }
    }
    return is == wanted ? "" : "it is " + is;
}

std::string Expectations::File(const Line& line) const
{
    std::ifstream file(m_root + line.Text("PATH"), std::ios::binary);
    const language::Word& wanted = line.arguments.find("TEXT")->second;
    const bool expectsNone = !wanted.quoted && wanted.text == "none";
    if (!file) {
        return expectsNone ? "" : std::string("there is no such file");
    }
    const std::string is{std::istreambuf_iterator<char>(file), {}};
    return !expectsNone && is == wanted.text ? "" : "it holds " + language::AsQuoted(is.substr(0, 200));
}

std::string Expectations::Running(bool wanted) const
{
    if (State().Truth("running") == wanted) {
        return "";
    }
    return wanted ? "the service should run, and does not" : "the service should have stopped, and runs";
}

std::string Expectations::Why(const Line& line) const
{
    if (!m_history) {
        throw std::logic_error("nobody keeps what happened: " + line.text);
    }
    return why::Objection(why::History(m_history()), line.Text("OUTCOME"), line.Text("WAY"), line.Text("CONDITION"));
}

std::string Expectations::Objection(const Line& line)
{
    m_asked = true;
    const auto isSent = [&](const Entry& entry) { return IsSent(entry, line); };
    const auto holds = [&](const char* kind) {
        return
            [&line, kind](const Entry& entry) { return entry.kind == kind && Contains(entry.text, line.Text("TEXT")); };
    };
    const auto isOf = [](const char* kind) {
        return [kind](const Entry& entry) { return entry.kind == kind && !entry.query; };
    };
    const auto isEntry = [&](const Entry& entry) { return IsOther(entry) && Contains(entry.text, line.Text("TEXT")); };
    switch (line.command->verb) {
    case Verb::ExpectCall:
        return Wanted(isSent, IsMessage);
    case Verb::ExpectNoCall:
        return Unwanted(isSent);
    case Verb::ExpectNothing:
        return Unwanted(IsDone);
    case Verb::ExpectSetting:
        return Setting(line);
    case Verb::ExpectFile:
        return File(line);
    case Verb::ExpectLog:
        return Wanted(holds("log"), isOf("log"));
    case Verb::ExpectNoLog:
        return Unwanted(holds("log"));
    case Verb::ExpectFunction:
        return Wanted(holds("call"), isOf("call"));
    case Verb::ExpectNoFunction:
        return Unwanted(holds("call"));
    case Verb::ExpectEntry:
        return Wanted(isEntry, IsOther);
    case Verb::ExpectNoEntry:
        return Unwanted(isEntry);
    case Verb::ExpectWhy:
    case Verb::ExpectWhyNot:
        return Why(line);
    case Verb::ExpectRunning:
        return Running(true);
    case Verb::ExpectStopped:
        return Running(false);
    default:
        throw std::logic_error("no expectation: " + line.text);
    }
}

} // namespace scenario
