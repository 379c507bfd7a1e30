#pragma once

#include "bus/SystemBus.h"

#include <glib.h>

#include <algorithm>

namespace bus {

/// The end of one platform function's patience, shared by all that it waits for.
class Deadline
{
public:
    explicit Deadline(int milliseconds = kPatienceMs) : m_end(g_get_monotonic_time() + gint64{milliseconds} * 1000) {}

    [[nodiscard]] bool HasPassed() const
    {
        return g_get_monotonic_time() >= m_end;
    }

    /// Never 0, which GLib takes for something else.
    [[nodiscard]] int RemainingMs() const
    {
        return static_cast<int>(std::max<gint64>((m_end - g_get_monotonic_time()) / 1000, 1));
    }

private:
    gint64 m_end; ///< microseconds
};

} // namespace bus
