#include "support/MainLoop.h"

#include "support/RealTime.h"

#include <glib.h>

#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace support {

std::chrono::milliseconds RealTime::Now()
{
    struct timespec now = {};
    ::syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return std::chrono::seconds(now.tv_sec) +
           std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::nanoseconds(now.tv_nsec));
}

bool IterateUntil(const std::function<bool()>& isDone, std::chrono::milliseconds deadline)
{
    const auto end = RealTime::Now() + deadline;
    while (!isDone()) {
        if (RealTime::Now() >= end) {
            return false;
        }
        if (g_main_context_iteration(nullptr, FALSE) == FALSE) {
            // Nothing is ready: let the other threads and processes have the processor.
            struct timespec pause = {0, 200'000};
            ::syscall(SYS_nanosleep, &pause, nullptr);
        }
    }
    return true;
}

bool DrainMainLoop()
{
    bool dispatched = false;
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        dispatched = true;
    }
    return dispatched;
}

} // namespace support
