#include "people/Json.h"

#include "bus/Handles.h"

#include <glib.h>

#include <array>
#include <cstdio>

namespace people::json {

namespace {

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
    std::string quoted = "\"";
    for (const char* at = valid.get(); *at != '\0'; ++at) {
        const auto byte = static_cast<unsigned char>(*at);
        if (*at == '"' || *at == '\\') {
            quoted += '\\';
            quoted += *at;
        } else if (byte < 0x20 || byte == 0x7f) {
            std::array<char, 8> escaped{};
            std::snprintf(escaped.data(), escaped.size(), "\\u%04x", unsigned{byte});
            quoted += escaped.data();
        } else {
            quoted += *at;
        }
    }
    return quoted + "\"";
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
