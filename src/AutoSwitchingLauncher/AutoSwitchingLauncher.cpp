#include "AutoSwitchingLauncher/AutoSwitchingLauncher.h"

#include "LiteDebug.h"
#include "SafeFile.h"

#include <glib.h>

#include <string>

namespace {

constexpr const char* kPairedFlag = "/opt/usr/apps/org.vantor.vyrel/data/launch_autoswitch";
constexpr const char* kContextManagerReady = "/run/context-mgr_ready";
constexpr const char* kLaunchFlag = "/tmp/.launch_autoswitching";
constexpr unsigned int kPollSeconds = 10;

gboolean OnTimer(gpointer userData)
{
    return static_cast<AutoSwitchingLauncher*>(userData)->OnTimerExpired() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

} // namespace

AutoSwitchingLauncher::~AutoSwitchingLauncher()
{
    if (m_timerId != 0) {
        g_source_remove(m_timerId);
    }
}

void AutoSwitchingLauncher::Launch()
{
    if (!IsPemblePaired()) {
        LOGI("Pemble has not been paired");
        return;
    }
    m_timerId = g_timeout_add_seconds(kPollSeconds, OnTimer, this);
    CreateAutoSwitchLaunchFile();
}

bool AutoSwitchingLauncher::OnTimerExpired()
{
    if (!IsContextManagerReady()) {
        LOGW("contet-mgr is not ready");
        return true;
    }
    m_timerId = 0;
    CreateAutoSwitchLaunchFile();
    return false;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the platform's engineers call it with a text of their own.
bool AutoSwitchingLauncher::IsFileExist(std::string path) const
{
    return Util::SafeFile::CanBeRead(path);
}

bool AutoSwitchingLauncher::IsPemblePaired() const
{
    return IsFileExist(kPairedFlag);
}

bool AutoSwitchingLauncher::IsContextManagerReady() const
{
    return IsFileExist(kContextManagerReady);
}

void AutoSwitchingLauncher::CreateAutoSwitchLaunchFile()
{
    LOGI("create /tmp/.launch_autoswitching");
    Util::SafeFile::Write(kLaunchFlag, "");
}
