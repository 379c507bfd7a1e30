#pragma once

#include "support/RealTime.h"

#include <sys/types.h>

#include <chrono>
#include <fstream>
#include <string>

namespace support {

/// How long the main thread of a process has waited for others or slept, since this was made. The time in which it ran
/// does not count, nor that in which it could have run and other processes had the processor, so that a bound on it
/// holds on a busy machine too. Where the kernel does not count these, it is the time on the wall.
class WaitedTime
{
public:
    explicit WaitedTime(pid_t process) : m_path("/proc/" + std::to_string(process) + "/schedstat") {}

    [[nodiscard]] std::chrono::milliseconds SoFar() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>((RealTime::Now() - m_start) -
                                                                     (TimeAtWork() - m_workAtStart));
    }

private:
    [[nodiscard]] std::chrono::nanoseconds TimeAtWork() const
    {
        std::chrono::nanoseconds::rep running = 0;
        std::chrono::nanoseconds::rep ready = 0;
        std::ifstream(m_path) >> running >> ready;
        return std::chrono::nanoseconds(running + ready);
    }

    std::string m_path;
    std::chrono::milliseconds m_start = RealTime::Now();
    std::chrono::nanoseconds m_workAtStart = TimeAtWork();
};

} // namespace support
