#pragma once

#include "recorder/Functions.h"
#include "recorder/Reader.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace replay {

/// A life of the service, as it was recorded.
struct Life
{
    std::vector<std::vector<std::byte>> records; ///< the first is LifeBegins
    /// Why the records end before the life did; empty where the last of them is LifeEnds.
    std::string breaksOff;
};

/// The service's life once more: all that it does is held against the recording, and all that it asks is answered from
/// it. It happens once in a process, because some of the service's memory lives as long.
class Replay
{
public:
    /// \param life must outlive it
    explicit Replay(const Life& life);
    Replay(const Replay&) = delete;
    Replay& operator=(const Replay&) = delete;
    ~Replay();

    static Replay& Current();

    /// Runs the service. Where it does something else, that is told on the standard output, and the process ends with
    /// kDifference; where the recording ends before it does, the process ends with success.
    /// \return kSame
    int Run();

    static constexpr int kSame = 0;
    static constexpr int kDifference = 1;

    /// The service has done this: what a recorder says of it.
    void Takes(std::span<const std::byte> record);
    [[nodiscard]] bool IsRunning() const
    {
        return m_isRunning;
    }

    /// Tells the service all that it was told before the function gave what it gave.
    recorder::Reader AnswerOf(recorder::Function function);

    /// Microseconds since the life began, at the latest input.
    [[nodiscard]] std::int64_t Now() const
    {
        return m_now;
    }
    /// The timer that fires now.
    [[nodiscard]] unsigned int Timer() const
    {
        return m_timer;
    }
    void SetTimer(unsigned int timer)
    {
        m_timer = timer;
    }
    [[nodiscard]] const std::string& Root() const
    {
        return m_root;
    }

private:
    void TellNext();
    [[noreturn]] void EndWhereRecordingBreaksOff();
    [[noreturn]] void EndWithDifference(const std::string& now);

    const Life& m_life;
    std::size_t m_next = 1;
    bool m_isRunning = false;
    std::int64_t m_now = 0;
    unsigned int m_timer = 0;
    std::string m_root;
};

} // namespace replay
