#pragma once

#include "orders/Alphabet.h"
#include "orders/Findings.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace orders {

/// How far to look.
struct Extent
{
    std::chrono::milliseconds until{0}; ///< on the clock of support::RealTime; 0 for no end
    std::size_t depth = Order::kLongest;
    int processes = 1;
    bool livesEach = false; ///< goes on from states that were seen already, too
};

/// Tries each event of a subject at each step, the shortest orders first, and prints what it saw.
/// \param root a folder for the set; somebody else removes it
/// \return whether all was as it must be
bool Search(const Subject& subject, const std::string& root, const Extent& extent);

/// Lives one order and prints all that happens.
/// \return whether all was as it must be
bool LiveOne(const Subject& subject, const std::string& root, const Order& order);

} // namespace orders
