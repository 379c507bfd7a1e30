#include "sim/Adapter.h"
#include "sim/Audio.h"
#include "sim/Call.h"
#include "sim/Slot.h"
#include "sim/Television.h"

#include <bt_audio.h>
#include <bt_avrcp.h>
#include <bt_error.h>
#include <bt_socket.h>

#include <string_view>

using sim::Call;
using sim::Television;

int bt_audio_initialize(void)
{
    return Call(__func__).Succeeds();
}

int bt_audio_deinitialize(void)
{
    return Call(__func__).Succeeds();
}

int bt_audio_set_connection_state_changed_cb(bt_audio_connection_state_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().audio.onConnection, callback, user_data);
}

int bt_audio_unset_connection_state_changed_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.audio.onConnection.Unset(); });
}

int bt_audio_set_slc_state_changed_cb(bt_audio_slc_state_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().audio.onServiceLevel, callback, user_data);
}

int bt_audio_unset_slc_state_changed_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.audio.onServiceLevel.Unset(); });
}

int bt_audio_get_connected_info(bt_audio_profile_type_e type, bt_audio_connected_info_s** info)
{
    Call call(__func__, type);
    return call.Does([&](Television& tv) -> int {
        if (info == nullptr) {
            return call.InvalidArgument();
        }
        bt_audio_connected_info_s* record = tv.audio.NewRecord(type);
        if (record == nullptr) {
            return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
        }
        *info = record;
        return 0;
    });
}

int bt_audio_free_connected_info(bt_audio_connected_info_s* info)
{
    return Call(__func__).Does([=](Television& tv) {
        tv.audio.FreeRecord(info);
        return 0;
    });
}

int bt_audio_disconnect(const char* address, bt_audio_profile_type_e type)
{
    Call call(__func__, address, type);
    return call.Does([&](Television& tv) {
        return address == nullptr ? call.InvalidArgument() : tv.audio.Disconnect(address, type);
    });
}

int bt_avrcp_control_initialize(bt_avrcp_connection_state_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().audio.onControl, callback, user_data);
}

int bt_avrcp_target_initialize(bt_avrcp_connection_state_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().audio.onTarget, callback, user_data);
}

int bt_avrcp_set_interim_volume_notify_cb(bt_avrcp_interim_volume_notify_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().audio.onInterimVolume, callback, user_data);
}

int bt_avrcp_set_absolute_volume_changed_cb(bt_avrcp_absolute_volume_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().audio.onAbsoluteVolume, callback, user_data);
}

int bt_socket_create_rfcomm(const char* uuid, int* socket)
{
    Call call(__func__, uuid);
    return call.Gives(socket, [&](Television& tv, int& out) {
        if (uuid == nullptr) {
            return call.InvalidArgument();
        }
        out = tv.adapter.CreateSocket(uuid);
        return 0;
    });
}

int bt_socket_listen_and_accept_rfcomm(int socket, int backlog)
{
    return Call(__func__, socket, backlog).Does([=](Television& tv) { return tv.adapter.Listen(socket); });
}

int bt_socket_destroy_rfcomm(int socket)
{
    return Call(__func__, socket).Does([=](Television& tv) { return tv.adapter.DestroySocket(socket); });
}
