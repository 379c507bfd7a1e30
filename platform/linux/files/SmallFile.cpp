#include "files/SmallFile.h"

#include <glib.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace files {

namespace {

class Descriptor
{
public:
    explicit Descriptor(const std::string& path) : m_number(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    ~Descriptor()
    {
        if (m_number >= 0) {
            ::close(m_number);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int Number() const
    {
        return m_number;
    }

private:
    int m_number;
};

/// \return 0 or what went wrong
int ReadAll(int descriptor, std::size_t mostBytes, std::string& text)
{
    constexpr std::size_t kPiece = 4096;
    while (text.size() <= mostBytes) {
        const std::size_t before = text.size();
        text.resize(before + kPiece);
        const ssize_t length = ::read(descriptor, text.data() + before, kPiece);
        text.resize(before + (length > 0 ? static_cast<std::size_t>(length) : 0));
        if (length == 0) {
            return 0;
        }
        if (length < 0 && errno != EINTR) {
            return errno;
        }
    }
    return EFBIG;
}

} // namespace

SmallFile::SmallFile(const std::string& path, std::size_t mostBytes)
{
    const Descriptor file(path);
    struct stat status = {};
    if (file.Number() < 0 || ::fstat(file.Number(), &status) != 0) {
        m_error = errno;
        return;
    }
    if (!S_ISREG(status.st_mode)) {
        m_error = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return;
    }
    std::string text;
    m_error = ReadAll(file.Number(), mostBytes, text);
    if (m_error == 0) {
        m_text = std::move(text);
    }
}

bool SmallFile::IsMissing() const
{
    return m_error == ENOENT || m_error == ENOTDIR;
}

const char* SmallFile::Trouble() const
{
    return g_strerror(m_error);
}

} // namespace files
