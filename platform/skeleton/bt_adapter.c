/* An adapter that is off and stays off, without bonds and without requests. */
#include "bt_adapter.h"

#include "bt_error.h"

#include <stddef.h>

int bt_adapter_set_state_changed_cb(bt_adapter_state_changed_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_adapter_unset_state_changed_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_adapter_enable(void)
{
    return BT_ERROR_NONE;
}

int bt_adapter_disable(void)
{
    return BT_ERROR_NONE;
}

int bt_adapter_get_state(bt_adapter_state_e* state)
{
    if (state == NULL) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *state = BT_ADAPTER_DISABLED;
    return BT_ERROR_NONE;
}

int bt_adapter_reset(void)
{
    return BT_ERROR_NONE;
}

int bt_adapter_set_app_ready(int ready)
{
    return BT_ERROR_NONE;
}

int bt_adapter_set_name(const char* name)
{
    return BT_ERROR_NONE;
}

int bt_adapter_set_visibility(bt_adapter_visibility_mode_e mode, int timeout_s)
{
    return BT_ERROR_NONE;
}

int bt_adapter_set_connectable(bool connectable)
{
    return BT_ERROR_NONE;
}

int bt_adapter_set_eir_manufacturer_data(const char* data, int length)
{
    return BT_ERROR_NONE;
}

int bt_adapter_set_headless_mode(bool on)
{
    return BT_ERROR_NONE;
}

int bt_adapter_register_headless_device(const char* address)
{
    return BT_ERROR_NONE;
}

int bt_adapter_unregister_headless_device(const char* address)
{
    return BT_ERROR_NONE;
}

int bt_adapter_foreach_headless_device_info(bt_adapter_headless_device_info_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_adapter_foreach_bonded_device(bt_adapter_bonded_device_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_adapter_get_bonded_device_info(const char* address, bt_device_info_s** info)
{
    return BT_ERROR_REMOTE_DEVICE_NOT_BONDED;
}

int bt_adapter_free_device_info(bt_device_info_s* info)
{
    return BT_ERROR_NONE;
}

int bt_adapter_get_chip_version(int* version)
{
    if (version == NULL) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    *version = 0;
    return BT_ERROR_NONE;
}

int bt_adapter_get_power_on_reason(char** address, int* reason)
{
    return BT_ERROR_OPERATION_FAILED;
}

int bt_adapter_set_authentication_req_cb(bt_adapter_authentication_req_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_adapter_unset_authentication_req_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_adapter_set_ssp_consent_request_cb(bt_adapter_ssp_consent_request_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_adapter_unset_ssp_consent_request_cb(void)
{
    return BT_ERROR_NONE;
}

int bt_adapter_set_max_device_connected_cb(bt_adapter_max_device_connected_cb callback, void* user_data)
{
    return BT_ERROR_NONE;
}

int bt_adapter_unset_max_device_connected_cb(void)
{
    return BT_ERROR_NONE;
}
