#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace bluez {

/// The six bytes of an address as they go over the air: the last field of its text first.
using AddressBytes = std::array<std::uint8_t, 6>;

/// Six two-digit hexadecimal fields with colons.
bool IsAddress(std::string_view text);

/// The same address in capital letters, which is how the service sees every one.
std::string Normalised(std::string_view address);

std::string AddressText(const AddressBytes& bytes);

/// \param text an address in the sense of IsAddress()
AddressBytes BytesOf(std::string_view text);

/// What the last part of a device's path says; empty when it says nothing.
std::string AddressInPath(std::string_view path);

} // namespace bluez
