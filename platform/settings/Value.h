// What a setting holds, and how an operation on it ends.
#pragma once

#include <cstddef>
#include <iterator>
#include <string>
#include <string_view>
#include <variant>

namespace settings {

// The results of every operation; the numbers are those of the platform's settings functions.
inline constexpr int kOk = 0;
inline constexpr int kFailed = -1;    // a bad argument, or the store cannot be used
inline constexpr int kNotFound = -2;  // the key holds no value
inline constexpr int kWrongType = -3; // the key holds a value of another type

// A bool, an int or a string of any bytes. The order of the types is what the files hold: append only.
using Value = std::variant<bool, int, std::string>;

// The longest key and the longest string that can be written, in bytes. A notice goes on as a message of the system
// bus, which ends the connection of who sends more than 32 MiB.
inline constexpr std::size_t kLongest = std::size_t{1} << 20U;

// "bool", "int" or "string".
inline std::string_view TypeName(const Value& value)
{
    constexpr std::string_view kNames[] = {"bool", "int", "string"};
    static_assert(std::size(kNames) == std::variant_size_v<Value>);
    return kNames[value.index()];
}

struct Entry
{
    std::string key;
    Value value;
};

} // namespace settings
