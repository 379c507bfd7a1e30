#pragma once

#include <string>
#include <vector>

namespace front {

/// Holds the service against recordings, each in a process of its own, which says what it finds on this one's outputs.
/// \return the exit status: 0 where there is no difference, 1 where there is one, 3 where it cannot be told
int Replay(const std::vector<std::string>& files);

} // namespace front
