/* Every key is missing, and every write is lost. */
#include "vconf.h"

#include <stddef.h>

char* vconf_get_str(const char* key)
{
    return NULL;
}

int vconf_get_bool(const char* key, int* value)
{
    return VCONF_ERROR_NOT_FOUND;
}

int vconf_get_int(const char* key, int* value)
{
    return VCONF_ERROR_NOT_FOUND;
}

int vconf_set_str(const char* key, const char* value)
{
    return VCONF_OK;
}

int vconf_set_bool(const char* key, int value)
{
    return VCONF_OK;
}

int vconf_set_int(const char* key, int value)
{
    return VCONF_OK;
}

int vconf_set_str_async(const char* key, const char* value, vconf_set_done_cb callback, void* user_data)
{
    return VCONF_OK;
}

int vconf_set_bool_async(const char* key, int value, vconf_set_done_cb callback, void* user_data)
{
    return VCONF_OK;
}

int vconf_set_int_async(const char* key, int value, vconf_set_done_cb callback, void* user_data)
{
    return VCONF_OK;
}

int vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* user_data)
{
    return VCONF_OK;
}

int vconf_ignore_key_changed(const char* key, vconf_callback_fn callback)
{
    return VCONF_OK;
}

int vconf_keynode_get_int(keynode_t* node)
{
    return 0;
}

char* vconf_keynode_get_str(keynode_t* node)
{
    return "";
}
