#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace people {

/// Text from a stranger, made fit for a terminal and for one line: what steers a terminal or turns the direction of
/// writing becomes U+FFFD, as does what is no UTF-8.
std::string Printable(std::string_view text);

/// Columns that a terminal takes for it. \param text printable
std::size_t WidthOf(std::string_view text);

/// At most \p columns wide; what is cut off is shown by an ellipsis. \param text printable
std::string Clipped(const std::string& text, std::size_t columns);

/// How long ago, for people: "12 s", "3 min", "5 h", "2 d". \param seconds less than 0 counts as 0
std::string Ago(long long seconds);

} // namespace people
