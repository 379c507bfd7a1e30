#pragma once

#include "sim/Tape.h"
#include "tv/recording/Recording.h"
#include "tv/run/Run.h"

#include <filesystem>
#include <string>
#include <vector>

namespace recording {

/// What was recorded as the entries that a television on the desk would tell of it: with the same fields and texts,
/// and causes as far as they follow from the records. Where records are missing, an entry says so. A record that makes
/// no sense, such as one of another version of the platform's functions, ends it, and \p remarks says so.
std::vector<sim::Entry> EntriesOf(const Recording& recording, std::vector<std::string>& remarks);

/// The lines of a run's file, with the one that says what it is.
std::vector<std::string> RunFileOf(const Recording& recording, std::vector<std::string>& remarks);

} // namespace recording

namespace run {

/// The same as a run, for all that a run is good for. It has no messages of the bus as they were on the wire.
Run FromRecording(const recording::Recording& recording);

/// Reads a run's file or a recording, whichever it is. Throws what run::Read and recording::Read throw.
Run ReadEither(const std::filesystem::path& path);

} // namespace run
