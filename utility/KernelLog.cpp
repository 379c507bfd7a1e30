#include "KernelLog.h"

#include "FixedPath.h"
#include "SafeFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <string>

namespace {

using Line = std::array<char, 512>;

/// The bytes that a formatted print of \p wanted bytes has really put into \p room (the ending zero not counted).
std::size_t Used(int wanted, std::size_t room)
{
    return std::min(static_cast<std::size_t>(std::max(wanted, 0)), room - 1);
}

} // namespace

// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier,cert-dcl50-cpp): see the header.
void __print_kernel_log(const char* tag, const char* function, const char* format, ...)
{
    const Util::FileDescriptor device(::open(Util::FixedPath("/dev/kmsg").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
    if (!device.IsOpen()) {
        return;
    }

    Line line;
    std::size_t length = Used(std::snprintf(line.data(), line.size(), "[%s][%s]", tag, function), line.size());
    va_list arguments;
    va_start(arguments, format);
    const std::size_t room = line.size() - length;
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it does not see va_start here
    length += Used(std::vsnprintf(line.data() + length, room, format, arguments), room);
    va_end(arguments);

    if (::write(device.Get(), line.data(), length) < 0) {
        std::printf("Fail to write(/dev/kmsg) %d\n", errno);
    }
}
