#pragma once

#include "tv/front/Output.h"
#include "tv/front/StopSignals.h"
#include "tv/scenario/Scenario.h"

#include <string>
#include <vector>

namespace scenario {

struct RunSettings
{
    bool verbose = false; ///< shows every line of the log too
    bool quiet = false;   ///< tells only what does not go as it should
    bool stays = false;   ///< the television stays on after the last line, on the clock of the wall, until a signal
    std::string recordIn; ///< a file for the recording; empty for none
    std::string saveTo;   ///< a file for the run; empty for none
};

/// Plays a scenario on a fresh television and tells it.
/// \return true when it went as it should
/// Throws front::Stopped when a signal ends it, std::runtime_error when it cannot be told.
bool Play(const Scenario& scenario, const RunSettings& settings, const front::StopSignals& signals,
          const front::Output& output);

} // namespace scenario
