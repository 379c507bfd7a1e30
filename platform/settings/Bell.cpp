#include "Bell.h"

#include "Rights.h"
#include "settings/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace settings {

bool Bell::Open()
{
    if (m_file.IsOpen()) {
        return true;
    }
    Rights rights;
    if (const std::error_code error = PrepareInnerFolder(std::filesystem::path(m_path).parent_path(), rights); error) {
        Report(error.message());
        return false;
    }
    m_file = FileDescriptor(open(m_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (!m_file.IsOpen()) {
        Report(std::generic_category().message(errno));
        return false;
    }
    ApplyRights(m_path, rights);
    m_reported = false;
    return true;
}

void Bell::Ring()
{
    if (Open() && futimens(m_file.Get(), nullptr) != 0) {
        Report(std::generic_category().message(errno));
    }
}

void Bell::Report(const std::string& reason)
{
    if (!m_reported) {
        m_reported = true;
        std::fprintf(stderr, "settings: cannot tell the watchers through %s: %s\n", m_path.c_str(), reason.c_str());
    }
}

} // namespace settings
