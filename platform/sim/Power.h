#pragma once

#include "sim/Slot.h"

#include <device_power.h>

#include <cstdint>
#include <map>
#include <optional>

namespace sim {

class Television;

/// The power manager. States: 0 normal, 1 picture off, 2 standby, 3 off, 4 suspend; ambient mode 2 is the low-power
/// picture. It waits for each handler's return before it goes on, and notes it when that took long.
class Power
{
public:
    explicit Power(Television& tv) : m_tv(tv) {}

    /// The set changes its state, and tells so.
    void GoesTo(power_state_e newState, int newAmbientMode = 0, int reason = 0);
    /// What is told before a set goes to standby on its way out.
    void AnnouncesStandby(int option);
    /// A power-off, told in its two notices: begun, and done but for the last.
    void PowersOff(int option);
    /// A power-off out of the low-power picture.
    void LeavesAmbientByPowerOff(int option);
    void WakesUp(int reason);
    /// The whole way out: standby is announced; once nothing holds the set there, or at once when the option ignores
    /// locks, the power-off is told in its two notices; then the set is off, or suspended.
    void SwitchesOff(int option);

    // Notices with a record of the test's own, which may be null.
    void TellsStateChange(const device_power_state_info* info);
    void TellsPowerOff(const device_poweroff_info* info);
    void TellsPostPowerOff(const device_poweroff_info* info);
    void TellsAmbientPowerOff(const device_poweroff_info* info);

    /// Holds the set in a state until it is released or the time is over.
    int Lock(power_state_e lockedState, int timeoutMs);
    int Unlock(power_state_e lockedState);
    [[nodiscard]] bool IsLocked(power_state_e lockedState) const
    {
        return m_locks.contains(lockedState);
    }

    // What the set is in, for a test to set without a notice.
    power_state_e state = 0;
    int ambientMode = 0;
    int ambientType = 0;
    int wakeUpReason = 0;

    // What it was asked for last, by reason.
    std::optional<int> requestedPowerOff;
    std::optional<int> requestedReboot;

    Slot<device_power_poweroff_cb> onAmbientPowerOff;
    Slot<device_power_poweroff_cb> onPowerOff;
    Slot<device_power_poweroff_cb> onPostPowerOff;
    Slot<device_power_wakeup_cb> onWakeUp;
    Slot<device_power_state_changed_cb> onStateChanged;
    Slot<device_power_standby_cb> onStandby;

private:
    void Tell(Slot<device_power_poweroff_cb>& slot, const device_poweroff_info* info);
    template <typename Callback, typename Argument>
    void TellAndWait(const Slot<Callback>& slot, Argument argument);
    /// Goes on with a way out that waits in standby, if nothing holds the set there.
    void GoOnSwitchingOff();

    Television& m_tv;
    std::optional<int> m_waitsInStandby;            // the option of a way out that has announced standby
    std::map<power_state_e, std::uint64_t> m_locks; // a number for each lock, so that an old time-out ends no new one
    std::uint64_t m_lockCount = 0;
};

} // namespace sim
