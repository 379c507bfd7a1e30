#pragma once

#include <chrono>
#include <functional>

namespace sim {

/// Lets a test have an hour pass without waiting for it. While an object lives, Advance and the main thread's sleeps
/// move the clocks of this process (monotonic and real) ahead of the kernel's, instead of waiting. The clocks never go
/// back, also after the object's end.
///
/// Outside Advance the clocks run at their usual speed, so a loop that waits for a message waits for real. Call
/// Settle() before Advance: a bus call that is still unanswered would time out at once, because the answer needs real
/// time.
class VirtualClock
{
public:
    VirtualClock();
    ~VirtualClock();
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    /// Runs the default main context until this much time has passed. All timers that are due by then fire, in the
    /// order in which they are due. One made by g_timeout_add_seconds may fire up to a second late, because GLib lets
    /// such timers fire together.
    void Advance(std::chrono::milliseconds time);

    /// Time since this object was made, on the clock that it moves.
    [[nodiscard]] std::chrono::milliseconds Elapsed() const;

    /// \param listener is called for each sleep of the main thread with its length; replaces the one before
    void OnSleep(std::function<void(std::chrono::microseconds)> listener);

private:
    std::chrono::nanoseconds m_start;
};

} // namespace sim
