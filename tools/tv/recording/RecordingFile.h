#pragma once

#include "tv/recording/Recording.h"

#include <filesystem>

namespace recording {

/// Writes a recording to a new file, with its gaps. Throws std::runtime_error, with a text that names the file, for one
/// that is there already or cannot be written; then there is none.
void Write(const Recording& recording, const std::filesystem::path& path);

} // namespace recording
