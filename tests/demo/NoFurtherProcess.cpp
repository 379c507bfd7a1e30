// Lets only so many processes be started, and no signal leave that is not for one process.

#include "support/WrappedProcessCalls.h"

#include <sys/types.h>

#include <cerrno>
#include <cstdlib>

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): these names are the linker's
extern "C" {
pid_t __wrap_fork()
{
    const char* given = std::getenv("FORKS_LEFT");
    static int left = given != nullptr ? std::atoi(given) : 0;
    if (left-- > 0) {
        return __real_fork();
    }
    errno = EAGAIN;
    return -1;
}

int __wrap_kill(pid_t pid, int signal)
{
    if (pid <= 1) {
        std::_Exit(99);
    }
    return __real_kill(pid, signal);
}

pid_t __wrap_waitpid(pid_t pid, int* status, int options)
{
    if (pid <= 1) {
        std::_Exit(98);
    }
    return __real_waitpid(pid, status, options);
}
}
// NOLINTEND(clang-diagnostic-reserved-identifier)
