#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

/// How records lie in the file of one life.
///
/// The file is a row of blocks of the same size, each of which can be read without the others. The first blocks, an
/// eighth of those that the file may have, keep the beginning of the life; the others are written round and round, so
/// they hold its latest part. The order is told by the blocks' numbers, not by their places.
///
/// A block is a header and, behind it, chunks: the length of what follows, its checksum, and so many bytes of one
/// stream that is compressed with deflate, without its own header. A chunk is only ever added behind the last one, in
/// one write; so a power cut costs the chunk that was being written, never one that was there. The checksum begins with
/// that of the header: what an earlier round left behind in the block is no chunk of this one.
///
/// The stream is frames: an unsigned number (as in a record), and the bytes of a record. The number is twice the count
/// of bytes, plus 1 where the record goes on in the next frame, be it in the next block. A frame of no bytes that goes
/// on says that records were lost here: the unsigned number behind it tells how many.
///
/// Numbers of a fixed size have their lowest byte first.
namespace recorder {

constexpr std::size_t kBlockSize = 16'384;
constexpr std::size_t kHeaderSize = 64;
constexpr std::size_t kChunkHeaderSize = 8; ///< 4 bytes length, 4 bytes checksum
constexpr std::array<char, 8> kMagic = {'V', 'Y', 'R', 'E', 'C', '\r', '\n', '\x1A'};
constexpr std::uint32_t kFileVersion = 1;

/// What is left of a block when nothing more is put into it.
constexpr std::size_t kLeastChunk = 64;

/// The largest piece of a record that fits into an empty block, also where nothing can be made shorter.
constexpr std::size_t kLargestPiece = 16'000;

/// The beginning of a block: magic, version, checksum of what follows, and the fields in this order.
struct BlockHeader
{
    std::uint64_t life = 0;      ///< the same in all blocks of a file
    std::uint64_t number = 0;    ///< of the block, from 0 on
    std::uint64_t first = 0;     ///< the number of the record, from 0 on, that its first frame is of
    std::uint32_t kept = 0;      ///< how many blocks keep the beginning
    std::uint32_t continues = 0; ///< how many pieces of that record lie in the blocks before
    std::uint32_t checksum = 0;  ///< as it was read or written
    std::uint32_t version = kFileVersion;
};

using HeaderBytes = std::span<std::byte, kHeaderSize>;

/// \return the checksum, which chunks begin theirs with
std::uint32_t WriteHeader(const BlockHeader& header, HeaderBytes bytes);

/// \return nothing where there is no header, or a damaged one; of another version only that is told
std::optional<BlockHeader> ReadHeader(std::span<const std::byte, kHeaderSize> bytes);

/// Whether a file that begins so is a recording, of whatever version.
bool HasMagic(std::span<const std::byte> bytes);

/// Of the chunk at this place of its block.
std::uint32_t ChunkChecksum(std::uint32_t ofHeader, std::size_t place, std::span<const std::byte> contents);

void Write32(std::byte* to, std::uint32_t value);
std::uint32_t Read32(const std::byte* from);

} // namespace recorder
