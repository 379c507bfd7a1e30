#pragma once

#include <settings/FileDescriptor.h>

#include <cstddef>
#include <span>
#include <string>

namespace fuzz {

/// A file for what reads files, in memory alone: nothing is left of it, however the program ends.
class MemoryFile
{
public:
    MemoryFile();

    /// From now on this is all that stands in it.
    void Holds(std::span<const std::byte> contents);

    [[nodiscard]] const std::string& Path() const
    {
        return m_path;
    }

private:
    settings::FileDescriptor m_file;
    std::string m_path;
};

} // namespace fuzz
