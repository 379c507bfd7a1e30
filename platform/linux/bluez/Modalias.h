#pragma once

#include <optional>
#include <string_view>

namespace bluez {

struct Identity
{
    unsigned vendor = 0;
    unsigned product = 0;
    unsigned version = 0; ///< 0 where the text has none
};

/// Who made a device, from a text like "usb:v04E8p2075d0100" or "bluetooth:v00E0p2400d0002".
std::optional<Identity> IdentityIn(std::string_view modalias);

} // namespace bluez
