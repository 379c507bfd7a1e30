#include "sim/Call.h"
#include "sim/Devices.h"
#include "sim/Remotes.h"
#include "sim/Slot.h"
#include "sim/Television.h"
#include "sim/Text.h"

#include <bt_error.h>
#include <bt_hid.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

using sim::Call;
using sim::Television;

namespace {

/// The remote that has this address now, or null.
sim::Remote* ConnectedRemote(Television& tv, const char* address)
{
    for (sim::Remote* remote : {static_cast<sim::Remote*>(&tv.smartRemote), static_cast<sim::Remote*>(&tv.wheel)}) {
        if (address != nullptr && remote->connected && remote->address == address) {
            return remote;
        }
    }
    return nullptr;
}

/// A command to a remote: it arrives if the remote is connected.
int Reaches(Television& tv, const char* address)
{
    if (address == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    return ConnectedRemote(tv, address) != nullptr ? static_cast<int>(BT_ERROR_NONE)
                                                   : static_cast<int>(BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
}

int AddressOf(Call& call, const sim::Remote& remote, char** address)
{
    return call.GivesText(
        address, [&](Television&) { return remote.connected ? std::optional(remote.address) : std::nullopt; },
        BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
}

/// A reading of a remote, which only a connected one has.
template <typename Value, typename Reading>
int ReadingOf(Call& call, const sim::Remote& remote, Value* output, Reading reading)
{
    return call.Gives(output, [&](Television&, Value& out) -> int {
        out = static_cast<Value>(reading);
        return remote.connected ? BT_ERROR_NONE : BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    });
}

} // namespace

int bt_hid_host_initialize(bt_hid_host_connection_state_changed_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().devices.onHid, callback, user_data);
}

int bt_hid_host_deinitialize(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.devices.onHid.Unset(); });
}

int bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().smartRemote.onConnection, callback, user_data);
}

int bt_hid_set_halvo_switch_connection_state_changed_cb(bt_hid_halvo_switch_connection_state_changed_cb callback,
                                                        void* user_data)
{
    return Call(__func__).Sets(Call::Tv().wheel.onConnection, callback, user_data);
}

int bt_hid_set_battery_status_received_cb(bt_hid_battery_status_received_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().smartRemote.onBattery, callback, user_data);
}

int bt_hid_set_smart_rc_charging_status_received_cb(bt_hid_smart_rc_charging_status_received_cb callback,
                                                    void* user_data)
{
    return Call(__func__).Sets(Call::Tv().smartRemote.onCharging, callback, user_data);
}

int bt_hid_set_halvo_switch_charging_status_received_cb(bt_hid_halvo_switch_charging_status_received_cb callback,
                                                        void* user_data)
{
    return Call(__func__).Sets(Call::Tv().wheel.onCharging, callback, user_data);
}

int bt_hid_set_smart_rc_grip_sensor_detected_cb(bt_hid_smart_rc_grip_sensor_detected_cb callback, void* user_data)
{
    return Call(__func__).Sets(Call::Tv().smartRemote.onGripped, callback, user_data);
}

int bt_hid_set_smart_rc_grip_sensor_state_changed_cb(bt_hid_smart_rc_grip_sensor_state_changed_cb callback,
                                                     void* user_data)
{
    return Call(__func__).Sets(Call::Tv().smartRemote.onGripState, callback, user_data);
}

int bt_hid_unset_smart_rc_connection_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.smartRemote.onConnection.Unset(); });
}

int bt_hid_unset_halvo_switch_connection_state_changed_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.wheel.onConnection.Unset(); });
}

int bt_hid_unset_battery_status_received_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.smartRemote.onBattery.Unset(); });
}

int bt_hid_unset_smart_rc_charging_status_received_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.smartRemote.onCharging.Unset(); });
}

int bt_hid_unset_halvo_switch_charging_status_received_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.wheel.onCharging.Unset(); });
}

int bt_hid_unset_smart_rc_grip_sensor_detected_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.smartRemote.onGripped.Unset(); });
}

int bt_hid_unset_smart_rc_grip_sensor_state_changed_cb(void)
{
    return Call(__func__).Does([](Television& tv) { return tv.smartRemote.onGripState.Unset(); });
}

int bt_hid_get_smart_remote_conn_status(bool* connected)
{
    return Call(__func__).Gives(connected, [](Television& tv, bool& out) {
        out = tv.smartRemote.connected;
        return 0;
    });
}

int bt_hid_get_halvo_switch_connection_state(bool* connected)
{
    return Call(__func__).Gives(connected, [](Television& tv, bool& out) {
        out = tv.wheel.connected;
        return 0;
    });
}

int bt_hid_get_rotator_connection_state(bool* connected)
{
    return Call(__func__).Gives(connected, [](Television& tv, bool& out) {
        out = tv.stand.connected;
        return 0;
    });
}

int bt_hid_get_smart_rc_address(char** address)
{
    Call call(__func__);
    return AddressOf(call, Call::Tv().smartRemote, address);
}

int bt_hid_get_halvo_switch_address(char** address)
{
    Call call(__func__);
    return AddressOf(call, Call::Tv().wheel, address);
}

int bt_hid_get_smart_rc_device_type(unsigned char* type)
{
    Call call(__func__);
    return ReadingOf(call, Call::Tv().smartRemote, type, Call::Tv().smartRemote.deviceType);
}

int bt_hid_get_smart_rc_battery_status(unsigned char* status)
{
    Call call(__func__);
    return ReadingOf(call, Call::Tv().smartRemote, status, Call::Tv().smartRemote.battery);
}

int bt_hid_get_halvo_switch_battery_status(unsigned char* status)
{
    Call call(__func__);
    return ReadingOf(call, Call::Tv().wheel, status, Call::Tv().wheel.battery);
}

int bt_hid_get_smart_rc_grip_sensor_state(bt_hid_sc_grip_sensor_state_e* state)
{
    Call call(__func__);
    return ReadingOf(call, Call::Tv().smartRemote, state, Call::Tv().smartRemote.gripSensor);
}

int bt_hid_get_smart_rc_fw_version(const char* address, unsigned int* version)
{
    return Call(__func__, address).Gives(version, [=](Television& tv, unsigned int& out) -> int {
        const int result = Reaches(tv, address);
        if (result == 0) {
            out = ConnectedRemote(tv, address)->fwVersion;
        }
        return result;
    });
}

int bt_hid_send_device_command(const char* address, unsigned char device_type, unsigned char command)
{
    return Call(__func__, address, device_type, command).Does([=](Television& tv) { return Reaches(tv, address); });
}

int bt_hid_send_rc_command(const char* address, const unsigned char* data, int length)
{
    Call call(__func__, address, sim::Bytes{data, length}, length);
    return call.Does(
        [&](Television& tv) { return data == nullptr || length < 0 ? call.InvalidArgument() : Reaches(tv, address); });
}

int bt_hid_send_duid(const char* address, const char* duid)
{
    Call call(__func__, address, duid);
    return call.Does([&](Television& tv) {
        if (duid == nullptr) {
            return call.InvalidArgument();
        }
        const int result = Reaches(tv, address);
        if (result == 0) {
            tv.smartRemote.duid = duid;
        }
        return result;
    });
}

int bt_hid_send_rotator_bt_command(int command, int argument)
{
    return Call(__func__, command, argument).Does([](Television& tv) -> int {
        return tv.stand.connected ? BT_ERROR_NONE : BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
    });
}

int bt_hid_set_conn_no_latency(const char* address, bool on)
{
    return Call(__func__, address, on).Does([=](Television& tv) -> int {
        const int result = Reaches(tv, address);
        if (result != 0) {
            return result;
        }
        const bool was = std::exchange(ConnectedRemote(tv, address)->noLatency, on);
        return was == on ? BT_ERROR_ALREADY_DONE : BT_ERROR_NONE;
    });
}
