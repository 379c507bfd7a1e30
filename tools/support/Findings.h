#pragma once

#include <functional>
#include <string>

namespace support {

/// What is found wrong where nothing can be thrown, such as a violation that comes to light when a sibling goes.
/// Whoever runs a test or tells a story says here what becomes of it: a test fails.
///
/// For the main thread.
using FindingHandler = std::function<void(const std::string& finding)>;

/// \param handler gets all findings from now on; without one they go to the standard error
void HandleFindings(FindingHandler handler);

void ReportFinding(const std::string& finding);

} // namespace support
