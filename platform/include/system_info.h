/* The product's feature registry: what this model of television has. Nothing changes while the process runs.
 *
 * All answer 0, -1 on failure, -2 for a key that the product does not state, -3 for one of another type; an output
 * then keeps what it held. The rules that hold for all platform functions (results, ownership, callbacks) stand in
 * README.md beside this header. */
#pragma once

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Numbers of the two functions that ask by number. */
enum
{
    SYSTEM_INFO_MODEL_NAME = 0,    /* a text */
    SYSTEM_INFO_IR_KEY_CODE = 1200 /* an int, its low byte counts */
};

/* A feature by its name, such as "com.quorix/featureconf/ble_support". */
int system_info_get_custom_bool(const char* key, bool* value);
int system_info_get_custom_int(const char* key, int* value);

/* A system value by its number. */
int system_info_get_value_int(int key, int* value);

/* A system value by its number; the caller frees the text. */
int system_info_get_value_string(int key, char** value);

#ifdef __cplusplus
}
#endif
