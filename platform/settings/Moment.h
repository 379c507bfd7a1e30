// The clock of the store: nanoseconds since the machine started, the same for all processes, and never set.
#pragma once

#include <cstdint>
#include <ctime>

namespace settings {

inline std::int64_t Moment()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_RAW, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

} // namespace settings
