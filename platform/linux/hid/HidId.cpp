#include "hid/HidId.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string>
#include <system_error>
#include <utility>

namespace hid {

namespace {

constexpr unsigned kBluetoothBus = 0x0005;
constexpr std::size_t kPairDigits = 4;

std::optional<unsigned> Hex(std::string_view text)
{
    unsigned value = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value, 16);
    return error == std::errc() && rest == end ? std::optional(value) : std::nullopt;
}

/// What stands before \p separator, or all of it; taken off \p text.
std::string_view TakePart(std::string_view& text, char separator)
{
    const std::size_t at = std::min(text.find(separator), text.size());
    const std::string_view part = text.substr(0, at);
    text.remove_prefix(std::min(at + 1, text.size()));
    return part;
}

} // namespace

std::optional<bluez::Identity> BluetoothIdIn(std::string_view hidId)
{
    const auto bus = Hex(TakePart(hidId, ':'));
    const auto vendor = Hex(TakePart(hidId, ':'));
    const auto product = Hex(hidId);
    if (!bus || *bus != kBluetoothBus || !vendor || !product) {
        return std::nullopt;
    }
    return bluez::Identity{*vendor, *product};
}

std::optional<std::vector<bluez::Identity>> PairsIn(std::string_view text)
{
    std::vector<bluez::Identity> pairs;
    while (!text.empty()) {
        std::string_view pair = TakePart(text, ' ');
        if (pair.empty()) {
            continue;
        }
        const std::string_view vendorText = TakePart(pair, ':');
        const auto vendor = Hex(vendorText);
        const auto product = Hex(pair);
        if (!vendor || !product || vendorText.size() != kPairDigits || pair.size() != kPairDigits) {
            return std::nullopt;
        }
        pairs.push_back({*vendor, *product});
    }
    return pairs.empty() ? std::nullopt : std::optional(std::move(pairs));
}

} // namespace hid
