#pragma once

#include "tv/front/Desk.h"
#include "tv/front/Output.h"
#include "tv/front/StopSignals.h"

#include <string>

namespace front {

struct ConsoleSettings
{
    bool verbose = false;
    std::string scenario; ///< carried out first; empty for an ordinary set that is plugged in
    bool reads = true;    ///< false: lines come from elsewhere alone, until a signal ends it
};

/// Drives the television from the standard input: with a prompt on a terminal, else line by line; and shows what
/// happens. Returns at the end of the input, or when somebody quits.
/// \return false when a line could not be carried out or an expectation was not met, and nobody sat at a terminal
/// Throws Stopped when a signal ends it, std::runtime_error when it cannot be told.
bool Drive(Desk& desk, const ConsoleSettings& settings, const StopSignals& signals, const Output& output);

} // namespace front
