#include "recorder/FileFormat.h"

#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>

namespace recorder {

namespace {

constexpr std::size_t kVersionAt = kMagic.size();
constexpr std::size_t kChecksumAt = kVersionAt + 4;
constexpr std::size_t kFieldsAt = kChecksumAt + 4;
constexpr unsigned int kBitsOfByte = 8;

template <typename Number>
void WriteNumber(std::byte* to, Number value)
{
    for (std::size_t i = 0; i < sizeof value; ++i) {
        to[i] = static_cast<std::byte>(value >> (i * kBitsOfByte));
    }
}

template <typename Number>
Number ReadNumber(const std::byte* from)
{
    Number value = 0;
    for (std::size_t i = 0; i < sizeof value; ++i) {
        value |= static_cast<Number>(static_cast<Number>(from[i]) << (i * kBitsOfByte));
    }
    return value;
}

std::uint32_t Checksum(std::uint32_t begin, std::span<const std::byte> bytes)
{
    return static_cast<std::uint32_t>(
        ::crc32(begin, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

} // namespace

void Write32(std::byte* to, std::uint32_t value)
{
    WriteNumber(to, value);
}

std::uint32_t Read32(const std::byte* from)
{
    return ReadNumber<std::uint32_t>(from);
}

std::uint32_t WriteHeader(const BlockHeader& header, HeaderBytes bytes)
{
    std::ranges::fill(bytes, std::byte{0});
    std::memcpy(bytes.data(), kMagic.data(), kMagic.size());
    WriteNumber(bytes.data() + kVersionAt, header.version);
    std::byte* field = bytes.data() + kFieldsAt;
    for (const std::uint64_t number : {header.life, header.number, header.first}) {
        WriteNumber(field, number);
        field += sizeof number;
    }
    WriteNumber(field, header.kept);
    WriteNumber(field + sizeof header.kept, header.continues);
    const std::uint32_t checksum = Checksum(header.version, bytes.subspan<kFieldsAt>());
    WriteNumber(bytes.data() + kChecksumAt, checksum);
    return checksum;
}

bool HasMagic(std::span<const std::byte> bytes)
{
    return bytes.size() >= kMagic.size() && std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) == 0;
}

std::optional<BlockHeader> ReadHeader(std::span<const std::byte, kHeaderSize> bytes)
{
    if (!HasMagic(bytes)) {
        return std::nullopt;
    }
    BlockHeader header;
    header.version = Read32(bytes.data() + kVersionAt);
    if (header.version != kFileVersion) {
        return header;
    }
    header.checksum = Read32(bytes.data() + kChecksumAt);
    if (header.checksum != Checksum(header.version, bytes.subspan<kFieldsAt>())) {
        return std::nullopt;
    }
    const std::byte* field = bytes.data() + kFieldsAt;
    for (std::uint64_t* number : {&header.life, &header.number, &header.first}) {
        *number = ReadNumber<std::uint64_t>(field);
        field += sizeof *number;
    }
    header.kept = Read32(field);
    header.continues = Read32(field + sizeof header.kept);
    return header;
}

std::uint32_t ChunkChecksum(std::uint32_t ofHeader, std::size_t place, std::span<const std::byte> contents)
{
    std::array<std::byte, 8> before = {};
    Write32(before.data(), static_cast<std::uint32_t>(place));
    Write32(before.data() + 4, static_cast<std::uint32_t>(contents.size()));
    return Checksum(Checksum(ofHeader, before), contents);
}

} // namespace recorder
