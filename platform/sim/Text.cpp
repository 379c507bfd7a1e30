#include "sim/Text.h"

#include <glib.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <variant>

namespace sim {

bool IsAddress(const char* text)
{
    constexpr std::string_view kShape = "hh:hh:hh:hh:hh:hh";
    return text != nullptr && std::ranges::equal(std::string_view(text), kShape, [](char character, char shape) {
               return shape == 'h' ? g_ascii_isxdigit(character) != 0 : character == shape;
           });
}

bool IsAdapterName(const char* text)
{
    constexpr std::size_t kLongest = 248;
    return text != nullptr && std::string_view(text).size() <= kLongest && g_utf8_validate(text, -1, nullptr) != FALSE;
}

namespace {

std::string Hex(unsigned char byte)
{
    std::array<char, 4> text = {};
    std::snprintf(text.data(), text.size(), "%02x", byte);
    return text.data();
}

} // namespace

std::string Quoted(std::string_view text)
{
    std::string quoted = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            quoted += '\\';
            quoted += character;
        } else if (byte < 0x20 || byte == 0x7F) {
            quoted += "\\x" + Hex(byte);
        } else {
            quoted += character;
        }
    }
    return quoted + "\"";
}

std::string ToText(const char* text)
{
    return text == nullptr ? "null" : Quoted(text);
}

std::string ToText(std::nullptr_t)
{
    return "null";
}

std::string ToText(const std::string& text)
{
    return Quoted(text);
}

std::string ToText(Bytes bytes)
{
    if (bytes.data == nullptr) {
        return "null";
    }
    std::string text;
    for (int index = 0; index < bytes.length; ++index) {
        text += (index > 0 ? " " : "") + Hex(static_cast<const unsigned char*>(bytes.data)[index]);
    }
    return "[" + text + "]";
}

std::string ToText(bool value)
{
    return value ? "true" : "false";
}

std::string ToText(unsigned char byte)
{
    return "0x" + Hex(byte);
}

std::string ToText(const settings::Value& value)
{
    return std::visit([](const auto& held) { return ToText(held); }, value);
}

std::string CallText(std::string_view name, const std::vector<std::string>& arguments)
{
    std::string text(name);
    const char* separator = "(";
    for (const std::string& argument : arguments) {
        text += separator + argument;
        separator = ", ";
    }
    return text + (arguments.empty() ? "()" : ")");
}

} // namespace sim
