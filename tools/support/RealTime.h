#pragma once

#include <chrono>

namespace support {

/// The clock on the wall, also while a virtual clock stands in for the one of the process. For deadlines.
class RealTime
{
public:
    /// Time since the machine was started.
    static std::chrono::milliseconds Now();
};

} // namespace support
