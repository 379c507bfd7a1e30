#pragma once

#include <string>

namespace sim {

/// Somebody used the television in a way that a real one would not bear: says so and aborts.
[[noreturn]] void Misuse(const std::string& what);

/// The folder that is to be removed before such an end of this process too; empty for none.
void RemoveAtMisuse(const std::string& folder);

} // namespace sim
