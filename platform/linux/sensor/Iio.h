#pragma once

#include "sensor/Reading.h"

#include <optional>

namespace sensor {

/// The first light sensor among the kernel's industrial I/O devices, by their numbers. Nothing when there is none, or
/// when it cannot be read.
/// \param isThere whether there is one, readable or not
std::optional<Reading> ReadIio(bool* isThere);

} // namespace sensor
