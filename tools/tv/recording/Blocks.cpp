#include "tv/recording/Blocks.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

namespace recording {

namespace {

using recorder::BlockHeader;
using Bytes = std::span<const std::byte>;

/// Takes one compressed stream apart, chunk by chunk.
class Inflation
{
public:
    Inflation()
    {
        constexpr int kWithoutHeader = -15;
        m_isReady = ::inflateInit2(&m_stream, kWithoutHeader) == Z_OK;
    }
    ~Inflation()
    {
        ::inflateEnd(&m_stream);
    }
    Inflation(const Inflation&) = delete;
    Inflation& operator=(const Inflation&) = delete;

    /// Adds to \p to what the chunk says. \return whether all of it was understood
    bool Take(Bytes chunk, std::vector<std::byte>& to)
    {
        m_stream.next_in = reinterpret_cast<const Bytef*>(chunk.data());
        m_stream.avail_in = static_cast<uInt>(chunk.size());
        std::array<std::byte, 16384> piece = {};
        int result = m_isReady ? Z_OK : Z_MEM_ERROR;
        while (result == Z_OK && (m_stream.avail_in > 0 || m_stream.avail_out == 0)) {
            m_stream.next_out = reinterpret_cast<Bytef*>(piece.data());
            m_stream.avail_out = static_cast<uInt>(piece.size());
            result = ::inflate(&m_stream, Z_SYNC_FLUSH);
            to.insert(to.end(), piece.begin(), piece.end() - static_cast<std::ptrdiff_t>(m_stream.avail_out));
        }
        m_stream.avail_out = 1; // for the next chunk: nothing is held back
        return result == Z_OK || result == Z_BUF_ERROR;
    }

private:
    z_stream m_stream = {};
    bool m_isReady = false;
};

/// \return how many bytes of the block were chunks
std::size_t ReadChunks(const BlockHeader& header, Bytes block, std::vector<std::byte>& frames)
{
    Inflation inflation;
    std::size_t place = recorder::kHeaderSize;
    while (block.size() - place >= recorder::kChunkHeaderSize) {
        const std::uint32_t length = recorder::Read32(block.data() + place);
        const std::uint32_t checksum = recorder::Read32(block.data() + place + sizeof length);
        const std::size_t begin = place + recorder::kChunkHeaderSize;
        if (length == 0 || length > block.size() - begin) {
            break;
        }
        const Bytes contents = block.subspan(begin, length);
        if (checksum != recorder::ChunkChecksum(header.checksum, place, contents) ||
            !inflation.Take(contents, frames)) {
            break;
        }
        place = begin + length;
    }
    return place;
}

bool IsZeros(Bytes bytes)
{
    return std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0}; });
}

} // namespace

FileContents ReadBlocks(Bytes file)
{
    FileContents contents;
    std::map<std::uint64_t, Block> blocks;
    std::optional<std::uint64_t> life;
    while (!file.empty()) {
        const Bytes block = file.first(std::min(file.size(), recorder::kBlockSize));
        file = file.subspan(block.size());
        std::optional<BlockHeader> header;
        if (block.size() >= recorder::kHeaderSize) {
            header = recorder::ReadHeader(block.first<recorder::kHeaderSize>());
        }
        if (header && header->version != recorder::kFileVersion) {
            contents.hasOtherVersion = true;
            contents.otherVersion = header->version;
        } else if (header && life.value_or(header->life) == header->life) {
            life = header->life;
            Block& read = blocks[header->number];
            read.header = *header;
            // The file ends behind what was written last, as long as it grows.
            contents.isCutOff =
                ReadChunks(*header, block, read.frames) < block.size() && block.size() < recorder::kBlockSize;
        } else if (!IsZeros(block)) { // one of zeros was never written
            ++contents.damaged;
        }
    }
    for (auto& [number, block] : blocks) {
        contents.blocks.push_back(std::move(block));
    }
    return contents;
}

} // namespace recording
