#include "support/TempDir.h"

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <system_error>

namespace support {

namespace {

std::filesystem::path UsualParent()
{
    const char* wanted = std::getenv("TMPDIR");
    if (wanted != nullptr && *wanted != '\0') {
        return wanted;
    }
    return ::access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : "/tmp";
}

std::filesystem::path MakeFolder(std::string_view name, const std::filesystem::path& parent)
{
    std::string pattern = (parent / name).string() + "-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "no temporary folder in " + parent.string());
    }
    return pattern;
}

/// Runs in signal context, where nothing may be allocated: a program does it.
void RemoveFolder(const char* path)
{
    const pid_t remover = ::fork();
    if (remover == 0) {
        ::execl("/bin/rm", "rm", "-rf", "--", path, nullptr);
        ::_exit(127);
    }
    while (remover > 0 && ::waitpid(remover, nullptr, 0) < 0 && errno == EINTR) {
    }
}

} // namespace

std::atomic<TempDir*> TempDir::s_latest{nullptr};
TempDir::Listener TempDir::s_listener = nullptr;

TempDir::TempDir(std::string_view name, const std::filesystem::path& parent)
    : m_path(MakeFolder(name, parent.empty() ? UsualParent() : parent)),
      m_owner(::getpid()),
      m_previous(s_latest)
{
    if (m_previous != nullptr) {
        m_previous->m_next = this;
    }
    s_latest = this;
    if (s_listener != nullptr) {
        s_listener(m_path.c_str(), true);
    }
}

TempDir::~TempDir()
{
    if (m_owner == ::getpid()) {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
        if (s_listener != nullptr) {
            s_listener(m_path.c_str(), false);
        }
    }
    if (m_next != nullptr) {
        m_next->m_previous = m_previous;
    } else {
        s_latest = m_previous;
    }
    if (m_previous != nullptr) {
        m_previous->m_next = m_next;
    }
}

void TempDir::TellOfEach(Listener listener)
{
    s_listener = listener;
}

void TempDir::OnDeadlySignal(int signal)
{
    for (const TempDir* dir = s_latest; dir != nullptr; dir = dir->m_previous) {
        if (dir->m_owner == ::getpid()) {
            RemoveFolder(dir->m_path.c_str());
        }
    }
    ::raise(signal); // the handler was for once: now the signal has its default effect
}

void TempDir::RemoveAllWhenKilled()
{
    struct sigaction action = {};
    action.sa_handler = OnDeadlySignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    for (const int signal :
         {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGPIPE, SIGABRT, SIGTRAP, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
        struct sigaction present = {};
        if (::sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_DFL) {
            ::sigaction(signal, &action, nullptr);
        }
    }
}

} // namespace support
