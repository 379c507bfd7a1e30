// The command line of vyrel-ctl.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace control {

enum class Action
{
    Help,
    Status,
    Devices,
    Remotes,
    Power,
    PairingList,
    PairingAccept,
    PairingRefuse,
    Features,
    Watch
};

struct Options
{
    Action action = Action::Help;
    bool json = false;
    bool all = false;    ///< devices that are neither paired nor connected, too
    std::string state;   ///< of power; empty to be told
    std::string address; ///< in capital letters
    std::string code;    ///< PIN or passkey
    bool trust = false;  ///< a service may be used from now on without asking
    std::optional<int> count;
    std::optional<int> timeoutSeconds;
};

/// Nothing when the command line cannot be understood; \p error then says why.
std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& error);

extern const char* const kHelp;

} // namespace control
