#include "support/Child.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <ostream>
#include <system_error>
#include <utility>

namespace support {

namespace {

int RunBody(const std::function<int()>& body)
{
    try {
        return body();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "the child threw: %s\n", exception.what());
        return Child::kThrew;
    }
}

void UnblockAllSignals()
{
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void BecomeChild(const std::function<int()>& body, pid_t parent)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(Child::kThrew); // the parent died before it could take this process along
    }
    UnblockAllSignals();
    std::exit(RunBody(body));
}

std::vector<char*> Pointers(std::vector<std::string>& words)
{
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

ProcessEnd FromWaitStatus(int status)
{
    return WIFEXITED(status) ? Exited(WEXITSTATUS(status)) : KilledBy(WTERMSIG(status));
}

} // namespace

ProcessEnd Exited(int status)
{
    return {ProcessEnd::How::Exited, status};
}

ProcessEnd KilledBy(int signal)
{
    return {ProcessEnd::How::Killed, signal};
}

ProcessEnd StillRunning()
{
    return {};
}

void PrintTo(const ProcessEnd& end, std::ostream* out)
{
    switch (end.how) {
    case ProcessEnd::How::StillRunning:
        *out << "still running";
        break;
    case ProcessEnd::How::Exited:
        *out << "exited with " << end.number;
        break;
    case ProcessEnd::How::Killed:
        *out << "killed by signal " << end.number;
        break;
    case ProcessEnd::How::Unknown:
        *out << "ended, nobody knows how";
        break;
    }
}

Child Child::Fork(const std::function<int()>& body)
{
    std::fflush(nullptr); // or the child would write it once more
    const pid_t parent = ::getpid();
    const pid_t pid = ::fork();
    if (pid == 0) {
        BecomeChild(body, parent);
    }
    if (pid < 0) {
        throw std::system_error(errno, std::generic_category(), "no process can be started");
    }
    return Child(pid);
}

Child Child::Spawn(std::vector<std::string> command)
{
    pid_t pid = -1;
    const std::vector<char*> arguments = Pointers(command);
    const int failure = ::posix_spawn(&pid, arguments.front(), nullptr, nullptr, arguments.data(), environ);
    if (failure != 0) {
        throw std::system_error(failure, std::generic_category(), "cannot start " + command.front());
    }
    return Child(pid);
}

namespace {

/// What posix_spawn is to do beside starting the program. Throws where there is no memory for it.
class Apart
{
public:
    explicit Apart(int descriptor)
    {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawnattr_init(&m_attributes);
        int failure = ::posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        failure |= ::posix_spawn_file_actions_adddup2(&m_actions, STDERR_FILENO, STDOUT_FILENO);
        failure |= ::posix_spawn_file_actions_adddup2(&m_actions, descriptor, descriptor); // no longer closed by exec
        sigset_t none;
        sigemptyset(&none);
        failure |= ::posix_spawnattr_setsigmask(&m_attributes, &none);
        failure |=
            ::posix_spawnattr_setflags(&m_attributes, static_cast<short>(POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK));
        if (failure != 0) {
            Free();
            throw std::bad_alloc();
        }
    }
    ~Apart()
    {
        Free();
    }
    Apart(const Apart&) = delete;
    Apart& operator=(const Apart&) = delete;

    [[nodiscard]] const posix_spawn_file_actions_t* Actions() const
    {
        return &m_actions;
    }
    [[nodiscard]] const posix_spawnattr_t* Attributes() const
    {
        return &m_attributes;
    }

private:
    void Free()
    {
        ::posix_spawn_file_actions_destroy(&m_actions);
        ::posix_spawnattr_destroy(&m_attributes);
    }

    posix_spawn_file_actions_t m_actions = {};
    posix_spawnattr_t m_attributes = {};
};

} // namespace

Child Child::SpawnApart(std::vector<std::string> command, int descriptor)
{
    const Apart apart(descriptor);
    pid_t pid = -1;
    const std::vector<char*> arguments = Pointers(command);
    const int failure =
        ::posix_spawn(&pid, arguments.front(), apart.Actions(), apart.Attributes(), arguments.data(), environ);
    if (failure != 0) {
        throw std::system_error(failure, std::generic_category(), "no process can be started");
    }
    return Child(pid);
}

Child::Child(pid_t pid) : m_pid(pid), m_parent(::getpid()), m_end(StillRunning()) {}

Child::~Child()
{
    Kill();
}

Child::Child(Child&& other) noexcept
    : m_pid(std::exchange(other.m_pid, -1)),
      m_parent(other.m_parent),
      m_end(other.m_end)
{}

Child& Child::operator=(Child&& other) noexcept
{
    if (this != &other) {
        Kill();
        m_pid = std::exchange(other.m_pid, -1);
        m_parent = other.m_parent;
        m_end = other.m_end;
    }
    return *this;
}

bool Child::IsOurs() const
{
    return m_pid > 0 && m_parent == ::getpid();
}

void Child::Send(int signal) const
{
    if (IsOurs()) {
        ::kill(m_pid, signal);
    }
}

const ProcessEnd& Child::Poll()
{
    return Await(WNOHANG);
}

const ProcessEnd& Child::Wait()
{
    return Await(0);
}

const ProcessEnd& Child::Kill()
{
    Send(SIGKILL);
    return Wait();
}

const ProcessEnd& Child::Await(int options)
{
    if (!IsOurs()) {
        return m_end;
    }
    int status = 0;
    pid_t waited = -1;
    do {
        waited = ::waitpid(m_pid, &status, options);
    } while (waited < 0 && errno == EINTR);
    if (waited == m_pid) {
        m_end = FromWaitStatus(status);
        m_pid = -1;
    } else if (waited < 0) {
        m_end = {ProcessEnd::How::Unknown, 0};
        m_pid = -1;
    }
    return m_end;
}

} // namespace support
