#include "Measurement.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace bench {

Folder::Folder(const std::string& parent) : m_path(parent + "/bench-settings-XXXXXX")
{
    if (mkdtemp(m_path.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), m_path);
    }
}

Folder::~Folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

} // namespace bench
