#include "bt_gatt.h"

#include "bt_error.h"

int bt_gatt_set_connection_state_changed_cb(bt_gatt_connection_state_changed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_gatt_unset_connection_state_changed_cb(void)
{
    return BT_ERROR_NONE;
}
