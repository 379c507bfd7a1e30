#include "kpi/EventFile.h"

#include "Log.h"
#include "files/Root.h"

#include <glib.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace kpi {

namespace {

constexpr mode_t kFolderMode = 0700;
constexpr mode_t kFileMode = 0600;

struct Closed
{
    int descriptor = -1;
    ~Closed()
    {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
};

/// A process that ended in the middle of a line leaves it without an end; the next event begins a line of its own.
bool EndsInTheMiddle(int descriptor, off_t size)
{
    char last = '\n';
    return size > 0 && ::pread(descriptor, &last, 1, size - 1) == 1 && last != '\n';
}

} // namespace

bool EventFile::Append(const std::string& line)
{
    const std::string folder = files::UnderRoot(kFolder);
    const std::string path = folder + "/" + std::string(kName);
    if (g_mkdir_with_parents(folder.c_str(), kFolderMode) != 0) {
        return Fails("its folder cannot be made");
    }
    Closed file;
    struct stat status = {};
    if (!Open(path, file.descriptor) || ::fstat(file.descriptor, &status) != 0) {
        return Fails("it cannot be opened");
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        return Fails("it is no file");
    }
    if (status.st_size > 0 && status.st_size + static_cast<off_t>(line.size()) + 1 > kMostBytes) {
        ::close(file.descriptor);
        Rotate(path);
        if (!Open(path, file.descriptor) || ::fstat(file.descriptor, &status) != 0) {
            return Fails("it cannot be made anew");
        }
    }
    const std::string text = (EndsInTheMiddle(file.descriptor, status.st_size) ? "\n" : "") + line + "\n";
    const ssize_t written = ::write(file.descriptor, text.data(), text.size());
    if (written != static_cast<ssize_t>(text.size())) {
        const int error = written < 0 ? errno : ENOSPC;
        // Half a line would take the next one with it.
        if (written > 0 && ::ftruncate(file.descriptor, status.st_size) != 0) {
            PLATFORM_LOG(DLOG_ERROR, "half an event stays in %s", kName.data());
        }
        errno = error;
        return Fails("it cannot be written");
    }
    m_isInTrouble = false;
    return true;
}

bool EventFile::Open(const std::string& path, int& descriptor)
{
    // A pipe that lies there must not keep the service waiting, a link not lead it elsewhere.
    descriptor = ::open(path.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, kFileMode);
    return descriptor >= 0;
}

void EventFile::Rotate(const std::string& path)
{
    for (int number = kOldFiles; number > 0; --number) {
        const std::string from = number == 1 ? path : path + "." + std::to_string(number - 1);
        if (std::rename(from.c_str(), (path + "." + std::to_string(number)).c_str()) != 0 && errno != ENOENT) {
            PLATFORM_LOG(DLOG_ERROR, "usage events: %s cannot be put aside: %s", kName.data(), g_strerror(errno));
        }
    }
}

bool EventFile::Fails(const char* what)
{
    if (!m_isInTrouble) {
        PLATFORM_LOG(DLOG_ERROR, "usage events are not kept in %s/%s: %s: %s", kFolder.data(), kName.data(), what,
                     g_strerror(errno));
    }
    m_isInTrouble = true;
    return false;
}

} // namespace kpi
