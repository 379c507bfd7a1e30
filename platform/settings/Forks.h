// Tells a forked child from its parent without asking the kernel, which would cost every operation a system call.
#pragma once

namespace settings {

// How many forks lie between the first process that asked and this one. A child made by other means than fork() runs a
// program of its own at once and starts at 0.
unsigned Forks();

} // namespace settings
