#pragma once

#include "recorder/FileFormat.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace recording {

/// A block of a recording's file, as far as it can be read.
struct Block
{
    recorder::BlockHeader header;
    std::vector<std::byte> frames; ///< the stream, no longer compressed
};

/// What a file has.
struct FileContents
{
    std::vector<Block> blocks; ///< in the order of their numbers
    std::size_t damaged = 0;   ///< blocks that are no blocks any more
    bool isCutOff = false;     ///< it ends within a chunk
    bool hasOtherVersion = false;
    std::uint32_t otherVersion = 0;
};

FileContents ReadBlocks(std::span<const std::byte> file);

} // namespace recording
