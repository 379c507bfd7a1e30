/* Bluetooth: attribute protocol connections over low-energy links.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A low-energy connection came up or went down. */
typedef void (*bt_gatt_connection_state_changed_cb)(int result, bool connected, const char* address, void* user_data);

/* Names the receiver of low-energy connections; a later call replaces it. */
int bt_gatt_set_connection_state_changed_cb(bt_gatt_connection_state_changed_cb callback, void* user_data);
int bt_gatt_unset_connection_state_changed_cb(void);

#ifdef __cplusplus
}
#endif
