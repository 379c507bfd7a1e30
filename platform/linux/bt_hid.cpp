#include "Slot.h"
#include "bluez/Links.h"
#include "bluez/Stack.h"
#include "hid/Host.h"
#include "hid/Protocol.h"
#include "hid/Remote.h"

#include <bt_error.h>
#include <bt_hid.h>

#include <cstddef>
#include <cstdint>
#include <limits>

using hid::Host;
using hid::Role;

int bt_hid_host_initialize(bt_hid_host_connection_state_changed_cb callback, void* user_data)
{
    return Host::OfProcess().Initialize(callback, user_data);
}

int bt_hid_host_deinitialize(void)
{
    return Host::OfProcess().Deinitialize();
}

int bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* user_data)
{
    return Host::OfProcess().onSmartRemote.Set(callback, user_data);
}

int bt_hid_set_halvo_switch_connection_state_changed_cb(bt_hid_halvo_switch_connection_state_changed_cb callback,
                                                        void* user_data)
{
    return Host::OfProcess().onWheel.Set(callback, user_data);
}

int bt_hid_set_battery_status_received_cb(bt_hid_battery_status_received_cb callback, void* user_data)
{
    return Host::OfProcess().onBattery.Set(callback, user_data);
}

int bt_hid_set_smart_rc_charging_status_received_cb(bt_hid_smart_rc_charging_status_received_cb callback,
                                                    void* user_data)
{
    return Host::OfProcess().onSmartRemoteCharging.Set(callback, user_data);
}

int bt_hid_set_halvo_switch_charging_status_received_cb(bt_hid_halvo_switch_charging_status_received_cb callback,
                                                        void* user_data)
{
    return Host::OfProcess().onWheelCharging.Set(callback, user_data);
}

int bt_hid_set_smart_rc_grip_sensor_detected_cb(bt_hid_smart_rc_grip_sensor_detected_cb callback, void* user_data)
{
    return Host::OfProcess().onGripped.Set(callback, user_data);
}

int bt_hid_set_smart_rc_grip_sensor_state_changed_cb(bt_hid_smart_rc_grip_sensor_state_changed_cb callback,
                                                     void* user_data)
{
    return Host::OfProcess().onGripState.Set(callback, user_data);
}

int bt_hid_unset_smart_rc_connection_cb(void)
{
    return Host::OfProcess().onSmartRemote.Unset();
}

int bt_hid_unset_halvo_switch_connection_state_changed_cb(void)
{
    return Host::OfProcess().onWheel.Unset();
}

int bt_hid_unset_battery_status_received_cb(void)
{
    return Host::OfProcess().onBattery.Unset();
}

int bt_hid_unset_smart_rc_charging_status_received_cb(void)
{
    return Host::OfProcess().onSmartRemoteCharging.Unset();
}

int bt_hid_unset_halvo_switch_charging_status_received_cb(void)
{
    return Host::OfProcess().onWheelCharging.Unset();
}

int bt_hid_unset_smart_rc_grip_sensor_detected_cb(void)
{
    return Host::OfProcess().onGripped.Unset();
}

int bt_hid_unset_smart_rc_grip_sensor_state_changed_cb(void)
{
    return Host::OfProcess().onGripState.Unset();
}

int bt_hid_get_smart_remote_conn_status(bool* connected)
{
    if (connected == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *connected = Host::OfProcess().IsConnected(Role::SmartRemote);
    return BT_ERROR_NONE;
}

int bt_hid_get_halvo_switch_connection_state(bool* connected)
{
    if (connected == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *connected = Host::OfProcess().IsConnected(Role::Wheel);
    return BT_ERROR_NONE;
}

int bt_hid_get_rotator_connection_state(bool* connected)
{
    if (connected == nullptr) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *connected = Host::OfProcess().IsStandConnected();
    return BT_ERROR_NONE;
}

int bt_hid_get_smart_rc_address(char** address)
{
    return address == nullptr ? int{BT_ERROR_INVALID_PARAMETER}
                              : Host::OfProcess().GetAddress(Role::SmartRemote, address);
}

int bt_hid_get_halvo_switch_address(char** address)
{
    return address == nullptr ? int{BT_ERROR_INVALID_PARAMETER} : Host::OfProcess().GetAddress(Role::Wheel, address);
}

int bt_hid_get_smart_rc_device_type(unsigned char* type)
{
    return type == nullptr ? int{BT_ERROR_INVALID_PARAMETER} : Host::OfProcess().GetDeviceType(__func__, *type);
}

int bt_hid_get_smart_rc_fw_version(const char* address, unsigned int* version)
{
    return version == nullptr ? int{BT_ERROR_INVALID_PARAMETER}
                              : Host::OfProcess().GetFirmware(__func__, address, *version);
}

int bt_hid_get_smart_rc_battery_status(unsigned char* status)
{
    return status == nullptr ? int{BT_ERROR_INVALID_PARAMETER}
                             : Host::OfProcess().GetBattery(Role::SmartRemote, *status);
}

int bt_hid_get_halvo_switch_battery_status(unsigned char* status)
{
    return status == nullptr ? int{BT_ERROR_INVALID_PARAMETER} : Host::OfProcess().GetBattery(Role::Wheel, *status);
}

int bt_hid_get_smart_rc_grip_sensor_state(bt_hid_sc_grip_sensor_state_e* state)
{
    return state == nullptr ? int{BT_ERROR_INVALID_PARAMETER} : Host::OfProcess().GetGripState(__func__, *state);
}

int bt_hid_send_device_command(const char* address, unsigned char device_type, unsigned char command)
{
    return Host::OfProcess().SendToRemote(__func__, address, {hid::DeviceCommand(device_type, command)});
}

int bt_hid_send_rc_command(const char* address, const unsigned char* data, int length)
{
    if (data == nullptr || length < 1 || length > static_cast<int>(hid::kMostRcBytes)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    return Host::OfProcess().SendToRemote(__func__, address,
                                          {hid::RcCommand(hid::ByteSpan(data, static_cast<std::size_t>(length)))});
}

int bt_hid_send_duid(const char* address, const char* duid)
{
    return Host::OfProcess().SendDuid(__func__, address, duid);
}

int bt_hid_send_rotator_bt_command(int command, int argument)
{
    constexpr int kMost = std::numeric_limits<std::uint8_t>::max();
    if (command < 0 || command > kMost || argument < 0 || argument > kMost) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    return Host::OfProcess().SendToStand(
        __func__, hid::StandCommand(static_cast<std::uint8_t>(command), static_cast<std::uint8_t>(argument)));
}

int bt_hid_set_conn_no_latency(const char* address, bool on)
{
    return bluez::Stack::Shared().links.SetNoLatency(address, on);
}
