#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace language {

/// A whole number of 32 bits, decimal or, after 0x, hexadecimal (there up to 0xffffffff, as its bits stand).
std::optional<int> NumberIn(std::string_view text);

/// The longest time that can be waited at once.
inline constexpr std::chrono::hours kLongestTime{24 * 366};

/// Numbers with units, `500ms`, `10s`, `5min`, `1h`, `2d`, also several, `1h30min`; at most kLongestTime.
std::optional<std::chrono::milliseconds> DurationIn(std::string_view text);
/// The same, the shortest way: "1h30min", "0s".
std::string AsDuration(std::chrono::milliseconds time);

/// What a platform function answers when it fails: a number, or the name of a result of the Bluetooth functions with or
/// without its beginning, `ALREADY_DONE`. Never 0.
std::optional<int> ErrorCodeIn(std::string_view text);
/// The names, without BT_ERROR_.
std::vector<std::string> ErrorNames();
/// The name of a code, or its number.
std::string AsErrorCode(int code);

/// A power-off option: a number, or names with + between them.
std::optional<int> PowerOptionIn(std::string_view text);
std::vector<std::string> PowerOptionNames();

} // namespace language
