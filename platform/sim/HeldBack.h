#pragma once

#include <chrono>
#include <functional>
#include <string>

namespace sim {

/// How long the answer to a message is held back that the service waits for, on the virtual clock.
/// \param destination the bus name that is asked
/// \param member what it is asked
/// \param timeout how long the service waits; a time as long as that is an answer that never comes
using HoldsBack = std::function<std::chrono::milliseconds(const std::string& destination, const std::string& member,
                                                          std::chrono::milliseconds timeout)>;

/// Whoever lets siblings be slow says here what that does to the service while it waits for one of them: its main
/// thread does nothing else then, so the time is moved instead of waited for. Replaces the one before; an empty
/// function ends it.
void HoldAnswersBack(HoldsBack holdsBack);

} // namespace sim
