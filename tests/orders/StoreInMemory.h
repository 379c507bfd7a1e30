#pragma once

#include <string>

namespace orders {

/// All settings, who watches which, and how much is still to be told: for the digest of a state, a line for each.
std::string SettingsInMemory();

} // namespace orders
