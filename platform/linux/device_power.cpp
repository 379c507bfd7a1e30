#include "NotSupported.h"
#include "power/PowerManager.h"
#include "power/Result.h"
#include "power/Slot.h"
#include "power/StateFile.h"

#include <device_power.h>

using power::PowerManager;
using power::ResultOf;

namespace {

constexpr int kPowerFailed = -1;

template <typename Callback>
int Subscribe(power::Slot<Callback>& slot, Callback callback, void* userData)
{
    if (callback == nullptr) {
        return kPowerFailed;
    }
    slot.Set(callback, userData);
    return 0;
}

template <typename Callback>
int Unsubscribe(power::Slot<Callback>& slot, Callback callback)
{
    return slot.UnsetIf(callback) ? 0 : kPowerFailed;
}

PowerManager::Notices& Notices()
{
    return PowerManager::OfProcess().Told();
}

} // namespace

power_state_e device_power_get_state(void)
{
    return PowerManager::OfProcess().Now().state;
}

int device_power_set_state(power_state_e state, int /*flag*/)
{
    return ResultOf(PowerManager::OfProcess().SetState(state));
}

int device_power_get_wakeup_reason(void)
{
    return PowerManager::OfProcess().Now().wakeupReason;
}

int device_power_set_wakeup_reason(int reason)
{
    PowerManager::OfProcess().SetWakeupReason(reason);
    return 0;
}

int device_power_get_ambient_mode(void)
{
    return PowerManager::OfProcess().Now().ambientMode;
}

int device_power_get_ambient_type(void)
{
    return PowerManager::OfProcess().Now().ambientType;
}

int device_power_lock_state(power_state_e state, int timeout_ms)
{
    const PowerManager::Outcome outcome = PowerManager::OfProcess().Lock(state, timeout_ms);
    return outcome == PowerManager::Outcome::NotSupported ? NotSupported(__func__, "only standby can be kept")
                                                          : ResultOf(outcome);
}

int device_power_unlock_state(power_state_e state)
{
    return ResultOf(PowerManager::OfProcess().Unlock(state));
}

int device_power_request_poweroff(int reason)
{
    return ResultOf(PowerManager::OfProcess().RequestPowerOff(reason));
}

int device_power_request_reboot(int reason)
{
    return ResultOf(PowerManager::OfProcess().RequestReboot(reason));
}

int device_power_subscribe_ambient_poweroff(device_power_poweroff_cb callback, void* user_data)
{
    return Subscribe(Notices().ambientPowerOff, callback, user_data);
}

int device_power_subscribe_poweroff_event(device_power_poweroff_cb callback, void* user_data)
{
    return Subscribe(Notices().powerOff, callback, user_data);
}

int device_power_subscribe_post_poweroff_event(device_power_poweroff_cb callback, void* user_data)
{
    return Subscribe(Notices().postPowerOff, callback, user_data);
}

int device_power_subscribe_wakeup(device_power_wakeup_cb callback, void* user_data)
{
    return Subscribe(Notices().wakeUp, callback, user_data);
}

int device_power_subscribe_state_changed_event(device_power_state_changed_cb callback, void* user_data)
{
    return Subscribe(Notices().stateChanged, callback, user_data);
}

int device_power_subscribe_standby(device_power_standby_cb callback, void* user_data)
{
    return Subscribe(Notices().standby, callback, user_data);
}

int device_power_unsubscribe_ambient_poweroff(device_power_poweroff_cb callback)
{
    return Unsubscribe(Notices().ambientPowerOff, callback);
}

int device_power_unsubscribe_poweroff_event(device_power_poweroff_cb callback)
{
    return Unsubscribe(Notices().powerOff, callback);
}

int device_power_unsubscribe_post_poweroff_event(device_power_poweroff_cb callback)
{
    return Unsubscribe(Notices().postPowerOff, callback);
}

int device_power_unsubscribe_wakeup(device_power_wakeup_cb callback)
{
    return Unsubscribe(Notices().wakeUp, callback);
}

int device_power_unsubscribe_state_changed_event(device_power_state_changed_cb callback)
{
    return Unsubscribe(Notices().stateChanged, callback);
}

int device_power_unsubscribe_standby(device_power_standby_cb callback)
{
    return Unsubscribe(Notices().standby, callback);
}
