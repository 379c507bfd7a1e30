#include "Slot.h"
#include "bluez/Address.h"
#include "bluez/Bonds.h"
#include "bluez/Broker.h"
#include "bluez/Links.h"
#include "bluez/Modalias.h"
#include "bluez/Stack.h"
#include "bluez/Tree.h"

#include <bt_device.h>
#include <bt_error.h>

#include <optional>
#include <string>

using bluez::Stack;

int bt_device_set_auth_event_cb(bt_device_auth_event_cb callback, void* user_data)
{
    return Stack::Shared().broker.onService.Set(callback, user_data);
}

int bt_device_unset_auth_event_cb(void)
{
    return Stack::Shared().broker.UnsetService();
}

int bt_device_reject_authorization(const char* address, bt_profile_service_id_e service)
{
    return address == nullptr ? BT_ERROR_INVALID_PARAMETER : Stack::Shared().broker.RejectService(address, service);
}

int bt_device_set_bond_created_cb(bt_device_bond_created_cb callback, void* user_data)
{
    return Stack::Shared().bonds.onCreated.Set(callback, user_data);
}

int bt_device_unset_bond_created_cb(void)
{
    return Stack::Shared().bonds.onCreated.Unset();
}

int bt_device_set_bond_destroyed_cb(bt_device_bond_destroyed_cb callback, void* user_data)
{
    return Stack::Shared().bonds.onDestroyed.Set(callback, user_data);
}

int bt_device_unset_bond_destroyed_cb(void)
{
    return Stack::Shared().bonds.onDestroyed.Unset();
}

int bt_device_set_connection_state_changed_cb(bt_device_connection_state_changed_cb callback, void* user_data)
{
    return Stack::Shared().links.onConnection.Set(callback, user_data);
}

int bt_device_unset_connection_state_changed_cb(void)
{
    return Stack::Shared().links.onConnection.Unset();
}

int bt_device_destroy_bond(const char* address)
{
    return address == nullptr ? BT_ERROR_INVALID_PARAMETER : Stack::Shared().bonds.Destroy(address);
}

int bt_device_get_remote_vid_pid(const char* address, unsigned int* vid, unsigned int* pid)
{
    if (address == nullptr || vid == nullptr || pid == nullptr || !bluez::IsAddress(address)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    const bluez::Device* device = Stack::Shared().FindDevice(address);
    if (device == nullptr || !device->bonded) {
        return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
    }
    const auto identity = bluez::IdentityIn(device->modalias);
    if (!identity) {
        return BT_ERROR_SERVICE_SEARCH_FAILED;
    }
    *vid = identity->vendor;
    *pid = identity->product;
    return BT_ERROR_NONE;
}

int bt_device_get_rssi_strength(const char* address, int link_type, bt_device_rssi_strength_cb callback,
                                void* user_data)
{
    return address == nullptr || callback == nullptr
               ? int{BT_ERROR_INVALID_PARAMETER}
               : Stack::Shared().links.AskRssi(address, link_type, callback, user_data);
}
