#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace why {

/// A kind of entry, and what its text looks like: "*" stands for any characters, "?" for one. A line of the log is
/// compared without the place that it comes from.
struct Pattern
{
    std::string kind;
    std::string text;
};

/// One thing that the tape may show.
struct Sight
{
    enum class Sense
    {
        Came,       ///< among what came of the attempt
        DidNotCome, ///< not among what came of the attempt
        NotSince,   ///< nowhere after the attempt got so far
        Never       ///< nowhere before the attempt
    };
    Sense sense = Sense::Came;
    Pattern pattern;
    std::vector<Pattern> before; ///< it came before this one did, or this one did not come; at most one
    std::vector<Pattern> since;  ///< of Never: what came before the last of these does not count
};

/// What shows that a condition held: of each element one alternative. Empty where the tape does not show it.
using Evidence = std::vector<std::vector<Sight>>;

/// Reads a cell of the column "seen in". Throws std::invalid_argument, with what is wrong, for one that nobody
/// understands.
Evidence ParseEvidence(std::string_view cell);

bool IsLike(std::string_view text, std::string_view pattern);

} // namespace why
