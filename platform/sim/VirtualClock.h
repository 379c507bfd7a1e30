#pragma once

#include <chrono>
#include <functional>

namespace sim {

/// Time that passes as fast as it is asked for. While one lives, the process's clocks run ahead of the wall's by what
/// was asked for, and sleeps of the main thread take no time.
///
/// Outside Advance time passes as on the wall, so a loop that waits for a message really waits. Never advance while a
/// bus call is under way: it would time out before its answer can come.
class VirtualClock
{
public:
    VirtualClock();
    ~VirtualClock();
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    /// Runs the default main context until this much time has passed; whatever is due by then is dispatched, in the
    /// order in which it is due. A timer in seconds may be grouped by GLib and come up to a second late.
    void Advance(std::chrono::milliseconds time);

    /// Time that passed since this clock was made.
    [[nodiscard]] std::chrono::milliseconds Elapsed() const;

    /// Called with each sleep of the main thread.
    void OnSleep(std::function<void(std::chrono::microseconds)> listener);

private:
    std::chrono::nanoseconds m_start;
};

} // namespace sim
