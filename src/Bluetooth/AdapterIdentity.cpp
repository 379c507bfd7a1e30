// What other devices see of the set: its name, its kind, its own service, and whether they find it at all.

#include "Bluetooth/BluetoothEventHandler.h"
#include "CommonUtil.h"
#include "LiteDebug.h"
#include "SystemConfigUtil.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <bt_adapter.h>
#include <bt_error.h>
#include <bt_socket.h>
#include <device_power.h>

#include <array>
#include <cstddef>
#include <string>

namespace {

constexpr const char* kCustomServiceUuid = "DFC3AFAA-6FF9-4A05-B68C-A0B725F90005";
constexpr int kSocketBacklog = 10;

constexpr const char* kCompatibleNamePrefix = "[TV] ";

constexpr std::size_t kEirLength = 30;
constexpr std::size_t kEirDeviceType = 8;
constexpr std::size_t kEirIconType = 9;

char LowByte(int number)
{
    return static_cast<char>(static_cast<unsigned int>(number) & 0xFFU);
}

} // namespace

bool CBluetoothEventHandler::checkVisibilityOption() const
{
    const power_state_e state = device_power_get_state();
    LOGI("Power state : [%d]", state);
    if (!Util::SystemConfigUtil::IsBluetoothDiscoverable()) {
        LOGW("Discoverable off");
        return false;
    }
    if (state != DEVICE_POWER_STATE_NORMAL) {
        return false;
    }
    LOGI("Need to set visibility to BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE");
    return true;
}

void CBluetoothEventHandler::setAdapterVisibility() const
{
    bt_adapter_set_visibility(checkVisibilityOption() ? BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE
                                                      : BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE,
                              0);
}

void CBluetoothEventHandler::setLocalAdapterName()
{
    std::string name;
    Util::VconfUtil::GetVconf(VconfKey::DB_MENU_NETWORK_DEVICENAME_TV_NAME, name);
    if (Util::SystemConfigUtil::IsSupportQuorixAudioCompatibility()) {
        name.insert(0, kCompatibleNamePrefix);
    }
    LOGI("bt_adapter_set_name : %s", name.c_str());
    bt_adapter_set_name(name.c_str());
}

void CBluetoothEventHandler::setEIRData()
{
    // Company identifier 0x0075, low byte first, then what kind of set this is.
    std::array<char, kEirLength> data = {0x75, 0x00, 0x00, 0x09, 0x01};
    data[kEirDeviceType] = LowByte(Util::SystemConfigUtil::GetDeviceType());
    data[kEirIconType] = LowByte(Util::SystemConfigUtil::GetIconType());
    const int result = bt_adapter_set_eir_manufacturer_data(data.data(), static_cast<int>(data.size()));
    if (result != BT_ERROR_NONE) {
        LOGE("Setting EIR manufacturer data is failed : %s", Util::CommonUtil::ERR_STR(result));
    }
}

void CBluetoothEventHandler::setQuorixTVCustomUuid()
{
    int socket = 0;
    if (bt_socket_create_rfcomm(kCustomServiceUuid, &socket) != BT_ERROR_NONE) {
        LOGE("failed to bt_socket_create_rfcomm");
        return;
    }
    if (bt_socket_listen_and_accept_rfcomm(socket, kSocketBacklog) != BT_ERROR_NONE) {
        LOGE("failed to bt_socket_listen_and_accept_rfcomm");
        bt_socket_destroy_rfcomm(socket);
    }
}
