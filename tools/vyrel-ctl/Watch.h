#pragma once

#include "people/Bus.h"
#include "vyrel-ctl/Options.h"

namespace control {

/// Becomes a monitor of the bus and prints all that the service and its platform send, until it is told to end.
/// \return the exit status
int Watch(const people::Bus& bus, const Options& options);

} // namespace control
