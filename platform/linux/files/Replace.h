#pragma once

#include <string>

namespace files {

enum class Durability
{
    Process, ///< whole for whoever reads it, as long as the machine runs
    Disk     ///< and after a power cut
};

/// Puts a file in the place of another, by renaming, so that whoever reads it finds the old or the new one, whole. Its
/// folder is made when it is missing.
/// \return false, with errno set, when it could not; the old file is then as it was
bool Replace(const std::string& path, const std::string& text, Durability durability = Durability::Process);

} // namespace files
