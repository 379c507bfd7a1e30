#include "support/FolderKeeper.h"

#include "settings/FileDescriptor.h"
#include "support/TempDir.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string_view>

namespace support {

namespace {

using settings::FileDescriptor;

constexpr char kMade = '+';
constexpr char kGone = '-';

constexpr std::size_t kMostFolders = 256; // of a process at a time
constexpr std::size_t kLongestPath = 256;

using Path = std::array<char, kLongestPath>;

/// The keeper's own; nothing is allocated in it, because it may come from a process that has threads.
class Folders
{
public:
    void Hears(std::string_view message)
    {
        if (message.size() < 2 || message.size() > kLongestPath) {
            return;
        }
        const std::string_view path = message.substr(1);
        Path* const place = Find(message.front() == kMade ? std::string_view() : path);
        if (place != nullptr) {
            place->fill('\0');
            std::copy_n(path.begin(), message.front() == kMade ? path.size() : 0, place->begin());
        }
    }

    /// Becomes the program that removes them.
    [[noreturn]] void Remove()
    {
        static std::array<char*, kMostFolders + 4> arguments = {};
        static std::array<std::array<char, 4>, 3> words = {{{"rm"}, {"-rf"}, {"--"}}};
        std::size_t count = 0;
        for (auto& word : words) {
            arguments[count++] = word.data();
        }
        for (Path& path : m_paths) {
            if (path[0] != '\0') {
                arguments[count++] = path.data();
            }
        }
        ::execv("/bin/rm", arguments.data());
        ::_exit(127);
    }

private:
    /// \return the place of this path, of none for an empty one; null where there is no such place
    Path* Find(std::string_view path)
    {
        for (Path& place : m_paths) {
            if (path == place.data()) {
                return &place;
            }
        }
        return nullptr;
    }

    std::array<Path, kMostFolders> m_paths = {};
};

/// Lets go of all that the test has open, so that nobody waits for this process in its place.
/// \return the number under which the socket stays
int KeepOnly(int socket)
{
    constexpr int kSocket = STDERR_FILENO + 1;
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        ::dup2(nothing, standard);
    }
    if (socket != kSocket) {
        ::dup2(socket, kSocket);
    }
    ::syscall(SYS_close_range, static_cast<unsigned int>(kSocket + 1), ~0U, 0);
    return kSocket;
}

[[noreturn]] void Keep(int socket)
{
    ::setsid();
    ::prctl(PR_SET_NAME, "folder-keeper");
    const int kept = KeepOnly(socket);
    static_cast<void>(!::chdir("/"));
    static Folders folders;
    std::array<char, kLongestPath> message = {};
    while (true) {
        const ssize_t length = ::recv(kept, message.data(), message.size(), 0);
        if (length > 0) {
            folders.Hears({message.data(), static_cast<std::size_t>(length)});
        } else if (length == 0 || errno != EINTR) {
            folders.Remove(); // all who could tell more are gone
        }
    }
}

/// \return the other end of the socket that the keeper listens to; -1 where there is no keeper
int StartKeeper()
{
    std::array<int, 2> ends = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return -1;
    }
    const int ours = ends[0];
    const FileDescriptor theirs(ends[1]);
    // Not by fork: tests that look at what it does, or have it fail, do not mean this one.
    const pid_t between = ::_Fork();
    if (between == 0) {
        const pid_t keeper = ::_Fork();
        if (keeper == 0) {
            ::close(ours);
            Keep(theirs.Get());
        }
        ::_exit(0);
    }
    if (between < 0) {
        ::close(ours);
        return -1;
    }
    int status = 0;
    while (::waitpid(between, &status, 0) < 0 && errno == EINTR) {
    }
    return ours;
}

/// Each process has a keeper of its own: that of its parent would wait for the parent, too. A fork holds on to the
/// parent's socket as well, since it can write into the parent's folders.
int SocketOfThisProcess()
{
    static int socket = -1;
    static pid_t owner = -1;
    if (owner != ::getpid()) {
        owner = ::getpid();
        socket = StartKeeper();
    }
    return socket;
}

void Tell(const char* path, bool isThere)
{
    Path message = {};
    const std::size_t length = std::min(std::strlen(path), message.size() - 1);
    message[0] = isThere ? kMade : kGone;
    std::copy_n(path, length, message.begin() + 1);
    if (const int socket = SocketOfThisProcess(); socket >= 0) {
        static_cast<void>(!::send(socket, message.data(), length + 1, MSG_NOSIGNAL));
    }
}

} // namespace

void KeepFolders()
{
    SocketOfThisProcess(); // at once: no test is to find one more descriptor after its first folder
    TempDir::TellOfEach(Tell);
}

} // namespace support
