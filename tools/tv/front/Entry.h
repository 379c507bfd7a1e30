#pragma once

#include "tv/front/Object.h"

#include <cstdint>
#include <string>

namespace front {

/// Something that happened, as the set told it.
struct Entry
{
    /// \param object one that has an id
    static Entry From(const Object& object);

    std::int64_t id = 0;
    std::int64_t at = 0; ///< microseconds since the run's begin
    std::string lane;
    std::string kind;
    std::string text;
    std::string subject; ///< for people; empty for what only asks, listens or frees
    std::string words;
    std::string how; ///< of a message: call, ask, request, signal
    std::string member;
    std::string signature;
    std::string body;
    bool query = false; ///< a call that only asks
};

} // namespace front
