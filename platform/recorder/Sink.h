#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Where the records of a life of the service go (Kind.h says what they are), on the thread of the main loop. They are
/// put into memory that is shared with a process of the recorder's own, which brings them to the disk: the service
/// never waits for one, and nothing of what was taken is lost when it is killed.
namespace recorder {

/// What becomes of a record for which there is no room, because the disk is slow, or hangs.
enum class WhenFull
{
    Loses, ///< it is lost, and the recording says how many are
    Waits  ///< the caller waits; for a simulated set, where months pass in seconds
};

/// Takes one whole record, its kind first. Does not throw; what cannot be kept is counted as lost.
void Append(std::span<const std::byte> record);

/// Whether there is somebody who takes records. Until Start() it is not, and the service's calls pass as they are.
[[nodiscard]] bool IsRecording();

/// Begins to take records of a new life. Those of the latest lives before, if they are there, become FILE.1, FILE.2 and
/// so on. The file is opened by the process that writes it: one that cannot be written, or that is something else, ends
/// the recording some time later, and a line on the standard error says why.
/// \param path  of the file
/// \param limit the bytes that all files together may have; at least kLeastLimit, and as much where it is less
/// \return whether it has begun; otherwise a line on the standard error says why not
bool Start(const char* path, std::uint64_t limit, WhenFull whenFull = WhenFull::Loses);

/// Ends it; what was taken is on its way to the disk, and there when nobody holds a lock on the file any more.
void Stop();

constexpr std::uint64_t kLeastLimit = 512ULL * 1024;
constexpr std::uint64_t kUsualLimit = 8ULL * 1024 * 1024;

} // namespace recorder
