// The write that was made last, as a writer leaves it in the bell's file: a watcher that lacks just this one tells it
// without opening the log first.
//
// It decides nothing. Which writes there are is what the log says, and the watcher reads that too, a turn of the loop
// later. Where what lies there is not the very write that comes next (another writer was faster, the write is too long,
// an earlier release made it, two wrote at once, somebody else did), the log alone is read.
#pragma once

#include "Change.h"
#include "Value.h"

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace settings {

// Which write: the file that it was made to, and its id there. As long as a file is held open no other one gets its
// inode, also when it was removed.
struct WriteId
{
    dev_t device = 0;
    ino_t inode = 0;
    std::int64_t id = 0;
};

// What a packed write fits into. Longer ones are not left.
using LastWriteBuffer = std::array<char, 512>;

// The part of `buffer` that is used; empty when the write does not fit.
std::string_view PackLastWrite(const WriteId& which, std::int64_t moment, std::string_view key, const Value& value,
                               LastWriteBuffer& buffer);

// The write, when it is whole and this one. `packed` may be anything.
std::optional<Change> UnpackLastWrite(std::string_view packed, const WriteId& which);

} // namespace settings
