#include "linux/PlatformLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlog.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <mutex>

namespace linux_test {

namespace {

std::mutex mutex;

std::vector<std::string>& Lines()
{
    static std::vector<std::string> lines;
    return lines;
}

} // namespace

std::vector<std::string> LogLines()
{
    const std::lock_guard lock(mutex);
    return Lines();
}

int LogLinesWith(const std::string& text)
{
    return static_cast<int>(
        std::ranges::count_if(LogLines(), [&](const std::string& line) { return line.find(text) != line.npos; }));
}

} // namespace linux_test

// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the platform names it so.
int __dlog_print(int, int, const char*, const char* format, ...)
{
    std::array<char, 1024> line{};
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    const std::lock_guard lock(linux_test::mutex);
    linux_test::Lines().emplace_back(line.data());
    return length;
}
