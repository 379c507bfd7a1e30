/* No device is bonded, connected or asking for anything. */
#include "bt_device.h"

#include "bt_error.h"

int bt_device_set_auth_event_cb(bt_device_auth_event_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_device_unset_auth_event_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_device_reject_authorization(const char* address, bt_profile_service_id_e service)
{
    return BT_ERROR_NOT_IN_PROGRESS;
}

int bt_device_set_bond_created_cb(bt_device_bond_created_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_device_unset_bond_created_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_device_set_bond_destroyed_cb(bt_device_bond_destroyed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_device_unset_bond_destroyed_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_device_set_connection_state_changed_cb(bt_device_connection_state_changed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_device_unset_connection_state_changed_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_device_destroy_bond(const char* address)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
}

int bt_device_get_remote_vid_pid(const char* address, unsigned int* vid, unsigned int* pid)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
}

int bt_device_get_rssi_strength(const char* address, int link_type, bt_device_rssi_strength_cb callback,
                                void* user_data)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}
