#include "files/Replace.h"

#include <glib.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace files {

namespace {

constexpr mode_t kFolderMode = 0755;
constexpr mode_t kFileMode = 0644;

bool Write(int descriptor, const std::string& text, Durability durability)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = ::write(descriptor, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR) {
            return false;
        }
        done += written > 0 ? static_cast<std::size_t>(written) : 0;
    }
    return durability == Durability::Process || ::fsync(descriptor) == 0;
}

} // namespace

bool Replace(const std::string& path, const std::string& text, Durability durability)
{
    const std::string folder = path.substr(0, path.rfind('/'));
    if (g_mkdir_with_parents(folder.c_str(), kFolderMode) != 0) {
        return false;
    }
    const std::string fresh = path + ".new";
    ::unlink(fresh.c_str()); // what a process left that ended before it could rename, or somebody planted
    const int descriptor = ::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kFileMode);
    if (descriptor < 0) {
        return false;
    }
    const bool isWritten = Write(descriptor, text, durability);
    const int error = errno;
    ::close(descriptor);
    if (!isWritten) {
        ::unlink(fresh.c_str());
        errno = error;
        return false;
    }
    return std::rename(fresh.c_str(), path.c_str()) == 0;
}

} // namespace files
