#include "tv/run/Run.h"
#include "tv/timeline/Formats.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace timeline {

namespace {

// The file format of pcap: a header, then each packet after a header of its own; little-endian here.
constexpr std::uint32_t kMagic = 0xA1B2C3D4; // times in microseconds
constexpr std::uint16_t kMajor = 2;
constexpr std::uint16_t kMinor = 4;
constexpr std::uint32_t kLongest = 128U * 1024 * 1024; // of a message of D-Bus
constexpr std::uint32_t kLinkType = 231;               // LINKTYPE_DBUS: each packet is one message
constexpr std::int64_t kSecond = 1'000'000;

void Add16(std::string& bytes, std::uint16_t number)
{
    bytes += static_cast<char>(number & 0xFFU);
    bytes += static_cast<char>(number >> 8U);
}

void Add32(std::string& bytes, std::uint32_t number)
{
    Add16(bytes, static_cast<std::uint16_t>(number & 0xFFFFU));
    Add16(bytes, static_cast<std::uint16_t>(number >> 16U));
}

} // namespace

std::string Packets(const run::Run& run)
{
    if (run.messages.empty()) {
        throw std::runtime_error("this run kept no messages of the bus, so there is nothing to make a capture of");
    }
    std::string bytes;
    Add32(bytes, kMagic);
    Add16(bytes, kMajor);
    Add16(bytes, kMinor);
    Add32(bytes, 0); // the times are in the zone of the run's begin
    Add32(bytes, 0); // no statement about their accuracy
    Add32(bytes, kLongest);
    Add32(bytes, kLinkType);
    for (const run::Message& message : run.messages) {
        const auto size = static_cast<std::uint32_t>(message.bytes.size());
        Add32(bytes, static_cast<std::uint32_t>(message.at / kSecond));
        Add32(bytes, static_cast<std::uint32_t>(message.at % kSecond));
        Add32(bytes, size);
        Add32(bytes, size);
        bytes += message.bytes;
    }
    return bytes;
}

} // namespace timeline
