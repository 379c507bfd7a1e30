#include "sim/Call.h"
#include "sim/Power.h"
#include "sim/Slot.h"
#include "sim/Television.h"

#include <device_power.h>

#include <optional>

using sim::Call;
using sim::Television;

power_state_e device_power_get_state(void)
{
    return Call(__func__).Answers([](Television& tv) { return tv.power.state; });
}

int device_power_set_state(power_state_e state, int flag)
{
    return Call(__func__, state, flag).Does([=](Television& tv) {
        tv.power.GoesTo(state, tv.power.ambientMode);
        return 0;
    });
}

int device_power_get_wakeup_reason(void)
{
    return Call(__func__).Answers([](Television& tv) { return tv.power.wakeUpReason; });
}

int device_power_set_wakeup_reason(int reason)
{
    return Call(__func__, reason).Does([=](Television& tv) {
        tv.power.wakeUpReason = reason;
        return 0;
    });
}

int device_power_get_ambient_mode(void)
{
    return Call(__func__).Answers([](Television& tv) { return tv.power.ambientMode; });
}

int device_power_get_ambient_type(void)
{
    return Call(__func__).Answers([](Television& tv) { return tv.power.ambientType; });
}

int device_power_lock_state(power_state_e state, int timeout_ms)
{
    return Call(__func__, state, timeout_ms).Does([=](Television& tv) { return tv.power.Lock(state, timeout_ms); });
}

int device_power_unlock_state(power_state_e state)
{
    return Call(__func__, state).Does([=](Television& tv) { return tv.power.Unlock(state); });
}

int device_power_request_poweroff(int reason)
{
    return Call(__func__, reason).Does([=](Television& tv) {
        tv.power.requestedPowerOff = reason;
        return 0;
    });
}

int device_power_request_reboot(int reason)
{
    return Call(__func__, reason).Does([=](Television& tv) {
        tv.power.requestedReboot = reason;
        return 0;
    });
}

int device_power_subscribe_ambient_poweroff(device_power_poweroff_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().power.onAmbientPowerOff, callback, user_data);
}

int device_power_subscribe_poweroff_event(device_power_poweroff_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().power.onPowerOff, callback, user_data);
}

int device_power_subscribe_post_poweroff_event(device_power_poweroff_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().power.onPostPowerOff, callback, user_data);
}

int device_power_subscribe_wakeup(device_power_wakeup_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().power.onWakeUp, callback, user_data);
}

int device_power_subscribe_state_changed_event(device_power_state_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().power.onStateChanged, callback, user_data);
}

int device_power_subscribe_standby(device_power_standby_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().power.onStandby, callback, user_data);
}

int device_power_unsubscribe_ambient_poweroff(device_power_poweroff_cb callback)
{
    return Call(__func__).Does([=](Television& tv) { return tv.power.onAmbientPowerOff.UnsetIf(callback); });
}

int device_power_unsubscribe_poweroff_event(device_power_poweroff_cb callback)
{
    return Call(__func__).Does([=](Television& tv) { return tv.power.onPowerOff.UnsetIf(callback); });
}

int device_power_unsubscribe_post_poweroff_event(device_power_poweroff_cb callback)
{
    return Call(__func__).Does([=](Television& tv) { return tv.power.onPostPowerOff.UnsetIf(callback); });
}

int device_power_unsubscribe_wakeup(device_power_wakeup_cb callback)
{
    return Call(__func__).Does([=](Television& tv) { return tv.power.onWakeUp.UnsetIf(callback); });
}

int device_power_unsubscribe_state_changed_event(device_power_state_changed_cb callback)
{
    return Call(__func__).Does([=](Television& tv) { return tv.power.onStateChanged.UnsetIf(callback); });
}

int device_power_unsubscribe_standby(device_power_standby_cb callback)
{
    return Call(__func__).Does([=](Television& tv) { return tv.power.onStandby.UnsetIf(callback); });
}
