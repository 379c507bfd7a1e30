#pragma once

#include "recorder/Decoded.h"

#include <cstdint>
#include <string>

namespace recorder {

/// One record as a line for people, such as `bt_adapter_set_visibility(mode 1, timeout_s 0)`.
std::string InWords(const Decoded& record);

/// A value as it stands there: 5, true, "a text", [0a ff], {address "..."}, none.
std::string InWords(const Value& value);

/// An instant of a life, such as "0:01:02.345678".
std::string Instant(std::int64_t microseconds);

} // namespace recorder
