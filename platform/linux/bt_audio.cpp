#include "NotSupported.h"
#include "Slot.h"
#include "bluez/Audio.h"
#include "bluez/Stack.h"

#include <bt_audio.h>
#include <bt_error.h>

#include <cstdlib>
#include <cstring>
#include <string>

using bluez::Stack;

// What there is of audio comes with the daemon's objects: there is nothing to be opened or closed.
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
    return Stack::Shared().audio.onConnection.Set(callback, user_data);
}

int bt_audio_unset_connection_state_changed_cb(void)
{
    return Stack::Shared().audio.onConnection.Unset();
}

int bt_audio_set_slc_state_changed_cb(bt_audio_slc_state_changed_cb callback, void*)
{
    return callback == nullptr ? int{BT_ERROR_INVALID_PARAMETER}
                               : NotSupported(__func__, "the audio server keeps hands-free connections to itself");
}

int bt_audio_unset_slc_state_changed_cb(void)
{
    return BT_ERROR_NOT_INITIALIZED;
}

int bt_audio_get_connected_info(bt_audio_profile_type_e type, bt_audio_connected_info_s** info)
{
    if (info == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    const std::string address = Stack::Shared().audio.Connected(type);
    if (address.empty()) {
        return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    }
    auto* made = static_cast<bt_audio_connected_info_s*>(std::calloc(1, sizeof(bt_audio_connected_info_s)));
    char* text = strdup(address.c_str());
    if (made == nullptr || text == nullptr) {
        std::free(made);
        std::free(text);
        return BT_ERROR_OUT_OF_MEMORY;
    }
    made->device_address = text;
    made->type = type;
    *info = made;
    return BT_ERROR_NONE;
}

int bt_audio_free_connected_info(bt_audio_connected_info_s* info)
{
    if (info != nullptr) {
        std::free(info->device_address);
        std::free(info);
    }
    return BT_ERROR_NONE;
}

int bt_audio_disconnect(const char* address, bt_audio_profile_type_e type)
{
    return address == nullptr ? BT_ERROR_INVALID_PARAMETER : Stack::Shared().audio.Disconnect(address, type);
}
