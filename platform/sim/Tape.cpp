#include "sim/Tape.h"

#include <algorithm>
#include <cstddef>

namespace sim {

namespace {

constexpr int kDebug = 3;

std::string WholeText(const Entry& entry)
{
    return entry.text;
}

std::string MessageText(const Entry& entry)
{
    return std::string(1, PriorityLetter(entry.priority)) + " " + entry.message;
}

} // namespace

char PriorityLetter(int priority)
{
    constexpr std::string_view kLetters = "DIWE";
    const int index = priority - kDebug;
    return index >= 0 && index < static_cast<int>(kLetters.size()) ? kLetters[static_cast<std::size_t>(index)] : '?';
}

void Tape::Record(Entry entry)
{
    if (m_pull) {
        m_pull();
    }
    RecordPulled(std::move(entry));
}

void Tape::RecordPulled(Entry entry)
{
    m_entries.push_back(std::move(entry));
    if (m_sink) {
        m_sink(m_entries.back());
    }
}

const std::vector<Entry>& Tape::Entries() const
{
    if (m_pull) {
        m_pull();
    }
    return m_entries;
}

void Tape::Clear()
{
    if (m_pull) {
        m_pull();
    }
    m_entries.clear();
}

std::vector<std::string> Tape::Texts(const std::function<bool(const Entry&)>& wanted,
                                     const std::function<std::string(const Entry&)>& text) const
{
    std::vector<std::string> texts;
    for (const Entry& entry : Entries()) {
        if (wanted(entry)) {
            texts.push_back(text(entry));
        }
    }
    return texts;
}

std::vector<std::string> Tape::All() const
{
    return Texts([](const Entry&) { return true; }, WholeText);
}

std::vector<std::string> Tape::Of(std::initializer_list<Kind> kinds) const
{
    return Texts([&](const Entry& entry) { return std::ranges::find(kinds, entry.kind) != kinds.end(); }, WholeText);
}

std::vector<std::string> Tape::Calls(std::initializer_list<std::string_view> prefixes) const
{
    return Texts(
        [&](const Entry& entry) {
            return entry.kind == Kind::Call &&
                   (prefixes.size() == 0 || std::ranges::any_of(prefixes, [&](std::string_view prefix) {
                        return entry.text.starts_with(prefix);
                    }));
        },
        WholeText);
}

std::vector<std::string> Tape::Actions() const
{
    return Texts([](const Entry& entry) { return entry.kind == Kind::Call && !entry.query; }, WholeText);
}

std::vector<std::string> Tape::Messages(bool withDebug) const
{
    return Texts([=](const Entry& entry) { return entry.kind == Kind::Log && (withDebug || entry.priority != kDebug); },
                 MessageText);
}

std::vector<std::string> Tape::MessagesFrom(std::string_view function) const
{
    return Texts([&](const Entry& entry) { return entry.kind == Kind::Log && entry.function == function; },
                 MessageText);
}

} // namespace sim
