#pragma once

#include "tv/front/Options.h"
#include "tv/front/Output.h"

namespace front {

/// Tells all that a recording holds, or what the service did. Throws recording::Unreadable.
void Show(const Options& options, const Output& output);

/// Writes a recording in which nobody is recognised. Throws recording::Unreadable for one that cannot be read, and
/// std::runtime_error for a file that is there already or cannot be written.
void WriteAnonymous(const Options& options, const Output& output);

} // namespace front
