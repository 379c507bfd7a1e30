#pragma once

// How arguments and results look on the tape, and which texts the platform takes.

#include "settings/Value.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace sim {

/// A byte buffer, shown in hexadecimal.
struct Bytes
{
    const void* data;
    int length;
};

/// Six two-digit hexadecimal fields with colons; \p text may be null.
bool IsAddress(const char* text);
/// UTF-8 of at most 248 bytes, which is what an adapter can call itself; \p text may be null.
bool IsAdapterName(const char* text);

/// In double quotes, with control characters, quotes and backslashes escaped.
std::string Quoted(std::string_view text);
std::string ToText(const char* text); ///< quoted, or null
std::string ToText(std::nullptr_t);
std::string ToText(const std::string& text);
std::string ToText(Bytes bytes);
std::string ToText(bool value);
std::string ToText(unsigned char byte); ///< as 0x06
std::string ToText(const settings::Value& value);

template <typename Number>
requires(std::is_integral_v<Number> || std::is_enum_v<Number>) std::string ToText(Number value)
{
    return std::to_string(static_cast<long long>(value));
}

/// `name(first, second)`
std::string CallText(std::string_view name, const std::vector<std::string>& arguments);

} // namespace sim
