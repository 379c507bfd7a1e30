#pragma once

#include <string>

namespace sim {

/// Somebody used the television in a way that a real one would not bear: says so and aborts.
[[noreturn]] void Misuse(const std::string& what);

} // namespace sim
