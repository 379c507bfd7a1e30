#include "sim/Call.h"
#include "sim/Features.h"
#include "sim/Television.h"

#include <system_info.h>

#include <cstring>
#include <optional>
#include <string>
#include <string_view>

using sim::Call;
using sim::Television;

int system_info_get_custom_bool(const char* key, bool* value)
{
    Call call(__func__, key);
    return call.Gives(value, [&](Television& tv, bool& out) {
        return key == nullptr ? call.InvalidArgument() : tv.features.GetBool(key, out);
    });
}

int system_info_get_custom_int(const char* key, int* value)
{
    Call call(__func__, key);
    return call.Gives(value, [&](Television& tv, int& out) {
        return key == nullptr ? call.InvalidArgument() : tv.features.GetInt(key, out);
    });
}

int system_info_get_value_int(int key, int* value)
{
    return Call(__func__, key).Gives(value, [=](Television& tv, int& out) {
        return tv.features.GetSystemInt(key, out);
    });
}

int system_info_get_value_string(int key, char** value)
{
    return Call(__func__, key).GivesText(value, [=](Television& tv) {
        return key == SYSTEM_INFO_MODEL_NAME ? tv.features.modelName : std::nullopt;
    });
}
