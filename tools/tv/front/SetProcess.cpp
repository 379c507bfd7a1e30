#include "tv/front/SetProcess.h"

#include <glib-unix.h>

#include <sys/socket.h>
#include <sys/types.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <system_error>
#include <utility>

namespace front {

namespace {

/// This program by its path: valgrind, told to follow processes, would find itself behind the link. The link serves
/// when the file was replaced since.
std::string OwnProgram()
{
    constexpr const char* kLink = "/proc/self/exe";
    std::error_code ignored;
    const std::filesystem::path path = std::filesystem::read_symlink(kLink, ignored);
    return std::filesystem::exists(path, ignored) ? path.string() : kLink;
}

} // namespace

SetProcess::SetProcess(const std::string& root, std::int64_t lastId, std::int64_t at, Listener listener)
    : m_listener(std::move(listener))
{
    std::array<int, 2> ends = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error(errno, std::generic_category(), "no socket for the television");
    }
    m_socket = settings::FileDescriptor(ends[0]);
    const settings::FileDescriptor other(ends[1]);
    m_child = support::Child::SpawnApart(
        {OwnProgram(), kSetProcess, std::to_string(other.Get()), root, std::to_string(lastId), std::to_string(at)},
        other.Get());
    m_source = g_unix_fd_add(m_socket.Get(), static_cast<GIOCondition>(G_IO_IN | G_IO_HUP), OnReadable, this);
}

SetProcess::~SetProcess()
{
    StopReading();
}

void SetProcess::StopReading()
{
    if (m_source != 0) {
        g_source_remove(std::exchange(m_source, 0));
    }
}

void SetProcess::Give(const std::string& line)
{
    const std::string whole = line + "\n";
    std::size_t given = 0;
    while (given < whole.size()) {
        const ssize_t count = ::send(m_socket.Get(), whole.data() + given, whole.size() - given, MSG_NOSIGNAL);
        if (count >= 0) {
            given += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            return; // it has ended, which the main loop will find
        }
    }
}

gboolean SetProcess::OnReadable(gint, GIOCondition, gpointer self)
{
    // What is called here may replace the object: afterwards nothing of it is touched.
    return static_cast<SetProcess*>(self)->Read() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

bool SetProcess::Read()
{
    std::array<char, 65536> buffer = {};
    const ssize_t length = ::recv(m_socket.Get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (length < 0 && (errno == EINTR || errno == EAGAIN)) {
        return true;
    }
    if (length <= 0) {
        m_source = 0;
        const support::ProcessEnd end = m_child.Wait(); // its end of the socket is closed with it
        const auto ended = m_listener.ended;
        ended(end);
        return false;
    }
    m_input.append(buffer.data(), static_cast<std::size_t>(length));
    std::size_t begin = 0;
    std::size_t end = 0;
    while ((end = m_input.find('\n', begin)) != std::string::npos) {
        m_listener.object(m_input.substr(begin, end - begin));
        begin = end + 1;
    }
    m_input.erase(0, begin);
    return true;
}

} // namespace front
