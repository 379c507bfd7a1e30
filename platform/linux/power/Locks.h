#pragma once

#include "loop/Timer.h"

#include <glib.h>

#include <array>
#include <cstddef>
#include <functional>
#include <utility>

namespace power {

/// What keeps the box from sleeping, each for a time at most.
class Locks
{
public:
    enum class Kind
    {
        Standby, ///< something is to be done in standby
        Ambient  ///< the low-power picture is needed
    };

    /// \param changed called when the first lock came or the last one went, also by running out
    explicit Locks(std::function<void()> changed) : m_changed(std::move(changed)) {}

    /// A second one of a kind replaces the time of the first.
    /// \param milliseconds more than 0
    void Hold(Kind kind, guint milliseconds);
    /// \return false when there was none
    bool Release(Kind kind);

    [[nodiscard]] bool AreHeld() const;

private:
    loop::Timer& Of(Kind kind)
    {
        return m_timers[static_cast<std::size_t>(kind)];
    }
    void TellChange(bool wereHeld);

    const std::function<void()> m_changed;
    std::array<loop::Timer, 2> m_timers;
};

} // namespace power
