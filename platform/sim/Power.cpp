#include "sim/Power.h"

#include "sim/Queue.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <glib.h>

#include <device_power.h>

#include <chrono>
#include <optional>
#include <string>

namespace sim {

namespace {

std::string StateName(power_state_e state)
{
    switch (state) {
    case DEVICE_POWER_STATE_NORMAL:
        return "normal";
    case DEVICE_POWER_STATE_PICTURE_OFF:
        return "picture off";
    case DEVICE_POWER_STATE_STANDBY:
        return "standby";
    case DEVICE_POWER_STATE_OFF:
        return "off";
    case DEVICE_POWER_STATE_SUSPEND:
        return "suspend";
    default:
        return "power state " + std::to_string(state);
    }
}

/// An option is a small number, with bits above it.
std::string OptionText(int option)
{
    std::string text;
    text += (option & DEVICE_POWEROFF_OPTION_SUSPEND_OFF) != 0 ? "for good" : "";
    text += (option & DEVICE_POWEROFF_OPTION_IGNORE_LOCK) != 0
                ? (text.empty() ? "whatever holds it" : ", whatever holds it")
                : "";
    const int rest = option & ~(DEVICE_POWEROFF_OPTION_SUSPEND_OFF | DEVICE_POWEROFF_OPTION_IGNORE_LOCK);
    if (rest == DEVICE_POWEROFF_OPTION_RESET || rest == DEVICE_POWEROFF_OPTION_RESET_ALT) {
        text += (text.empty() ? "" : ", ") + std::string("with a reset (") + std::to_string(rest) + ")";
    } else if (rest != 0 || text.empty()) {
        text += std::string(text.empty() ? "" : ", ") + "option " + std::to_string(rest);
    }
    return text;
}

} // namespace

namespace {

/// A callback that takes this long is noted on the tape.
constexpr std::chrono::milliseconds kLongWait{100};

std::chrono::microseconds Now()
{
    return std::chrono::microseconds(g_get_monotonic_time());
}

} // namespace

template <typename Callback, typename Argument>
void Power::TellAndWait(const Slot<Callback>& slot, Argument argument)
{
    const auto start = Now();
    slot.Tell(argument);
    const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Now() - start);
    if (waited >= kLongWait) {
        m_tv.tape.Note("the power manager waited " + std::to_string(waited.count()) + " ms");
    }
}

void Power::GoesTo(power_state_e newState, int newAmbientMode, int reason)
{
    const device_power_state_info info = {0, reason, state, newState, ambientMode, newAmbientMode};
    const Tape::Scope happens = m_tv.tape.Note("the set goes from " + StateName(state) + " to " + StateName(newState) +
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
    m_tv.queue.Post([this, record]() mutable { TellAndWait(onStateChanged, record ? &*record : nullptr); });
}

void Power::AnnouncesStandby(int option)
{
    const Tape::Scope happens = m_tv.tape.Note("the set is about to go to standby, " + OptionText(option));
    m_tv.queue.Post([this, option] { TellAndWait(onStandby, option); });
}

void Power::PowersOff(int option)
{
    const Tape::Scope happens = m_tv.tape.Note("the set powers off, " + OptionText(option));
    const device_poweroff_info info = {option};
    TellsPowerOff(&info);
    TellsPostPowerOff(&info);
}

void Power::LeavesAmbientByPowerOff(int option)
{
    const Tape::Scope happens =
        m_tv.tape.Note("the set powers off out of the low-power picture, " + OptionText(option));
    const device_poweroff_info info = {option};
    TellsAmbientPowerOff(&info);
}

void Power::WakesUp(int reason)
{
    const Tape::Scope happens = m_tv.tape.Note("the set wakes up, reason " + std::to_string(reason));
    wakeUpReason = reason;
    m_tv.queue.Post([this, reason] { TellAndWait(onWakeUp, reason); });
}

void Power::SwitchesOff(int option)
{
    const Tape::Scope happens = m_tv.tape.Note("the set is switched off, " + OptionText(option));
    AnnouncesStandby(option);
    m_tv.queue.Post([this, option] {
        m_waitsInStandby = option;
        GoOnSwitchingOff();
    });
}

void Power::GoOnSwitchingOff()
{
    if (!m_waitsInStandby) {
        return;
    }
    const int option = *m_waitsInStandby;
    if (IsLocked(DEVICE_POWER_STATE_STANDBY) && (option & DEVICE_POWEROFF_OPTION_IGNORE_LOCK) == 0) {
        return;
    }
    m_waitsInStandby.reset();
    PowersOff(option);
    m_tv.queue.Post([this, option] {
        const bool isSuspended = (option & DEVICE_POWEROFF_OPTION_SUSPEND_OFF) == 0;
        state = isSuspended ? DEVICE_POWER_STATE_SUSPEND : DEVICE_POWER_STATE_OFF;
        m_tv.tape.Note(isSuspended ? "the set is suspended" : "the set is off");
    });
}

void Power::Tell(Slot<device_power_poweroff_cb>& slot, const device_poweroff_info* info)
{
    std::optional<device_poweroff_info> record;
    if (info != nullptr) {
        record = *info;
    }
    m_tv.queue.Post([this, &slot, record]() mutable { TellAndWait(slot, record ? &*record : nullptr); });
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
            const Tape::Scope happens =
                m_tv.tape.Note("the lock of power state " + std::to_string(lockedState) + " runs out");
            GoOnSwitchingOff();
        }
    });
    return 0;
}

int Power::Unlock(power_state_e lockedState)
{
    if (m_locks.erase(lockedState) == 0) {
        return -1;
    }
    m_tv.queue.Post([this] { GoOnSwitchingOff(); });
    return 0;
}

} // namespace sim
