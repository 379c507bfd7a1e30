#pragma once

#include <cstdint>
#include <string>

/// Has the automatic switching of wireless earphones launched on a set that such earphones were ever paired with: it
/// creates a flag file at once, and again when the context manager has come up, because a launch that was asked for
/// before that may have gone unheard.
class AutoSwitchingLauncher
{
public:
    AutoSwitchingLauncher() = default;
    ~AutoSwitchingLauncher();
    AutoSwitchingLauncher(const AutoSwitchingLauncher&) = delete;
    AutoSwitchingLauncher& operator=(const AutoSwitchingLauncher&) = delete;

    void Launch();
    /// \return true to be called again in 10 seconds
    bool OnTimerExpired();

    /// \param path one of the service's fixed paths
    bool IsFileExist(std::string path) const;
    bool IsPemblePaired() const;
    bool IsContextManagerReady() const;
    static void CreateAutoSwitchLaunchFile();

private:
    std::uint32_t m_timerId = 0;
};
