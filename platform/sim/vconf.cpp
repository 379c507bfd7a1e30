#include "settings/Vconf.h"

#include "settings/KeyNode.h"
#include "settings/Value.h"
#include "sim/Call.h"
#include "sim/Failures.h"
#include "sim/SettingWatches.h"
#include "sim/Settings.h"
#include "sim/Side.h"
#include "sim/Television.h"
#include "sim/Text.h"

#include <vconf.h>

#include <optional>
#include <string>

using sim::Call;
using sim::Television;

namespace sim {
namespace {

/// A truth value as C gives it. A number besides 0 and 1 shows as itself: the service is not to give one.
struct Truth
{
    int value;
};

std::string ToText(Truth truth)
{
    return truth.value == 0 || truth.value == 1 ? sim::ToText(truth.value == 1) : std::to_string(truth.value);
}

} // namespace
} // namespace sim

namespace {

/// Remembers whose write it was, for the notices of it.
template <typename Value>
int Written(Television& tv, int result, const char* key, Value value)
{
    if (result == settings::kOk) {
        tv.settings.watches.Wrote(key, sim::ToText(value));
    }
    return result;
}

} // namespace

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
    return Call(__func__, key, value).Does([=](Television& tv) {
        return Written(tv, tv.settings.OfService().SetStr(key, value), key, value);
    });
}

int vconf_set_bool(const char* key, int value)
{
    return Call(__func__, key, sim::Truth{value}).Does([=](Television& tv) {
        return Written(tv, tv.settings.OfService().SetBool(key, value), key, value != 0);
    });
}

int vconf_set_int(const char* key, int value)
{
    return Call(__func__, key, value).Does([=](Television& tv) {
        return Written(tv, tv.settings.OfService().SetInt(key, value), key, value);
    });
}

int vconf_set_str_async(const char* key, const char* value, vconf_set_done_cb callback, void* user_data)
{
    return Call(__func__, key, value).Does([=](Television& tv) {
        return Written(tv, tv.settings.OfService().SetStrAsync(key, value, callback, user_data), key, value);
    });
}

int vconf_set_bool_async(const char* key, int value, vconf_set_done_cb callback, void* user_data)
{
    return Call(__func__, key, sim::Truth{value}).Does([=](Television& tv) {
        return Written(tv, tv.settings.OfService().SetBoolAsync(key, value, callback, user_data), key, value != 0);
    });
}

int vconf_set_int_async(const char* key, int value, vconf_set_done_cb callback, void* user_data)
{
    return Call(__func__, key, value).Does([=](Television& tv) {
        return Written(tv, tv.settings.OfService().SetIntAsync(key, value, callback, user_data), key, value);
    });
}

int vconf_notify_key_changed(const char* key, vconf_callback_fn callback, void* user_data)
{
    return Call(__func__, key).Does([=](Television& tv) {
        const settings::ChangeFunction standIn = sim::SettingWatches::StandIn(callback);
        const int result = tv.settings.OfService().NotifyKeyChanged(key, standIn, user_data);
        if (key != nullptr && standIn != nullptr) {
            tv.settings.watches.Begins(key, standIn); // also after a failure: such a watch may stand
        }
        return result;
    });
}

int vconf_ignore_key_changed(const char* key, vconf_callback_fn callback)
{
    return Call(__func__, key).Does([=](Television& tv) {
        const settings::ChangeFunction standIn = sim::SettingWatches::StandIn(callback);
        const int result = tv.settings.OfService().IgnoreKeyChanged(key, standIn);
        if (result == settings::kOk) {
            tv.settings.watches.Ends(key, standIn);
        }
        return result;
    });
}

// What a node holds goes with the node: asking it is no event of its own.
int vconf_keynode_get_int(keynode_t* node)
{
    const sim::Runs runs(sim::Side::Television);
    const std::optional<int> failure = Call::Tv().failures.Take(__func__);
    return failure ? *failure : settings::KeyNodeInt(node);
}

char* vconf_keynode_get_str(keynode_t* node)
{
    const sim::Runs runs(sim::Side::Television);
    return Call::Tv().failures.Take(__func__) ? nullptr : settings::KeyNodeStr(node);
}
