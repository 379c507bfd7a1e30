// A row of the log of writes.
#pragma once

#include "Value.h"

#include <cstdint>
#include <string>

namespace settings {

struct Change
{
    std::int64_t id;
    std::int64_t moment; // Moment(), taken as the write began
    std::string key;
    Value value;
};

} // namespace settings
