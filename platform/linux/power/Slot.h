#pragma once

#include "Log.h"

#include <glib.h>

namespace power {

/// A place for one receiver of a notice. Whoever tells something asks the slot when it is time to tell, so what was on
/// its way when the receiver was taken out is dropped.
template <typename Callback>
class Slot
{
public:
    /// \param name what the notice is called in the log, static
    explicit Slot(const char* name) : m_name(name) {}

    void Set(Callback callback, void* userData)
    {
        m_callback = callback;
        m_userData = userData;
    }

    /// \return false, and no notice ends, unless this is the receiver
    bool UnsetIf(Callback callback)
    {
        if (callback == nullptr || callback != m_callback) {
            return false;
        }
        m_callback = nullptr;
        m_userData = nullptr;
        return true;
    }

    /// Returns when the receiver does, which may take it some seconds.
    template <typename Argument>
    void Tell(Argument argument) const
    {
        if (m_callback == nullptr) {
            return;
        }
        const gint64 start = g_get_monotonic_time();
        m_callback(argument, m_userData);
        const gint64 waited = g_get_monotonic_time() - start;
        if (waited > kLongWait) {
            PLATFORM_LOG(DLOG_WARN, "the receiver of the %s notice took %lld ms", m_name,
                         static_cast<long long>(waited / G_TIME_SPAN_MILLISECOND));
        }
    }

private:
    static constexpr gint64 kLongWait = 10 * G_TIME_SPAN_SECOND;

    const char* m_name;
    Callback m_callback = nullptr;
    void* m_userData = nullptr;
};

} // namespace power
