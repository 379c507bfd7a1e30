#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace files {

/// What stands in a small file, read at once: a regular file or one of a kernel file system, never a pipe or a device
/// that would keep the reader waiting.
class SmallFile
{
public:
    /// \param path as it lies on the disk
    /// \param mostBytes a longer file counts as trouble
    SmallFile(const std::string& path, std::size_t mostBytes);

    [[nodiscard]] const std::optional<std::string>& Text() const
    {
        return m_text;
    }
    /// Nothing is there, which is most often no trouble.
    [[nodiscard]] bool IsMissing() const;
    /// Why there is no text, in words. Static storage.
    [[nodiscard]] const char* Trouble() const;

private:
    std::optional<std::string> m_text;
    int m_error = 0;
};

} // namespace files
