#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace recording {

/// A record, its kind first (recorder/Kind.h).
using Record = std::vector<std::byte>;

/// Records that are missing between two that are there.
struct Gap
{
    std::size_t before = 0;  ///< the index of the record that comes behind it; the number of all where none does
    std::uint64_t count = 0; ///< of those that are missing
    std::string why;         ///< for the user
};

/// What could be read of a life of the service.
struct Recording
{
    std::vector<Record> records;      ///< in their order
    std::vector<Gap> gaps;            ///< in their order
    bool hasEnd = true;               ///< false where the file's end may be cut off
    std::vector<std::string> remarks; ///< for the user: what is missing of it, and why
};

/// It cannot be read at all. what() names the file, says why, and what to do.
class Unreadable : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Reads all that can be read of a file: what is damaged or cut off is left out, and what stands behind it is there.
/// Throws Unreadable for one that is no recording, is of another version, or has nothing in it that can be read.
Recording Read(const std::filesystem::path& path);

/// Why a life cannot be recorded in a file; empty where nothing speaks against it. Nothing is made or changed.
std::string Objection(const std::filesystem::path& path);

/// Waits until nobody writes to the file any more.
/// \return false when somebody still does after some seconds
bool WaitUntilWritten(const std::filesystem::path& path);

} // namespace recording
