#pragma once

#include <glib.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// A timer of the service that will fire.
struct PendingTimer
{
    int number;           ///< as on the tape: in the order in which the process made them, from 1
    std::string interval; ///< as on the tape: "200 ms", "10 s"
    std::int64_t due;     ///< in microseconds since the television was made, on the service's clock
    GSourceFunc function; ///< that it calls: says what it is for
};

/// In the order in which they are due. Not to be called without a television.
std::vector<PendingTimer> PendingTimers();

/// How many of the service's timers of this interval are pending.
int PendingTimers(std::string_view interval);

} // namespace sim
