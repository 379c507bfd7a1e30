#pragma once

#include <string_view>

namespace sim {

/// How many of the service's timers of this interval are pending, as the tape writes it: "200 ms", "10 s".
int PendingTimers(std::string_view interval);

} // namespace sim
