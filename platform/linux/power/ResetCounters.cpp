#include "power/ResetCounters.h"

#include "Log.h"

#include <device_power.h>
#include <vconf.h>

#include <initializer_list>

namespace power {

namespace {

constexpr const char* kFactoryResets = "db/factory/factory_reset_count";
constexpr const char* kServiceResets = "db/factory/service_reset_count";

} // namespace

void BeginToCountResets()
{
    for (const char* key : {kFactoryResets, kServiceResets}) {
        int count = 0;
        if (vconf_get_int(key, &count) != 0 && vconf_set_int(key, 0) != 0) {
            PLATFORM_LOG(DLOG_ERROR, "%s cannot be written: this start counts as one after a reset", key);
        }
    }
}

void CountReset(int option)
{
    const char* key = option == DEVICE_POWEROFF_OPTION_RESET       ? kFactoryResets
                      : option == DEVICE_POWEROFF_OPTION_RESET_ALT ? kServiceResets
                                                                   : nullptr;
    if (key == nullptr) {
        return;
    }
    int count = 0;
    vconf_get_int(key, &count);
    if (vconf_set_int(key, count + 1) != 0) {
        PLATFORM_LOG(DLOG_ERROR, "the reset is not counted in %s: the next start will not know of it", key);
    }
}

} // namespace power
