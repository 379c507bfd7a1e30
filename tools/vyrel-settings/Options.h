// The command line of vyrel-settings.
#pragma once

#include "settings/Locations.h"
#include "settings/Value.h"

#include <optional>
#include <string>
#include <vector>

namespace command {

enum class Action
{
    Help,
    Get,
    Set,
    Unset,
    List,
    Watch
};

struct Options
{
    Action action = Action::Help;
    settings::Folders folders;
    std::vector<std::string> operands; // keys, or the prefix to list
    std::optional<settings::Value> value;
    bool showType = false;
    std::optional<int> count;          // of notices
    std::optional<int> timeoutSeconds; // of watching
};

// Nothing when the command line cannot be understood; `error` then says why.
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error);

extern const char* const kHelp;

} // namespace command
