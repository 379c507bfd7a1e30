#include "power/PowerManager.h"

#include "Log.h"
#include "power/Wake.h"
#include "sound/Server.h"

#include <device_power.h>

#include <climits>
#include <functional>

namespace power {

namespace {

constexpr int kSuspendFromStandby = 4;
constexpr int kRestartedOutOfStandby = 50;

bool IsLowPowerPicture(const Remembered& now)
{
    return now.state == DEVICE_POWER_STATE_SUSPEND && now.ambientMode == kAmbientLowPower;
}

/// The hook that brings the picture about.
const char* PictureOf(const Remembered& now)
{
    if (now.state == DEVICE_POWER_STATE_NORMAL) {
        return now.ambientMode == kAmbientNone ? "display-on" : "display-art";
    }
    return IsLowPowerPicture(now) ? "display-dim" : "display-off";
}

bool IsSilent(const Remembered& now)
{
    return now.state >= DEVICE_POWER_STATE_STANDBY;
}

} // namespace

PowerManager& PowerManager::OfProcess()
{
    static PowerManager manager;
    return manager;
}

PowerManager::PowerManager() : m_locks([this] { LocksChanged(); }), m_login(*this), m_object(*this)
{
    Wakes::OfProcess().WatchedBy([this] { m_object.Refresh(); });
    Restore();
    m_login.Delay(true);
    bus::SystemBus::Shared().Enter(*this);
    WatchStandby();
}

PowerManager::~PowerManager()
{
    Wakes::OfProcess().WatchedBy({});
    bus::SystemBus::Shared().Leave(*this);
}

void PowerManager::BusSettled(GDBusConnection* connection)
{
    m_object.Export(connection);
    m_login.Attach(connection);
}

void PowerManager::BusWent(GDBusConnection*)
{
    m_login.Detach();
    m_object.Withdraw();
}

/// After a restart of the service the box is as it was, but for being out: it cannot be, since somebody started us.
void PowerManager::Restore()
{
    if (const std::optional<Remembered> remembered = StateFile::Load()) {
        m_now = *remembered;
        if (m_now.state >= DEVICE_POWER_STATE_OFF && !IsLowPowerPicture(m_now)) {
            m_now.state = DEVICE_POWER_STATE_STANDBY;
            m_now.ambientMode = kAmbientNone;
        }
    } else if (const std::optional<int> state = RestartNote::Take()) {
        m_now.state = *state;
        m_now.wakeupReason = kRestartedOutOfStandby;
    }
    StateFile::Save(m_now);
}

void PowerManager::GoTo(int state, int ambientMode, int ambientType, int reason)
{
    const Remembered before = m_now;
    m_now.state = state;
    m_now.ambientMode = ambientMode;
    m_now.ambientType = ambientType;
    if (m_now == before) {
        return;
    }
    PLATFORM_LOG(DLOG_INFO, "power state %d, ambient mode %d", state, ambientMode);
    StateFile::Save(m_now);
    if (PictureOf(m_now) != PictureOf(before)) {
        m_hooks.Run(PictureOf(m_now));
    }
    device_power_state_info info = {0, reason, before.state, state, before.ambientMode, ambientMode};
    m_queue.Post([this, info]() mutable { m_notices.stateChanged.Tell(&info); });
    m_queue.Post([this] { BalanceSound(); });
    m_object.TellChange(info);
    m_object.Refresh();
    WatchStandby();
}

/// Mutes for standby what was not muted, and gives back only that.
void PowerManager::BalanceSound()
{
    sound::Server& server = sound::Server::OfProcess();
    bool isMuted = true;
    if (IsSilent(m_now) && !m_now.isSilenced) {
        m_now.isSilenced = server.GetMute(sound::kDefaultSink, &isMuted) == sound::Result::Done && !isMuted &&
                           server.SetMute(sound::kDefaultSink, true) == sound::Result::Done;
    } else if (!IsSilent(m_now) && m_now.isSilenced) {
        m_now.isSilenced = false;
        server.SetMute(sound::kDefaultSink, false);
    } else {
        return;
    }
    StateFile::Save(m_now);
}

PowerManager::Outcome PowerManager::SetState(int state)
{
    switch (state) {
    case DEVICE_POWER_STATE_NORMAL:
    case DEVICE_POWER_STATE_PICTURE_OFF:
    case DEVICE_POWER_STATE_STANDBY:
        if (m_wayOut && (state == DEVICE_POWER_STATE_STANDBY || !GiveUpWayOut())) {
            return Outcome::Busy;
        }
        m_cannotSleep = false;
        GoTo(state, kAmbientNone, 0, 0);
        return Outcome::Done;
    case DEVICE_POWER_STATE_SUSPEND:
        return RequestPowerOff(kSuspendFromStandby);
    default:
        return Outcome::Invalid; // off is nothing to be in, but the end of a way out
    }
}

PowerManager::Outcome PowerManager::RequestPowerOff(int option)
{
    return Begin(option,
                 (option & DEVICE_POWEROFF_OPTION_SUSPEND_OFF) != 0 ? Ending::PowerOff
                 : option == DEVICE_POWEROFF_OPTION_RESET || option == DEVICE_POWEROFF_OPTION_RESET_ALT
                     ? Ending::Reboot
                     : Ending::Suspend,
                 false);
}

PowerManager::Outcome PowerManager::RequestReboot(int reason)
{
    PLATFORM_LOG(DLOG_WARN, "restart, reason %d", reason);
    if (!m_wayOut) {
        return Begin(0, Ending::Reboot, false);
    }
    if (m_wayOut->phase == Phase::Ended || m_wayOut->isForeign) {
        return Outcome::Busy;
    }
    m_wayOut->ending = Ending::Reboot;
    return Outcome::Done;
}

PowerManager::Outcome PowerManager::SetAmbient(int mode, int type)
{
    if (mode < kAmbientNone || mode > kAmbientToSuspend || type < 0) {
        return Outcome::Invalid;
    }
    if (mode == kAmbientToSuspend) {
        return RequestPowerOff(kSuspendFromStandby);
    }
    if (m_wayOut && !GiveUpWayOut()) {
        return Outcome::Busy;
    }
    if (mode == kAmbientLowPower) {
        // The low-power picture is entered out of the suspended state, which is where its receivers look for it.
        if (m_now.state != DEVICE_POWER_STATE_SUSPEND) {
            GoTo(DEVICE_POWER_STATE_SUSPEND, kAmbientToSuspend, type, 0);
        }
        GoTo(DEVICE_POWER_STATE_SUSPEND, kAmbientLowPower, type, 0);
    } else {
        GoTo(DEVICE_POWER_STATE_NORMAL, mode, mode == kAmbientNone ? 0 : type, 0);
    }
    return Outcome::Done;
}

PowerManager::Outcome PowerManager::SetAmbientLock(bool on, gint64 milliseconds)
{
    if (!on) {
        return m_locks.Release(Locks::Kind::Ambient) ? Outcome::Done : Outcome::NotHeld;
    }
    if (milliseconds <= 0 || milliseconds > INT_MAX) {
        return Outcome::Invalid;
    }
    m_locks.Hold(Locks::Kind::Ambient, static_cast<guint>(milliseconds));
    return Outcome::Done;
}

PowerManager::Outcome PowerManager::Lock(int state, gint64 milliseconds)
{
    if (state < DEVICE_POWER_STATE_NORMAL || state > DEVICE_POWER_STATE_SUSPEND || milliseconds <= 0 ||
        milliseconds > INT_MAX) {
        return Outcome::Invalid;
    }
    if (state != DEVICE_POWER_STATE_STANDBY) {
        return Outcome::NotSupported;
    }
    m_locks.Hold(Locks::Kind::Standby, static_cast<guint>(milliseconds));
    return Outcome::Done;
}

PowerManager::Outcome PowerManager::Unlock(int state)
{
    if (state < DEVICE_POWER_STATE_NORMAL || state > DEVICE_POWER_STATE_SUSPEND) {
        return Outcome::Invalid;
    }
    const bool wasHeld = state == DEVICE_POWER_STATE_STANDBY && m_locks.Release(Locks::Kind::Standby);
    return wasHeld ? Outcome::Done : Outcome::NotHeld;
}

void PowerManager::SetWakeupReason(int reason)
{
    m_now.wakeupReason = reason;
    StateFile::Save(m_now);
    m_object.Refresh();
}

void PowerManager::LocksChanged()
{
    m_login.Block(m_locks.AreHeld());
    if (m_wayOut && m_wayOut->phase == Phase::Waiting && !m_locks.AreHeld()) {
        Proceed();
    }
    m_object.Refresh();
    WatchStandby();
}

void PowerManager::WatchStandby()
{
    const bool mayEnd = m_now.state == DEVICE_POWER_STATE_STANDBY && !m_locks.AreHeld() && !m_wayOut && !m_cannotSleep;
    if (!mayEnd) {
        m_standbyEnds.Stop();
    } else if (!m_standbyEnds.IsRunning()) {
        m_standbyEnds.Start(kStandbyMs, [this] { RequestPowerOff(kSuspendFromStandby); });
    }
}

} // namespace power
