/* Bluetooth: the television's own adapter, its bonded devices and the requests that reach it.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#include "bt_device.h"

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Any other value is a state in which the adapter is of no use either. */
typedef int bt_adapter_state_e;
enum
{
    BT_ADAPTER_DISABLED = 0,
    BT_ADAPTER_ENABLED = 1
};

typedef int bt_adapter_visibility_mode_e;
enum
{
    BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE = 0,
    BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE = 1
};

/* How a pairing is to be confirmed. */
typedef int bt_authentication_type_info_e;
enum
{
    BT_AUTHENTICATION_PIN_ENTRY = 0,
    BT_AUTHENTICATION_PIN_DISPLAY = 1,
    BT_AUTHENTICATION_PASSKEY_CONFIRMATION = 2,
    BT_AUTHENTICATION_PASSKEY_ENTRY = 3,
    BT_AUTHENTICATION_PASSKEY_DISPLAY = 4
};

/* Why the television was switched on over Bluetooth, from bt_adapter_get_power_on_reason. */
enum
{
    BT_ADAPTER_POWER_ON_REASON_A2DP = 1
};

/* A device that may reach the adapter while the television sleeps. */
typedef struct
{
    char* address;
} bt_adapter_headless_dev_info_s;

/* The adapter went on or off. Only transitions are reported, never the state that is found when the callback is set;
 * result is BT_ERROR_NONE unless the transition failed. */
typedef void (*bt_adapter_state_changed_cb)(int result, bt_adapter_state_e state, void* user_data);

/* One device of a listing: true goes on to the next, false ends the listing. The record lives during the call only. */
typedef bool (*bt_adapter_headless_device_info_cb)(bt_adapter_headless_dev_info_s* info, void* user_data);
typedef bool (*bt_adapter_bonded_device_cb)(bt_device_info_s* info, void* user_data);

/* A device wants to pair. passkey holds six decimal digits, or is empty where the type needs none. */
typedef void (*bt_adapter_authentication_req_cb)(int result, bt_authentication_type_info_e type, char* name,
                                                 char* address, char* passkey, void* user_data);

/* A device wants to pair and only a yes or no is needed. Mind the order: the name comes before the address. */
typedef void (*bt_adapter_ssp_consent_request_cb)(int result, char* name, char* address, void* user_data);

/* A device was turned away because as many are connected as the adapter can serve. */
typedef void (*bt_adapter_max_device_connected_cb)(int result, char* address, void* user_data);

/* Names the receiver of adapter transitions; a later call replaces it. */
int bt_adapter_set_state_changed_cb(bt_adapter_state_changed_cb callback, void* user_data);
int bt_adapter_unset_state_changed_cb(void);

/* Starts switching the adapter on; the state callback reports the end. BT_ERROR_ALREADY_DONE when it is on: then no
 * callback follows. */
int bt_adapter_enable(void);

/* Starts switching the adapter off; the state callback reports the end. BT_ERROR_NOT_ENABLED when it is off: then no
 * callback follows. */
int bt_adapter_disable(void);

/* The present state. A failure says that the stack cannot tell, not that the adapter is off. */
int bt_adapter_get_state(bt_adapter_state_e* state);

/* Forgets all bonds and restores the stack's defaults. Returns when that is done, within a second. */
int bt_adapter_reset(void);

/* Tells the stack whether (1) or not (0) the applications are ready to serve audio. */
int bt_adapter_set_app_ready(int ready);

/* Sets the name that other devices see: UTF-8, 248 bytes at most, may be empty. */
int bt_adapter_set_name(const char* name);

/* Makes the adapter findable or not, for timeout_s seconds; 0 = without limit. While the adapter is off the wish is
 * remembered for the next enable. BT_ERROR_INVALID_PARAMETER for a mode that has no name. */
int bt_adapter_set_visibility(bt_adapter_visibility_mode_e mode, int timeout_s);

/* Lets other devices connect (true) or not (false). */
int bt_adapter_set_connectable(bool connectable);

/* Sets the manufacturer data of the extended inquiry response: length bytes, the first two of them the company id,
 * low byte first. The bytes are copied. */
int bt_adapter_set_eir_manufacturer_data(const char* data, int length);

/* Switches the headless mode, in which only registered headless devices are served while the television sleeps. */
int bt_adapter_set_headless_mode(bool on);

/* Adds a device to, or takes it from, the headless devices. BT_ERROR_INVALID_PARAMETER for an empty or malformed
 * address. Unregistering is allowed while the headless devices are being listed. */
int bt_adapter_register_headless_device(const char* address);
int bt_adapter_unregister_headless_device(const char* address);

/* Lists the headless devices, before it returns. The list is taken at the start: what the callback removes is still
 * listed. */
int bt_adapter_foreach_headless_device_info(bt_adapter_headless_device_info_cb callback, void* user_data);

/* Lists the bonded devices, before it returns. The list is taken at the start: what the callback removes is still
 * listed. */
int bt_adapter_foreach_bonded_device(bt_adapter_bonded_device_cb callback, void* user_data);

/* Describes one bonded device. On success *info is a record that the caller releases with
 * bt_adapter_free_device_info; on failure *info keeps what it held. */
int bt_adapter_get_bonded_device_info(const char* address, bt_device_info_s** info);

/* Releases a record and its texts. NULL is accepted. */
int bt_adapter_free_device_info(bt_device_info_s* info);

/* The firmware version of the Bluetooth chip; its 32 bits are shown as hexadecimal digits. */
int bt_adapter_get_chip_version(int* version);

/* The device that switched the television on and its reason (BT_ADAPTER_POWER_ON_REASON_...). The caller frees
 * *address. Fails, and touches neither output, when Bluetooth was not what switched it on. */
int bt_adapter_get_power_on_reason(char** address, int* reason);

/* Names the receiver of pairing requests; a later call replaces it. */
int bt_adapter_set_authentication_req_cb(bt_adapter_authentication_req_cb callback, void* user_data);
int bt_adapter_unset_authentication_req_cb(void);

/* Names the receiver of consent requests; a later call replaces it. */
int bt_adapter_set_ssp_consent_request_cb(bt_adapter_ssp_consent_request_cb callback, void* user_data);
int bt_adapter_unset_ssp_consent_request_cb(void);

/* Names the receiver of "too many devices"; a later call replaces it. Unsetting twice in a row is harmless. */
int bt_adapter_set_max_device_connected_cb(bt_adapter_max_device_connected_cb callback, void* user_data);
int bt_adapter_unset_max_device_connected_cb(void);

#ifdef __cplusplus
}
#endif
