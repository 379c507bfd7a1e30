#pragma once

#include "recorder/FileFormat.h"

#include <zlib.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace recorder {

/// Puts records into the blocks of a file (FileFormat.h says how) and never beyond its bound. What it needs is taken
/// when it is made: afterwards it allocates nothing, so it can work on in a fork of a process with threads.
///
/// Where writing fails, records are lost, and it goes on with those that come.
class Blocks
{
public:
    /// \param limit bytes that the file may have; at least kLeastLimit
    /// Throws std::bad_alloc.
    explicit Blocks(std::uint64_t limit);
    ~Blocks();
    Blocks(const Blocks&) = delete;
    Blocks& operator=(const Blocks&) = delete;

    static constexpr std::uint64_t kLeastLimit = 16 * kBlockSize;

    /// \param file an empty one, open for writing; stays its owner's
    /// \param life a number that no other life has
    void Begin(int file, std::uint64_t life);

    /// Takes a record, which may lie in two parts; it is in the file after Write, at the latest.
    void Add(std::span<const std::byte> front, std::span<const std::byte> back);
    /// Says that so many records are missing here.
    void AddLost(std::uint32_t count);
    /// True when something was taken that is not in the file.
    [[nodiscard]] bool HasUnwritten() const
    {
        return m_hasUnwritten;
    }
    /// Brings into the file what was taken.
    void Write();

    /// Why the last attempt to write failed, as in errno; 0 when it did not.
    [[nodiscard]] int Failure() const
    {
        return m_failure;
    }

private:
    [[nodiscard]] std::byte* End() const;
    [[nodiscard]] bool Fits(std::size_t size);
    void Compress(std::span<const std::byte> bytes);
    void CompressNumber(std::uint64_t number);
    void Sync();
    void NextBlock(std::uint32_t continues);
    void BeginBlock(std::uint32_t continues);
    bool WriteChunk();
    bool WriteAt(std::size_t from, std::size_t to);
    void Advance();

    z_stream m_stream = {};
    std::array<std::byte, kBlockSize> m_block = {};
    int m_file = -1;
    std::uint64_t m_places;    ///< blocks that the file may have
    std::uint32_t m_kept;      ///< of these, so many keep the beginning
    std::uint64_t m_place = 0; ///< of the block that is being filled
    BlockHeader m_header = {};
    std::uint64_t m_records = 0; ///< taken or lost so far
    std::size_t m_written = 0;   ///< bytes of the block that are in the file
    std::size_t m_unsynced = 0;  ///< bytes that the compression may still hold
    bool m_hasUnwritten = false;
    int m_failure = 0;
};

} // namespace recorder
