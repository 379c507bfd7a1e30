/* Bluetooth: remote control of media players and volume (AVRCP).
 *
 * The roles are never closed again: they stay open until the process ends.
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A connection of the role came up or went down. */
typedef void (*bt_avrcp_connection_state_changed_cb)(bool connected, const char* address, void* user_data);

/* The volume of the device, 0 to 127. */
typedef void (*bt_avrcp_interim_volume_notify_cb)(const char* address, unsigned int volume, void* user_data);
typedef void (*bt_avrcp_absolute_volume_changed_cb)(const char* address, unsigned int volume, void* user_data);

/* Opens the controller role and names the receiver of its connections. */
int bt_avrcp_control_initialize(bt_avrcp_connection_state_changed_cb callback, void* user_data);

/* Opens the target role and names the receiver of its connections. */
int bt_avrcp_target_initialize(bt_avrcp_connection_state_changed_cb callback, void* user_data);

/* Names the receiver of the volume that a device states when it is asked to report changes; a later call replaces
 * it. */
int bt_avrcp_set_interim_volume_notify_cb(bt_avrcp_interim_volume_notify_cb callback, void* user_data);

/* Names the receiver of volume changes made on a device; a later call replaces it. */
int bt_avrcp_set_absolute_volume_changed_cb(bt_avrcp_absolute_volume_changed_cb callback, void* user_data);

#ifdef __cplusplus
}
#endif
