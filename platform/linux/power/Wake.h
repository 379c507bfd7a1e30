#pragma once

#include <glib.h>

#include <array>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>

namespace power {

/// What people wait for after the box was started or has slept.
enum class Milestone
{
    AdapterOn,
    FirstRemote, ///< the first of the box's own remotes is connected
    LastSpeaker  ///< the speaker that was used last is connected
};

/// One start or resume: when, and how long the milestones took.
struct WakeRecord
{
    static constexpr int kNotYet = -1;

    std::string cause;               ///< "start" or "resume"
    gint64 time = 0;                 ///< seconds since 1970
    std::array<int, 3> milliseconds; ///< by milestone; kNotYet
};

/// How fast the box is back: measured at each start and resume, kept for those who ask, and told the journal with a
/// field for each figure as it becomes known. The rooms that know of adapter, remotes and speaker report here; only the
/// first report after a wake counts.
class Wakes
{
public:
    static constexpr std::size_t kKept = 8;

    static Wakes& OfProcess();

    /// The first wake is the start of the service.
    Wakes()
    {
        Begins("start");
    }

    /// \param cause static
    void Begins(const char* cause);
    void Reached(Milestone milestone);

    /// The last ones, the newest first.
    [[nodiscard]] const std::deque<WakeRecord>& Records() const
    {
        return m_records;
    }

    /// \param changed called at each change of the records; empty for nobody
    void WatchedBy(std::function<void()> changed);

private:
    void Changed() const;

    gint64 m_began = 0; ///< monotonic, microseconds
    std::deque<WakeRecord> m_records;
    std::function<void()> m_changed;
};

} // namespace power
