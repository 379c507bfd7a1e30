#include "replay/Replay.h"

#include "recorder/Decoded.h"
#include "recorder/InWords.h"
#include "recorder/Kind.h"
#include "recorder/Pool.h"
#include "recorder/Recording.h"
#include "recorder/Sink.h"
#include "replay/Answers.h"
#include "replay/Chain.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>

extern "C" int service_main();

namespace {

replay::Replay* current = nullptr;

} // namespace

namespace replay {

namespace {

using recorder::Kind;

std::string Print(std::span<const std::byte> record)
{
    return recorder::InWords(recorder::Decode(record));
}

} // namespace

Replay::Replay(const Life& life) : m_life(life), m_root(recorder::Decode(life.records.front()).root)
{
    current = this;
}

Replay::~Replay()
{
    current = nullptr;
}

Replay& Replay::Current()
{
    return *current;
}

int Replay::Run()
{
    m_isRunning = true;
    recorder::EndLife(service_main());
    m_isRunning = false;
    std::printf("no difference in %zu records, %s long\n", m_life.records.size(), recorder::Instant(m_now).c_str());
    return kSame;
}

void Replay::Takes(std::span<const std::byte> record)
{
    if (m_next == m_life.records.size() && !m_life.breaksOff.empty()) {
        EndWhereRecordingBreaksOff();
    }
    if (m_next == m_life.records.size() || !std::ranges::equal(record, m_life.records[m_next])) {
        EndWithDifference(Print(record));
    }
    ++m_next;
}

recorder::Reader Replay::AnswerOf(recorder::Function function)
{
    while (m_next < m_life.records.size()) {
        recorder::Reader reader(m_life.records[m_next]);
        const Kind kind = reader.Kind();
        if (kind == Kind::Return && reader.Unsigned() == static_cast<std::uint64_t>(function)) {
            return reader;
        }
        if (kind != Kind::Input && kind != Kind::Enters) {
            EndWithDifference("nothing, until it is told something");
        }
        TellNext();
    }
    EndWhereRecordingBreaksOff();
}

void Replay::TellNext()
{
    recorder::Reader reader(m_life.records[m_next]);
    if (reader.Kind() == Kind::Input) {
        m_now = static_cast<std::int64_t>(reader.Unsigned());
    }
    const auto type = static_cast<recorder::Callback>(reader.Unsigned());
    const auto slot = static_cast<std::size_t>(reader.Unsigned());
    const std::uint64_t since = reader.Unsigned();
    const std::optional<void*> userData = recorder::UserData(type, slot, since);
    if (!userData) {
        EndWithDifference("nothing, because it has not asked to be told of that");
    }
    Lent lent;
    const recorder::Anything function = recorder::PoolOf(type).StandInOf(slot);
    if (!CallGenerated(type, reader, function, *userData, lent)) {
        CallOther(type, reader, function, *userData, lent);
    }
}

void Replay::EndWhereRecordingBreaksOff()
{
    if (m_life.breaksOff.empty()) {
        EndWithDifference("nothing, until it is told something");
    }
    m_isRunning = false;
    std::printf("no difference in %zu records, until %s where %s\n", m_life.records.size(),
                recorder::Instant(m_now).c_str(), m_life.breaksOff.c_str());
    std::fflush(stdout);
    std::exit(kSame);
}

void Replay::EndWithDifference(const std::string& now)
{
    m_isRunning = false;
    const std::string recorded =
        m_next < m_life.records.size() ? Print(m_life.records[m_next]) : std::string("nothing any more, it has ended");
    std::printf("the first difference is at %s (record %zu):\n  recorded  %s\n  now       %s\n",
                recorder::Instant(m_now).c_str(), m_next, recorded.c_str(), now.c_str());
    std::fputs(Chain(m_life.records, m_next).c_str(), stdout);
    std::fflush(stdout);
    std::exit(kDifference);
}

} // namespace replay

// --- Where the recorder's records go in a replay ---

namespace recorder {

void Append(std::span<const std::byte> record)
{
    if (IsRecording()) {
        replay::Replay::Current().Takes(record);
    }
}

bool IsRecording()
{
    return current != nullptr && current->IsRunning();
}

bool Start(const char*, std::uint64_t, WhenFull)
{
    return false;
}

void Stop() {}

} // namespace recorder

recorder::Reader replay::AnswerOf(recorder::Function function)
{
    return Replay::Current().AnswerOf(function);
}

extern "C" const char* platform_root(void);

const char* platform_root(void)
{
    return replay::Replay::Current().Root().c_str();
}
