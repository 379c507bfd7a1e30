#include "power/DisplayHooks.h"

#include "Log.h"
#include "files/Root.h"

#include <glib-unix.h>

#include <signal.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

namespace power {

namespace {

constexpr std::array<const char*, 2> kFolders = {"/etc/vyrel-lite/hooks/", "/usr/lib/vyrel-lite/hooks/"};

/// Empty when the box has none of that name.
std::string Find(const char* name)
{
    for (const char* folder : kFolders) {
        std::string path = files::UnderRoot(std::string(folder) + name);
        if (g_file_test(path.c_str(), G_FILE_TEST_IS_REGULAR) && ::access(path.c_str(), X_OK) == 0) {
            return path;
        }
    }
    return {};
}

} // namespace

DisplayHooks::~DisplayHooks()
{
    Forget(); // it goes on by itself
}

void DisplayHooks::Run(const char* name)
{
    if (m_child >= 0) {
        m_next = name;
        return;
    }
    const std::string path = Find(name);
    if (!path.empty()) {
        m_running = name;
        Start(path);
    }
}

void DisplayHooks::Start(const std::string& path)
{
    std::array<const char*, 2> arguments = {path.c_str(), nullptr};
    GError* error = nullptr;
    GPid pid = 0;
    const bool isStarted =
        g_spawn_async(nullptr, const_cast<char**>(arguments.data()), nullptr, // only read
                      static_cast<GSpawnFlags>(G_SPAWN_DO_NOT_REAP_CHILD | G_SPAWN_STDOUT_TO_DEV_NULL), nullptr,
                      nullptr, &pid, &error) != FALSE;
    if (!isStarted) {
        PLATFORM_LOG(DLOG_ERROR, "hook %s: %s", m_running.c_str(), error->message);
        g_clear_error(&error);
        return;
    }
    // By descriptor, so that no signal can ever reach another process that was given the same id.
    m_child = static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
    if (m_child < 0) {
        PLATFORM_LOG(DLOG_ERROR, "hook %s cannot be watched: %s", m_running.c_str(), g_strerror(errno));
        return;
    }
    m_watch = g_unix_fd_add(m_child, G_IO_IN, OnEnded, this);
    m_patience.Start(kMostRunMs, [this] {
        PLATFORM_LOG(DLOG_ERROR, "hook %s does not end: killed", m_running.c_str());
        ::syscall(SYS_pidfd_send_signal, m_child, SIGKILL, nullptr, 0);
    });
}

gboolean DisplayHooks::OnEnded(gint, GIOCondition, gpointer self)
{
    static_cast<DisplayHooks*>(self)->Ended();
    return G_SOURCE_CONTINUE; // it was removed already
}

void DisplayHooks::Forget()
{
    m_patience.Stop();
    if (m_child >= 0) {
        g_source_remove(m_watch);
        ::close(m_child);
        m_child = -1;
    }
}

void DisplayHooks::Ended()
{
    siginfo_t end = {};
    const int waited = ::waitid(static_cast<idtype_t>(P_PIDFD), static_cast<id_t>(m_child), &end, WEXITED);
    if (waited == 0 && (end.si_code != CLD_EXITED || end.si_status != 0)) {
        PLATFORM_LOG(DLOG_ERROR, "hook %s: %s %d", m_running.c_str(),
                     end.si_code == CLD_EXITED ? "exit status" : "ended by signal", end.si_status);
    }
    Forget();
    if (const char* next = std::exchange(m_next, nullptr)) {
        Run(next);
    }
}

} // namespace power
