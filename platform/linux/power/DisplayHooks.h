#pragma once

#include "loop/Timer.h"

#include <glib.h>

#include <string>

namespace power {

/// What the box does with its picture is the business of executables that know the box: display-on, display-off,
/// display-dim (the low-power picture) and display-art, in /etc/vyrel-lite/hooks, else in /usr/lib/vyrel-lite/hooks.
///
/// Nobody waits for them, but they run one after the other: an old one that ends late must not undo a new one. Of
/// those that were asked for meanwhile only the last is run. One that does not end is killed.
class DisplayHooks
{
public:
    static constexpr guint kMostRunMs = 10000;

    DisplayHooks() = default;
    ~DisplayHooks();
    DisplayHooks(const DisplayHooks&) = delete;
    DisplayHooks& operator=(const DisplayHooks&) = delete;

    /// \param name one of the four. A hook that the box does not have is none.
    void Run(const char* name);

private:
    static gboolean OnEnded(gint descriptor, GIOCondition condition, gpointer self);

    void Start(const std::string& path);
    void Ended();
    void Forget();

    int m_child = -1; ///< a descriptor of the process, while one runs
    guint m_watch = 0;
    std::string m_running;
    const char* m_next = nullptr; ///< to be run when the running one has ended
    loop::Timer m_patience;
};

} // namespace power
