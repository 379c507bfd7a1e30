#include "bt_avrcp.h"

#include "bt_error.h"

int bt_avrcp_control_initialize(bt_avrcp_connection_state_changed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_avrcp_target_initialize(bt_avrcp_connection_state_changed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_avrcp_set_interim_volume_notify_cb(bt_avrcp_interim_volume_notify_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_avrcp_set_absolute_volume_changed_cb(bt_avrcp_absolute_volume_changed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}
