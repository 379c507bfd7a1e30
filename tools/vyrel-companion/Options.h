// The command line of vyrel-companion.
#pragma once

#include "vyrel-companion/Rules.h"

#include <optional>
#include <string>
#include <vector>

namespace companion {

enum class Action
{
    Help,
    Run,
    Known,
    Trust,
    Forget
};

struct Options
{
    Action action = Action::Run;
    std::string root;         ///< in front of all paths; "" for the box itself
    std::string config;       ///< the key file; empty for the usual one
    std::optional<Rule> rule; ///< in place of the key file's
    std::string address;      ///< in capital letters
};

/// Nothing when the command line cannot be understood; \p error then says why.
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error);

extern const char* const kHelp;

} // namespace companion
