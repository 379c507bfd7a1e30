#pragma once

#include <string>
#include <string_view>

namespace front {

/// The lines of the table in which a word stands, a line each with what it does; all without a word.
/// Throws language::Misunderstood, with a suggestion, when there is none.
std::string HelpAbout(std::string_view word);

} // namespace front
