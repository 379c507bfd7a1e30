#pragma once

#include "tv/why/Conditions.h"
#include "tv/why/History.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace why {

/// How far a way got the last time that it was tried since the service was started.
struct Judgement
{
    enum class State
    {
        Came,
        Failed,     ///< a condition did not hold
        NeverTried, ///< what begins it has not happened
        Unexplained ///< all conditions held, and yet it did not come: the table says too little
    };

    const Way* way = nullptr;
    State state = State::NeverTried;
    const Condition* condition = nullptr;   ///< the first that did not hold
    std::size_t held = 0;                   ///< so many conditions held before it
    std::optional<std::size_t> tried = {};  ///< the place of what began it
    std::optional<std::size_t> looked = {}; ///< of where the service looked at the condition
    std::optional<std::size_t> came = {};   ///< of the outcome; also where it was undone since
};

/// Of the last time, one for each way in the order of the table.
std::vector<Judgement> Judge(const History& history, const Outcome& outcome);
Judgement Judge(const History& history, const Outcome& outcome, const Way& way);

/// An outcome that came of the try although a condition did not hold, and that no way explains: then the table says
/// something that the service does not do.
std::optional<std::size_t> CameAllTheSame(const History& history, const Outcome& outcome, const Judgement& judgement);

/// The last time from \p begin on that the way was tried and the outcome came.
std::optional<Judgement> LastThatCame(const History& history, const Outcome& outcome, const Way& way,
                                      std::size_t begin);

} // namespace why
