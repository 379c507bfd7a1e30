#include "bluez/Modalias.h"

#include <charconv>
#include <cstddef>
#include <system_error>

namespace bluez {

namespace {

constexpr std::size_t kDigits = 4;

/// Four hexadecimal digits after \p mark at the front of \p text, which are taken off.
std::optional<unsigned> TakeId(std::string_view& text, char mark)
{
    if (text.size() < 1 + kDigits || text.front() != mark) {
        return std::nullopt;
    }
    const char* end = text.data() + 1 + kDigits;
    unsigned id = 0;
    const auto [rest, error] = std::from_chars(text.data() + 1, end, id, 16);
    if (error != std::errc() || rest != end) {
        return std::nullopt;
    }
    text.remove_prefix(1 + kDigits);
    return id;
}

} // namespace

std::optional<Identity> IdentityIn(std::string_view modalias)
{
    const std::size_t colon = modalias.find(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    std::string_view rest = modalias.substr(colon + 1);
    const auto vendor = TakeId(rest, 'v');
    const auto product = TakeId(rest, 'p');
    return vendor && product ? std::optional(Identity{*vendor, *product, TakeId(rest, 'd').value_or(0)}) : std::nullopt;
}

} // namespace bluez
