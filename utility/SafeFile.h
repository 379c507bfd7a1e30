#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Util {

/// Owns an open file descriptor; -1 owns nothing.
class FileDescriptor
{
public:
    explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}
    ~FileDescriptor();

    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&&) = delete;

    [[nodiscard]] bool IsOpen() const
    {
        return m_descriptor >= 0;
    }
    [[nodiscard]] int Get() const
    {
        return m_descriptor;
    }

private:
    int m_descriptor;
};

/// Files that others can reach too. Whatever somebody put in their place, a link, a pipe, a device, neither blocks the
/// service nor leads it to another file: links are not followed in /tmp and under the owner's home. Paths are the fixed
/// ones, without the platform's root.
class SafeFile
{
public:
    /// True when an ordinary file of this name, or a link to one that is followed, can be opened for reading.
    static bool CanBeRead(std::string_view path);

    /// The first \p limit bytes of an ordinary file, or nothing when it cannot be opened or read.
    static std::optional<std::string> Read(std::string_view path, std::size_t limit = 64);

    /// Writes an ordinary file anew in its place, or creates it (mode 0644): for flags, whose contents nobody misses.
    /// False when that failed; a file that is not an ordinary one, or that has a second name, is left alone.
    static bool Write(std::string_view path, std::string_view contents);

    /// Puts a new file (mode 0644) in the place of an ordinary file or of a link, or creates it. Whenever the power
    /// fails, the old contents or the new ones are there; on return the new ones are on the disk. False when that
    /// failed: the old file is then as it was. What is neither a file nor a link, and a file that may not be written,
    /// is left alone.
    static bool Replace(std::string_view path, std::string_view contents);

    /// The number that formatted input (`>> int`) leaves for this text: blanks are skipped, what follows the digits is
    /// not looked at, no digits give 0, and what does not fit gives the nearest int.
    static int ToInt(const std::string& text);
};

} // namespace Util
