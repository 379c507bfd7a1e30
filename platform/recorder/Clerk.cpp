#include "recorder/Clerk.h"

#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace recorder {

namespace {

using settings::FileDescriptor;

constexpr int kGathers = 200; // milliseconds that records may lie in memory before they are written, many at once
constexpr int kSyncs = 5000;  // milliseconds after which they are on the disk, too: what a power cut may cost
constexpr int kNever = -1;

/// A clock that nobody moves or stops, also not on a simulated set.
std::int64_t Now()
{
    struct timespec now = {};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    constexpr std::int64_t kThousand = 1000;
    constexpr std::int64_t kMillion = 1'000'000;
    return now.tv_sec * kThousand + now.tv_nsec / kMillion;
}

std::uint64_t NewLife()
{
    std::uint64_t life = 0;
    if (::getrandom(&life, sizeof life, GRND_NONBLOCK) != sizeof life) {
        constexpr unsigned int kHalf = 32;
        life = static_cast<std::uint64_t>(Now()) << kHalf | static_cast<std::uint64_t>(::getpid());
    }
    return life;
}

/// The end of a service wakes who waits on this, whatever others may have kept of its descriptors. Not all kernels have
/// it: there the socket alone tells the end.
FileDescriptor WatchOf(pid_t process)
{
#ifdef SYS_pidfd_open
    return FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
#else
    static_cast<void>(process);
    return FileDescriptor();
#endif
}

/// The signals that a terminal or a service manager sends to all of a service's processes: it ends after the service.
void IgnoreSignals()
{
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGUSR1, SIGUSR2, SIGTSTP, SIGXFSZ}) {
        ::signal(signal, SIG_IGN);
    }
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

void CloseRange(unsigned int first, unsigned int last)
{
    if (first > last) {
        return;
    }
#ifdef SYS_close_range
    if (::syscall(SYS_close_range, first, last, 0) == 0) {
        return;
    }
#endif
    const auto limit = static_cast<unsigned int>(std::max(::sysconf(_SC_OPEN_MAX), 0L));
    for (unsigned int i = first; i <= last && i < limit; ++i) {
        ::close(static_cast<int>(i));
    }
}

/// Lets go of all that the service has open, but for two descriptors and the standard error.
/// \param other -1 for none
void CloseAllBut(int one, int other)
{
    const int nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO}) {
        if (nothing < 0 || ::dup2(nothing, standard) < 0) {
            ::close(standard);
        }
    }
    const auto last = static_cast<unsigned int>(std::max(one, other));
    const auto first = other < 0 ? last : static_cast<unsigned int>(std::min(one, other));
    CloseRange(STDERR_FILENO + 1, first - 1);
    CloseRange(first + 1, last - 1);
    CloseRange(last + 1, ~0U);
}

int Wait(pid_t child)
{
    int status = 0;
    pid_t waited = -1;
    do {
        waited = ::waitpid(child, &status, 0);
    } while (waited < 0 && errno == EINTR);
    if (waited != child) {
        return 0; // a service that leaves the waiting to the kernel; the socket tells whether there is a clerk
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : ECHILD;
}

} // namespace

Clerk::Clerk(Ring& ring, const std::string& path, std::uint64_t limit, FileDescriptor socket)
    : m_ring(ring),
      m_lives(path, limit / 2),
      m_blocks(limit / 2),
      m_path(path),
      m_socket(std::move(socket))
{}

int Clerk::Start()
{
    m_service = WatchOf(::getpid()); // before there is another process: it could find the service gone
    const pid_t child = ::fork();
    if (child < 0) {
        return errno;
    }
    if (child > 0) {
        return Wait(child);
    }
    // The one in between ends at once, so that its child is the system's to wait for, not the service's.
    const pid_t clerk = ::fork();
    if (clerk != 0) {
        ::_exit(clerk < 0 ? errno : 0);
    }
    Work();
    ::_exit(EXIT_SUCCESS);
}

void Clerk::Work()
{
    IgnoreSignals();
    ::setsid();
    ::prctl(PR_SET_NAME, "vyrel-recorder");
    CloseAllBut(m_socket.Get(), m_service.Get());
    if (!Begin()) {
        m_ring.GiveUp();
        return;
    }
    bool isOver = false;
    while (!isOver) {
        m_ring.Says(Ring::Taker::Awake);
        Drain();
        isOver = !Sleep();
    }
    Drain();
    Write();
    ::fdatasync(m_file.Get());
}

bool Clerk::Begin()
{
    if (const Lives::Trouble trouble = m_lives.Begin(m_file); trouble.path != nullptr) {
        Tell(trouble.path, trouble.what, trouble.error);
        return false;
    }
    [[maybe_unused]] const int moved = ::chdir("/"); // a recording is no reason why a disk cannot be unmounted
    m_blocks.Begin(m_file.Get(), NewLife());
    return true;
}

void Clerk::Drain()
{
    Ring::Frame frame;
    while (m_ring.Look(frame)) {
        if (frame.lost > 0) {
            m_blocks.AddLost(frame.lost);
        } else {
            m_blocks.Add(frame.front, frame.back);
        }
        m_ring.Drop(frame);
        if (m_writeAt < 0) {
            m_writeAt = Now() + kGathers;
        }
    }
    if (m_writeAt >= 0 && Now() >= m_writeAt) {
        Write();
    }
    if (m_syncAt >= 0 && Now() >= m_syncAt) {
        ::fdatasync(m_file.Get());
        m_syncAt = kNever;
    }
}

void Clerk::Write()
{
    m_writeAt = kNever; // where it fails, the next records are the occasion for the next attempt
    m_blocks.Write();
    if (const int failure = m_blocks.Failure(); failure != 0) {
        if (!m_hasToldFailure) {
            Tell(m_path.c_str(), "cannot be written; what happens meanwhile is lost", failure);
        }
        m_hasToldFailure = true;
        return;
    }
    m_hasToldFailure = false;
    if (m_syncAt < 0) {
        m_syncAt = Now() + kSyncs;
    }
}

int Clerk::TimeLeft() const
{
    std::int64_t due = m_writeAt;
    if (due < 0 || (m_syncAt >= 0 && m_syncAt < due)) {
        due = m_syncAt;
    }
    return due < 0 ? kNever : static_cast<int>(std::max<std::int64_t>(due - Now(), 0));
}

/// \return false when the service is gone
bool Clerk::Sleep()
{
    m_ring.Says(m_writeAt >= 0 ? Ring::Taker::Lingers : Ring::Taker::Asleep);
    // What came in between says nothing while this lingers; unless it is so much that the other side would have spoken.
    if (m_writeAt < 0 && !m_ring.IsEmpty()) {
        return true;
    }
    std::array<struct pollfd, 2> waited = {{{m_socket.Get(), POLLIN, 0}, {m_service.Get(), POLLIN, 0}}};
    if (::poll(waited.data(), waited.size(), TimeLeft()) <= 0) {
        return true;
    }
    if (waited[1].revents != 0) {
        return false;
    }
    std::array<char, 64> bytes = {};
    const ssize_t length = ::recv(m_socket.Get(), bytes.data(), bytes.size(), MSG_DONTWAIT);
    return length > 0 || (length < 0 && (errno == EAGAIN || errno == EINTR));
}

void Clerk::Tell(const char* path, const char* what, int error) const
{
    std::array<char, 1024> line = {};
    const char* reason = error != 0 ? ::strerrordesc_np(error) : nullptr;
    const int length = ::snprintf(line.data(), line.size(), "vyrel-recorder: nothing is recorded: %s %s%s%s\n", path,
                                  what, reason != nullptr ? ": " : "", reason != nullptr ? reason : "");
    if (length > 0) {
        const auto size = std::min(static_cast<std::size_t>(length), line.size() - 1);
        static_cast<void>(!::write(STDERR_FILENO, line.data(), size));
    }
}

} // namespace recorder
