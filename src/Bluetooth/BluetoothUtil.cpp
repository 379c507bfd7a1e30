// Questions about bonded devices and audio connections.

#include "Bluetooth/BluetoothUtil.h"

#include "DlogUtil.h"
#include "GlibPointers.h"
#include "Guard.h"

#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_hid.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>

namespace {

constexpr std::array<int, 9> kAudioMinorClasses = {0, 4, 8, 16, 20, 24, 28, 32, 40};

constexpr std::size_t kTwoSpeakers = 2;

using DeviceInfoPtr = std::unique_ptr<bt_device_info_s, Util::ReleaseWith<bt_adapter_free_device_info>>;
using ConnectedInfoPtr = std::unique_ptr<bt_audio_connected_info_s, Util::ReleaseWith<bt_audio_free_connected_info>>;

/// True for a bonded device of the maker's with this product id. A device whose name is unknown is none.
bool IsProduct(const std::string& address, unsigned int productId)
{
    bt_device_info_s* record = nullptr;
    bt_adapter_get_bonded_device_info(address.c_str(), &record);
    const DeviceInfoPtr info(record);
    if (!info) {
        LOGE("deviceInfo is NULL");
        return false;
    }
    if (info->remote_name == nullptr) {
        LOGE("remote_name NULL for : %s, return", address.c_str());
        return false;
    }
    unsigned int vendor = 0;
    unsigned int product = 0;
    bt_device_get_remote_vid_pid(address.c_str(), &vendor, &product);
    return vendor == BT_HID_ACCESSORY_VENDOR_ID && product == productId;
}

/// Who is connected with this profile.
/// \return null when nobody is
ConnectedInfoPtr GetConnectedInfo(int type)
{
    bt_audio_connected_info_s* record = nullptr;
    const int result = bt_audio_get_connected_info(type, &record);
    ConnectedInfoPtr info(record);
    if (result != BT_ERROR_NONE) {
        LOGE("bt_audio_get_connected_info failed : %d", result);
        return nullptr;
    }
    return info;
}

bool IsConnectedAudio(const bt_device_info_s& info)
{
    return info.bt_class.major_device_class == BT_MAJOR_DEVICE_CLASS_AUDIO_VIDEO &&
           BluetoothUtil::isAudioMinorCOD(static_cast<int>(info.bt_class.minor_device_class)) && info.is_connected;
}

bool AppendConnectedAudio(bt_device_info_s* info, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL", true);
    RETURN_IF_NULL(info, "deviceInfo is NULL", true);
    RETURN_IF_NULL(info->remote_address, "deviceInfo->remote_address is NULL", true);
    if (IsConnectedAudio(*info)) {
        LOGI("found connected audio");
        static_cast<std::vector<std::string>*>(userData)->emplace_back(info->remote_address);
    }
    return true;
}

bool AppendConnected(bt_device_info_s* info, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL", true);
    RETURN_IF_NULL(info, "deviceInfo is NULL", true);
    RETURN_IF_NULL(info->remote_address, "deviceInfo->remote_address is NULL", true);
    if (info->is_connected) {
        LOGI("%s is connected", info->remote_address);
        static_cast<std::vector<std::string>*>(userData)->emplace_back(info->remote_address);
    }
    return true;
}

} // namespace

bool BluetoothUtil::isSmartRc(const std::string& address)
{
    if (!IsProduct(address, BT_HID_SMART_RC_PRODUCT_ID)) {
        return false;
    }
    LOGI("connected hid device is smart rc so do not send signal");
    return true;
}

bool BluetoothUtil::isHalvo(const std::string& address)
{
    if (!IsProduct(address, BT_HID_HALVO_SWITCH_PRODUCT_ID)) {
        return false;
    }
    LOGI("connected hid device is halvo so do not send signal");
    return true;
}

bool BluetoothUtil::isAudioMinorCOD(int minorClass)
{
    return std::find(kAudioMinorClasses.begin(), kAudioMinorClasses.end(), minorClass) != kAudioMinorClasses.end();
}

bool BluetoothUtil::getDeviceName(const std::string& address, std::string& name)
{
    bt_device_info_s* record = nullptr;
    const int result = bt_adapter_get_bonded_device_info(address.c_str(), &record);
    const DeviceInfoPtr info(record);
    if (result != BT_ERROR_NONE || !info) {
        return false;
    }
    RETURN_IF_NULL(info->remote_address, "device_info->remote_address == NULL", false);
    if (info->remote_name == nullptr) {
        return false;
    }
    name = info->remote_name;
    return true;
}

bool BluetoothUtil::isA2dpDeviceConnected(int type)
{
    return GetConnectedInfo(type) != nullptr;
}

bool BluetoothUtil::isA2dpDeviceConnected()
{
    return isA2dpDeviceConnected(BT_AUDIO_PROFILE_A2DP_SOURCE) || isA2dpDeviceConnected(BT_AUDIO_PROFILE_A2DP_SINK);
}

bool BluetoothUtil::isHfpDeviceConnected(int type, std::string& address)
{
    const ConnectedInfoPtr info = GetConnectedInfo(type);
    if (!info) {
        return false;
    }
    if (info->device_address != nullptr) {
        address = info->device_address;
    }
    return true;
}

void BluetoothUtil::getConnectedAudioDevices(std::vector<std::string>& addresses)
{
    bt_adapter_foreach_bonded_device(AppendConnectedAudio, &addresses);
}

void BluetoothUtil::getConnectedDevices(std::vector<std::string>& addresses)
{
    bt_adapter_foreach_bonded_device(AppendConnected, &addresses);
}

int BluetoothUtil::getNumberOfBtdevice()
{
    std::vector<std::string> addresses;
    getConnectedDevices(addresses);
    return static_cast<int>(addresses.size());
}

bool BluetoothUtil::isDualAudio()
{
    std::vector<std::string> addresses;
    getConnectedAudioDevices(addresses);
    return addresses.size() == kTwoSpeakers;
}
