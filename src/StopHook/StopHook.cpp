#include "StopHook/StopHook.h"

#include <glib-unix.h>

#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

namespace {

constexpr std::array kStopSignals = {SIGTERM, SIGINT};

// What the signal handler may touch: it is set before the handlers are and cleared after them.
volatile sig_atomic_t signalledFd = -1;

void SetDefaultActions()
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (const int stopSignal : kStopSignals) {
        sigaction(stopSignal, &action, nullptr);
    }
}

/// Runs in signal context. Both signals get their default effect back here rather than in the loop, which may be held.
void OnStopSignal(int)
{
    const int savedErrno = errno;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(signalledFd, &one, sizeof one);
    SetDefaultActions();
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
    SetStopActions();
}

StopHook::~StopHook()
{
    SetDefaultActions();
    signalledFd = -1;
    g_source_remove(m_source);
    close(m_eventFd);
}
