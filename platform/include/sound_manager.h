/* The sound manager: mutes.
 *
 * All answer 0 or, on failure, a negative number. The rules that hold for all platform functions (results, ownership,
 * callbacks) stand in README.md beside this header. */
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Where the television's sound goes. Other routes exist, and the three to Bluetooth speakers differ in what only the
 * sound manager knows. */
typedef int sound_tv_output_route_e;
enum
{
    SOUND_TV_OUTPUT_BLUETOOTH = 3,
    SOUND_TV_OUTPUT_BLUETOOTH_2 = 5,
    SOUND_TV_OUTPUT_BLUETOOTH_3 = 6
};

/* Devices that have a mute of their own. */
enum
{
    SOUND_DEVICE_TV_SPEAKER = 0
};

/* Mutes or unmutes the television as a whole. */
int sound_manager_set_tv_master_mute(bool mute);

/* Mutes or unmutes one device (SOUND_DEVICE_...). */
int sound_manager_set_device_mute(int device, bool mute);

/* Whether one device is muted. On failure *mute keeps what it held. */
int sound_manager_get_device_mute(int device, bool* mute);

#ifdef __cplusplus
}
#endif
