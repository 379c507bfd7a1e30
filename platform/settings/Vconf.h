// A store in the terms of the platform's settings functions, so that an implementation of the platform writes each of
// them in one line: int vconf_get_int(const char* key, int* value) { return Settings().GetInt(key, value); }
//
// Results, threads and notices are those of settings::Store; null arguments fail with -1.
#pragma once

#include "Store.h"
#include "settings/KeyNode.h"
#include "settings/Locations.h"

namespace settings {

class Vconf
{
public:
    explicit Vconf(const Folders& folders) : m_store(folders) {}

    // A string to be released with free(), or null.
    char* GetStr(const char* key);
    // 0 or 1.
    int GetBool(const char* key, int* value);
    int GetInt(const char* key, int* value);

    int SetStr(const char* key, const char* value);
    // Any value but 0 is true.
    int SetBool(const char* key, int value);
    int SetInt(const char* key, int value);

    int SetStrAsync(const char* key, const char* value, DoneFunction done, void* userData);
    int SetBoolAsync(const char* key, int value, DoneFunction done, void* userData);
    int SetIntAsync(const char* key, int value, DoneFunction done, void* userData);

    int NotifyKeyChanged(const char* key, ChangeFunction function, void* userData);
    int IgnoreKeyChanged(const char* key, ChangeFunction function);

    // The same store, for what the platform's functions do not offer.
    Store& Underlying()
    {
        return m_store;
    }

private:
    Store m_store;
};

} // namespace settings
