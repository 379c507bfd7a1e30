#pragma once

#include "bluez/Tree.h"

#include <bt_device.h>

#include <memory>
#include <string>

namespace bluez {

/// Releases a record and its texts; null is accepted.
void FreeInfo(bt_device_info_s* info);

struct InfoDeleter
{
    void operator()(bt_device_info_s* info) const
    {
        FreeInfo(info);
    }
};
using InfoPtr = std::unique_ptr<bt_device_info_s, InfoDeleter>;

/// What the service is told of a device. Null when there is no memory.
InfoPtr MakeInfo(const Device& device);

/// The same for a device of which nothing but its address is known.
InfoPtr MakeInfo(const std::string& address);

} // namespace bluez
