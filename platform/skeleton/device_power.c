/* A television that is always on. */
#include "device_power.h"

power_state_e device_power_get_state(void)
{
    return DEVICE_POWER_STATE_NORMAL;
}

int device_power_set_state(power_state_e state, int flag)
{
    return 0;
}

int device_power_get_wakeup_reason(void)
{
    return 0;
}

int device_power_set_wakeup_reason(int reason)
{
    return 0;
}

int device_power_get_ambient_mode(void)
{
    return 0;
}

int device_power_get_ambient_type(void)
{
    return 0;
}

int device_power_lock_state(power_state_e state, int timeout_ms)
{
    return 0;
}

int device_power_unlock_state(power_state_e state)
{
    return 0;
}

int device_power_request_poweroff(int reason)
{
    return 0;
}

int device_power_request_reboot(int reason)
{
    return 0;
}

int device_power_subscribe_ambient_poweroff(device_power_poweroff_cb callback, void* user_data)
{
    return 0;
}

int device_power_subscribe_poweroff_event(device_power_poweroff_cb callback, void* user_data)
{
    return 0;
}

int device_power_subscribe_post_poweroff_event(device_power_poweroff_cb callback, void* user_data)
{
    return 0;
}

int device_power_subscribe_wakeup(device_power_wakeup_cb callback, void* user_data)
{
    return 0;
}

int device_power_subscribe_state_changed_event(device_power_state_changed_cb callback, void* user_data)
{
    return 0;
}

int device_power_subscribe_standby(device_power_standby_cb callback, void* user_data)
{
    return 0;
}

int device_power_unsubscribe_ambient_poweroff(device_power_poweroff_cb callback)
{
    return 0;
}

int device_power_unsubscribe_poweroff_event(device_power_poweroff_cb callback)
{
    return 0;
}

int device_power_unsubscribe_post_poweroff_event(device_power_poweroff_cb callback)
{
    return 0;
}

int device_power_unsubscribe_wakeup(device_power_wakeup_cb callback)
{
    return 0;
}

int device_power_unsubscribe_state_changed_event(device_power_state_changed_cb callback)
{
    return 0;
}

int device_power_unsubscribe_standby(device_power_standby_cb callback)
{
    return 0;
}
