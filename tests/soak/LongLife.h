#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace soak {

/// What the process of a long life weighs at some moment of it, the service, the set and the siblings together, and
/// for how long the service has kept its loop waiting so far.
struct Weight
{
    std::size_t events = 0;  ///< lines that were carried out so far; others were refused
    double seconds = 0;      ///< that they took, of real time
    std::size_t memory = 0;  ///< bytes of private anonymous memory
    std::size_t heap = 0;    ///< bytes of the heap in use
    std::size_t sockets = 0; ///< that the service has left open on the set's adapter, one more each time it goes on
    long long stall = 0;     ///< the longest wait of the loop for others, in milliseconds of virtual time
    long long realTurn = 0;  ///< the longest that the service held its loop in one turn, in microseconds of real time
};

/// What came of one long life of the service.
struct LongLifeOutcome
{
    std::vector<std::string> faults; ///< what was wrong, the first few
    long long longestLine = 0;       ///< all that one line took, the bus's rest included, in milliseconds of real time
    std::size_t timers = 0;          ///< of the service that were pending at a time
    int status = 0;                  ///< the service's own
};

/// Has one service live through stories, those of this number and after it, until so many lines were carried out, in
/// this process. It begins each story with everybody well-behaved.
/// \param tells is called with the weight after each twentieth of the events
/// Throws std::runtime_error or std::system_error when there is no bus or no folder.
LongLifeOutcome LiveLong(std::uint64_t number, std::size_t events, const std::function<void(const Weight&)>& tells);

} // namespace soak
