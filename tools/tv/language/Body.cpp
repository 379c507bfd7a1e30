#include "tv/language/Body.h"

#include <glib.h>

#include <charconv>
#include <cstddef>
#include <string_view>
#include <system_error>

namespace language {

namespace {

/// False when there are so many hexadecimal digits, and they are the number of no character.
bool NamesACharacter(std::string_view digits)
{
    constexpr int kHexadecimal = 16;
    gunichar character = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), character, kHexadecimal);
    const bool isNumber = error == std::errc() && end == digits.data() + digits.size();
    return !isNumber || g_unichar_validate(character) != FALSE;
}

} // namespace

bool IsReadable(const std::string& text)
{
    constexpr std::size_t kDigits = 4;
    constexpr std::size_t kDigitsOfLong = 8;
    const std::string_view view = text;
    // A backslash at the very end begins nothing.
    const std::string_view beginnings = view.substr(0, view.empty() ? 0 : view.size() - 1);
    for (std::size_t escape = beginnings.find('\\'); escape != std::string_view::npos;
         escape = beginnings.find('\\', escape + 2)) {
        const char kind = view[escape + 1];
        const std::size_t digits = kind == 'u' ? kDigits : kind == 'U' ? kDigitsOfLong : 0;
        if (digits != 0 && !NamesACharacter(view.substr(escape + 2, digits))) {
            return false;
        }
    }
    return g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
}

} // namespace language
