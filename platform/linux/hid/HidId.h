#pragma once

#include "bluez/Modalias.h"

#include <optional>
#include <string_view>
#include <vector>

namespace hid {

/// Who made a device on Bluetooth, from the kernel's "0005:000004E8:00002075"; nothing for one on another bus.
std::optional<bluez::Identity> BluetoothIdIn(std::string_view hidId);

/// Pairs of vendor and product as people write them, "04E8:2075", with spaces between; nothing when there is none, or
/// something else stands there.
std::optional<std::vector<bluez::Identity>> PairsIn(std::string_view text);

} // namespace hid
