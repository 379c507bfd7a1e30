#include "Waiting.h"

#include "Moment.h"

#include <sqlite3.h>

#include <poll.h>

#include <algorithm>
#include <ctime>

namespace settings {
namespace {

constexpr std::int64_t kShortestMicroseconds = 100;
constexpr std::int64_t kLongestMicroseconds = 5'000;
constexpr std::int64_t kNanoseconds = 1000; // in a microsecond

// What is allowed, and when it ends, which is known once there is something to wait for: most operations never wait,
// and need not look at the clock.
thread_local std::int64_t allowed = 0;
thread_local std::int64_t end = 0;

std::int64_t LeftMicroseconds()
{
    if (allowed > 0 && end == 0) {
        end = Moment() + allowed * kNanoseconds;
    }
    return allowed > 0 ? (end - Moment()) / kNanoseconds : 0;
}

// Without usleep and nanosleep, which programs with a clock of their own replace: other processes live by the wall's.
void Sleep(std::int64_t microseconds)
{
    const timespec duration{0, static_cast<long>(microseconds * kNanoseconds)};
    ppoll(nullptr, 0, &duration, nullptr);
}

int OnSleep(sqlite3_vfs* /*fileSystem*/, int microseconds)
{
    const std::int64_t time = std::min<std::int64_t>(microseconds, LeftMicroseconds());
    if (time > 0) {
        Sleep(time);
    }
    return microseconds;
}

} // namespace

void AllowWaiting(std::int64_t microseconds)
{
    allowed = microseconds;
    end = 0;
}

bool WaitALittle(int attempt)
{
    const std::int64_t left = LeftMicroseconds();
    if (left <= 0) {
        return false;
    }
    const std::int64_t time = kShortestMicroseconds * (std::int64_t{attempt} + 1);
    Sleep(std::min({time, kLongestMicroseconds, left}));
    return true;
}

const char* FileSystemOfOurs()
{
    static sqlite3_vfs fileSystem = [] {
        const sqlite3_vfs* usual = sqlite3_vfs_find(nullptr);
        sqlite3_vfs copy = usual != nullptr ? *usual : sqlite3_vfs{};
        copy.pNext = nullptr;
        copy.zName = "settings";
        copy.xSleep = &OnSleep;
        return copy;
    }();
    static const bool registered = sqlite3_vfs_register(&fileSystem, 0) == SQLITE_OK;
    return registered ? fileSystem.zName : nullptr;
}

} // namespace settings
