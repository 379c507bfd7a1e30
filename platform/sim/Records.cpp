#include "sim/Records.h"

#include "sim/Text.h"

#include <bt_device.h>
#include <bt_hid.h>
#include <device_power.h>

namespace sim {

namespace {

constexpr const char* kNull = "null";

std::string FromTo(int before, int after)
{
    return std::to_string(before) + " to " + std::to_string(after);
}

} // namespace

std::string ToText(const bt_device_info_s* info)
{
    return info == nullptr ? kNull
                           : "{" + ToText(info->remote_address) + ", " + ToText(info->remote_name) +
                                 (info->is_bonded ? ", bonded" : "") + (info->is_connected ? ", connected" : "") + "}";
}

std::string ToText(const bt_device_connection_info_s* info)
{
    return info == nullptr ? kNull
                           : "{" + ToText(info->remote_address) + ", link " + ToText(info->link) + ", reason " +
                                 ToText(info->disconnect_reason) + "}";
}

std::string ToText(const bt_hid_battery_status_info_s* info)
{
    return info == nullptr ? kNull : "{" + ToText(info->status) + ", " + ToText(info->remote_address) + "}";
}

std::string ToText(const device_power_state_info* info)
{
    return info == nullptr
               ? kNull
               : "{state " + FromTo(info->prev_state, info->new_state) + ", ambient mode " +
                     FromTo(info->prev_ambient_mode, info->new_ambient_mode) + ", reason " + ToText(info->f1) + "}";
}

std::string ToText(const device_poweroff_info* info)
{
    return info == nullptr ? kNull : "{option " + ToText(info->option) + "}";
}

} // namespace sim
