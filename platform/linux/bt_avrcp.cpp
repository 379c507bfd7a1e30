#include "Slot.h"
#include "bluez/Audio.h"
#include "bluez/Stack.h"

#include <bt_avrcp.h>

int bt_avrcp_control_initialize(bt_avrcp_connection_state_changed_cb callback, void* user_data)
{
    return bluez::Stack::Shared().audio.onControl.Set(callback, user_data);
}

int bt_avrcp_target_initialize(bt_avrcp_connection_state_changed_cb callback, void* user_data)
{
    return bluez::Stack::Shared().audio.onTarget.Set(callback, user_data);
}

int bt_avrcp_set_interim_volume_notify_cb(bt_avrcp_interim_volume_notify_cb callback, void* user_data)
{
    return bluez::Stack::Shared().audio.onInterimVolume.Set(callback, user_data);
}

int bt_avrcp_set_absolute_volume_changed_cb(bt_avrcp_absolute_volume_changed_cb callback, void* user_data)
{
    return bluez::Stack::Shared().audio.onVolume.Set(callback, user_data);
}
