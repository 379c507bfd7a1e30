#pragma once

#include <optional>
#include <string>

namespace features {

/// What the machine calls itself: the firmware's product name on a PC, the device tree's model on a board. Valid UTF-8,
/// not empty.
std::optional<std::string> ModelOfMachine();

} // namespace features
