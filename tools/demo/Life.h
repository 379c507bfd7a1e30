#pragma once

#include "Stage.h"

#include <functional>
#include <string>

namespace demo {

/// What happens in one life of the service, from its start on.
using Script = std::function<void(Stage&)>;

struct Life
{
    std::string root;  ///< the television's folder, which outlives the service
    std::string title; ///< of the start
    Script before;     ///< the television before the service starts
    Script script;     ///< played on the service's own main loop; then the service is told to stop
    bool verbose = false;
    bool realTime = false; ///< time passes as on the wall, and nobody tells the service to stop
};

/// Lives it, in a process of its own; returns when the service has stopped.
/// \return true when everything went as it should
/// Throws Stopped when a signal ends the story, std::runtime_error when it cannot be told.
bool Lives(const Life& life);

} // namespace demo
