#pragma once

#include <glib.h>

#include <functional>
#include <utility>

namespace loop {

/// Something that happens once, later, on the main loop, unless its owner stops it or goes.
class Timer
{
public:
    Timer() = default;
    ~Timer()
    {
        Stop();
    }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    /// Stops what was started before.
    void Start(guint milliseconds, std::function<void()> what)
    {
        Stop();
        m_what = std::move(what);
        m_source = g_timeout_add(milliseconds, OnDue, this);
    }

    void Stop()
    {
        if (m_source != 0) {
            g_source_remove(m_source);
            m_source = 0;
        }
    }

    [[nodiscard]] bool IsRunning() const
    {
        return m_source != 0;
    }

private:
    static gboolean OnDue(gpointer self)
    {
        auto& timer = *static_cast<Timer*>(self);
        timer.m_source = 0;
        // A copy: what happens may start the timer anew, or end its owner.
        const std::function<void()> what = std::move(timer.m_what);
        what();
        return G_SOURCE_REMOVE;
    }

    guint m_source = 0;
    std::function<void()> m_what;
};

} // namespace loop
