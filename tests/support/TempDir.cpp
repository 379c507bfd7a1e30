#include "support/TempDir.h"

#include <stdlib.h>
#include <unistd.h>

#include <stdexcept>

namespace support {

namespace {

std::string Parent()
{
    return ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path().string();
}

} // namespace

TempDir::TempDir()
{
    std::string pattern = Parent() + "/vyrel-test-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no folder for this test: " + pattern);
    }
    m_path = pattern;
}

TempDir::~TempDir()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

} // namespace support
