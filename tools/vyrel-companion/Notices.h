#pragma once

#include <string>

namespace companion {

// What people should know goes to standard output, and what is wrong to standard error; under systemd both end in the
// journal. That nobody reads them, or that the disk is full, is no reason to let a speaker wait.

/// \param text from anywhere
void Tell(const std::string& text);
void Complain(const std::string& text);

} // namespace companion
