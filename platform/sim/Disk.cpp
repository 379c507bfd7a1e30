// A full disk: SQLite asks for the system's functions by a table that others may change, and the linker leads the
// service's own way to replace a file through here.

#include "sim/Disk.h"

#include "sim/Side.h"
#include "sim/Television.h"
#include "sim/Wrapped.h"

#include <glib.h>
#include <sqlite3.h>

#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>

namespace sim {

namespace {

constexpr std::string_view kInMemory[] = {"/run/", "/tmp/", "/dev/"};

std::mutex fullMutex; // SQLite may be called on other threads, too
std::string fullRoot; // of the disk that is full; empty while none is

bool IsOnFullDisk(std::string_view path)
{
    const std::lock_guard lock(fullMutex);
    if (fullRoot.empty() || !path.starts_with(fullRoot)) {
        return false;
    }
    const std::string_view within = path.substr(fullRoot.size());
    return std::ranges::none_of(kInMemory, [&](std::string_view folder) { return within.starts_with(folder); });
}

bool IsOnFullDisk(int descriptor)
{
    std::array<char, 4096> path = {};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t length = ::readlink(link.c_str(), path.data(), path.size());
    return length > 0 && IsOnFullDisk(std::string_view(path.data(), static_cast<std::size_t>(length)));
}

/// What a file has it may write anew, also where there is no room for more.
bool HasRoom(int descriptor, std::size_t count, off_t begin)
{
    struct stat status = {};
    return ::fstat(descriptor, &status) != 0 || begin + static_cast<off_t>(count) <= status.st_size ||
           !IsOnFullDisk(descriptor);
}

ssize_t Refuse()
{
    errno = ENOSPC;
    return -1;
}

ssize_t WriteAt(int descriptor, const void* bytes, std::size_t count, off_t begin)
{
    return HasRoom(descriptor, count, begin) ? ::pwrite(descriptor, bytes, count, begin) : Refuse();
}

ssize_t WriteOn(int descriptor, const void* bytes, std::size_t count)
{
    const off_t begin = std::max<off_t>(::lseek(descriptor, 0, SEEK_CUR), 0);
    return HasRoom(descriptor, count, begin) ? ::write(descriptor, bytes, count) : Refuse();
}

/// \param ours whether SQLite calls the functions above, or its own
void LeadSqlite(bool ours)
{
    sqlite3_vfs* fileSystem = sqlite3_vfs_find(nullptr);
    if (fileSystem == nullptr || fileSystem->xSetSystemCall == nullptr) {
        return;
    }
    using Function = sqlite3_syscall_ptr;
    const auto lead = [&](const char* name, Function function) {
        fileSystem->xSetSystemCall(fileSystem, name, ours ? function : nullptr);
    };
    lead("pwrite", reinterpret_cast<Function>(&WriteAt));
    lead("pwrite64", reinterpret_cast<Function>(&WriteAt));
    lead("write", reinterpret_cast<Function>(&WriteOn));
}

} // namespace

Disk::~Disk()
{
    IsFull(false);
}

void Disk::IsFull(bool full)
{
    if (full == IsFull()) {
        return;
    }
    LeadSqlite(full);
    const std::lock_guard lock(fullMutex);
    fullRoot = full ? m_tv.Root() : "";
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): there is one disk for each television.
bool Disk::IsFull() const
{
    const std::lock_guard lock(fullMutex);
    return !fullRoot.empty();
}

} // namespace sim

gboolean __wrap_g_file_set_contents_full(const gchar* path, const gchar* contents, gssize length,
                                         GFileSetContentsFlags flags, int mode, GError** error)
{
    const sim::Runs runs(sim::Side::Television);
    if (length > 0 && sim::IsOnFullDisk(std::string_view(path))) {
        g_set_error_literal(error, G_FILE_ERROR, G_FILE_ERROR_NOSPC, g_strerror(ENOSPC));
        return FALSE;
    }
    return __real_g_file_set_contents_full(path, contents, length, flags, mode, error);
}
