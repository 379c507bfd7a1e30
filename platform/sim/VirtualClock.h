#pragma once

#include <chrono>
#include <functional>

namespace sim {

/// Lets a test have an hour pass without waiting for it. While an object lives, Advance and the main thread's sleeps
/// move the clocks of this process (monotonic and real) ahead of the kernel's, instead of waiting. The clocks never go
/// back, also after the object's end, but for the one on the wall where somebody sets it back.
///
/// Outside Advance the clocks run at their usual speed, unless they stand, so a loop that waits for a message waits for
/// real. Call Settle() before Advance: a bus call that is still unanswered would time out at once, because the answer
/// needs real time.
class VirtualClock
{
public:
    /// \param stands whether the clocks stand still from the begin on, the monotonic one at a whole second
    explicit VirtualClock(bool stands = false);
    ~VirtualClock();
    VirtualClock(const VirtualClock&) = delete;
    VirtualClock& operator=(const VirtualClock&) = delete;

    /// Runs the default main context until this much time has passed. All timers that are due by then fire, in the
    /// order in which they are due. One made by g_timeout_add_seconds may fire up to a second late, because GLib lets
    /// such timers fire together.
    void Advance(std::chrono::milliseconds time);

    /// The same up to the first moment at which something is due, or to the end of \p time where nothing is.
    /// \return how much time has passed
    std::chrono::milliseconds AdvanceToNext(std::chrono::milliseconds time);

    /// From now on the clocks stand still but for Advance and the main thread's sleeps, so that what happens does not
    /// depend on how fast the machine is; or run at their usual speed again, from where they stood.
    void Stands(bool still);

    /// The main thread waits so long for something that needs no real time. Unlike a sleep nobody is told of it.
    /// Without an object it does nothing.
    static void Waits(std::chrono::milliseconds time);

    /// Somebody sets the clock on the wall, back where \p by is negative: who reads the date sees it, no timer does. It
    /// stays so until the process ends.
    static void SetsWall(std::chrono::milliseconds by);

    /// The longest that the default main context was kept from looking around since this was asked last. While the
    /// clocks stand, that is what the main thread has slept and waited for in one turn of the loop.
    static std::chrono::milliseconds TakeLongestTurn();

    /// The same in real time, of the service's own code alone: what it took to handle all that one turn of the loop
    /// brought, waits for answers that came by themselves included. What the simulation does in between is left out.
    static std::chrono::microseconds TakeLongestRealTurn();

    /// The kernel's monotonic clock, whatever the clocks of this process show.
    static std::chrono::nanoseconds RealTime();

    /// The service has held the loop for so long, in real time; see Handles.
    static void LoopWasHeld(std::chrono::nanoseconds time);

    /// Time since this object was made, on the clock that it moves.
    [[nodiscard]] std::chrono::milliseconds Elapsed() const;

    /// \param listener is called for each sleep of the main thread with its length; replaces the one before
    void OnSleep(std::function<void(std::chrono::microseconds)> listener);

private:
    std::chrono::nanoseconds m_start;
};

} // namespace sim
