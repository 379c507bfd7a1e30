#pragma once

// For a program that is linked with --wrap=fork, --wrap=kill and --wrap=waitpid: its calls of these functions go to
// __wrap_..., which it defines, and __real_... are the functions themselves. So a test can let a fork fail, and keeps a
// signal for "every process", which the id of a failed fork means, from leaving it.

#include <sys/types.h>

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): these names are the linker's
extern "C" {
pid_t __real_fork();
pid_t __wrap_fork();
int __real_kill(pid_t pid, int signal);
int __wrap_kill(pid_t pid, int signal);
pid_t __real_waitpid(pid_t pid, int* status, int options);
pid_t __wrap_waitpid(pid_t pid, int* status, int options);
}
// NOLINTEND(clang-diagnostic-reserved-identifier)
