#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Values of JSON as text, each on one line.
namespace people::json {

inline constexpr const char* kNull = "null";

/// \param text what is no UTF-8 in it becomes U+FFFD
std::string Text(std::string_view text);
/// An empty text is null.
std::string TextOrNull(std::string_view text);
std::string Bool(bool value);
std::string Array(const std::vector<std::string>& values);
/// \param members names and values
std::string Object(const std::vector<std::pair<const char*, std::string>>& members);

} // namespace people::json
