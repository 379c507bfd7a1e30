// What a setting holds, and how an operation on it ends.
#pragma once

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

// "bool", "int" or "string".
inline std::string_view TypeName(const Value& value)
{
    constexpr std::string_view kNames[] = {"bool", "int", "string"};
    return kNames[value.index()];
}

struct Entry
{
    std::string key;
    Value value;
};

} // namespace settings
