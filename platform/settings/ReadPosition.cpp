#include "ReadPosition.h"

#include "Rights.h"
#include "settings/FileDescriptor.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <system_error>

namespace settings {
namespace {

// The position of one watcher, INT64_MAX when it is gone; 0 when it cannot be read, also because its file went in this
// moment: the next cleaning makes up for it.
std::int64_t PositionIn(const std::string& path)
{
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.IsOpen()) {
        return 0;
    }
    if (flock(file.Get(), LOCK_EX | LOCK_NB) == 0) {
        unlink(path.c_str());
        return std::numeric_limits<std::int64_t>::max();
    }
    std::int64_t position = 0;
    return pread(file.Get(), &position, sizeof position, 0) == sizeof position ? position : 0;
}

} // namespace

ReadPosition::~ReadPosition()
{
    // A forked child leaves the file to the parent.
    if (m_file.IsOpen() && m_owner == getpid()) {
        unlink(m_path.c_str());
    }
}

bool ReadPosition::Announce()
{
    Rights rights;
    const std::error_code error = PrepareInnerFolder(m_folder, rights);
    while (!error) {
        m_path = m_folder + "/" + m_name + "-XXXXXX";
        FileDescriptor file(mkostemp(m_path.data(), O_CLOEXEC));
        struct stat status
        {};
        if (!file.IsOpen() || flock(file.Get(), LOCK_EX) != 0 || fstat(file.Get(), &status) != 0) {
            return false;
        }
        // Writers of the group may look from here on.
        ApplyRights(m_path, rights);
        // A writer that came between making and locking took the file for a dead watcher's.
        if (status.st_nlink > 0) {
            m_file = std::move(file);
            m_owner = getpid();
            return true;
        }
    }
    return false;
}

void ReadPosition::MoveTo(std::int64_t id)
{
    const bool due = id < m_published || id - m_published >= kLag;
    if (due && pwrite(m_file.Get(), &id, sizeof id, 0) == sizeof id) {
        m_published = id;
    }
}

std::int64_t ReadPosition::Lowest() const
{
    std::int64_t lowest = std::numeric_limits<std::int64_t>::max();
    std::error_code error;
    for (std::filesystem::directory_iterator file(m_folder, error), end; !error && file != end; file.increment(error)) {
        if (file->path().filename().native().starts_with(m_name + "-")) {
            lowest = std::min(lowest, PositionIn(file->path().native()));
        }
    }
    // Without a look at the others nothing may go.
    return !error || error == std::errc::no_such_file_or_directory ? lowest : 0;
}

} // namespace settings
