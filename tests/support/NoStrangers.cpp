// For a program whose kill and waitpid come through here: "every process" and "any child", which the id of a failed
// fork means, are never meant. It ends at once, before a signal leaves it.

#include "support/WrappedProcessCalls.h"

#include <sys/types.h>

#include <cstdlib>

namespace {

constexpr int kSignalled = 99; // the exit statuses
constexpr int kWaitedFor = 98;

} // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): these names are the linker's
extern "C" {
pid_t __wrap_waitpid(pid_t pid, int* status, int options)
{
    if (pid <= 1) {
        std::_Exit(kWaitedFor);
    }
    return __real_waitpid(pid, status, options);
}

int __wrap_kill(pid_t pid, int signal)
{
    if (pid <= 1) {
        std::_Exit(kSignalled);
    }
    return __real_kill(pid, signal);
}
}
// NOLINTEND(clang-diagnostic-reserved-identifier)
