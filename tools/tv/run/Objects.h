#pragma once

#include "tv/front/Object.h"
#include "tv/run/Run.h"

namespace run {

/// What the television told in an object, which may be of a later version: what is missing or of another type is empty.
Entry EntryOf(const front::Object& object);
Message MessageOf(const front::Object& object);

} // namespace run
