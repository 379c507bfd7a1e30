/* Bluetooth: audio connections, A2DP and hands-free.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef int bt_audio_profile_type_e;
enum
{
    BT_AUDIO_PROFILE_HANDS_FREE = 1,
    BT_AUDIO_PROFILE_A2DP_SOURCE = 2, /* the television plays: a speaker or headphones are connected */
    BT_AUDIO_PROFILE_A2DP_SINK = 16   /* the television listens: a phone plays to it */
};

typedef struct
{
    char* device_address;
    bt_audio_profile_type_e type;
} bt_audio_connected_info_s;

/* An audio connection came up or went down. A failed attempt is reported with a result other than BT_ERROR_NONE. */
typedef void (*bt_audio_connection_state_changed_cb)(int result, bool connected, const char* address,
                                                     bt_audio_profile_type_e type, void* user_data);

/* The service level connection of a hands-free device came up or went down. */
typedef void (*bt_audio_slc_state_changed_cb)(bool connected, const char* address, void* user_data);

/* Opens and closes the audio part of the stack for this process. */
int bt_audio_initialize(void);
int bt_audio_deinitialize(void);

/* Names the receiver of audio connections; a later call replaces it. */
int bt_audio_set_connection_state_changed_cb(bt_audio_connection_state_changed_cb callback, void* user_data);
int bt_audio_unset_connection_state_changed_cb(void);

/* Names the receiver of service level connections; a later call replaces it. */
int bt_audio_set_slc_state_changed_cb(bt_audio_slc_state_changed_cb callback, void* user_data);
int bt_audio_unset_slc_state_changed_cb(void);

/* The device that is connected with this profile. On success *info is a record that the caller releases with
 * bt_audio_free_connected_info. BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED when there is none; *info then keeps what it
 * held. */
int bt_audio_get_connected_info(bt_audio_profile_type_e type, bt_audio_connected_info_s** info);

/* Releases a record and its text. NULL is accepted. */
int bt_audio_free_connected_info(bt_audio_connected_info_s* info);

/* Starts ending the audio connection of this device and profile; the connection callback reports the end.
 * BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED when there is none: then no callback follows. */
int bt_audio_disconnect(const char* address, bt_audio_profile_type_e type);

#ifdef __cplusplus
}
#endif
