// The platform's log for a target: each line is put together, so that a wrong one is found, and goes nowhere.

#include <dlog.h>

#include <array>
#include <cstdarg>
#include <cstdio>

// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the platform names it so.
int __dlog_print(int, int, const char*, const char* format, ...)
{
    std::array<char, 1024> line{};
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    return length;
}
