#include "bluez/Address.h"

#include <glib.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>

namespace bluez {

namespace {

constexpr std::size_t kLength = 17;
constexpr std::size_t kField = 3; // two digits and a colon

} // namespace

bool IsAddress(std::string_view text)
{
    if (text.size() != kLength) {
        return false;
    }
    for (std::size_t i = 0; i < kLength; ++i) {
        if (i % kField == 2 ? text[i] != ':' : !g_ascii_isxdigit(text[i])) {
            return false;
        }
    }
    return true;
}

std::string Normalised(std::string_view address)
{
    std::string text(address);
    std::ranges::transform(text, text.begin(), g_ascii_toupper);
    return text;
}

std::string AddressText(const AddressBytes& bytes)
{
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    text.reserve(kLength);
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) {
        if (!text.empty()) {
            text += ':';
        }
        text += kDigits[*byte >> 4U];
        text += kDigits[*byte & 0xFU];
    }
    return text;
}

AddressBytes BytesOf(std::string_view text)
{
    AddressBytes bytes{};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto high = static_cast<unsigned>(g_ascii_xdigit_value(text[i * kField]));
        const auto low = static_cast<unsigned>(g_ascii_xdigit_value(text[i * kField + 1]));
        bytes.at(bytes.size() - 1 - i) = static_cast<std::uint8_t>(high << 4U | low);
    }
    return bytes;
}

std::string AddressInPath(std::string_view path)
{
    constexpr std::string_view kPrefix = "/dev_";
    const std::size_t at = path.find(kPrefix);
    if (at == std::string_view::npos) {
        return "";
    }
    std::string text(path.substr(at + kPrefix.size(), kLength));
    std::ranges::replace(text, '_', ':');
    return IsAddress(text) ? Normalised(text) : "";
}

} // namespace bluez
