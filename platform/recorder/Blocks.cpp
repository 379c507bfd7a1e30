#include "recorder/Blocks.h"

#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace recorder {

namespace {

constexpr int kWithoutHeader = -15;    // of the stream; the window of 32 KiB
constexpr int kUsualMemory = 8;        // as zlib names it
constexpr int kFast = 2;               // of its levels from 1 to 9: a slower one makes little less of so short texts
constexpr std::uint64_t kPartKept = 8; // an eighth

/// The most bytes that so many become, with what ends them.
constexpr std::size_t Compressed(std::size_t size)
{
    constexpr std::size_t kEnd = 32;
    constexpr unsigned int kStoredPieces = 10; // each needs five bytes, and is 16 KiB or, in small memory, less
    return size + (size >> kStoredPieces) * 5 + kEnd;
}

static_assert(kHeaderSize + kChunkHeaderSize + Compressed(kLargestPiece + 10) <= kBlockSize);

std::size_t LengthOf(std::uint64_t number)
{
    std::size_t length = 1;
    while ((number >>= 7U) != 0) {
        ++length;
    }
    return length;
}

} // namespace

Blocks::Blocks(std::uint64_t limit)
    : m_places(std::max(limit, kLeastLimit) / kBlockSize),
      m_kept(static_cast<std::uint32_t>(m_places / kPartKept))
{
    if (::deflateInit2(&m_stream, kFast, Z_DEFLATED, kWithoutHeader, kUsualMemory, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
}

Blocks::~Blocks()
{
    ::deflateEnd(&m_stream);
}

void Blocks::Begin(int file, std::uint64_t life)
{
    m_file = file;
    m_header = {.life = life, .kept = m_kept};
    BeginBlock(0);
}

/// Where the next bytes of the stream go.
std::byte* Blocks::End() const
{
    return reinterpret_cast<std::byte*>(m_stream.next_out);
}

void Blocks::BeginBlock(std::uint32_t continues)
{
    m_header.first = m_records;
    m_header.continues = continues;
    m_header.checksum = WriteHeader(m_header, HeaderBytes(m_block.data(), kHeaderSize));
    ::deflateReset(&m_stream);
    m_stream.next_out = reinterpret_cast<Bytef*>(m_block.data() + kHeaderSize + kChunkHeaderSize);
    m_written = 0;
    m_unsynced = 0;
    m_hasUnwritten = false;
}

bool Blocks::Fits(std::size_t size)
{
    const auto room = [this] { return static_cast<std::size_t>(m_block.data() + m_block.size() - End()); };
    if (Compressed(m_unsynced + size) <= room()) {
        return true;
    }
    if (m_unsynced == 0) {
        return false;
    }
    Sync(); // what was taken is shorter than feared
    return Compressed(size) <= room();
}

void Blocks::Compress(std::span<const std::byte> bytes)
{
    m_stream.next_in = reinterpret_cast<const Bytef*>(bytes.data());
    m_stream.avail_in = static_cast<uInt>(bytes.size());
    m_stream.avail_out = static_cast<uInt>(m_block.data() + m_block.size() - End());
    ::deflate(&m_stream, Z_NO_FLUSH);
    m_unsynced += bytes.size();
    m_hasUnwritten = true;
}

void Blocks::CompressNumber(std::uint64_t number)
{
    std::array<std::byte, 10> bytes = {};
    std::size_t length = 0;
    for (; number > 0x7F; number >>= 7U) {
        bytes[length++] = static_cast<std::byte>(number | 0x80U);
    }
    bytes[length++] = static_cast<std::byte>(number);
    Compress(std::span(bytes).first(length));
}

void Blocks::Sync()
{
    if (m_unsynced == 0) {
        return;
    }
    m_stream.avail_in = 0;
    m_stream.avail_out = static_cast<uInt>(m_block.data() + m_block.size() - End());
    ::deflate(&m_stream, Z_SYNC_FLUSH);
    m_unsynced = 0;
}

void Blocks::Add(std::span<const std::byte> front, std::span<const std::byte> back)
{
    std::size_t left = front.size() + back.size();
    std::uint32_t pieces = 0;
    do {
        const std::size_t size = std::min(left, kLargestPiece);
        left -= size;
        const std::uint64_t number = size * 2 + (left > 0 ? 1 : 0);
        if (!Fits(LengthOf(number) + size)) {
            NextBlock(pieces);
        }
        CompressNumber(number);
        const std::size_t ofFront = std::min(size, front.size());
        Compress(front.first(ofFront));
        Compress(back.first(size - ofFront));
        front = front.subspan(ofFront);
        back = back.subspan(size - ofFront);
        ++pieces;
    } while (left > 0);
    ++m_records;
}

void Blocks::AddLost(std::uint32_t count)
{
    constexpr std::uint64_t kLostFollows = 1;
    if (!Fits(LengthOf(kLostFollows) + LengthOf(count))) {
        NextBlock(0);
    }
    CompressNumber(kLostFollows);
    CompressNumber(count);
    m_records += count;
}

void Blocks::NextBlock(std::uint32_t continues)
{
    WriteChunk(); // where it cannot, the reader misses what was in it by the number of the next block's first record
    Advance();
    BeginBlock(continues);
}

void Blocks::Advance()
{
    ++m_header.number;
    ++m_place;
    if (m_place >= m_places) {
        m_place = m_kept;
    }
}

void Blocks::Write()
{
    if (!WriteChunk()) {
        return;
    }
    const auto room = static_cast<std::size_t>(m_block.data() + m_block.size() - End());
    if (room < kChunkHeaderSize + kLeastChunk) {
        Advance();
        BeginBlock(0);
        return;
    }
    m_stream.next_out += kChunkHeaderSize;
}

/// Writes what the block has beyond what is in the file. The caller begins the next chunk or block.
bool Blocks::WriteChunk()
{
    if (!m_hasUnwritten) {
        return false;
    }
    Sync();
    const std::size_t place = std::max(m_written, kHeaderSize);
    std::byte* chunk = m_block.data() + place;
    const std::span<const std::byte> contents(chunk + kChunkHeaderSize, End());
    Write32(chunk, static_cast<std::uint32_t>(contents.size()));
    Write32(chunk + 4, ChunkChecksum(m_header.checksum, place, contents));
    const std::size_t end = place + kChunkHeaderSize + contents.size();
    if (!WriteAt(m_written, end)) {
        return false;
    }
    m_written = end;
    m_hasUnwritten = false;
    return true;
}

bool Blocks::WriteAt(std::size_t from, std::size_t to)
{
    while (from < to) {
        const auto at = static_cast<off_t>(m_place * kBlockSize + from);
        const ssize_t written = ::pwrite(m_file, m_block.data() + from, to - from, at);
        if (written > 0) {
            from += static_cast<std::size_t>(written);
        } else if (written == 0 || errno != EINTR) {
            m_failure = written == 0 ? EIO : errno;
            if (m_failure == ENOSPC && m_written == 0 && from == 0 && m_place > m_kept + 1) {
                m_places = m_place; // the disk is full: the file stays as large as it is, and goes round in itself
                m_place = m_kept;
                continue;
            }
            return false;
        }
    }
    m_failure = 0;
    return true;
}

} // namespace recorder
