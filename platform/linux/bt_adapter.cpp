#include "Slot.h"
#include "bluez/Address.h"
#include "bluez/Advertiser.h"
#include "bluez/Audio.h"
#include "bluez/Broker.h"
#include "bluez/Daemon.h"
#include "bluez/DeviceInfo.h"
#include "bluez/Headless.h"
#include "bluez/Links.h"
#include "bluez/Power.h"
#include "bluez/Stack.h"
#include "bluez/Tree.h"
#include "bus/Remote.h"

#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

using bluez::Stack;

int bt_adapter_set_state_changed_cb(bt_adapter_state_changed_cb callback, void* user_data)
{
    return Stack::Shared().power.onStateChanged.Set(callback, user_data);
}

int bt_adapter_unset_state_changed_cb(void)
{
    return Stack::Shared().power.onStateChanged.Unset();
}

int bt_adapter_enable(void)
{
    return Stack::Shared().power.Enable();
}

int bt_adapter_disable(void)
{
    return Stack::Shared().power.Disable();
}

int bt_adapter_get_state(bt_adapter_state_e* state)
{
    return state == nullptr ? BT_ERROR_INVALID_PARAMETER : Stack::Shared().power.GetState(*state);
}

int bt_adapter_reset(void)
{
    return Stack::Shared().power.Reset();
}

int bt_adapter_set_app_ready(int)
{
    // There is no firmware that waits for applications; that there is a stack to serve them is all that can be said.
    return Stack::Shared().daemon.Remote().IsThere() ? BT_ERROR_NONE : BT_ERROR_NOT_INITIALIZED;
}

int bt_adapter_set_name(const char* name)
{
    return name == nullptr ? BT_ERROR_INVALID_PARAMETER : Stack::Shared().power.SetName(name);
}

int bt_adapter_set_visibility(bt_adapter_visibility_mode_e mode, int timeout_s)
{
    return Stack::Shared().power.SetVisibility(mode == BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE, timeout_s);
}

int bt_adapter_set_connectable(bool connectable)
{
    return Stack::Shared().power.SetConnectable(connectable);
}

int bt_adapter_set_eir_manufacturer_data(const char* data, int length)
{
    return data == nullptr ? BT_ERROR_INVALID_PARAMETER : Stack::Shared().advertiser.Set(data, length);
}

int bt_adapter_set_headless_mode(bool on)
{
    return Stack::Shared().headless.SetMode(on);
}

int bt_adapter_register_headless_device(const char* address)
{
    return address == nullptr ? BT_ERROR_INVALID_PARAMETER : Stack::Shared().headless.Register(address);
}

int bt_adapter_unregister_headless_device(const char* address)
{
    return address == nullptr ? BT_ERROR_INVALID_PARAMETER : Stack::Shared().headless.Unregister(address);
}

int bt_adapter_foreach_headless_device_info(bt_adapter_headless_device_info_cb callback, void* user_data)
{
    if (callback == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    for (std::string address : Stack::Shared().headless.Addresses()) {
        bt_adapter_headless_dev_info_s info = {.address = address.data()};
        if (!callback(&info, user_data)) {
            break;
        }
    }
    return BT_ERROR_NONE;
}

int bt_adapter_foreach_bonded_device(bt_adapter_bonded_device_cb callback, void* user_data)
{
    if (callback == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    const Stack& stack = Stack::Shared();
    const bluez::Adapter* adapter = stack.TheAdapter();
    if (adapter == nullptr) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    std::vector<bluez::InfoPtr> infos;
    for (const auto& [path, device] : stack.daemon.Objects().Devices()) {
        if (device.bonded && path.starts_with(adapter->path + "/")) {
            infos.push_back(bluez::MakeInfo(device));
        }
    }
    for (const bluez::InfoPtr& info : infos) {
        if (info && !callback(info.get(), user_data)) {
            break;
        }
    }
    return BT_ERROR_NONE;
}

int bt_adapter_get_bonded_device_info(const char* address, bt_device_info_s** info)
{
    if (address == nullptr || info == nullptr || !bluez::IsAddress(address)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    const bluez::Device* device = Stack::Shared().FindDevice(address);
    if (device == nullptr || !device->bonded) {
        return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
    }
    bluez::InfoPtr made = bluez::MakeInfo(*device);
    if (!made) {
        return BT_ERROR_OUT_OF_MEMORY;
    }
    *info = made.release();
    return BT_ERROR_NONE;
}

int bt_adapter_free_device_info(bt_device_info_s* info)
{
    bluez::FreeInfo(info);
    return BT_ERROR_NONE;
}

int bt_adapter_get_chip_version(int* version)
{
    return version == nullptr ? BT_ERROR_INVALID_PARAMETER : Stack::Shared().power.ChipVersion(*version);
}

int bt_adapter_get_power_on_reason(char** address, int* reason)
{
    if (address == nullptr || reason == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    const std::string device = Stack::Shared().WakeDevice();
    char* text = device.empty() ? nullptr : strdup(device.c_str());
    if (text == nullptr) {
        return BT_ERROR_OPERATION_FAILED;
    }
    *address = text;
    *reason =
        Stack::Shared().audio.IsAudioDevice(device) ? int{BT_ADAPTER_POWER_ON_REASON_A2DP} : bluez::kPowerOnReasonOther;
    return BT_ERROR_NONE;
}

int bt_adapter_set_authentication_req_cb(bt_adapter_authentication_req_cb callback, void* user_data)
{
    return Stack::Shared().broker.onAuthentication.Set(callback, user_data);
}

int bt_adapter_unset_authentication_req_cb(void)
{
    return Stack::Shared().broker.UnsetAuthentication();
}

int bt_adapter_set_ssp_consent_request_cb(bt_adapter_ssp_consent_request_cb callback, void* user_data)
{
    return Stack::Shared().broker.onConsent.Set(callback, user_data);
}

int bt_adapter_unset_ssp_consent_request_cb(void)
{
    return Stack::Shared().broker.UnsetConsent();
}

int bt_adapter_set_max_device_connected_cb(bt_adapter_max_device_connected_cb callback, void* user_data)
{
    return Stack::Shared().links.onMaxConnected.Set(callback, user_data);
}

int bt_adapter_unset_max_device_connected_cb(void)
{
    return Stack::Shared().links.onMaxConnected.Unset();
}
