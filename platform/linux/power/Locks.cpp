#include "power/Locks.h"

#include "Log.h"

#include <algorithm>

namespace power {

namespace {

const char* WordOf(Locks::Kind kind)
{
    return kind == Locks::Kind::Standby ? "standby" : "low-power";
}

} // namespace

void Locks::Hold(Kind kind, guint milliseconds)
{
    const bool wereHeld = AreHeld();
    Of(kind).Start(milliseconds, [this, kind] {
        PLATFORM_LOG(DLOG_WARN, "the %s lock ran out", WordOf(kind));
        TellChange(true);
    });
    TellChange(wereHeld);
}

bool Locks::Release(Kind kind)
{
    if (!Of(kind).IsRunning()) {
        return false;
    }
    Of(kind).Stop();
    TellChange(true);
    return true;
}

bool Locks::AreHeld() const
{
    return std::any_of(m_timers.begin(), m_timers.end(), [](const loop::Timer& timer) { return timer.IsRunning(); });
}

void Locks::TellChange(bool wereHeld)
{
    if (wereHeld != AreHeld()) {
        m_changed();
    }
}

} // namespace power
