#pragma once

#include "tv/run/Run.h"

#include <string>

namespace timeline {

/// One HTML page with all that it needs in it.
std::string Page(const run::Run& run);

/// One SVG picture: a row for each entry, a lane for each who takes part, and an arrow for each cause.
std::string Picture(const run::Run& run);

/// Chrome's trace events as JSON. Each entry is a slice of 1 µs on its lane, which is a thread. Slices begin one after
/// the other in the order of the entries, so that an effect begins after its cause also where the clock stood still;
/// an entry's own time is in its arguments.
std::string Trace(const run::Run& run);

/// A capture of D-Bus messages (link type 231 of pcap). Throws std::runtime_error for a run that kept none.
std::string Packets(const run::Run& run);

} // namespace timeline
