// This file defines clock_gettime, time, usleep, nanosleep and clock_nanosleep. The dynamic linker finds them before
// those of the C library, for GLib too. They ask the kernel and add how far the clock has been moved ahead.

#include "sim/VirtualClock.h"

#include <glib.h>

#include <errno.h>
#include <poll.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <utility>

namespace sim {

namespace {

using std::chrono::duration_cast;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

// Not members of VirtualClock: the C functions below have no object, and may be called before main.
std::atomic<std::int64_t> ahead{0};     // of the kernel's clocks, in nanoseconds
std::atomic<std::int64_t> wallAhead{0}; // of the one on the wall beside that, in nanoseconds
std::atomic<bool> installed{false};
nanoseconds bound{-1}; // the time at which Advance ends; negative outside Advance
std::function<void(microseconds)>* sleepListener = nullptr;
bool moved = false;         // by the poll function, since somebody looked
nanoseconds polled{-1};     // when the default main context looked around last; negative before
nanoseconds longestTurn{0}; // since somebody asked
nanoseconds realTurn{0};    // of the service's code, since the default main context looked around last
nanoseconds longestRealTurn{0};

// Where the kernel's clocks were when the clocks of this process began to stand; negative while they run. Both are
// written and read one by one: for a moment one clock may stand while the other runs, which nobody compares.
std::atomic<std::int64_t> stoodMonotonic{-1};
std::atomic<std::int64_t> stoodReal{-1};

std::int64_t KernelTime(clockid_t clock)
{
    struct timespec now = {};
    ::syscall(SYS_clock_gettime, clock, &now);
    return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
}

bool IsMainThread()
{
    return ::syscall(SYS_gettid) == ::getpid();
}

nanoseconds Now()
{
    struct timespec now = {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) + nanoseconds(now.tv_nsec);
}

void Move(nanoseconds time)
{
    ahead += time.count();
}

/// Inside Advance it moves the clock by the time that GLib would have waited, up to the end of Advance, instead of
/// waiting. Outside Advance it is the usual poll.
gint Poll(struct pollfd* descriptors, guint count, gint timeout)
{
    const int ready = ::poll(descriptors, count, 0);
    if (ready != 0 || timeout == 0) {
        return ready;
    }
    if (bound.count() < 0) {
        // While the clock stands, no timer gets nearer.
        return ::poll(descriptors, count, stoodMonotonic.load() < 0 ? timeout : -1);
    }
    const nanoseconds left = std::max(bound - Now(), nanoseconds(0));
    Move(timeout < 0 ? left : std::min<nanoseconds>(left, milliseconds(timeout)));
    moved = true;
    return 0;
}

/// The poll function of the default main context.
gint PollInVirtualTime(GPollFD* descriptors, guint count, gint timeout)
{
    longestTurn = polled.count() < 0 ? longestTurn : std::max(longestTurn, Now() - polled);
    longestRealTurn = std::max(longestRealTurn, std::exchange(realTurn, nanoseconds(0)));
    const gint ready = Poll(reinterpret_cast<struct pollfd*>(descriptors), count, timeout);
    polled = Now();
    return ready;
}

bool SleepsVirtually()
{
    return installed && IsMainThread();
}

void Sleep(nanoseconds time)
{
    Move(time);
    if (sleepListener != nullptr && *sleepListener) {
        (*sleepListener)(duration_cast<microseconds>(time));
    }
}

nanoseconds ToDuration(const struct timespec& time)
{
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

} // namespace

VirtualClock::VirtualClock(bool stands)
{
    polled = nanoseconds(-1);
    Stands(stands);
    if (stands) {
        // GLib moves timers of whole seconds to the same fraction of each second: how long they take must not depend on
        // the moment at which the clock began to stand.
        Move(std::chrono::seconds(1) - Now() % std::chrono::seconds(1));
    }
    m_start = Now();
    sleepListener =
        new std::function<void(microseconds)>(); // deleted in the destructor, after the C functions no longer use it
    installed = true;
    g_main_context_set_poll_func(nullptr, PollInVirtualTime);
}

VirtualClock::~VirtualClock()
{
    Stands(false);
    g_main_context_set_poll_func(nullptr, nullptr);
    installed = false;
    delete std::exchange(sleepListener, nullptr);
}

void VirtualClock::Advance(milliseconds time)
{
    bound = Now() + time;
    while (Now() < bound) {
        g_main_context_iteration(nullptr, TRUE);
    }
    bound = nanoseconds(-1);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

milliseconds VirtualClock::AdvanceToNext(milliseconds time)
{
    const nanoseconds start = Now();
    bound = start + time;
    moved = false;
    while (Now() < bound && !moved) {
        g_main_context_iteration(nullptr, TRUE);
    }
    bound = nanoseconds(-1);
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
    return duration_cast<milliseconds>(Now() - start);
}

void VirtualClock::Waits(milliseconds time)
{
    if (installed) {
        Move(time);
    }
}

void VirtualClock::Stands(bool still)
{
    const bool stood = stoodMonotonic.load() >= 0;
    if (still == stood) {
        return;
    }
    if (still) {
        stoodReal = KernelTime(CLOCK_REALTIME);
        stoodMonotonic = KernelTime(CLOCK_MONOTONIC);
    } else {
        ahead -= KernelTime(CLOCK_MONOTONIC) - stoodMonotonic.load(); // from where they stood
        stoodMonotonic = -1;
        stoodReal = -1;
    }
}

void VirtualClock::SetsWall(milliseconds by)
{
    wallAhead += duration_cast<nanoseconds>(by).count();
}

milliseconds VirtualClock::TakeLongestTurn()
{
    return duration_cast<milliseconds>(std::exchange(longestTurn, nanoseconds(0)));
}

microseconds VirtualClock::TakeLongestRealTurn()
{
    const nanoseconds last = std::exchange(realTurn, nanoseconds(0));
    return duration_cast<microseconds>(std::max(last, std::exchange(longestRealTurn, nanoseconds(0))));
}

nanoseconds VirtualClock::RealTime()
{
    return nanoseconds(KernelTime(CLOCK_MONOTONIC));
}

void VirtualClock::LoopWasHeld(nanoseconds time)
{
    realTurn += time;
}

milliseconds VirtualClock::Elapsed() const
{
    return duration_cast<milliseconds>(Now() - m_start);
}

void VirtualClock::OnSleep(std::function<void(microseconds)> listener)
{
    *sleepListener = std::move(listener);
}

} // namespace sim

extern "C" {

int clock_gettime(clockid_t clock, struct timespec* time)
{
    const long result = ::syscall(SYS_clock_gettime, clock, time);
    if (result == 0 && (clock == CLOCK_MONOTONIC || clock == CLOCK_REALTIME)) {
        constexpr std::int64_t kSecond = 1'000'000'000;
        const std::int64_t stood = (clock == CLOCK_MONOTONIC ? sim::stoodMonotonic : sim::stoodReal).load();
        const std::int64_t kernels = stood >= 0 ? stood : time->tv_sec * kSecond + time->tv_nsec;
        const std::int64_t set = clock == CLOCK_REALTIME ? sim::wallAhead.load() : 0;
        const std::int64_t nanoseconds = kernels + sim::ahead.load() + set;
        const std::int64_t fraction = (nanoseconds % kSecond + kSecond) % kSecond; // also before 1970
        time->tv_sec = (nanoseconds - fraction) / kSecond;
        time->tv_nsec = fraction;
    }
    return static_cast<int>(result);
}

int clock_nanosleep(clockid_t clock, int flags, const struct timespec* request, struct timespec* remain)
{
    if (sim::SleepsVirtually()) {
        const std::chrono::nanoseconds end = sim::ToDuration(*request);
        sim::Sleep((flags & TIMER_ABSTIME) != 0 ? std::max(end - sim::Now(), std::chrono::nanoseconds(0)) : end);
        return 0;
    }
    // This function returns the error number, unlike the others, which set errno.
    return ::syscall(SYS_clock_nanosleep, clock, flags, request, remain) == 0 ? 0 : errno;
}

int nanosleep(const struct timespec* request, struct timespec* remain)
{
    const int failure = clock_nanosleep(CLOCK_MONOTONIC, 0, request, remain);
    errno = failure != 0 ? failure : errno;
    return failure == 0 ? 0 : -1;
}

int usleep(useconds_t microseconds)
{
    const struct timespec request = {static_cast<time_t>(microseconds / 1'000'000),
                                     static_cast<long>(microseconds % 1'000'000) * 1'000};
    return nanosleep(&request, nullptr);
}

time_t time(time_t* result)
{
    struct timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

} // extern "C"
