#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace run {

/// Something that happened on the television.
struct Entry
{
    std::uint64_t id = 0;    ///< from 1 on; an entry's cause has a lower one
    std::uint64_t cause = 0; ///< the id of the entry within whose handling this happened; 0 for none known
    std::int64_t at = 0;     ///< microseconds since the run's begin, on the service's clock
    std::string lane;
    std::string kind;
    std::string text;
    std::string subject; ///< for people, with the words; empty where nobody would care
    std::string words;
    /// What else is known of it, as name and text in the order of the file: function, arguments, result, ...
    std::vector<std::pair<std::string, std::string>> details;

    /// Says it for people where it can.
    [[nodiscard]] const std::string& Label() const
    {
        return words.empty() ? text : words;
    }
};

/// A message that went over the service's connection to the bus.
struct Message
{
    std::int64_t at = 0; ///< as an entry's
    bool comesIn = false;
    std::string bytes; ///< as on the wire
};

/// What happened on the television from its first start to the end of the program.
struct Run
{
    std::vector<Entry> entries;       ///< in the order of their ids, each of which is there once
    std::vector<Message> messages;    ///< in the order of their times
    std::vector<std::string> remarks; ///< for the user: what is missing of it, and why
};

} // namespace run
