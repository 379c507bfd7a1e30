#pragma once

#include "sim/Tape.h"

#include <optional>
#include <string>

namespace set {

/// What happened, in words for somebody who has never seen the service.
struct Line
{
    std::string subject; ///< "bus", "setting", "remote", ...
    std::string text;
};

/// \return nothing for what only asks, only listens or only frees
std::optional<Line> InWords(const sim::Entry& entry);

} // namespace set
