#include "tv/language/Nearest.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

namespace language {

namespace {

std::string Lower(std::string_view text)
{
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
    return lower;
}

/// How many letters are to be added, left out, changed or swapped with their neighbour.
std::size_t Distance(const std::string& one, const std::string& other)
{
    std::vector<std::size_t> beforeLast(other.size() + 1);
    std::vector<std::size_t> last(other.size() + 1);
    std::vector<std::size_t> row(other.size() + 1);
    for (std::size_t column = 0; column <= other.size(); ++column) {
        row[column] = column;
    }
    for (std::size_t line = 1; line <= one.size(); ++line) {
        beforeLast.swap(last);
        last.swap(row);
        row[0] = line;
        for (std::size_t column = 1; column <= other.size(); ++column) {
            const bool isSame = one[line - 1] == other[column - 1];
            row[column] = std::min({last[column] + 1, row[column - 1] + 1, last[column - 1] + (isSame ? 0 : 1)});
            const bool isSwapped =
                line > 1 && column > 1 && one[line - 1] == other[column - 2] && one[line - 2] == other[column - 1];
            if (isSwapped) {
                row[column] = std::min(row[column], beforeLast[column - 2] + 1);
            }
        }
    }
    return row[other.size()];
}

} // namespace

std::string Nearest(std::string_view word, const std::vector<std::string>& candidates)
{
    constexpr std::size_t kLongest = 64; // nobody misspells more, and the work grows with the square
    if (word.empty() || word.size() > kLongest) {
        return "";
    }
    const std::string meant = Lower(word);
    std::string nearest;
    std::size_t least = std::max<std::size_t>(1, meant.size() / 3) + 1;
    for (const std::string& candidate : candidates) {
        const std::string known = Lower(candidate);
        const bool beginsLike = meant.size() >= 3 && known.starts_with(meant);
        const std::size_t distance = beginsLike ? 1 : Distance(meant, known);
        if (distance < least) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string Suggestion(std::string_view word, const std::vector<std::string>& candidates)
{
    const std::string nearest = Nearest(word, candidates);
    return nearest.empty() ? "" : "; did you mean \"" + nearest + "\"?";
}

std::string SuggestionOrAll(std::string_view word, const std::vector<std::string>& candidates)
{
    constexpr std::size_t kReadable = 20;
    std::string suggestion = Suggestion(word, candidates);
    if (!suggestion.empty() || candidates.empty() || candidates.size() > kReadable) {
        return suggestion;
    }
    std::string all;
    for (const std::string& candidate : candidates) {
        all += (all.empty() ? "" : ", ") + candidate;
    }
    return "; there are: " + all;
}

} // namespace language
