#pragma once

#include <cstddef>

namespace sim {

/// The collector of usage events. The events themselves are on the tape: a set may stay on for long, and keeps none.
class Kpi
{
public:
    std::size_t events = 0;
    std::size_t wantingAnswers = 0; ///< those of whose delivery somebody is to be told
};

} // namespace sim
