#pragma once

#include <string>

namespace support {

// What this process, and whoever it forks meanwhile, writes to a standard stream goes to memory instead: a test that
// ends by a signal leaves no file behind. One capture of a stream at a time; throws std::system_error where there is no
// memory.

void CaptureStdout();
void CaptureStderr();

/// Ends the capture. Throws std::logic_error where there was none.
/// \return all that was written
std::string GetCapturedStdout();
std::string GetCapturedStderr();

} // namespace support
