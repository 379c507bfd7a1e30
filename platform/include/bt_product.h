/* Bluetooth: the product layer of the stack, opened before anything else of it.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Opens the stack for this process. A second call changes nothing and succeeds. */
int bt_product_init(void);

/* Closes the stack for this process and leaves the adapter's power as it is. Harmless when called again. */
int bt_product_deinit(void);

#ifdef __cplusplus
}
#endif
