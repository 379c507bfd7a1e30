#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace companion {

/// What becomes of a request of a device that nobody has let in before.
enum class Rule
{
    Ask,       ///< the person at the terminal decides; without a terminal as KnownOnly
    KnownOnly, ///< it is refused
    Never      ///< it is refused, as is that of a known one
};

/// Nothing for another word.
std::optional<Rule> RuleNamed(std::string_view word);

struct Rules
{
    Rule rule = Rule::Ask;
    std::string pin = "0000"; ///< 1 to 16 bytes
};

/// What the key file says. What makes no sense in it is named on standard error; a rule that makes none counts as
/// known-only, because whoever wrote it wanted something stricter than no rule at all.
Rules ReadRules(const std::string& path);

} // namespace companion
