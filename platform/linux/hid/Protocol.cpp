#include "hid/Protocol.h"

#include "mgmt/Bytes.h"

#include <algorithm>
#include <utility>

namespace hid {

namespace {

constexpr unsigned kVendorPage = 0xFF60;

// Items of a report descriptor, as the public standard for input devices numbers them: kind and tag.
constexpr unsigned kOutputItem = 0x90;
constexpr unsigned kFeatureItem = 0xB0;
constexpr unsigned kUsagePageItem = 0x04;
constexpr unsigned kReportIdItem = 0x84;
constexpr unsigned kPushItem = 0xA4;
constexpr unsigned kPopItem = 0xB4;
constexpr unsigned kLongItem = 0xFE;
constexpr std::size_t kMostPushed = 16;

/// What stays as it is from item to item.
struct Globals
{
    unsigned page = 0;
    unsigned report = 0;
};

unsigned ValueOf(ByteSpan data)
{
    unsigned value = 0;
    for (std::size_t i = data.size(); i-- > 0;) {
        value = value << 8U | data[i];
    }
    return value;
}

} // namespace

std::optional<Identity> IdentityIn(ByteSpan report)
{
    mgmt::Reader reader(report);
    const auto id = reader.Byte();
    const auto protocol = reader.Byte();
    const auto type = reader.Byte();
    const auto low = reader.Word();
    const auto high = reader.Word();
    const auto capabilities = reader.Word();
    // Later protocols keep what is here and add to it.
    if (!capabilities || *id != kIdentity || *protocol == 0) {
        return std::nullopt;
    }
    return Identity{*type, std::uint32_t{*high} << 16U | *low, *capabilities};
}

std::optional<Status> StatusIn(ByteSpan report)
{
    mgmt::Reader reader(report);
    const auto id = reader.Byte();
    const auto battery = reader.Byte();
    reader.Byte(); // how it was charged last
    reader.Byte(); // and what that brought
    const auto grip = reader.Byte();
    if (!grip || *id != kStatus) {
        return std::nullopt;
    }
    return Status{*battery, static_cast<std::int8_t>(*grip)};
}

Abilities AbilitiesIn(ByteSpan descriptor)
{
    Abilities abilities;
    Globals now;
    std::vector<Globals> pushed;
    for (std::size_t at = 0; at < descriptor.size();) {
        const unsigned prefix = descriptor[at];
        if (prefix == kLongItem) {
            at += at + 1 < descriptor.size() ? 3U + descriptor[at + 1] : descriptor.size();
            continue;
        }
        const std::size_t size = (prefix & 3U) == 3 ? 4 : prefix & 3U;
        if (at + 1 + size > descriptor.size()) {
            break;
        }
        const unsigned value = ValueOf(descriptor.subspan(at + 1, size));
        at += 1 + size;
        switch (prefix & 0xFCU) {
        case kUsagePageItem:
            now.page = value;
            break;
        case kReportIdItem:
            now.report = value;
            break;
        case kPushItem:
            if (pushed.size() < kMostPushed) {
                pushed.push_back(now);
            }
            break;
        case kPopItem:
            if (!pushed.empty()) {
                now = pushed.back();
                pushed.pop_back();
            }
            break;
        case kFeatureItem:
            abilities.isRemote |= now.page == kVendorPage && now.report == kIdentity;
            break;
        case kOutputItem:
            abilities.isStand |= now.page == kVendorPage && now.report == kStandCommand;
            break;
        default:
            break;
        }
    }
    return abilities;
}

Bytes DeviceCommand(std::uint8_t deviceType, std::uint8_t command)
{
    return {kDeviceCommand, deviceType, command, 0};
}

Bytes RcCommand(ByteSpan data)
{
    Bytes report(1 + 1 + kMostRcBytes + 1);
    report[0] = kRcCommand;
    report[1] = static_cast<std::uint8_t>(data.size());
    std::ranges::copy(data, report.begin() + 2);
    return report;
}

std::vector<Bytes> DuidChunks(ByteSpan duid)
{
    const std::size_t count = (duid.size() + kChunkBytes - 1) / kChunkBytes;
    std::vector<Bytes> chunks;
    for (std::size_t i = 0; i < count; ++i) {
        const ByteSpan part = duid.subspan(i * kChunkBytes, std::min(kChunkBytes, duid.size() - i * kChunkBytes));
        Bytes report(1 + 1 + 1 + kChunkBytes + 1);
        report[0] = kDuidChunk;
        report[1] = static_cast<std::uint8_t>(i << 4U | count);
        report[2] = static_cast<std::uint8_t>(part.size());
        std::ranges::copy(part, report.begin() + 3);
        chunks.push_back(std::move(report));
    }
    return chunks;
}

Bytes StandCommand(std::uint8_t command, std::uint8_t argument)
{
    return {kStandCommand, command, argument};
}

} // namespace hid
