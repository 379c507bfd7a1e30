// Lets only so many processes be started.

#include "support/WrappedProcessCalls.h"

#include <spawn.h>
#include <sys/types.h>

#include <cerrno>
#include <cstdlib>

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): these names are the linker's
extern "C" {
int __real_posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]);

static bool IsOneLeft()
{
    const char* given = std::getenv("FORKS_LEFT");
    static int left = given != nullptr ? std::atoi(given) : 0;
    return left-- > 0;
}

pid_t __wrap_fork()
{
    if (IsOneLeft()) {
        return __real_fork();
    }
    errno = EAGAIN;
    return -1;
}

int __wrap_posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[])
{
    return IsOneLeft() ? __real_posix_spawn(pid, path, actions, attributes, arguments, environment) : EAGAIN;
}
}
// NOLINTEND(clang-diagnostic-reserved-identifier)
