#include "sim/Adapter.h"
#include "sim/Call.h"
#include "sim/Devices.h"
#include "sim/Side.h"
#include "sim/Slot.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Text.h"

#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_product.h>

#include <cstring>
#include <set>
#include <string>
#include <string_view>
#include <vector>

using sim::Call;
using sim::Television;

namespace {

/// Hands the service one record of a list. \return whether it wants the next
template <typename Callback, typename Record>
bool Tells(Callback callback, Record* record, void* userData)
{
    const sim::Runs runs(sim::Side::Service);
    return callback(record, userData);
}

} // namespace

int bt_product_init(void)
{
    return Call(__func__).Succeeds();
}

int bt_product_deinit(void)
{
    return Call(__func__).Succeeds();
}

int bt_adapter_set_state_changed_cb(bt_adapter_state_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().adapter.onStateChanged, callback, user_data);
}

int bt_adapter_unset_state_changed_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.adapter.onStateChanged.Unset(); });
}

int bt_adapter_set_authentication_req_cb(bt_adapter_authentication_req_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().devices.onAuthentication, callback, user_data);
}

int bt_adapter_unset_authentication_req_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.devices.onAuthentication.Unset(); });
}

int bt_adapter_set_ssp_consent_request_cb(bt_adapter_ssp_consent_request_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().devices.onConsent, callback, user_data);
}

int bt_adapter_unset_ssp_consent_request_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.devices.onConsent.Unset(); });
}

int bt_adapter_set_max_device_connected_cb(bt_adapter_max_device_connected_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().devices.onMaximum, callback, user_data);
}

int bt_adapter_unset_max_device_connected_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.devices.onMaximum.Unset(); });
}

int bt_adapter_enable(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.adapter.Enable(); });
}

int bt_adapter_disable(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.adapter.Disable(); });
}

int bt_adapter_get_state(bt_adapter_state_e* state)
{
    return Call(__func__).Gives(state, [](Television& tv, bt_adapter_state_e& out) {
        out = tv.adapter.state;
        return 0;
    });
}

int bt_adapter_reset(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.adapter.Reset(); });
}

int bt_adapter_set_app_ready(int ready)
{
    return Call(__func__, ready).Does([=](Television& tv) {
        tv.adapter.appReady = ready;
        return 0;
    });
}

int bt_adapter_set_name(const char* name)
{
    Call call(__func__, name);
    return call.Does([&](Television& tv) {
        if (!sim::IsAdapterName(name)) {
            return call.InvalidArgument();
        }
        tv.adapter.name = name;
        return 0;
    });
}

int bt_adapter_set_visibility(bt_adapter_visibility_mode_e mode, int timeout_s)
{
    Call call(__func__, mode, timeout_s);
    return call.Does([&](Television& tv) {
        if (mode != BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE &&
            mode != BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE) {
            return call.InvalidArgument();
        }
        tv.adapter.visibility = mode;
        return 0;
    });
}

int bt_adapter_set_connectable(bool connectable)
{
    return Call(__func__, connectable).Does([=](Television& tv) {
        tv.adapter.connectable = connectable;
        return 0;
    });
}

int bt_adapter_set_eir_manufacturer_data(const char* data, int length)
{
    Call call(__func__, sim::Bytes{data, length}, length);
    return call.Does([&](Television& tv) {
        if (data == nullptr || length < 0) {
            return call.InvalidArgument();
        }
        tv.adapter.eirData.assign(data, static_cast<std::size_t>(length));
        return 0;
    });
}

int bt_adapter_set_headless_mode(bool on)
{
    return Call(__func__, on).Does([=](Television& tv) {
        tv.adapter.headless = on;
        return 0;
    });
}

int bt_adapter_register_headless_device(const char* address)
{
    Call call(__func__, address);
    return call.Does([&](Television& tv) {
        return !sim::IsAddress(address) ? call.InvalidArgument() : tv.adapter.RegisterHeadless(address);
    });
}

int bt_adapter_unregister_headless_device(const char* address)
{
    Call call(__func__, address);
    return call.Does([&](Television& tv) {
        return !sim::IsAddress(address) ? call.InvalidArgument() : tv.adapter.UnregisterHeadless(address);
    });
}

int bt_adapter_foreach_headless_device_info(bt_adapter_headless_device_info_cb callback, void* user_data)
{
    Call call(__func__);
    const int result = call.Begins(callback);
    if (result != 0) {
        return result;
    }
    const sim::Tape::Scope lists = call.GoesOn();
    if (Call::Tv().adapter.listsNullRecords) {
        bt_adapter_headless_dev_info_s withoutAddress = {nullptr};
        if (!Tells(callback, static_cast<bt_adapter_headless_dev_info_s*>(nullptr), user_data) ||
            !Tells(callback, &withoutAddress, user_data)) {
            return result;
        }
    }
    // A copy: the service may unregister devices while they are listed.
    for (std::string address : std::set<std::string>(Call::Tv().adapter.headlessDevices)) {
        bt_adapter_headless_dev_info_s info = {address.data()};
        if (!Tells(callback, &info, user_data)) {
            break;
        }
    }
    return result;
}

int bt_adapter_foreach_bonded_device(bt_adapter_bonded_device_cb callback, void* user_data)
{
    Call call(__func__);
    const int result = call.Begins(callback);
    if (result != 0) {
        return result;
    }
    const sim::Tape::Scope lists = call.GoesOn();
    // A copy: the service may remove bonds while they are listed.
    const sim::Devices& devices = Call::Tv().devices;
    for (const sim::Device& device : devices.Bonded()) {
        sim::DeviceRecord record(device);
        if (!Tells(callback, device.hasRecord ? record.Get() : nullptr,
                   devices.listsWithoutUserData ? nullptr : user_data)) {
            break;
        }
    }
    return result;
}

int bt_adapter_get_bonded_device_info(const char* address, bt_device_info_s** info)
{
    Call call(__func__, address);
    return call.Does([&](Television& tv) -> int {
        if (address == nullptr || info == nullptr) {
            return call.InvalidArgument();
        }
        bt_device_info_s* record = tv.devices.NewRecord(address);
        if (record == nullptr) {
            return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
        }
        *info = record;
        return 0;
    });
}

int bt_adapter_free_device_info(bt_device_info_s* info)
{
    return Call(__func__).Does([=](Television& tv) {
        tv.devices.FreeRecord(info);
        return 0;
    });
}

int bt_adapter_get_chip_version(int* version)
{
    return Call(__func__).Gives(version, [](Television& tv, int& out) {
        out = tv.adapter.chipVersion;
        return 0;
    });
}

int bt_adapter_get_power_on_reason(char** address, int* reason)
{
    Call call(__func__);
    return call.Does([&](Television& tv) {
        std::string text;
        if (address == nullptr || reason == nullptr) {
            return call.InvalidArgument();
        }
        const int result = tv.adapter.GetPowerOnReason(text, *reason);
        if (result == 0) {
            *address = ::strdup(text.c_str());
        }
        return result;
    });
}
