#pragma once

#include "tv/language/Commands.h"
#include "tv/language/Words.h"

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace language {

/// A line, understood.
struct Line
{
    const Command* command = nullptr;                   ///< of the table
    std::string text;                                   ///< as it was written, without blanks around it
    std::vector<std::string> literals;                  ///< the words that are not arguments: "remote", "sensor", "on"
    std::map<std::string, Word, std::less<>> arguments; ///< by their names in the syntax; accepted by their kinds

    [[nodiscard]] bool Has(std::string_view name) const
    {
        return arguments.contains(name);
    }
    /// \return the argument; the empty text where it was left out
    [[nodiscard]] std::string Text(std::string_view name) const;
    /// \return the number; \p otherwise where it was left out
    [[nodiscard]] int Number(std::string_view name, int otherwise = 0) const;
};

/// Throws Misunderstood, with what could stand there instead.
Line Parse(std::string_view text);

/// What could stand at the end of \p text, in place of the word that it ends with: words, and choices of an argument.
std::vector<std::string> Completions(std::string_view text);

/// The lines of the table in which a word stands, each "SYNTAX", then what it does; all without a word. Those whose
/// first word it is come alone. Empty when there is none.
std::vector<const Command*> About(std::string_view word);

} // namespace language
