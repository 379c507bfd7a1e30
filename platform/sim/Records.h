#pragma once

// How the records that callbacks are handed look on the tape. Each may be null.

#include <bt_device.h>
#include <bt_hid.h>
#include <device_power.h>

#include <string>

namespace sim {

std::string ToText(const bt_device_info_s* info);             ///< {"address", "name", bonded, connected}
std::string ToText(const bt_device_connection_info_s* info);  ///< {"address", link 1, reason 0}
std::string ToText(const bt_hid_battery_status_info_s* info); ///< {0x4f, "address"}
std::string ToText(const device_power_state_info* info);      ///< {state 0 to 2, ambient mode 0 to 0, reason 0}
std::string ToText(const device_poweroff_info* info);         ///< {option 13}

} // namespace sim
