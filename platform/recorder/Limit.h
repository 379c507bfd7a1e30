#pragma once

#include <cstdint>

namespace recorder {

/// How large all files of a recording may be together, as the environment says it: in MiB, from 1 to 4096.
/// \param text null where it says nothing
/// \return bytes; kUsualLimit where it says nothing that makes sense, and then a line on the standard error says so
std::uint64_t LimitOf(const char* text);

} // namespace recorder
