#pragma once

#include "tv/why/History.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace why {

/// A question that cannot be answered; its text says why, and what to ask instead.
class Unanswerable : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Answers are lines for people, each with its line end. A number in brackets is the id of an entry.

/// Why something happened: its causes, the first one first, and what was asked for on the way.
/// \param what the id of an entry, or a part of its text or words, of which the last counts; empty for the last that
/// the service did. Throws Unanswerable.
std::string Why(const History& history, std::string_view what);

/// Why an outcome did not come about: the first condition that did not hold, who had set it so; or when it did come.
/// \param way one of the outcome's; empty for all, the one that got farthest first. Throws Unanswerable.
std::string WhyNot(const History& history, std::string_view outcome, std::string_view way = {});

/// Whether a way of an outcome went as expected the last time that it was tried.
/// \param condition the first that should not have held; empty when the outcome should have come
/// \return empty when it did; otherwise what was otherwise. Throws Unanswerable for a name that is unknown
std::string Objection(const History& history, std::string_view outcome, std::string_view way,
                      std::string_view condition);

} // namespace why
