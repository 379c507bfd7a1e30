// What the command lines of the programs have in common.
#pragma once

#include "bluez/Address.h"

#include <CLI/CLI.hpp>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace people {

/// Has a parser read a command line: nothing, and why in \p error, when it cannot be understood.
/// \param help what stands for a call for help
template <typename Parser, typename Options>
std::optional<Options> ParseArguments(const std::vector<std::string>& arguments, const Options& help,
                                      std::string& error)
{
    try {
        return Parser().Parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // as CLI11 takes them
    } catch (const CLI::CallForHelp&) {
        return help;
    } catch (const CLI::ParseError& wrong) {
        error = wrong.what();
        return std::nullopt;
    }
}

/// Adds the operand ADDRESS, which goes to \p address in capital letters.
inline void AddAddress(CLI::App* command, std::string& address)
{
    const std::function<void(const std::string&)> take = [&address](const std::string& text) {
        if (!bluez::IsAddress(text)) {
            throw CLI::ValidationError("\"" + text + "\" is no address such as 00:11:22:AA:BB:CC");
        }
        address = bluez::Normalised(text);
    };
    command->add_option_function("ADDRESS", take)->required();
}

} // namespace people
