#pragma once

#include "bus/SystemBus.h"
#include "loop/Queue.h"
#include "loop/Timer.h"
#include "power/DisplayHooks.h"
#include "power/Locks.h"
#include "power/Login.h"
#include "power/PowerObject.h"
#include "power/Slot.h"
#include "power/StateFile.h"

#include <gio/gio.h>

#include <device_power.h>

#include <optional>

namespace power {

/// The ambient modes that decide something here; another one is a picture that is shown while the set is on.
inline constexpr int kAmbientNone = 0;
inline constexpr int kAmbientLowPower = 2;
inline constexpr int kAmbientToSuspend = 3;

/// The power states of a television on a box that knows two: awake, and asleep or off by logind.
///
/// Normal and picture-off differ in the picture, standby is silent and dark but awake: a minute of it without a lock
/// ends in sleep. The way out of being awake has one order, whoever asked for it: standby is entered and told, locks
/// are waited for, the power-off is told in its two notices, then logind is asked. Somebody else's suspend or shutdown
/// goes the same way as far as logind waits, but for the locks: those logind knows of itself.
///
/// The functions return at once. Receivers are told from the main loop, one a round, in the order of what happened.
class PowerManager final : private bus::Guest, private Login::Listener
{
public:
    enum class Outcome
    {
        Done,
        Invalid,     ///< no such state, mode or time
        Busy,        ///< the box is on its way out
        NotHeld,     ///< no such lock
        NotSupported ///< no lock can keep the box in this state
    };

    struct Notices
    {
        Slot<device_power_poweroff_cb> ambientPowerOff{"ambient power-off"};
        Slot<device_power_poweroff_cb> powerOff{"power-off"};
        Slot<device_power_poweroff_cb> postPowerOff{"post-power-off"};
        Slot<device_power_wakeup_cb> wakeUp{"wake-up"};
        Slot<device_power_state_changed_cb> stateChanged{"state"};
        Slot<device_power_standby_cb> standby{"standby"};
    };

    static constexpr guint kStandbyMs = 60000;    ///< without a lock, then the box sleeps
    static constexpr guint kMostLockedMs = 60000; ///< that a way out waits for locks
    static constexpr guint kControllerMs = 300;   ///< that a resume waits to hear whether the controller woke the box

    static PowerManager& OfProcess();

    PowerManager();
    ~PowerManager();
    PowerManager(const PowerManager&) = delete;
    PowerManager& operator=(const PowerManager&) = delete;

    [[nodiscard]] const Remembered& Now() const
    {
        return m_now;
    }
    [[nodiscard]] bool IsLocked() const
    {
        return m_locks.AreHeld();
    }
    Notices& Told()
    {
        return m_notices;
    }

    // What siblings and the service ask for.

    Outcome SetState(int state);
    Outcome RequestPowerOff(int option);
    Outcome RequestReboot(int reason);
    Outcome SetAmbient(int mode, int type);
    Outcome SetAmbientLock(bool on, gint64 milliseconds);
    Outcome Lock(int state, gint64 milliseconds);
    Outcome Unlock(int state);
    void SetWakeupReason(int reason);

    /// The kernel says why the Bluetooth controller resumed. It may be heard before or after logind's own word.
    void ControllerResumed(bool byDevice, bool isAudio);

private:
    enum class Ending
    {
        Suspend,
        PowerOff,
        Reboot
    };
    enum class Phase
    {
        Entered, ///< standby is to be told
        Waiting, ///< for locks
        Telling, ///< nothing stops it any more
        Ended    ///< logind has the word
    };
    struct WayOut
    {
        unsigned id = 0;
        int option = 0;
        Ending ending = Ending::Suspend;
        Phase phase = Phase::Entered;
        bool isForeign = false;      ///< logind asked us, not we logind
        bool isFromLowPower = false; ///< out of the low-power picture
        Remembered before;
    };
    struct ControllerWake
    {
        bool byDevice = false;
        bool isAudio = false;
    };

    // PowerManager.cpp: states, picture and sound.
    void BusCame(GDBusConnection* /*connection*/) override {}
    void BusSettled(GDBusConnection* connection) override;
    void BusWent(GDBusConnection* connection) override;
    void Restore();
    void GoTo(int state, int ambientMode, int ambientType, int reason);
    void BalanceSound();
    void LocksChanged();
    void WatchStandby();

    // WayOut.cpp: out of being awake, and back.
    Outcome Begin(int option, Ending ending, bool isForeign);
    bool GiveUpWayOut();
    void HandOverToLogin(Ending ending, int option);
    void TellStandby();
    void Proceed();
    void End();
    void AskLogin();
    void StaysAwake(int state);
    void Resume();
    void SleepComes() override;
    void ShutdownComes() override;
    void SleepEnded() override;
    void ShutdownCancelled() override;
    /// A step of the present way out, dropped when that is given up meanwhile.
    void PostStep(loop::Queue& queue, void (PowerManager::*step)());
    void TellPowerOff();
    void TellPostPowerOff();

    Remembered m_now;
    Notices m_notices;
    loop::Queue m_queue;
    loop::Queue m_last{G_PRIORITY_LOW}; ///< after all that the receivers have left to the main loop
    loop::Timer m_standbyEnds;
    loop::Timer m_lockPatience;
    loop::Timer m_controllerPatience;
    std::optional<WayOut> m_wayOut;
    unsigned m_wayOuts = 0;
    std::optional<ControllerWake> m_controllerWake;
    bool m_cannotSleep = false; ///< it was tried; not again by itself until the state is another
    DisplayHooks m_hooks;
    Locks m_locks;
    Login m_login;
    PowerObject m_object;
};

} // namespace power
