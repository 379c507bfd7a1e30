// Linked into the test programs while tools/mutate looks what each test runs: one byte for each byte of the program's
// text, in a file below the folder VYREL_COVERED that the processes of a test share, however they end.

#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

extern char __executable_start;
extern char etext;

static unsigned char* covered;

__attribute__((constructor(101))) static void Open(void)
{
    const char* folder = getenv("VYREL_COVERED");
    char path[4096];
    if (!folder || snprintf(path, sizeof path, "%s/%s", folder, program_invocation_short_name) >= (int)sizeof path) {
        return;
    }
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) {
        return;
    }
    const size_t size = (uintptr_t)&etext - (uintptr_t)&__executable_start;
    if (ftruncate(file, (off_t)size) == 0) {
        void* const mapped = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        covered = mapped == MAP_FAILED ? NULL : mapped;
    }
    close(file);
}

void __sanitizer_cov_trace_pc(void)
{
    if (covered) {
        covered[(uintptr_t)__builtin_return_address(0) - (uintptr_t)&__executable_start] = 1;
    }
}
