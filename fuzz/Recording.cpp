// A recording of the service's life, as a file, and all that is said of it.
//
// An input that begins like a recording is the file. Any other is the stream of one that is whole: a checksum, which
// nobody finds by chance, would keep all others out.

#include "tv/recording/Recording.h"

#include "MemoryFile.h"
#include "Target.h"
#include "recorder/Decoded.h"
#include "recorder/FileFormat.h"
#include "recorder/InWords.h"
#include "recorder/Kind.h"
#include "recorder/Reader.h"
#include "replay/Chain.h"

#include <zconf.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace {

using Contents = std::vector<std::byte>;

Contents Deflated(std::span<const std::byte> stream)
{
    constexpr int kWithoutHeader = -15;
    constexpr int kMemory = 8; // zlib's default
    constexpr std::size_t kEnough = 64;
    z_stream deflation = {};
    fuzz::Expect(deflateInit2(&deflation, 1, Z_DEFLATED, kWithoutHeader, kMemory, Z_DEFAULT_STRATEGY) == Z_OK,
                 "zlib has memory");
    Contents to(deflateBound(&deflation, stream.size()) + kEnough);
    deflation.next_in = reinterpret_cast<const Bytef*>(stream.data());
    deflation.avail_in = static_cast<uInt>(stream.size());
    deflation.next_out = reinterpret_cast<Bytef*>(to.data());
    deflation.avail_out = static_cast<uInt>(to.size());
    fuzz::Expect(deflate(&deflation, Z_SYNC_FLUSH) == Z_OK, "zlib makes it smaller");
    to.resize(to.size() - deflation.avail_out);
    deflateEnd(&deflation);
    return to;
}

/// A file of one block with this stream in it.
Contents FileOf(std::span<const std::byte> stream)
{
    const Contents chunk = Deflated(stream);
    Contents file(recorder::kHeaderSize + recorder::kChunkHeaderSize);
    std::array<std::byte, recorder::kHeaderSize> header = {};
    const std::uint32_t checksum = recorder::WriteHeader({.life = 1, .kept = 2}, header);
    std::ranges::copy(header, file.begin());
    std::byte* at = file.data() + recorder::kHeaderSize;
    recorder::Write32(at, static_cast<std::uint32_t>(chunk.size()));
    recorder::Write32(at + sizeof(std::uint32_t), recorder::ChunkChecksum(checksum, recorder::kHeaderSize, chunk));
    file.insert(file.end(), chunk.begin(), chunk.end());
    return file;
}

/// As many records as can be taken apart, from the begin of the life on: what a replay has.
std::size_t Understood(const std::vector<recording::Record>& records)
{
    std::size_t count = 0;
    try {
        for (; count < records.size(); ++count) {
            const recorder::Decoded decoded = recorder::Decode(records[count]);
            recorder::InWords(decoded);
            if (count == 0 && decoded.kind != recorder::Kind::LifeBegins) {
                break;
            }
        }
    } catch (const recorder::Malformed&) {
        // No record of ours.
    }
    return count;
}

void Say(const recording::Recording& recording)
{
    const std::size_t count = Understood(recording.records);
    for (std::size_t index = 0; count > 0 && index <= count; index += 1 + count / 8) {
        replay::Chain(recording.records, index);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static fuzz::MemoryFile file;
    const auto input = std::as_bytes(std::span(data, size));
    if (recorder::HasMagic(input)) {
        file.Holds(input);
    } else {
        file.Holds(FileOf(input));
    }
    try {
        Say(recording::Read(file.Path()));
    } catch (const recording::Unreadable&) {
        // It is said why.
    }
    return 0;
}
