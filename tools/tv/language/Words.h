#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace language {

struct Word
{
    std::string text;
    bool quoted = false;   ///< stood in double quotes, in part at least: a number in quotes is a text
    std::size_t begin = 0; ///< in the line, in bytes

    bool operator==(const Word&) const = default;
};

/// Words stand between spaces or tabs. In double quotes they may hold spaces; there `\"` and `\\` stand for a quote and
/// a backslash, `\n` and `\t` for a line end and a tab, `\xHH` for a byte. Throws Misunderstood for a quote that is not
/// closed and for an unknown escape.
std::vector<Word> WordsOf(std::string_view line);

/// True for a line that says nothing: empty, or a comment, which begins with "#".
bool IsRemark(std::string_view line);

/// \return the text as one word: as it is where that can be read back, else in quotes
std::string AsWord(std::string_view text);
/// The same, always in quotes: it is a text whatever it looks like.
std::string AsQuoted(std::string_view text);

} // namespace language
