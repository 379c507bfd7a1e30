#include "StopHook/StopHook.h"

#include <glib-unix.h>

#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>

namespace {

constexpr std::array kStopSignals = {SIGTERM, SIGINT};

// What the signal handler may touch: it is set before the handlers are and cleared after them.
volatile sig_atomic_t signalledFd = -1;
std::atomic_flag isStopping = ATOMIC_FLAG_INIT;

void SetDefaultActions()
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (const int stopSignal : kStopSignals) {
        sigaction(stopSignal, &action, nullptr);
    }
}

/// Runs in signal context. Both signals get their default effect back here rather than in the loop, which may be held.
void OnStopSignal(int stopSignal)
{
    const int savedErrno = errno;
    SetDefaultActions();
    if (isStopping.test_and_set()) {
        // The second one came while another thread was still at the first: it has its default effect all the same.
        raise(stopSignal);
    } else {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(signalledFd, &one, sizeof one);
    }
    errno = savedErrno;
}

void SetStopActions()
{
    struct sigaction action = {};
    action.sa_handler = OnStopSignal;
    action.sa_flags = SA_RESTART;
    for (const int stopSignal : kStopSignals) {
        sigaddset(&action.sa_mask, stopSignal);
    }
    for (const int stopSignal : kStopSignals) {
        sigaction(stopSignal, &action, nullptr);
    }
}

gboolean QuitLoop(gint, GIOCondition, gpointer loop)
{
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_CONTINUE;
}

void ReleaseLoop(gpointer loop)
{
    g_main_loop_unref(static_cast<GMainLoop*>(loop));
}

} // namespace

StopHook::StopHook(GMainLoop* loop)
    : m_eventFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      m_source(g_unix_fd_add_full(G_PRIORITY_DEFAULT, m_eventFd, G_IO_IN, QuitLoop, g_main_loop_ref(loop), ReleaseLoop))
{
    signalledFd = m_eventFd;
    isStopping.clear();
    SetStopActions();
}

StopHook::~StopHook()
{
    SetDefaultActions();
    signalledFd = -1;
    g_source_remove(m_source);
    close(m_eventFd);
}
