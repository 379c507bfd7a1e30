/* No accessory is connected: what is asked of one fails, what is sent to one is lost. */
#include "bt_hid.h"

#include "bt_error.h"

#include <stddef.h>

int bt_hid_host_initialize(bt_hid_host_connection_state_changed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_hid_host_deinitialize(void)
{
    return BT_ERROR_NONE;
}

int bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_hid_set_halvo_switch_connection_state_changed_cb(bt_hid_halvo_switch_connection_state_changed_cb callback,
                                                        void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_hid_set_battery_status_received_cb(bt_hid_battery_status_received_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_hid_set_smart_rc_charging_status_received_cb(bt_hid_smart_rc_charging_status_received_cb callback,
                                                    void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_hid_set_halvo_switch_charging_status_received_cb(bt_hid_halvo_switch_charging_status_received_cb callback,
                                                        void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_hid_set_smart_rc_grip_sensor_detected_cb(bt_hid_smart_rc_grip_sensor_detected_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_hid_set_smart_rc_grip_sensor_state_changed_cb(bt_hid_smart_rc_grip_sensor_state_changed_cb callback,
                                                     void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_hid_unset_smart_rc_connection_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_hid_unset_halvo_switch_connection_state_changed_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_hid_unset_battery_status_received_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_hid_unset_smart_rc_charging_status_received_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_hid_unset_halvo_switch_charging_status_received_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_hid_unset_smart_rc_grip_sensor_detected_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_hid_unset_smart_rc_grip_sensor_state_changed_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_hid_get_smart_remote_conn_status(bool* connected)
{
    if (connected == NULL) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *connected = false;
    return BT_ERROR_NONE;
}

int bt_hid_get_halvo_switch_connection_state(bool* connected)
{
    if (connected == NULL) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *connected = false;
    return BT_ERROR_NONE;
}

int bt_hid_get_rotator_connection_state(bool* connected)
{
    if (connected == NULL) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *connected = false;
    return BT_ERROR_NONE;
}

int bt_hid_get_smart_rc_address(char** address)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}

int bt_hid_get_halvo_switch_address(char** address)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}

int bt_hid_get_smart_rc_device_type(unsigned char* type)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}

int bt_hid_get_smart_rc_fw_version(const char* address, unsigned int* version)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}

int bt_hid_get_smart_rc_battery_status(unsigned char* status)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}

int bt_hid_get_halvo_switch_battery_status(unsigned char* status)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}

int bt_hid_get_smart_rc_grip_sensor_state(bt_hid_sc_grip_sensor_state_e* state)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED;
}

int bt_hid_send_device_command(const char* address, unsigned char device_type, unsigned char command)
{
    return BT_ERROR_NONE;
}

int bt_hid_send_rc_command(const char* address, const unsigned char* data, int length)
{
    return BT_ERROR_NONE;
}

int bt_hid_send_duid(const char* address, const char* duid)
{
    return BT_ERROR_NONE;
}

int bt_hid_send_rotator_bt_command(int command, int argument)
{
    return BT_ERROR_NONE;
}

int bt_hid_set_conn_no_latency(const char* address, bool on)
{
    return BT_ERROR_NONE;
}
