/* The screen manager: the ambient picture and how long it may keep the television awake.
 *
 * Both answer 0 or, on failure, a negative number. The rules that hold for all platform functions (results, ownership,
 * callbacks) stand in README.md beside this header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Asks for an ambient mode showing a kind of picture (DEVICE_POWER_AMBIENT_MODE_... and ..._TYPE_... of
 * device_power.h): (0, 0) is the normal picture, (1, 4) the art picture, (3, 2) goes on to suspend. */
int screen_manager_set_ambient_mode(int mode, int type);

/* Holds (on = 1) the low-power ambient mode for at most timeout_ms milliseconds, or gives it free (0, with 0). */
int screen_manager_set_ambient_lock(int on, int timeout_ms);

#ifdef __cplusplus
}
#endif
