#include "bluez/DeviceInfo.h"

#include <bt_device.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

namespace bluez {

void FreeInfo(bt_device_info_s* info)
{
    if (info != nullptr) {
        std::free(info->remote_address);
        std::free(info->remote_name);
        std::free(info);
    }
}

InfoPtr MakeInfo(const Device& device)
{
    InfoPtr info(static_cast<bt_device_info_s*>(std::calloc(1, sizeof(bt_device_info_s))));
    if (!info) {
        return info;
    }
    info->remote_address = strdup(device.address.c_str());
    info->remote_name = device.name.empty() ? nullptr : strdup(device.name.c_str());
    const std::uint32_t deviceClass = device.deviceClass.value_or(0);
    info->bt_class.major_device_class = deviceClass >> 8U & 0x1FU;
    info->bt_class.minor_device_class = deviceClass & 0xFCU;
    info->is_bonded = device.bonded;
    info->is_connected = device.connected;
    return info->remote_address != nullptr ? std::move(info) : InfoPtr();
}

InfoPtr MakeInfo(const std::string& address)
{
    Device device;
    device.address = address;
    return MakeInfo(device);
}

} // namespace bluez
