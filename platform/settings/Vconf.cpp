#include "Vconf.h"

#include "settings/Store.h"
#include "settings/Value.h"

#include <cstring>
#include <string>
#include <utility>

namespace settings {

char* Vconf::GetStr(const char* key)
{
    std::string value;
    return m_store.GetString(key, &value) == kOk ? strdup(value.c_str()) : nullptr;
}

int Vconf::GetBool(const char* key, int* value)
{
    bool flag = false;
    const int result = value != nullptr ? m_store.GetBool(key, &flag) : kFailed;
    if (result == kOk) {
        *value = flag ? 1 : 0;
    }
    return result;
}

int Vconf::GetInt(const char* key, int* value)
{
    return m_store.GetInt(key, value);
}

int Vconf::SetStr(const char* key, const char* value)
{
    return value != nullptr ? m_store.Set(key, Value(std::in_place_type<std::string>, value)) : kFailed;
}

int Vconf::SetBool(const char* key, int value)
{
    return m_store.Set(key, Value(value != 0));
}

int Vconf::SetInt(const char* key, int value)
{
    return m_store.Set(key, Value(value));
}

int Vconf::SetStrAsync(const char* key, const char* value, DoneFunction done, void* userData)
{
    return value != nullptr ? m_store.SetAsync(key, Value(std::in_place_type<std::string>, value), done, userData)
                            : kFailed;
}

int Vconf::SetBoolAsync(const char* key, int value, DoneFunction done, void* userData)
{
    return m_store.SetAsync(key, Value(value != 0), done, userData);
}

int Vconf::SetIntAsync(const char* key, int value, DoneFunction done, void* userData)
{
    return m_store.SetAsync(key, Value(value), done, userData);
}

int Vconf::NotifyKeyChanged(const char* key, ChangeFunction function, void* userData)
{
    return m_store.Watch(key, function, userData);
}

int Vconf::IgnoreKeyChanged(const char* key, ChangeFunction function)
{
    return m_store.Unwatch(key, function);
}

} // namespace settings
