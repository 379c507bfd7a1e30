/* The settings store: typed values under text keys, shared by all processes of the television.
 *
 * Keys under "db/" outlive a restart of the television, keys under "memory/" do not. A value is a bool, an int or a
 * text; reading it as another type fails, writing it as another type replaces value and type.
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

enum
{
    VCONF_OK = 0,
    VCONF_ERROR = -1,           /* also: a null key, a store that cannot be read or written */
    VCONF_ERROR_NOT_FOUND = -2, /* nothing has this key */
    VCONF_ERROR_WRONG_TYPE = -3
};

/* What a watcher is told about one write: the key and the value of that very write. */
typedef struct keynode keynode_t;

/* A watched key was written. The node belongs to the store and lives during the call only. */
typedef void (*vconf_callback_fn)(keynode_t* node, void* user_data);

/* An asynchronous write ended with this result (VCONF_...). */
typedef void (*vconf_set_done_cb)(int result, const char* key, void* user_data);

/* The text, which the caller frees; NULL when the key is missing or no text. */
char* vconf_get_str(const char* key);

/* Read into *value, which keeps what it held on failure. A bool is 0 or 1. */
int vconf_get_bool(const char* key, int* value);
int vconf_get_int(const char* key, int* value);

/* Write, and return when the value is stored. A key or a text of more than 1 MiB (1048576 bytes) is refused. What is
 * acknowledged under "db/" survives a loss of power. A bool is true for every value but 0. */
int vconf_set_str(const char* key, const char* value);
int vconf_set_bool(const char* key, int value);
int vconf_set_int(const char* key, int value);

/* Write, and tell the result later. The call itself may take as long as a plain write. Success says only that the write
 * was taken on: it may still fail, and the callback says how it ended. Asynchronous writes keep their order, also among
 * the plain ones. The callback, which may be NULL, comes once, later; it does not come when the call fails. Key and
 * value are copied. */
int vconf_set_str_async(const char* key, const char* value, vconf_set_done_cb callback, void* user_data);
int vconf_set_bool_async(const char* key, int value, vconf_set_done_cb callback, void* user_data);
int vconf_set_int_async(const char* key, int value, vconf_set_done_cb callback, void* user_data);

/* Watches a key, which need not exist yet. Every write from now on is told, in order, also one of an equal value and
 * one of this process itself. Several watchers of one key are all told. While the store cannot be read the answer is
 * VCONF_ERROR, and the watch is begun all the same: the writes from now on are told once it can be read. */
int vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* user_data);

/* Ends a watch: the pair of key and callback must be one that was registered. For any other pair the answer is
 * VCONF_ERROR and no watch ends. */
int vconf_ignore_key_changed(const char* key, vconf_callback_fn callback);

/* The value that was written: 0 when it is no int, or when there is no node (NULL). It never fails. */
int vconf_keynode_get_int(keynode_t* node);

/* The value that was written: "" when it is no text, or when there is no node (NULL); never NULL itself. Belongs to the
 * node and lives as long as it. */
char* vconf_keynode_get_str(keynode_t* node);

#ifdef __cplusplus
}
#endif
