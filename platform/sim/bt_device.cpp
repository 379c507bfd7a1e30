#include "sim/Call.h"
#include "sim/Devices.h"
#include "sim/Slot.h"
#include "sim/Television.h"

#include <bt_device.h>
#include <bt_error.h>
#include <bt_gatt.h>

#include <string_view>

using sim::Call;
using sim::Television;

int bt_device_set_auth_event_cb(bt_device_auth_event_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().devices.onAuthorization, callback, user_data);
}

int bt_device_unset_auth_event_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.devices.onAuthorization.Unset(); });
}

int bt_device_set_bond_created_cb(bt_device_bond_created_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().devices.onBondCreated, callback, user_data);
}

int bt_device_unset_bond_created_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.devices.onBondCreated.Unset(); });
}

int bt_device_set_bond_destroyed_cb(bt_device_bond_destroyed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().devices.onBondDestroyed, callback, user_data);
}

int bt_device_unset_bond_destroyed_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.devices.onBondDestroyed.Unset(); });
}

int bt_device_set_connection_state_changed_cb(bt_device_connection_state_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().devices.onConnection, callback, user_data);
}

int bt_device_unset_connection_state_changed_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.devices.onConnection.Unset(); });
}

int bt_gatt_set_connection_state_changed_cb(bt_gatt_connection_state_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().devices.onGatt, callback, user_data);
}

int bt_gatt_unset_connection_state_changed_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.devices.onGatt.Unset(); });
}

int bt_device_reject_authorization(const char* address, bt_profile_service_id_e service)
{
    Call call(__func__, address, service);
    return call.Does([&](Television& tv) {
        return address == nullptr ? call.InvalidArgument() : tv.devices.Reject(address, service);
    });
}

int bt_device_destroy_bond(const char* address)
{
    Call call(__func__, address);
    return call.Does(
        [&](Television& tv) { return address == nullptr ? call.InvalidArgument() : tv.devices.DestroyBond(address); });
}

int bt_device_get_remote_vid_pid(const char* address, unsigned int* vid, unsigned int* pid)
{
    Call call(__func__, address);
    return call.Does([&](Television& tv) -> int {
        if (address == nullptr || vid == nullptr || pid == nullptr) {
            return call.InvalidArgument();
        }
        const sim::Device* device = tv.devices.Find(address);
        if (device == nullptr) {
            return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
        }
        *vid = device->vendor;
        *pid = device->product;
        return 0;
    });
}

int bt_device_get_rssi_strength(const char* address, int link_type, bt_device_rssi_strength_cb callback,
                                void* user_data)
{
    Call call(__func__, address, link_type);
    return call.Does([&](Television& tv) {
        return address == nullptr || callback == nullptr ? call.InvalidArgument()
                                                         : tv.devices.AskRssi(address, link_type, callback, user_data);
    });
}
