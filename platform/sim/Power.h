#pragma once

#include "sim/Slot.h"

#include <device_power.h>

#include <cstdint>
#include <map>
#include <optional>

namespace sim {

class Television;

/// The power manager. States: 0 normal, 1 picture off, 2 standby, 3 off, 4 suspend; ambient mode 2 is the low-power
/// picture. A callback that takes 100 ms or longer is noted on the tape: a real set would wait for it.
class Power
{
public:
    explicit Power(Television& tv) : m_tv(tv) {}

    /// Changes the state and tells of it.
    void GoesTo(power_state_e newState, int newAmbientMode = 0, int reason = 0);
    /// Tells that the set will go to standby on its way to off.
    void AnnouncesStandby(int option);
    /// Tells of a power-off, in two notices: of its begin, and when all but the switching off is done.
    void PowersOff(int option);
    /// Tells of a power-off that begins in the low-power picture.
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
    /// Whether a SwitchesOff waits for a lock to end.
    [[nodiscard]] bool WaitsToSwitchOff() const
    {
        return m_waitsInStandby.has_value();
    }

    // The state. A test may set it directly; the service is then told nothing.
    power_state_e state = 0;
    int ambientMode = 0;
    int ambientType = 0;
    int wakeUpReason = 0;

    // The reason of the last request; none when there was no request.
    std::optional<int> requestedPowerOff;
    std::optional<int> requestedReboot;

    Slot<device_power_poweroff_cb> onAmbientPowerOff{"device_power_ambient_poweroff_cb"};
    Slot<device_power_poweroff_cb> onPowerOff{"device_power_poweroff_cb"};
    Slot<device_power_poweroff_cb> onPostPowerOff{"device_power_post_poweroff_cb"};
    Slot<device_power_wakeup_cb> onWakeUp{"device_power_wakeup_cb"};
    Slot<device_power_state_changed_cb> onStateChanged{"device_power_state_changed_cb"};
    Slot<device_power_standby_cb> onStandby{"device_power_standby_cb"};

private:
    void Tell(Slot<device_power_poweroff_cb>& slot, const device_poweroff_info* info);
    template <typename Callback, typename Argument>
    void TellAndWait(const Slot<Callback>& slot, Argument argument);
    /// Continues a SwitchesOff that waits in standby, unless a lock holds the set there.
    void GoOnSwitchingOff();

    Television& m_tv;
    std::optional<int> m_waitsInStandby;            // the option of a SwitchesOff that has not gone on from standby
    std::map<power_state_e, std::uint64_t> m_locks; // a number for each lock, so that an old time-out ends no new one
    std::uint64_t m_lockCount = 0;
};

} // namespace sim
