/* Bluetooth: input devices in general, and the television's own accessories on them: the smart remote control, the
 * Halvo wheel controller ("Halvo switch" to the stack) and the rotating stand ("rotator").
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#include "bt_device.h"

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* How the television's own accessories name themselves in bt_device_get_remote_vid_pid. */
enum
{
    BT_HID_ACCESSORY_VENDOR_ID = 0x04E8,
    BT_HID_SMART_RC_PRODUCT_ID = 0x2075,
    BT_HID_HALVO_SWITCH_PRODUCT_ID = 0x2084
};

/* Commands of one byte to the smart remote and the wheel. */
enum
{
    BT_HID_COMMAND_RESET = 0x05,
    BT_HID_COMMAND_SHOP_MODE_ON = 0x06,
    BT_HID_COMMAND_SHOP_MODE_OFF = 0x07,
    BT_HID_COMMAND_GRIP_SENSOR_ON = 0x30,
    BT_HID_COMMAND_GRIP_SENSOR_OFF = 0x31
};

/* The command to the rotating stand that resets it, and its argument. */
enum
{
    BT_HID_ROTATOR_COMMAND_RESET = 16,
    BT_HID_ROTATOR_RESET_ARGUMENT = 255
};

/* Any other value is a sensor that is neither on nor off. */
typedef int bt_hid_sc_grip_sensor_state_e;
enum
{
    BT_SC_GRIP_SENSOR_NOT_AVAILABLE = -1,
    BT_SC_GRIP_SENSOR_OFF = 0,
    BT_SC_GRIP_SENSOR_ON = 1
};

typedef struct
{
    unsigned char status; /* the battery byte, as the accessory reports it */
    char* remote_address; /* tells which accessory it was */
} bt_hid_battery_status_info_s;

/* An input device was connected or lost. */
typedef void (*bt_hid_host_connection_state_changed_cb)(int result, bool connected, const char* address,
                                                        void* user_data);

/* The smart remote or the wheel was connected or lost; info describes it in both cases. */
typedef void (*bt_hid_smart_rc_connection_cb)(bool connected, bt_device_info_s* info, void* user_data);
typedef void (*bt_hid_halvo_switch_connection_state_changed_cb)(bool connected, bt_device_info_s* info,
                                                                void* user_data);

/* The smart remote or the wheel reported its battery; told apart by the address in the record. */
typedef void (*bt_hid_battery_status_received_cb)(bt_hid_battery_status_info_s* info, void* user_data);

/* The accessory reported how it is charged: a status code and the harvest time, both as the accessory sends them. */
typedef void (*bt_hid_smart_rc_charging_status_received_cb)(unsigned char status, unsigned char harvest_time,
                                                            void* user_data);
typedef void (*bt_hid_halvo_switch_charging_status_received_cb)(unsigned char status, unsigned char harvest_time,
                                                                void* user_data);

/* The smart remote was gripped; key is the code it sent. */
typedef void (*bt_hid_smart_rc_grip_sensor_detected_cb)(unsigned char key, void* user_data);

/* The smart remote's grip sensor was switched on or off, or turned out not to exist. */
typedef void (*bt_hid_smart_rc_grip_sensor_state_changed_cb)(bt_hid_sc_grip_sensor_state_e state, void* user_data);

/* Opens the input device host and names the receiver of its connections. */
int bt_hid_host_initialize(bt_hid_host_connection_state_changed_cb callback, void* user_data);

/* Closes the input device host; no connection is reported any more. */
int bt_hid_host_deinitialize(void);

/* Name the receivers of the accessories' events; a later call replaces the receiver. What is connected already is not
 * reported. */
int bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* user_data);
int bt_hid_set_halvo_switch_connection_state_changed_cb(bt_hid_halvo_switch_connection_state_changed_cb callback,
                                                        void* user_data);
int bt_hid_set_battery_status_received_cb(bt_hid_battery_status_received_cb callback, void* user_data);
int bt_hid_set_smart_rc_charging_status_received_cb(bt_hid_smart_rc_charging_status_received_cb callback,
                                                    void* user_data);
int bt_hid_set_halvo_switch_charging_status_received_cb(bt_hid_halvo_switch_charging_status_received_cb callback,
                                                        void* user_data);
int bt_hid_set_smart_rc_grip_sensor_detected_cb(bt_hid_smart_rc_grip_sensor_detected_cb callback, void* user_data);
int bt_hid_set_smart_rc_grip_sensor_state_changed_cb(bt_hid_smart_rc_grip_sensor_state_changed_cb callback,
                                                     void* user_data);

int bt_hid_unset_smart_rc_connection_cb(void);
int bt_hid_unset_halvo_switch_connection_state_changed_cb(void);
int bt_hid_unset_battery_status_received_cb(void);
int bt_hid_unset_smart_rc_charging_status_received_cb(void);
int bt_hid_unset_halvo_switch_charging_status_received_cb(void);
int bt_hid_unset_smart_rc_grip_sensor_detected_cb(void);
int bt_hid_unset_smart_rc_grip_sensor_state_changed_cb(void);

/* Whether the accessory is connected. On failure *connected keeps what it held. */
int bt_hid_get_smart_remote_conn_status(bool* connected);
int bt_hid_get_halvo_switch_connection_state(bool* connected);
int bt_hid_get_rotator_connection_state(bool* connected);

/* The address of the connected accessory; the caller frees it. BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED when none is
 * connected; *address then keeps what it held. */
int bt_hid_get_smart_rc_address(char** address);
int bt_hid_get_halvo_switch_address(char** address);

/* The model byte of the connected smart remote, which bt_hid_send_device_command wants to have. */
int bt_hid_get_smart_rc_device_type(unsigned char* type);

/* The firmware version word of the smart remote with this address; its top four bits name the model. */
int bt_hid_get_smart_rc_fw_version(const char* address, unsigned int* version);

/* The battery byte that the connected accessory reported last. */
int bt_hid_get_smart_rc_battery_status(unsigned char* status);
int bt_hid_get_halvo_switch_battery_status(unsigned char* status);

/* The grip sensor's state. On failure *state keeps what it held. */
int bt_hid_get_smart_rc_grip_sensor_state(bt_hid_sc_grip_sensor_state_e* state);

/* Sends a command (BT_HID_COMMAND_...) to an accessory of the given model. Success says that it went out, not that the
 * accessory obeyed. */
int bt_hid_send_device_command(const char* address, unsigned char device_type, unsigned char command);

/* Sends length bytes to an accessory as they are. The bytes are copied. */
int bt_hid_send_rc_command(const char* address, const unsigned char* data, int length);

/* Sends the television's unique id to the smart remote. BT_ERROR_NOW_IN_PROGRESS while an earlier one is still under
 * way: it may be sent again later. */
int bt_hid_send_duid(const char* address, const char* duid);

/* Sends a command (BT_HID_ROTATOR_COMMAND_...) and its argument, 0 to 255 each, to the rotating stand. */
int bt_hid_send_rotator_bt_command(int command, int argument);

/* Switches the smart remote's no-latency mode. BT_ERROR_ALREADY_DONE, as good as success, when it is so already. */
int bt_hid_set_conn_no_latency(const char* address, bool on);

#ifdef __cplusplus
}
#endif
