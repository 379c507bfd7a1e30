/* Nothing is connected. */
#include "bt_audio.h"

#include "bt_error.h"

int bt_audio_initialize(void)
{
    return BT_ERROR_NONE;
}

int bt_audio_deinitialize(void)
{
    return BT_ERROR_NONE;
}

int bt_audio_set_connection_state_changed_cb(bt_audio_connection_state_changed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_audio_unset_connection_state_changed_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_audio_set_slc_state_changed_cb(bt_audio_slc_state_changed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_audio_unset_slc_state_changed_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_audio_get_connected_info(bt_audio_profile_type_e type, bt_audio_connected_info_s** info)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}

int bt_audio_free_connected_info(bt_audio_connected_info_s* info)
{
    return BT_ERROR_NONE;
}

int bt_audio_disconnect(const char* address, bt_audio_profile_type_e type)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}
