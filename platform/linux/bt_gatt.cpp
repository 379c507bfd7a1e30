#include "Slot.h"
#include "bluez/Links.h"
#include "bluez/Stack.h"

#include <bt_gatt.h>

int bt_gatt_set_connection_state_changed_cb(bt_gatt_connection_state_changed_cb callback, void* user_data)
{
    return bluez::Stack::Shared().links.onGatt.Set(callback, user_data);
}

int bt_gatt_unset_connection_state_changed_cb(void)
{
    return bluez::Stack::Shared().links.onGatt.Unset();
}
