#pragma once

#include "failures/Ways.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace failures {

/// One life of the service: what is said to the set before it starts, and while it runs. Lines of the language of the
/// television on the desk.
struct Life
{
    std::vector<std::string> before;
    std::vector<std::string> lines;
};

/// What the service asks for, one thing of which fails.
enum class Asked
{
    Calls, ///< of the platform, the settings and the bus
    Memory ///< by `new`
};

/// What fails in a life: which of the things that the service asks for, and in which of its ways.
struct Choice
{
    Asked asked = Asked::Calls;
    int point = 0; ///< from 1; 0 for nothing
    int way = 0;   ///< from 0; behind the last begins the first
    Width width = Width::Usual;
    bool tells = false; ///< all that happens goes to the standard output
};

inline constexpr std::size_t kMostLines = 64;
inline constexpr std::size_t kMostTimers = 32;

/// What is known of a life when it has ended, also when it ended badly: it lies in memory that two processes share, so
/// it is made of plain numbers and texts of bounded length.
struct Account
{
    int points = 0;                                  ///< that came by
    int ways = 0;                                    ///< of the one that failed; 0 when none did
    std::array<char, 128> failed{};                  ///< its name
    std::array<char, 64> how{};                      ///< it failed
    std::array<int, kMostLines> blocked{};           ///< milliseconds for which the loop stood still, line by line
    std::array<unsigned long, kMostTimers> timers{}; ///< functions of timers of which more than one is pending
    int descriptors = 0;                             ///< that are open in the process after the service's end
    bool completed = false;                          ///< the life was lived to its end
    std::array<char, 4096> wrong{};                  ///< what was wrong, a line for each; empty when nothing was
};

/// Reads what all lives need, for who is about to live many in forks.
void PrepareLives();

/// Lives a life, in this process, which has no other thread and had no television before.
/// \param untouched what came of it when nothing failed: what others are held to; null for that life itself
/// \return the exit status: 0 when all was as it must be
int Live(const Life& life, const std::string& root, const Choice& choice, const Account* untouched, Account& account);

} // namespace failures
