#pragma once

#include "settings/FileDescriptor.h"
#include "support/Child.h"

#include <glib.h>

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>

namespace front {

/// The process with the television, from this side: it is given lines and tells objects, on the main loop. It is killed
/// and waited for when this goes.
class SetProcess
{
public:
    struct Listener
    {
        std::function<void(const std::string& object)> object;
        /// Its last object has been told. It is over for this object; the listener may replace it here.
        std::function<void(const support::ProcessEnd& end)> ended;
    };

    /// \param root the set's folder
    /// \param lastId, at where an earlier process of the run has ended
    /// Throws std::system_error when it cannot be started.
    SetProcess(const std::string& root, std::int64_t lastId, std::int64_t at, Listener listener);
    ~SetProcess();
    SetProcess(const SetProcess&) = delete;
    SetProcess& operator=(const SetProcess&) = delete;

    /// One line. The process reads it at once, so it is short work.
    void Give(const std::string& line);

    [[nodiscard]] pid_t Pid() const
    {
        return m_child.Pid();
    }

private:
    static gboolean OnReadable(gint descriptor, GIOCondition condition, gpointer self);
    bool Read();
    void StopReading();

    Listener m_listener;
    settings::FileDescriptor m_socket;
    guint m_source = 0;
    std::string m_input;
    support::Child m_child;
};

/// The word before the arguments of the process, and what they say; for main.
inline constexpr const char* kSetProcess = "--set-process";

} // namespace front
