#include "StopSignals.h"

#include <pthread.h>
#include <time.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <stdexcept>

namespace demo {

namespace {

constexpr time_t kLongestStop = 10; // seconds

bool IsIgnored(int signal)
{
    struct sigaction present = {};
    return ::sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

sigset_t SetOf(std::initializer_list<int> signals)
{
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        sigaddset(&set, signal);
    }
    return set;
}

/// \return the signal that came, nothing when none did in time
std::optional<int> NextSignal(const struct timespec* longest)
{
    sigset_t held;
    ::pthread_sigmask(SIG_BLOCK, nullptr, &held);
    int signal = 0;
    do {
        signal = longest != nullptr ? ::sigtimedwait(&held, nullptr, longest) : ::sigwaitinfo(&held, nullptr);
    } while (signal < 0 && errno == EINTR);
    return signal > 0 ? std::optional(signal) : std::nullopt;
}

} // namespace

void HoldStopSignals()
{
    std::signal(SIGCHLD, SIG_DFL); // one that is ignored would take the end of the processes with it
    sigset_t held = SetOf({SIGINT, SIGTERM, SIGCHLD});
    if (!IsIgnored(SIGHUP)) {
        sigaddset(&held, SIGHUP);
    }
    ::pthread_sigmask(SIG_BLOCK, &held, nullptr);
}

std::optional<int> WaitingStopSignal()
{
    sigset_t waiting;
    ::sigpending(&waiting);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        if (sigismember(&waiting, signal) == 1) {
            return signal;
        }
    }
    return std::nullopt;
}

support::ProcessEnd AwaitEnd(support::Child& process, WhenStopped whenStopped)
{
    constexpr struct timespec kPatience = {kLongestStop, 0};
    int told = 0;
    while (process.Poll() == support::StillRunning()) {
        const std::optional<int> signal = NextSignal(told != 0 ? &kPatience : nullptr);
        if (!signal) {
            process.Kill();
            throw std::runtime_error("the service was told to stop and does not");
        }
        if (*signal == SIGCHLD) {
            continue;
        }
        if (whenStopped == WhenStopped::Kill || told != 0) {
            process.Kill();
            throw Stopped{*signal};
        }
        told = *signal;
        process.Send(SIGTERM);
    }
    const support::ProcessEnd end = process.Poll();
    if (end.how == support::ProcessEnd::How::Killed) {
        // It was not yet ready for the signal, whether it came from here or from where ours did.
        const std::optional<int> signal = told != 0 ? told : WaitingStopSignal();
        if (signal) {
            throw Stopped{*signal};
        }
    }
    return end;
}

void HoldSigterm()
{
    const sigset_t held = SetOf({SIGTERM});
    ::pthread_sigmask(SIG_BLOCK, &held, nullptr);
}

void AwaitSigterm()
{
    const sigset_t held = SetOf({SIGTERM});
    ::pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
}

void EndBy(int signal)
{
    std::signal(signal, SIG_DFL);
    const sigset_t held = SetOf({signal});
    ::pthread_sigmask(SIG_UNBLOCK, &held, nullptr);
    std::raise(signal);
    std::exit(EXIT_FAILURE);
}

} // namespace demo
