#pragma once

#include "tv/run/Run.h"

#include <filesystem>

namespace timeline {

/// Writes a run for people to look at, as the end of the path says: a page that needs nothing else (.html), a picture
/// (.svg), a trace for a trace viewer (.json, Chrome's trace events), or what went over the bus as a capture (.pcap).
///
/// The file is there whole or not at all, and what was there before stays until then. Throws std::runtime_error with
/// a text for the user where that cannot be.
void Write(const run::Run& run, const std::filesystem::path& path);

} // namespace timeline
