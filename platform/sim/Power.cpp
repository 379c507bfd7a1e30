#include "sim/Power.h"

#include "sim/Television.h"

#include <optional>

namespace sim {

void Power::GoesTo(power_state_e newState, int newAmbientMode, int reason)
{
    const device_power_state_info info = {0, reason, state, newState, ambientMode, newAmbientMode};
    m_tv.tape.Note("the set goes from power state " + std::to_string(state) + " to " + std::to_string(newState) +
                   ", ambient mode " + std::to_string(newAmbientMode));
    state = newState;
    ambientMode = newAmbientMode;
    TellsStateChange(&info);
}

void Power::TellsStateChange(const device_power_state_info* info)
{
    std::optional<device_power_state_info> record;
    if (info != nullptr) {
        record = *info;
    }
    m_tv.queue.Post([this, record]() mutable { onStateChanged.Tell(record ? &*record : nullptr); });
}

void Power::AnnouncesStandby(int option)
{
    m_tv.tape.Note("the set is about to go to standby, option " + std::to_string(option));
    m_tv.queue.Post([this, option] { onStandby.Tell(option); });
}

void Power::PowersOff(int option)
{
    m_tv.tape.Note("the set powers off, option " + std::to_string(option));
    const device_poweroff_info info = {option};
    TellsPowerOff(&info);
    TellsPostPowerOff(&info);
}

void Power::LeavesAmbientByPowerOff(int option)
{
    m_tv.tape.Note("the set powers off out of the low-power picture, option " + std::to_string(option));
    const device_poweroff_info info = {option};
    TellsAmbientPowerOff(&info);
}

void Power::WakesUp(int reason)
{
    m_tv.tape.Note("the set wakes up, reason " + std::to_string(reason));
    wakeUpReason = reason;
    m_tv.queue.Post([this, reason] { onWakeUp.Tell(reason); });
}

void Power::Tell(Slot<device_power_poweroff_cb>& slot, const device_poweroff_info* info)
{
    std::optional<device_poweroff_info> record;
    if (info != nullptr) {
        record = *info;
    }
    m_tv.queue.Post([&slot, record]() mutable { slot.Tell(record ? &*record : nullptr); });
}

void Power::TellsPowerOff(const device_poweroff_info* info)
{
    Tell(onPowerOff, info);
}

void Power::TellsPostPowerOff(const device_poweroff_info* info)
{
    Tell(onPostPowerOff, info);
}

void Power::TellsAmbientPowerOff(const device_poweroff_info* info)
{
    Tell(onAmbientPowerOff, info);
}

int Power::Lock(power_state_e lockedState, int timeoutMs)
{
    const std::uint64_t lock = ++m_lockCount;
    m_locks.insert_or_assign(lockedState, lock);
    m_tv.queue.PostAfter(std::chrono::milliseconds(timeoutMs), [this, lockedState, lock] {
        const auto found = m_locks.find(lockedState);
        if (found != m_locks.end() && found->second == lock) {
            m_locks.erase(found);
            m_tv.tape.Note("the lock of power state " + std::to_string(lockedState) + " runs out");
        }
    });
    return 0;
}

int Power::Unlock(power_state_e lockedState)
{
    return m_locks.erase(lockedState) == 1 ? 0 : -1;
}

} // namespace sim
