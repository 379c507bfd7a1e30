#pragma once

#include "sim/Adapter.h"
#include "sim/Audio.h"
#include "sim/ColorSensor.h"
#include "sim/Devices.h"
#include "sim/Disk.h"
#include "sim/Failures.h"
#include "sim/Features.h"
#include "sim/Kpi.h"
#include "sim/Power.h"
#include "sim/Queue.h"
#include "sim/Remotes.h"
#include "sim/ScreenAndSound.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "support/TempDir.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace sim {

/// A television in one process: what the platform's functions act on while it lives. There is one at a time.
///
/// It is driven in events, `tv.power.GoesTo(2)`, and everything that happens is written on its tape. It has a folder of
/// its own that stands in for the root of the file system. It is strict: what a real set would not bear aborts.
class Television
{
public:
    /// \param root folder that stands in for "/", kept at the end; empty for a fresh one that goes with the television
    explicit Television(const std::filesystem::path& root = {});
    ~Television();
    Television(const Television&) = delete;
    Television& operator=(const Television&) = delete;

    /// The one that lives; aborts when there is none.
    static Television& Current();
    static bool IsOn();

    /// Has a function fail with this code, so many times or until it recovers.
    void Fails(std::string_view function, int code, int times = Failures::kForever)
    {
        failures.Set(function, code, times);
    }
    void Recovers(std::string_view function)
    {
        failures.Remove(function);
    }

    /// Forgets every callback and watch of the service, as the end of its process does.
    void ServiceHasStopped();

    /// The folder without a slash at its end.
    [[nodiscard]] const std::string& Root() const
    {
        return m_root;
    }
    /// Files by the service's fixed paths: made with their folders, removed, read (empty when it isn't there).
    void MakesFile(std::string_view path, std::string_view contents = "");
    void RemovesFile(std::string_view path);
    [[nodiscard]] bool HasFile(std::string_view path) const;
    [[nodiscard]] std::string ReadFile(std::string_view path) const;
    [[nodiscard]] std::filesystem::path PathOf(std::string_view path) const;

    /// A light-weight flag that another process has posted, or has not.
    void PostsFlag(std::string_view event)
    {
        m_flags.insert(std::string(event));
    }
    void ClearsFlag(std::string_view event)
    {
        m_flags.erase(std::string(event));
    }
    [[nodiscard]] bool HasFlag(const std::string& event) const
    {
        return m_flags.contains(event);
    }

    // In the order in which the parts need one another.
    Tape tape;
    Failures failures;
    Queue queue;
    Features features;
    Power power;
    ScreenAndSound screen;
    Adapter adapter;
    Devices devices;
    Audio audio;
    SmartRemote smartRemote;
    Wheel wheel;
    Stand stand;
    ColorSensor colorSensor;
    Kpi kpi;
    Settings settings;
    Disk disk;

private:
    std::string MoveInto(const std::filesystem::path& root);
    void PullKernelLog();

    std::optional<support::TempDir> m_folder; ///< empty when the folder is somebody else's
    std::string m_root;
    std::set<std::string> m_flags;
    std::uintmax_t m_kernelLogRead = 0;
};

} // namespace sim
