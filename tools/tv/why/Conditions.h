#pragma once

#include "tv/why/Evidence.h"

#include <string>
#include <string_view>
#include <vector>

namespace why {

/// A row of a table of docs/behaviour: something that has to hold.
struct Condition
{
    std::string condition;
    std::string function;               ///< where the service looks
    std::vector<std::string> decidedBy; ///< "setting KEY", "platform FUNCTION", ...
    std::string mustBe;
    std::vector<std::string> logs; ///< texts of the log, as they are in the code
    Evidence seenIn;
};

/// In which an outcome can come about: it came when all of these held. They stand in the order in which the service
/// looks, so the first that did not hold is the answer.
struct Way
{
    std::string name;
    std::vector<Condition> conditions; ///< with those that belong to every way
};

struct Outcome
{
    std::string name;
    std::string when; ///< it has come
    std::string page; ///< of docs/behaviour
    Evidence seenIn;
    std::vector<Way> ways;
};

/// The tables of docs/behaviour, as they were when the program was built.
const std::vector<Outcome>& Outcomes();

/// \return null when there is none of this name
const Outcome* OutcomeOf(std::string_view name);
const Way* WayOf(const Outcome& outcome, std::string_view name);

} // namespace why
