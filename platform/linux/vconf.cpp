#include "settings/KeyNode.h"
#include "settings/Locations.h"

#include <platform_root.h>
#include <settings/Vconf.h>
#include <vconf.h>

namespace {

settings::Vconf& Settings()
{
    static settings::Vconf settings(settings::FoldersUnder(platform_root()));
    return settings;
}

} // namespace

char* vconf_get_str(const char* key)
{
    return Settings().GetStr(key);
}

int vconf_get_bool(const char* key, int* value)
{
    return Settings().GetBool(key, value);
}

int vconf_get_int(const char* key, int* value)
{
    return Settings().GetInt(key, value);
}

int vconf_set_str(const char* key, const char* value)
{
    return Settings().SetStr(key, value);
}

int vconf_set_bool(const char* key, int value)
{
    return Settings().SetBool(key, value);
}

int vconf_set_int(const char* key, int value)
{
    return Settings().SetInt(key, value);
}

int vconf_set_str_async(const char* key, const char* value, vconf_set_done_cb callback, void* user_data)
{
    return Settings().SetStrAsync(key, value, callback, user_data);
}

int vconf_set_bool_async(const char* key, int value, vconf_set_done_cb callback, void* user_data)
{
    return Settings().SetBoolAsync(key, value, callback, user_data);
}

int vconf_set_int_async(const char* key, int value, vconf_set_done_cb callback, void* user_data)
{
    return Settings().SetIntAsync(key, value, callback, user_data);
}

int vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* user_data)
{
    return Settings().NotifyKeyChanged(key, callback, user_data);
}

int vconf_ignore_key_changed(const char* key, vconf_callback_fn callback)
{
    return Settings().IgnoreKeyChanged(key, callback);
}

int vconf_keynode_get_int(keynode_t* node)
{
    return settings::KeyNodeInt(node);
}

char* vconf_keynode_get_str(keynode_t* node)
{
    return settings::KeyNodeStr(node);
}
