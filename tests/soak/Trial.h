#pragma once

#include "soak/Story.h"
#include "tv/front/StopSignals.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace soak {

/// What is wrong with a story that was lived.
struct Fault
{
    std::string what;        ///< as it is told
    std::size_t passage = 0; ///< in which it came to light; behind the last one, when it was at the service's stop
};

/// What came of a story.
struct Outcome
{
    std::optional<Fault> fault; ///< the first; after it nothing more was lived
    std::vector<std::string>
        lines;             ///< that were carried out, with the stop at the end: a scenario without those refused
    std::size_t lives = 0; ///< of the service
};

/// What is the same for two faults that are one, as far as it can be told: the text without its numbers.
std::string KindOf(const Fault& fault);

/// Has a story lived by a service of its own, in a process of its own, on a television on the desk with a bus and a
/// folder of its own. What the television cannot do is left out; everything else that does not go as it should is a
/// fault, as it is for whoever tells a scenario.
/// \param patience for one line, in real time: who takes longer hangs
/// \param log the file that what the processes say is added to
/// Throws front::Stopped when a signal ends it, std::runtime_error or std::system_error when it cannot be lived.
Outcome Live(const Story& story, const front::StopSignals& signals, std::chrono::seconds patience,
             const std::string& log);

} // namespace soak
