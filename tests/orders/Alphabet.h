#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>

namespace orders {

/// One thing that can happen to a set.
struct Event
{
    std::string_view name;  ///< for --order
    const char* line;       ///< of the language of the television on the desk
    std::uint32_t subjects; ///< a bit for each to which it belongs, by its place in Subjects(); all to "everything"
};

/// Events that have to do with one another, and the set on which they happen.
struct Subject
{
    std::string_view name;
    std::uint32_t bit;                              ///< 0 for the one to which all events belong
    std::initializer_list<const char*> furniture{}; ///< lines for this set alone, after those of each set
};

std::span<const Event> Alphabet();
std::span<const Subject> Subjects();
/// How each set is furnished before its service starts.
std::span<const char* const> Furniture();

/// Its place in the alphabet.
std::optional<std::size_t> EventNamed(std::string_view name);

} // namespace orders
