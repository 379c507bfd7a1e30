#include "SafeFile.h"

#include "FixedPath.h"

#include <glib.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace Util {

namespace {

/// In /tmp everybody can plant a link, and under the owner's home every application of the owner; elsewhere links are
/// the platform's own.
int LinkFlag(std::string_view path)
{
    return path.starts_with("/tmp/") || path.starts_with("/opt/usr/home/") ? O_NOFOLLOW : 0;
}

bool IsOrdinaryFile(const struct stat& status)
{
    return S_ISREG(status.st_mode);
}

bool IsOrdinaryFile(const FileDescriptor& file)
{
    struct stat status = {};
    return file.IsOpen() && ::fstat(file.Get(), &status) == 0 && IsOrdinaryFile(status);
}

FileDescriptor OpenToRead(std::string_view path)
{
    // O_NONBLOCK: opening a pipe that nobody writes to must not hold the main loop.
    FileDescriptor file(::open(FixedPath(path).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | LinkFlag(path)));
    return IsOrdinaryFile(file) ? std::move(file) : FileDescriptor(-1);
}

/// A new file may take the place of a file that may be written, of a link, which is not followed, and of nothing.
bool MayBeReplaced(const std::string& path)
{
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW));
    return file.IsOpen() ? IsOrdinaryFile(file) : errno == ENOENT || errno == ELOOP;
}

bool WriteAll(int descriptor, std::string_view contents)
{
    while (!contents.empty()) {
        const ssize_t written = ::write(descriptor, contents.data(), contents.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        contents.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

FileDescriptor::~FileDescriptor()
{
    if (IsOpen()) {
        ::close(m_descriptor);
    }
}

bool SafeFile::CanBeRead(std::string_view path)
{
    return OpenToRead(path).IsOpen();
}

std::optional<std::string> SafeFile::Read(std::string_view path, std::size_t limit)
{
    const FileDescriptor file = OpenToRead(path);
    if (!file.IsOpen()) {
        return std::nullopt;
    }
    std::string text(limit, '\0');
    const ssize_t length = ::read(file.Get(), text.data(), text.size());
    if (length < 0) {
        return std::nullopt;
    }
    text.resize(static_cast<std::size_t>(length));
    return text;
}

bool SafeFile::Write(std::string_view path, std::string_view contents)
{
    const FileDescriptor file(
        ::open(FixedPath(path).c_str(), O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC | LinkFlag(path), 0644));
    struct stat status = {};
    // The file is looked at before it is cut: a second name may be somebody's way to have another file emptied.
    if (!file.IsOpen() || ::fstat(file.Get(), &status) != 0 || !IsOrdinaryFile(status) || status.st_nlink != 1) {
        return false;
    }
    return ::ftruncate(file.Get(), 0) == 0 && WriteAll(file.Get(), contents);
}

bool SafeFile::Replace(std::string_view path, std::string_view contents)
{
    const std::string real = FixedPath(path);
    constexpr auto kSafely =
        static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT | G_FILE_SET_CONTENTS_DURABLE);
    return MayBeReplaced(real) &&
           g_file_set_contents_full(real.c_str(), contents.data(), static_cast<gssize>(contents.size()), kSafely, 0644,
                                    nullptr) != FALSE;
}

int SafeFile::ToInt(const std::string& text)
{
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

} // namespace Util
