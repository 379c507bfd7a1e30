#pragma once

#include <filesystem>
#include <string>

namespace support {

/// A fresh folder on a RAM file system where there is one, removed with all that is in it when its owner goes.
class TempDir
{
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const
    {
        return m_path;
    }

private:
    std::filesystem::path m_path;
};

} // namespace support
