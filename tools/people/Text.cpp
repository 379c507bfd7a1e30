#include "people/Text.h"

#include "bus/Handles.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <utility>

namespace people {

namespace {

constexpr gunichar kReplacement = 0xFFFD;

bool IsHarmless(gunichar character)
{
    switch (g_unichar_type(character)) {
    case G_UNICODE_CONTROL:
    case G_UNICODE_FORMAT: // turns the direction of writing, hides letters
    case G_UNICODE_SURROGATE:
    case G_UNICODE_LINE_SEPARATOR:
    case G_UNICODE_PARAGRAPH_SEPARATOR:
        return false;
    default:
        return true;
    }
}

void Append(std::string& text, gunichar character)
{
    std::array<char, 6> bytes{};
    text.append(bytes.data(), static_cast<std::size_t>(g_unichar_to_utf8(character, bytes.data())));
}

std::size_t WidthOf(gunichar character)
{
    if (g_unichar_iszerowidth(character) != FALSE) {
        return 0;
    }
    return g_unichar_iswide(character) != FALSE ? 2 : 1;
}

/// Calls \p told with each character.
template <typename Told>
void ForEachCharacter(const std::string& text, Told told)
{
    for (const char* at = text.c_str(); *at != '\0'; at += g_utf8_skip[static_cast<guchar>(*at)]) {
        told(g_utf8_get_char(at));
    }
}

} // namespace

std::string Printable(std::string_view text)
{
    const bus::TextPtr valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    std::string printable;
    ForEachCharacter(valid.get(),
                     [&](gunichar character) { Append(printable, IsHarmless(character) ? character : kReplacement); });
    return printable;
}

std::size_t WidthOf(std::string_view text)
{
    std::size_t width = 0;
    ForEachCharacter(std::string(text), [&](gunichar character) { width += WidthOf(character); });
    return width;
}

std::string Clipped(const std::string& text, std::size_t columns)
{
    if (WidthOf(text) <= columns) {
        return text;
    }
    std::string clipped;
    std::size_t width = 1; // the ellipsis
    bool isFull = false;
    ForEachCharacter(text, [&](gunichar character) {
        isFull = isFull || width + WidthOf(character) > columns;
        if (!isFull) {
            width += WidthOf(character);
            Append(clipped, character);
        }
    });
    return clipped + "…";
}

std::string Ago(long long seconds)
{
    constexpr std::array<std::pair<long long, const char*>, 3> kUnits = {{{86400, " d"}, {3600, " h"}, {60, " min"}}};
    const auto unit = std::ranges::find_if(kUnits, [&](const auto& one) { return seconds >= 2 * one.first; });
    return unit != kUnits.end() ? std::to_string(seconds / unit->first) + unit->second
                                : std::to_string(std::max(seconds, 0LL)) + " s";
}

} // namespace people
