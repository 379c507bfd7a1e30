#include "VconfUtil.h"

#include "DlogUtil.h"
#include "GlibPointers.h"
#include "VconfKeyRegistry.h"

#include <vconf.h>

#include <array>
#include <cstddef>
#include <string>

namespace Util {

namespace {

const char* KeyOf(int id)
{
    return kVconfKeys[static_cast<std::size_t>(id)];
}

} // namespace

void VconfUtil::GetVconf(int id, std::string& value)
{
    const char* key = KeyOf(id);
    const MallocString stored(vconf_get_str(key));
    if (!stored) {
        LOGE("fail to get vconfkey %s[%d]", key, id);
        return;
    }
    value = stored.get();
    LOGD("key : %s, value : %s", key, value.c_str());
}

void VconfUtil::GetVconf(int id, bool& value)
{
    const char* key = KeyOf(id);
    int stored = 0;
    if (vconf_get_bool(key, &stored) != VCONF_OK) {
        LOGE("fail to get vconfkey %s[%d]", key, id);
        return;
    }
    value = stored != 0;
    LOGD("key : %s, value : %d", key, value);
}

void VconfUtil::GetVconf(int id, int& value)
{
    const char* key = KeyOf(id);
    if (vconf_get_int(key, &value) != VCONF_OK) {
        LOGE("fail to get vconfkey %s[%d]", key, id);
        return;
    }
    LOGD("key : %s, value : %d", key, value);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): taken by value like every setter, so that overloads line up.
void VconfUtil::SetVconf(int id, std::string value)
{
    const char* key = KeyOf(id);
    if (vconf_set_str(key, value.c_str()) != VCONF_OK) {
        LOGE("fail to vconfkey %s[%d]", key, id);
        return;
    }
    LOGD("key : %s, value : %s", key, value.c_str());
}

void VconfUtil::SetVconf(int id, bool value)
{
    const char* key = KeyOf(id);
    if (vconf_set_bool(key, value ? 1 : 0) != VCONF_OK) {
        LOGE("fail to set vconfkey %s[%d]", key, id);
        return;
    }
    LOGD("key : %s, value : %d", key, value);
}

void VconfUtil::SetVconf(int id, int value)
{
    const char* key = KeyOf(id);
    if (vconf_set_int(key, value) != VCONF_OK) {
        LOGE("fail to vconfkey %s[%d]", key, id);
        return;
    }
    LOGD("key : %s, value : %d", key, value);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): by value like every setter, so that overloads line up.
void VconfUtil::SetVconfAsync(int id, std::string value)
{
    const char* key = KeyOf(id);
    LOGE("set %s to %s async", key, value.c_str());
    if (vconf_set_str_async(key, value.c_str(), nullptr, nullptr) != VCONF_OK) {
        LOGE("fail to vconfkey %s[%d]", key, id);
        return;
    }
    LOGD("key : %s, value : %s", key, value.c_str());
}

void VconfUtil::SetVconfAsync(int id, bool value)
{
    const char* key = KeyOf(id);
    LOGE("set %s to %d async", key, value);
    if (vconf_set_bool_async(key, value ? 1 : 0, nullptr, nullptr) != VCONF_OK) {
        LOGE("fail to set vconfkey %s[%d]", key, id);
        return;
    }
    LOGD("key : %s, value : %d", key, value);
}

void VconfUtil::SetVconfAsync(int id, int value)
{
    const char* key = KeyOf(id);
    LOGE("set %s to %d async", key, value);
    if (vconf_set_int_async(key, value, nullptr, nullptr) != VCONF_OK) {
        LOGE("fail to vconfkey %s[%d]", key, id);
        return;
    }
    LOGD("key : %s, value : %d", key, value);
}

int VconfUtil::AddVconfChangedCb(int id, vconf_callback_fn callback, void* userData)
{
    const char* key = KeyOf(id);
    LOGD("Add vconf key callback %s[%d]", key, id);
    return vconf_notify_key_changed(key, callback, userData);
}

int VconfUtil::RemoveVconfChangedCb(int id, vconf_callback_fn callback)
{
    const char* key = KeyOf(id);
    LOGD("Remove vconf key callback %s[%d]", key, id);
    return vconf_ignore_key_changed(key, callback);
}

} // namespace Util
