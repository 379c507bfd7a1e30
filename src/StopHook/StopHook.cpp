#include "StopHook/StopHook.h"

#include "LiteDebug.h"

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

// The eventfd that the first signal takes and writes to, or -1: it was taken, or there is no hook. The signal handler
// may touch nothing else, and this only because it is lock-free.
std::atomic<int> untakenFd = -1;
static_assert(std::atomic<int>::is_always_lock_free);

void SetDefaultActions()
{
    struct sigaction action = {};
    action.sa_handler = SIG_DFL;
    for (const int stopSignal : kStopSignals) {
        sigaction(stopSignal, &action, nullptr);
    }
}

/// Runs in signal context. Both signals get their default effect back here and not in the loop: a bus call may block
/// the loop for seconds, and a second signal is to end the process all the same.
void OnStopSignal(int stopSignal)
{
    const int savedErrno = errno;
    SetDefaultActions();
    const int eventFd = untakenFd.exchange(-1);
    if (eventFd >= 0) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = write(eventFd, &one, sizeof one);
    } else {
        // The second signal reached another thread before this handler had run for the first.
        raise(stopSignal);
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

/// Goes on, because the hook removes this source by its id, and removing one that is gone is a GLib critical. The event
/// is not read, so a loop that is run once more after the signal ends at once.
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

StopHook::StopHook(GMainLoop* loop) : m_eventFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (m_eventFd < 0) {
        LOGE("SIGTERM and SIGINT end the process without a stop in order: %s", g_strerror(errno));
        return;
    }
    m_source = g_unix_fd_add_full(G_PRIORITY_DEFAULT, m_eventFd, G_IO_IN, QuitLoop, g_main_loop_ref(loop), ReleaseLoop);
    untakenFd = m_eventFd;
    SetStopActions();
}

StopHook::~StopHook()
{
    if (m_eventFd < 0) {
        return;
    }
    SetDefaultActions();
    // Another thread may be in the handler still, and must not write to whatever has this number next.
    untakenFd = -1;
    g_source_remove(m_source);
    close(m_eventFd);
}
