#include "settings/Vconf.h"

#include "settings/KeyNode.h"
#include "sim/Call.h"
#include "sim/Failures.h"
#include "sim/Settings.h"
#include "sim/Television.h"

#include <vconf.h>

#include <optional>

using sim::Call;
using sim::Television;

char* vconf_get_str(const char* key)
{
    char* text = nullptr;
    Call(__func__, key).GivesMallocString(&text, [=](Television& tv) { return tv.settings.OfService().GetStr(key); });
    return text;
}

int vconf_get_bool(const char* key, int* value)
{
    return Call(__func__, key).Gives(value, [=](Television& tv, int& out) {
        return tv.settings.OfService().GetBool(key, &out);
    });
}

int vconf_get_int(const char* key, int* value)
{
    return Call(__func__, key).Gives(value, [=](Television& tv, int& out) {
        return tv.settings.OfService().GetInt(key, &out);
    });
}

int vconf_set_str(const char* key, const char* value)
{
    return Call(__func__, key, value).Does([=](Television& tv) { return tv.settings.OfService().SetStr(key, value); });
}

int vconf_set_bool(const char* key, int value)
{
    return Call(__func__, key, value != 0).Does([=](Television& tv) {
        return tv.settings.OfService().SetBool(key, value);
    });
}

int vconf_set_int(const char* key, int value)
{
    return Call(__func__, key, value).Does([=](Television& tv) { return tv.settings.OfService().SetInt(key, value); });
}

int vconf_set_str_async(const char* key, const char* value, vconf_set_done_cb callback, void* user_data)
{
    return Call(__func__, key, value).Does([=](Television& tv) {
        return tv.settings.OfService().SetStrAsync(key, value, callback, user_data);
    });
}

int vconf_set_bool_async(const char* key, int value, vconf_set_done_cb callback, void* user_data)
{
    return Call(__func__, key, value != 0).Does([=](Television& tv) {
        return tv.settings.OfService().SetBoolAsync(key, value, callback, user_data);
    });
}

int vconf_set_int_async(const char* key, int value, vconf_set_done_cb callback, void* user_data)
{
    return Call(__func__, key, value).Does([=](Television& tv) {
        return tv.settings.OfService().SetIntAsync(key, value, callback, user_data);
    });
}

int vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* user_data)
{
    return Call(__func__, key).Does([=](Television& tv) {
        return tv.settings.OfService().NotifyKeyChanged(key, callback, user_data);
    });
}

int vconf_ignore_key_changed(const char* key, vconf_callback_fn callback)
{
    return Call(__func__, key).Does([=](Television& tv) {
        return tv.settings.OfService().IgnoreKeyChanged(key, callback);
    });
}

// What a node holds goes with the node: asking it is no event of its own.
int vconf_keynode_get_int(keynode_t* node)
{
    const std::optional<int> failure = Call::Tv().failures.Take(__func__);
    return failure ? *failure : settings::KeyNodeInt(node);
}

char* vconf_keynode_get_str(keynode_t* node)
{
    return Call::Tv().failures.Take(__func__) ? nullptr : settings::KeyNodeStr(node);
}
