// What the platform and a remote of its own say to each other: docs/remote-protocol.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace hid {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<const std::uint8_t>;

/// The first byte of each report.
enum Report : std::uint8_t
{
    kBattery = 0x20,
    kCharging = 0x21,
    kGripped = 0x22,
    kGripState = 0x23,
    kAcknowledgement = 0x24,
    kDeviceCommand = 0x30,
    kRcCommand = 0x31,
    kDuidChunk = 0x32,
    kStandCommand = 0x33,
    kIdentity = 0x40,
    kStatus = 0x41,
};

inline constexpr std::uint8_t kFirstOwnInput = 0x20;
inline constexpr std::uint8_t kLastOwnInput = 0x2F;

/// How a remote answers a report that it was sent; any other value is as good as a refusal.
enum AckResult : std::uint8_t
{
    kDone = 0,
    kBusy = 1,
    kRefused = 2,
};

inline constexpr std::size_t kMostRcBytes = 17;
inline constexpr std::size_t kChunkBytes = 16;
inline constexpr std::size_t kMostChunks = 15;

inline constexpr std::uint16_t kHasGripSensor = 1U << 2U;

// With the report's id in front, as they are asked for.
inline constexpr std::size_t kIdentitySize = 13;
inline constexpr std::size_t kStatusSize = 9;

struct Identity
{
    std::uint8_t deviceType = 0;
    std::uint32_t firmware = 0;
    std::uint16_t capabilities = 0;
};

struct Status
{
    std::uint8_t battery = 0;
    int grip = 0; ///< -1, 0 or 1
};

/// \param report with its id in front; nothing when it is too short, another one, or of no known protocol
std::optional<Identity> IdentityIn(ByteSpan report);
std::optional<Status> StatusIn(ByteSpan report);

/// What a device says it can be told, in its report descriptor.
struct Abilities
{
    bool isRemote = false; ///< has the identity report, and with it the whole protocol
    bool isStand = false;  ///< takes the stand's commands
};
Abilities AbilitiesIn(ByteSpan descriptor);

// Reports to a remote, whole. The last byte of the first three is for the sequence number.
Bytes DeviceCommand(std::uint8_t deviceType, std::uint8_t command);
/// \param data 1 to kMostRcBytes
Bytes RcCommand(ByteSpan data);
/// \param duid 1 to kMostChunks * kChunkBytes
std::vector<Bytes> DuidChunks(ByteSpan duid);
Bytes StandCommand(std::uint8_t command, std::uint8_t argument);

} // namespace hid
