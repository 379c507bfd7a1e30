#pragma once

#include "sim/Side.h"
#include "sim/VirtualClock.h"

#include <chrono>

namespace sim {

/// While it lives, the service handles something that its loop brought: a callback, a timer, a signal, an answer or a
/// setting's notice. The code is the service's, and the real time that it takes is the loop's.
class Handles
{
public:
    Handles() noexcept : m_begin(VirtualClock::RealTime()) {}
    ~Handles()
    {
        VirtualClock::LoopWasHeld(VirtualClock::RealTime() - m_begin);
    }
    Handles(const Handles&) = delete;
    Handles& operator=(const Handles&) = delete;

private:
    std::chrono::nanoseconds m_begin;
    Runs m_runs{Side::Service};
};

} // namespace sim
