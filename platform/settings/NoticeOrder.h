// The order in which the writes to the two files are told.
//
// Within a file it is that of the commits. Between the files it is that of the moments at which the writes began: a
// process begins a write after the one before is committed, so its writes are told in its order.
#pragma once

#include "Change.h"
#include "Database.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace settings {

inline constexpr std::size_t kSides = 2; // 0: the persistent file, 1: the one in RAM

// What is known of the log of one file.
struct Backlog
{
    std::deque<Change> untold; // read and not yet told, in the order of the commits

    // Writes committed after this moment (that of the last look, see Moment()) may be in the file and not in `untold`.
    // None when there are none, or when they are not to be waited for.
    std::optional<std::int64_t> unreadSince;
};

// Takes the write to be told next off its file's `untold`. None when all is told, or when a write to the other file
// that is still to be read may have begun before.
std::optional<Change> TakeNext(std::array<Backlog, kSides>& files);

} // namespace settings
