#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace language {

/// \return the candidate that was most likely meant: one that begins like the word, or is few letters away from it;
/// empty when none is near
std::string Nearest(std::string_view word, const std::vector<std::string>& candidates);

/// \return `; did you mean "connect"?`, or nothing
std::string Suggestion(std::string_view word, const std::vector<std::string>& candidates);

/// The same; and where none is near, `; there are: connect, battery`, unless there are too many to be read.
std::string SuggestionOrAll(std::string_view word, const std::vector<std::string>& candidates);

} // namespace language
