#include "Bell.h"

#include "settings/FileDescriptor.h"
#include "settings/LastWrite.h"
#include "settings/Rights.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
    if (const std::error_code error = PrepareInnerFolder(std::filesystem::path(m_path).parent_path(), m_rights);
        error) {
        Report(error.message());
        return false;
    }
    m_file = FileDescriptor(open(m_path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600));
    if (!m_file.IsOpen()) {
        Report(std::generic_category().message(errno));
        return false;
    }
    ApplyRights(m_path, m_rights);
    m_reported = false;
    return true;
}

bool Bell::IsFor(const Rights& rights)
{
    return Open() && m_rights.AreForTheSame(rights);
}

void Bell::Ring(std::string_view lastWrite)
{
    if (!Open()) {
        return;
    }
    if (!lastWrite.empty()) {
        const ssize_t left = pwrite(m_file.Get(), lastWrite.data(), lastWrite.size(), 0);
        static_cast<void>(left); // what could not be left is read in the log
    }
    if (futimens(m_file.Get(), nullptr) != 0) {
        Report(std::generic_category().message(errno));
    }
}

void Bell::OpenToRead()
{
    m_reading = FileDescriptor(open(m_path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
}

std::string_view Bell::LastWrite(LastWriteBuffer& buffer) const
{
    const ssize_t size = pread(m_reading.Get(), buffer.data(), buffer.size(), 0);
    return {buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

void Bell::Report(const std::string& reason)
{
    if (!m_reported) {
        m_reported = true;
        std::fprintf(stderr, "settings: cannot tell the watchers through %s: %s\n", m_path.c_str(), reason.c_str());
    }
}

} // namespace settings
