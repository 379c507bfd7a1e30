// The way out of being awake, and the way back.

#include "Log.h"
#include "loop/Queue.h"
#include "loop/Timer.h"
#include "power/Locks.h"
#include "power/Login.h"
#include "power/PowerManager.h"
#include "power/ResetCounters.h"
#include "power/Slot.h"
#include "power/StateFile.h"
#include "power/Wake.h"

#include <device_power.h>

#include <optional>
#include <utility>

namespace power {

namespace {

constexpr int kWokenByPerson = 0; // or by anything else that is not Bluetooth
constexpr int kWokenInStandby = 94;
constexpr int kWokenAsleep = 95;

} // namespace

PowerManager::Outcome PowerManager::Begin(int option, Ending ending, bool isForeign)
{
    if (m_wayOut) {
        PLATFORM_LOG(DLOG_WARN, "on the way out already: option %d counts for nothing", option);
        return Outcome::Busy;
    }
    PLATFORM_LOG(DLOG_INFO, "on the way out, option 0x%x%s", static_cast<unsigned>(option),
                 isForeign ? ", by another program" : "");
    const bool isFromLowPower = m_now.state == DEVICE_POWER_STATE_SUSPEND && m_now.ambientMode == kAmbientLowPower;
    m_wayOut = WayOut{++m_wayOuts, option, ending, Phase::Entered, isForeign, isFromLowPower, m_now};
    m_standbyEnds.Stop();
    if (m_now.state < DEVICE_POWER_STATE_STANDBY) {
        GoTo(DEVICE_POWER_STATE_STANDBY, kAmbientNone, 0, option);
    }
    PostStep(m_queue, &PowerManager::TellStandby);
    return Outcome::Done;
}

void PowerManager::PostStep(loop::Queue& queue, void (PowerManager::*step)())
{
    queue.Post([this, step, id = m_wayOut->id] {
        if (m_wayOut && m_wayOut->id == id) {
            (this->*step)();
        }
    });
}

/// Somebody wants the box after all.
/// \return false when it is too late, because its power-off has been told
bool PowerManager::GiveUpWayOut()
{
    if (m_wayOut->phase >= Phase::Telling || m_wayOut->isForeign) {
        return false;
    }
    PLATFORM_LOG(DLOG_INFO, "the way out is given up");
    m_lockPatience.Stop();
    m_wayOut.reset();
    return true;
}

void PowerManager::TellStandby()
{
    const unsigned id = m_wayOut->id;
    m_notices.standby.Tell(m_wayOut->option);
    if (!m_wayOut || m_wayOut->id != id || m_wayOut->phase != Phase::Entered) {
        return; // given up, or taken out of our hands, by the receiver
    }
    const bool ignoresLocks = m_wayOut->isForeign || (m_wayOut->option & DEVICE_POWEROFF_OPTION_IGNORE_LOCK) != 0;
    if (ignoresLocks || !m_locks.AreHeld()) {
        Proceed();
        return;
    }
    m_wayOut->phase = Phase::Waiting;
    m_lockPatience.Start(kMostLockedMs, [this] {
        PLATFORM_LOG(DLOG_WARN, "a lock was held for too long: the box goes out all the same");
        Proceed();
    });
}

void PowerManager::Proceed()
{
    m_lockPatience.Stop();
    m_wayOut->phase = Phase::Telling;
    PostStep(m_queue, &PowerManager::TellPowerOff);
    PostStep(m_queue, &PowerManager::TellPostPowerOff);
    PostStep(m_last, &PowerManager::End);
}

void PowerManager::TellPowerOff()
{
    device_poweroff_info info = {m_wayOut->option};
    (m_wayOut->isFromLowPower ? m_notices.ambientPowerOff : m_notices.powerOff).Tell(&info);
}

void PowerManager::TellPostPowerOff()
{
    device_poweroff_info info = {m_wayOut->option};
    m_notices.postPowerOff.Tell(&info);
}

void PowerManager::End()
{
    m_wayOut->phase = Phase::Ended;
    if (!m_wayOut->isForeign && m_wayOut->ending == Ending::Reboot) {
        CountReset(m_wayOut->option);
        const bool wasOn = m_wayOut->before.state < DEVICE_POWER_STATE_STANDBY;
        RestartNote::Leave(wasOn ? DEVICE_POWER_STATE_NORMAL : DEVICE_POWER_STATE_STANDBY);
    }
    const bool isSuspend = m_wayOut->ending == Ending::Suspend;
    GoTo(isSuspend ? DEVICE_POWER_STATE_SUSPEND : DEVICE_POWER_STATE_OFF,
         m_wayOut->isFromLowPower ? kAmbientToSuspend : kAmbientNone, 0, m_wayOut->option);
    PostStep(m_last, &PowerManager::AskLogin); // once the change is told
}

void PowerManager::AskLogin()
{
    m_controllerWake.reset();
    // Our own holds would keep us from it.
    m_login.Block(false);
    m_login.Delay(false);
    if (m_wayOut->isForeign) {
        return;
    }
    const Login::Request request = m_wayOut->ending == Ending::Suspend    ? Login::Request::Suspend
                                   : m_wayOut->ending == Ending::PowerOff ? Login::Request::PowerOff
                                                                          : Login::Request::Reboot;
    m_login.Ask(request, [this, id = m_wayOut->id] {
        if (m_wayOut && m_wayOut->id == id) {
            StaysAwake(DEVICE_POWER_STATE_STANDBY);
        }
    });
}

/// Nothing came of it, so everybody who was told to end is told to go on.
void PowerManager::StaysAwake(int state)
{
    RestartNote::Forget();
    m_wayOut.reset();
    m_cannotSleep = true;
    m_queue.Post([this] { m_notices.wakeUp.Tell(kWokenByPerson); });
    GoTo(state, kAmbientNone, 0, kWokenByPerson);
    m_login.Delay(true);
    m_login.Block(m_locks.AreHeld());
}

void PowerManager::SleepComes()
{
    HandOverToLogin(Ending::Suspend, 0);
}

void PowerManager::ShutdownComes()
{
    // There is no time for what would need a lock. Restart and power-off look the same from here.
    HandOverToLogin(Ending::PowerOff, DEVICE_POWEROFF_OPTION_SUSPEND_OFF | DEVICE_POWEROFF_OPTION_IGNORE_LOCK);
}

void PowerManager::HandOverToLogin(Ending ending, int option)
{
    if (!m_wayOut) {
        Begin(option, ending, true);
        return;
    }
    if (m_wayOut->phase == Phase::Ended) {
        return; // our own request
    }
    m_wayOut->isForeign = true;
    m_wayOut->ending = ending;
    if (m_wayOut->phase == Phase::Waiting) {
        Proceed();
    }
}

void PowerManager::SleepEnded()
{
    Wakes::OfProcess().Begins("resume");
    if (m_controllerWake) {
        Resume();
    } else {
        m_controllerPatience.Start(kControllerMs, [this] { Resume(); });
    }
}

void PowerManager::ControllerResumed(bool byDevice, bool isAudio)
{
    m_controllerWake = ControllerWake{byDevice, isAudio};
    if (m_controllerPatience.IsRunning()) {
        m_controllerPatience.Stop();
        Resume();
    }
}

void PowerManager::Resume()
{
    const ControllerWake controller = std::exchange(m_controllerWake, std::nullopt).value_or(ControllerWake());
    const bool wasAsleep = m_now.state == DEVICE_POWER_STATE_SUSPEND;
    const int byBluetooth = wasAsleep ? kWokenAsleep : kWokenInStandby;
    const int reason = controller.byDevice ? byBluetooth : kWokenByPerson;
    m_lockPatience.Stop();
    m_wayOut.reset(); // also one that the sleep overtook
    m_cannotSleep = false;
    SetWakeupReason(reason);
    m_queue.Post([this, reason] { m_notices.wakeUp.Tell(reason); });
    // A speaker that looks for its box must not light up the room.
    const bool isForSpeaker = controller.byDevice && controller.isAudio;
    GoTo(isForSpeaker ? DEVICE_POWER_STATE_STANDBY : DEVICE_POWER_STATE_NORMAL, kAmbientNone, 0, reason);
    m_login.Delay(true);
    m_login.Block(m_locks.AreHeld());
}

void PowerManager::ShutdownCancelled()
{
    if (m_wayOut) {
        m_lockPatience.Stop();
        StaysAwake(m_wayOut->before.state);
    }
}

} // namespace power
