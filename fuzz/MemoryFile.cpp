#include "MemoryFile.h"

#include "Target.h"
#include "settings/FileDescriptor.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>

namespace fuzz {

MemoryFile::MemoryFile()
    : m_file(::memfd_create("input", MFD_CLOEXEC)),
      m_path("/proc/self/fd/" + std::to_string(m_file.Get()))
{
    Expect(m_file.IsOpen(), "a file can be made in memory");
}

void MemoryFile::Holds(std::span<const std::byte> contents)
{
    Expect(::ftruncate(m_file.Get(), 0) == 0 &&
               ::pwrite(m_file.Get(), contents.data(), contents.size(), 0) == static_cast<ssize_t>(contents.size()),
           "a file in memory can be written");
}

} // namespace fuzz
