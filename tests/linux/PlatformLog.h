#pragma once

#include <string>
#include <vector>

namespace linux_test {

/// The lines that the platform has written to its log, in order.
std::vector<std::string> LogLines();

/// How many of them hold \p text.
int LogLinesWith(const std::string& text);

} // namespace linux_test
