#include "people/Json.h"

#include "bus/Handles.h"

#include <glib.h>

#include <array>
#include <cstdio>

namespace people::json {

namespace {

/// What stands in no text as it is: the quote, the backslash and the control characters.
constexpr std::string_view kEscaped = "\"\\\x01\x02\x03\x04\x05\x06\x07\b\t\n\v\f\r\x0e\x0f\x10\x11\x12\x13\x14\x15"
                                      "\x16\x17\x18\x19\x1a\x1b\x1c\x1d\x1e\x1f\x7f";

/// Begins, then what the members are, with a comma between them, then the end.
template <typename Members, typename Say>
std::string List(char begin, const Members& members, char end, Say say)
{
    std::string text(1, begin);
    for (const auto& member : members) {
        text += text.size() > 1 ? "," : "";
        text += say(member);
    }
    return text + end;
}

} // namespace

std::string Text(std::string_view text)
{
    const bus::TextPtr valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    std::string_view rest = valid.get();
    std::string quoted = "\"";
    // Whole stretches at a time: the television tells everything that it knows after each line.
    for (std::size_t end = 0; (end = rest.find_first_of(kEscaped)) != std::string_view::npos;
         rest.remove_prefix(end + 1)) {
        quoted.append(rest, 0, end);
        const char escaped = rest[end];
        if (escaped == '"' || escaped == '\\') {
            quoted += '\\';
            quoted += escaped;
        } else {
            std::array<char, 8> code{};
            std::snprintf(code.data(), code.size(), "\\u%04x", unsigned{static_cast<unsigned char>(escaped)});
            quoted += code.data();
        }
    }
    quoted += rest;
    quoted += '"';
    return quoted;
}

std::string TextOrNull(std::string_view text)
{
    return text.empty() ? kNull : Text(text);
}

std::string Bool(bool value)
{
    return value ? "true" : "false";
}

std::string Array(const std::vector<std::string>& values)
{
    return List('[', values, ']', [](const std::string& value) { return value; });
}

std::string Object(const std::vector<std::pair<const char*, std::string>>& members)
{
    return List('{', members, '}', [](const auto& member) { return Text(member.first) + ":" + member.second; });
}

} // namespace people::json
