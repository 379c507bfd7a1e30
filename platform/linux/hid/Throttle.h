#pragma once

#include "loop/Timer.h"

#include <glib.h>

#include <functional>
#include <utility>

namespace hid {

/// Lets through what a remote has to say, but of a flood only a few in each second, and its last.
class Throttle
{
public:
    static constexpr int kMostInPeriod = 10;
    static constexpr guint kPeriodMs = 1000;

    /// \return whether \p tell was put off for later or never
    bool Pass(std::function<void()> tell)
    {
        const gint64 now = g_get_monotonic_time();
        if (now - m_began >= gint64{kPeriodMs} * 1000) {
            m_began = now;
            m_count = 0;
        }
        if (m_count < kMostInPeriod && !m_later.IsRunning()) {
            ++m_count;
            tell();
            return false;
        }
        m_last = std::move(tell);
        if (!m_later.IsRunning()) {
            m_later.Start(kPeriodMs, [this] {
                m_began = g_get_monotonic_time();
                m_count = 1;
                std::exchange(m_last, {})();
            });
        }
        return true;
    }

    void Forget()
    {
        m_later.Stop();
        m_last = {};
    }

private:
    gint64 m_began = 0; ///< microseconds
    int m_count = 0;
    std::function<void()> m_last;
    loop::Timer m_later;
};

} // namespace hid
