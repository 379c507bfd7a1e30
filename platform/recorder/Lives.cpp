#include "recorder/Lives.h"

#include "recorder/FileFormat.h"

#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <span>
#include <utility>

namespace recorder {

namespace {

using settings::FileDescriptor;
using Trouble = Lives::Trouble;

constexpr int kOften = 20;      // milliseconds between two looks at a lock
constexpr int kPatience = 5000; // milliseconds for a writer that has not finished
constexpr mode_t kOwnerOnly = 0600;

enum class Content
{
    Missing,
    Empty,
    Recording,
    Foreign,
    Unreadable ///< errno says why
};

/// Nothing is waited for here, whatever kind of file it is.
int OpenFor(const char* path, int flags)
{
    return ::open(path, flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, kOwnerOnly);
}

/// A power cut can leave zeros in a file whose beginning was not on the disk yet: that was a recording, too.
Content ContentOf(int file)
{
    struct stat status = {};
    if (::fstat(file, &status) != 0) {
        return Content::Unreadable;
    }
    if (!S_ISREG(status.st_mode)) {
        return Content::Foreign;
    }
    if (status.st_size == 0) {
        return Content::Empty;
    }
    std::array<std::byte, kHeaderSize> begin = {};
    const ssize_t length = ::pread(file, begin.data(), begin.size(), 0);
    if (length < 0) {
        return Content::Unreadable;
    }
    const auto bytes = std::span(begin).first(static_cast<std::size_t>(length));
    const bool isZeros = std::ranges::all_of(bytes, [](std::byte byte) { return byte == std::byte{0}; });
    return HasMagic(bytes) || isZeros ? Content::Recording : Content::Foreign;
}

Content ContentOf(const char* path, std::uint64_t& size)
{
    const FileDescriptor file(OpenFor(path, O_RDONLY));
    if (!file.IsOpen()) {
        return errno == ENOENT ? Content::Missing : Content::Unreadable;
    }
    struct stat status = {};
    if (::fstat(file.Get(), &status) != 0) {
        return Content::Unreadable;
    }
    size = static_cast<std::uint64_t>(status.st_size);
    return ContentOf(file.Get());
}

bool IsTheSame(int file, const char* path)
{
    struct stat one = {};
    struct stat other = {};
    return ::fstat(file, &one) == 0 && ::lstat(path, &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

Trouble About(const char* path, const char* what, int error = 0)
{
    return {path, what, error};
}

Trouble Unusable(const char* path, Content content)
{
    return content == Content::Foreign ? About(path, "is there and is no recording; it stays as it is")
                                       : About(path, "cannot be used", errno);
}

} // namespace

Lives::Lives(const std::string& path, std::uint64_t limit) : m_limit(limit)
{
    m_paths[0] = path;
    for (std::size_t i = 1; i < m_paths.size(); ++i) {
        m_paths[i] = path + "." + std::to_string(i);
    }
}

Trouble Lives::Begin(FileDescriptor& file) const
{
    const char* path = m_paths[0].c_str();
    // Each round waits for one writer; another one may have come first meanwhile.
    for (int waited = 0; waited <= kPatience;) {
        file = FileDescriptor(OpenFor(path, O_RDWR | O_CREAT));
        if (!file.IsOpen()) {
            return About(path, "cannot be written", errno);
        }
        const Content content = ContentOf(file.Get());
        if (content == Content::Foreign || content == Content::Unreadable) {
            return Unusable(path, content);
        }
        if (::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
            ::poll(nullptr, 0, kOften);
            waited += kOften;
            continue;
        }
        if (!IsTheSame(file.Get(), path)) {
            continue;
        }
        if (ContentOf(file.Get()) == Content::Empty) {
            return {};
        }
        if (const Trouble trouble = Rotate(); trouble.path != nullptr) {
            return trouble;
        }
    }
    return About(path, "is being written by another service");
}

/// FILE becomes FILE.1, whoever is behind it moves up, and the oldest go.
Trouble Lives::Rotate() const
{
    std::size_t last = 0; // the last of those that are there without a gap
    std::uint64_t total = 0;
    std::size_t kept = kOlder; // how many may stay
    for (std::size_t i = 0; i < m_paths.size(); ++i) {
        std::uint64_t size = 0;
        const Content content = ContentOf(m_paths[i].c_str(), size);
        if (content == Content::Missing) {
            break;
        }
        if (content == Content::Foreign || content == Content::Unreadable) {
            return Unusable(m_paths[i].c_str(), content);
        }
        last = i;
        total += size;
        if (total > m_limit && i > 0) {
            kept = std::min(kept, i); // the latest stays in any case, also where the limit has become lower
        }
    }
    for (std::size_t i = last + 1; i-- > 0;) {
        const char* path = m_paths[i].c_str();
        const bool stays = i < kept && i < kOlder;
        if ((stays ? ::rename(path, m_paths[i + 1].c_str()) : ::unlink(path)) != 0) {
            return About(path, "cannot make room for the next life", errno);
        }
    }
    return {};
}

} // namespace recorder
