#include "sim/Tape.h"

#include <glib.h>

#include <algorithm>
#include <cstddef>

namespace sim {

namespace {

constexpr int kDebug = 3;

// Of the process, so that what is left of an earlier television (a timer, a reply) names no entry of the next one.
EntryId lastId = kNoEntry;

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

Tape::Scope::Scope(Tape& tape, EntryId cause) : m_tape(tape)
{
    m_tape.m_running.push_back(cause);
}

Tape::Scope::~Scope()
{
    m_tape.Pull(); // what was written to the kernel log until now has this cause still
    m_tape.m_running.pop_back();
}

Tape::Tape() : m_first(lastId + 1), m_start(g_get_monotonic_time()) {}

std::int64_t Tape::Now() const
{
    return g_get_monotonic_time() - m_start;
}

void Tape::Pull() const
{
    if (m_pull) {
        m_pull();
    }
}

EntryId Tape::Record(Entry entry)
{
    Pull();
    return RecordPulled(std::move(entry));
}

Entry Tape::Announce(Kind kind)
{
    Pull();
    return {.kind = kind, .id = ++lastId, .cause = Cause(), .at = Now()};
}

Tape::Scope Tape::Begin(Entry entry)
{
    return {*this, Record(std::move(entry))};
}

Tape::Scope Tape::Resume(EntryId cause)
{
    Pull();
    return {*this, cause >= m_first ? cause : kNoEntry};
}

EntryId Tape::RecordPulled(Entry entry)
{
    const EntryId id = entry.id != kNoEntry ? entry.id : ++lastId;
    entry.id = id;
    entry.cause = entry.cause != kNoEntry ? entry.cause : Cause();
    entry.cause = entry.cause >= m_first ? entry.cause : kNoEntry;
    entry.at = entry.at >= 0 ? entry.at : Now();
    const bool isTold = IsTold(entry.kind);
    std::vector<Entry>& entries = isTold ? m_told : m_entries;
    entries.push_back(std::move(entry));
    if (m_sink && (m_hearsEverything || !isTold)) {
        m_sink(entries.back());
    }
    return id;
}

const std::vector<Entry>& Tape::Entries() const
{
    Pull();
    return m_entries;
}

std::vector<Entry> Tape::Everything() const
{
    std::vector<Entry> all = Entries();
    all.insert(all.end(), m_told.begin(), m_told.end());
    std::ranges::sort(all, {}, &Entry::id);
    return all;
}

void Tape::Clear()
{
    Pull();
    m_entries.clear();
    m_told.clear();
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
