#include "SafeFile.h"

#include "FixedPath.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <limits>

namespace Util {

namespace {

/// In /tmp everybody can plant a link; elsewhere links are the platform's own.
int LinkFlag(std::string_view path)
{
    return path.starts_with("/tmp/") ? O_NOFOLLOW : 0;
}

bool IsOrdinaryFile(const struct stat& status)
{
    return S_ISREG(status.st_mode);
}

FileDescriptor OpenToRead(std::string_view path)
{
    // O_NONBLOCK: opening a pipe that nobody writes to must not hold the main loop.
    FileDescriptor file(::open(FixedPath(path).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | LinkFlag(path)));
    struct stat status = {};
    if (!file.IsOpen() || ::fstat(file.Get(), &status) != 0 || !IsOrdinaryFile(status)) {
        return FileDescriptor(-1);
    }
    return file;
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

int SafeFile::ToInt(const std::string& text)
{
    const long value = std::strtol(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

} // namespace Util
