#include "tv/front/StopSignals.h"

#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace front {

namespace {

bool IsIgnored(int signal)
{
    struct sigaction present = {};
    return ::sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

} // namespace

StopSignals::StopSignals()
{
    std::signal(SIGCHLD, SIG_DFL); // one that is ignored would take the end of the processes with it
    std::signal(SIGPIPE, SIG_IGN); // there is something to clear away first
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGINT);
    sigaddset(&held, SIGTERM);
    if (!IsIgnored(SIGHUP)) {
        sigaddset(&held, SIGHUP);
    }
    ::pthread_sigmask(SIG_BLOCK, &held, nullptr);
    m_descriptor = settings::FileDescriptor(::signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!m_descriptor.IsOpen()) {
        throw std::system_error(errno, std::generic_category(), "no descriptor for signals");
    }
}

std::optional<int> StopSignals::Take() const
{
    struct signalfd_siginfo info = {};
    const ssize_t length = ::read(m_descriptor.Get(), &info, sizeof info);
    return length == static_cast<ssize_t>(sizeof info) ? std::optional(static_cast<int>(info.ssi_signo)) : std::nullopt;
}

void StopSignals::EndBy(int signal)
{
    std::signal(signal, SIG_DFL);
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, signal);
    ::pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
    std::raise(signal);
    std::exit(EXIT_FAILURE);
}

} // namespace front
