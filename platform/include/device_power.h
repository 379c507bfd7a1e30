/* The power manager: the television's power state, what it waits for, and notices of its changes.
 *
 * Functions that report a state return it directly. All others answer 0 or, on failure, a negative number.
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef int power_state_e;
enum
{
    DEVICE_POWER_STATE_NORMAL = 0,
    DEVICE_POWER_STATE_PICTURE_OFF = 1,
    DEVICE_POWER_STATE_STANDBY = 2,
    DEVICE_POWER_STATE_OFF = 3,
    DEVICE_POWER_STATE_SUSPEND = 4,
    DEVICE_POWER_STATE_LOW_POWER = DEVICE_POWER_STATE_SUSPEND /* in which the ambient picture may run */
};

/* Why the television woke up; other reasons exist. */
enum
{
    DEVICE_POWER_WAKEUP_STANDBY_REBOOT = 50, /* restart out of standby */
    DEVICE_POWER_WAKEUP_BLUETOOTH = 94,
    DEVICE_POWER_WAKEUP_BLUETOOTH_IN_STANDBY = 95
};

/* What is shown while nobody watches. */
enum
{
    DEVICE_POWER_AMBIENT_MODE_NONE = 0,
    DEVICE_POWER_AMBIENT_MODE_ART = 1,
    DEVICE_POWER_AMBIENT_MODE_LOW_POWER = 2, /* the picture of the low-power mode */
    DEVICE_POWER_AMBIENT_MODE_SUSPEND = 3    /* on the way to suspend */
};

/* The kind of that picture, a bit mask. */
enum
{
    DEVICE_POWER_AMBIENT_TYPE_ART = 4
};

/* Power-off options: two whole values for a reset, whose difference only the power manager knows, and bits. */
enum
{
    DEVICE_POWEROFF_OPTION_RESET = 13,
    DEVICE_POWEROFF_OPTION_RESET_ALT = 14,
    DEVICE_POWEROFF_OPTION_IGNORE_LOCK = 1 << 29,
    DEVICE_POWEROFF_OPTION_SUSPEND_OFF = 1 << 30 /* off for good instead of suspended */
};

typedef struct
{
    int f0; /* 0 */
    int f1; /* the reason of waking up or switching off */
    int prev_state;
    int new_state;
    int prev_ambient_mode; /* DEVICE_POWER_AMBIENT_MODE_... */
    int new_ambient_mode;
} device_power_state_info;

typedef struct
{
    int option; /* DEVICE_POWEROFF_OPTION_... */
} device_poweroff_info;

/* Handlers answer 0. The power manager waits for their return before it goes on, up to some seconds. */
typedef int (*device_power_poweroff_cb)(device_poweroff_info* info, void* user_data);
typedef int (*device_power_wakeup_cb)(int reason, void* user_data);
typedef int (*device_power_state_changed_cb)(device_power_state_info* info, void* user_data);
typedef int (*device_power_standby_cb)(int option, void* user_data); /* DEVICE_POWEROFF_OPTION_... */

/* The present power state. */
power_state_e device_power_get_state(void);

/* Asks for another power state; flag is 1 for an action of the user. */
int device_power_set_state(power_state_e state, int flag);

/* Why the television woke up (DEVICE_POWER_WAKEUP_...). Setting it tells the next reader. */
int device_power_get_wakeup_reason(void);
int device_power_set_wakeup_reason(int reason);

/* The ambient mode (DEVICE_POWER_AMBIENT_MODE_...) and the kind of picture it shows, a bit mask
 * (DEVICE_POWER_AMBIENT_TYPE_...). */
int device_power_get_ambient_mode(void);
int device_power_get_ambient_type(void);

/* Keeps the television in the given state for at most timeout_ms milliseconds. A second lock replaces the time-out of
 * the first. */
int device_power_lock_state(power_state_e state, int timeout_ms);

/* Gives up the lock. Fails, without harm, when there is none. */
int device_power_unlock_state(power_state_e state);

/* Asks to switch the television off, or to restart it. Success says that the request was taken. */
int device_power_request_poweroff(int reason);
int device_power_request_reboot(int reason);

/* Name the receivers of the six notices: ambient mode ends in power-off; power-off begins; power-off is done but for
 * the last step; wake-up; the power state changed; standby begins. A later call replaces the receiver of that notice.
 */
int device_power_subscribe_ambient_poweroff(device_power_poweroff_cb callback, void* user_data);
int device_power_subscribe_poweroff_event(device_power_poweroff_cb callback, void* user_data);
int device_power_subscribe_post_poweroff_event(device_power_poweroff_cb callback, void* user_data);
int device_power_subscribe_wakeup(device_power_wakeup_cb callback, void* user_data);
int device_power_subscribe_state_changed_event(device_power_state_changed_cb callback, void* user_data);
int device_power_subscribe_standby(device_power_standby_cb callback, void* user_data);

/* End a notice. For a callback that was not subscribed the answer is -1 and no notice ends. */
int device_power_unsubscribe_ambient_poweroff(device_power_poweroff_cb callback);
int device_power_unsubscribe_poweroff_event(device_power_poweroff_cb callback);
int device_power_unsubscribe_post_poweroff_event(device_power_poweroff_cb callback);
int device_power_unsubscribe_wakeup(device_power_wakeup_cb callback);
int device_power_unsubscribe_state_changed_event(device_power_state_changed_cb callback);
int device_power_unsubscribe_standby(device_power_standby_cb callback);

#ifdef __cplusplus
}
#endif
