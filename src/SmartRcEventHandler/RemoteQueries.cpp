// Which remote is connected, what it is, and why it was lost.

#include "CommonUtil.h"
#include "GlibPointers.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <bt_error.h>
#include <bt_hid.h>

#include <array>
#include <cstddef>
#include <string>

namespace {

constexpr unsigned int kTwoMicrophones = 0xB0000000U;
constexpr std::array<const char*, 4> kDisconnectReasons = {"Unknown", "Timeout", "Reset", ""};

/// Where the loss of a remote is recorded.
struct HsmKeys
{
    int address;
    int reason;
};
constexpr HsmKeys kSmartRcHsmKeys = {VconfKey::MEMORY_ORG_VANTOR_VYREL_HSM_REMOCON_DISCONNECTED_ADDRESS,
                                     VconfKey::MEMORY_ORG_VANTOR_VYREL_HSM_REMOCON_DISCONNECT_REASON};
constexpr HsmKeys kHalvoWheelHsmKeys = {VconfKey::MEMORY_ORG_VANTOR_VYREL_HSM_WHEEL_DISCONNECTED_ADDRESS,
                                        VconfKey::MEMORY_ORG_VANTOR_VYREL_HSM_WHEEL_DISCONNECTED_REASON};

void WriteHsm(const HsmKeys& keys, const std::string& address, const std::string& reason)
{
    Util::VconfUtil::SetVconf(keys.address, address);
    Util::VconfUtil::SetVconf(keys.reason, reason);
}

/// Asks the platform for the address of a connected remote.
/// \param address left alone on failure
/// \return the platform's result
int QueryAddress(int (*query)(char**), std::string& address)
{
    char* found = nullptr;
    const int result = query(&found);
    const Util::MallocString owned(found);
    if (result == BT_ERROR_NONE && owned) {
        address = owned.get();
    }
    return result;
}

} // namespace

bool CSmartRcEventHandler::IsSmartRcConnected() const
{
    bool connected = false;
    const int result = bt_hid_get_smart_remote_conn_status(&connected);
    if (result != BT_ERROR_NONE) {
        LOGE("get remote conn status is failed %s", Util::CommonUtil::ERR_STR(result));
        return false;
    }
    LOGI("Smart RC ConnStatus = %d", connected);
    return connected;
}

bool CSmartRcEventHandler::IsHalvoWheelConnected() const
{
    bool connected = false;
    const int result = bt_hid_get_halvo_switch_connection_state(&connected);
    if (result != BT_ERROR_NONE) {
        LOGE("getting halvo wheel connecton status is failed %s", Util::CommonUtil::ERR_STR(result));
        return false;
    }
    LOGI("Halvo wheel ConnStatus = %d", connected);
    return connected;
}

bool CSmartRcEventHandler::IsRemoteDeviceConnected(Remote_Control_Device_Type type) const
{
    switch (type) {
    case SmartRc:
        return IsSmartRcConnected();
    case HalvoWheel:
        return IsHalvoWheelConnected();
    default:
        LOGE("invalid device type");
        return false;
    }
}

bool CSmartRcEventHandler::GetDeviceAddress(std::string& address, Remote_Control_Device_Type type) const
{
    if (!IsRemoteDeviceConnected(type)) {
        return false;
    }
    if (type == HalvoWheel) {
        return GetHalvoWheelAddress(address);
    }
    const int result = QueryAddress(bt_hid_get_smart_rc_address, address);
    if (result != BT_ERROR_NONE) {
        LOGE("fail to get connected smartrc address %s", Util::CommonUtil::ERR_STR(result));
        return false;
    }
    return true;
}

bool CSmartRcEventHandler::GetHalvoWheelAddress(std::string& address) const
{
    const int result = QueryAddress(bt_hid_get_halvo_switch_address, address);
    if (result != BT_ERROR_NONE) {
        LOGE("fail to get connected halvowheel address %s", Util::CommonUtil::ERR_STR(result));
        return false;
    }
    LOGI("Halvo wheel address = %s", address.c_str());
    return true;
}

bool CSmartRcEventHandler::IsSmartRcAddress(const std::string& address) const
{
    std::string connected;
    const int result = QueryAddress(bt_hid_get_smart_rc_address, connected);
    if (result != BT_ERROR_NONE) {
        LOGE("fail to get connected smartrc address %s", Util::CommonUtil::ERR_STR(result));
        return false;
    }
    LOGI("SmartRc address = %s , Connected Address = %s", connected.c_str(), address.c_str());
    return connected == address;
}

bool CSmartRcEventHandler::IsHalvoWheelAddress(const std::string& address) const
{
    std::string connected;
    if (QueryAddress(bt_hid_get_halvo_switch_address, connected) != BT_ERROR_NONE) {
        LOGE("failed to get halvo wheel address");
        return false;
    }
    LOGI("SmartRc address = %s , Connected Address = %s", connected.c_str(), address.c_str());
    return connected == address;
}

std::string CSmartRcEventHandler::GetSmartRcAddress() const
{
    return m_smartRcAddress;
}

int CSmartRcEventHandler::GetSmartRcDeviceType() const
{
    unsigned char type = 0;
    bt_hid_get_smart_rc_device_type(&type);
    return type;
}

bool CSmartRcEventHandler::Is2MicSmartRc() const
{
    if (m_smartRcAddress.empty()) {
        LOGE("Connected Smart rc is None");
    }
    unsigned int version = 0;
    bt_hid_get_smart_rc_fw_version(m_smartRcAddress.c_str(), &version);
    if ((version & kTwoMicrophones) != kTwoMicrophones) {
        LOGI("Not 2mic SmartRC");
        return false;
    }
    return true;
}

void CSmartRcEventHandler::SetHsmVconf(const std::string& address, int reason) const
{
    if (m_smartRcAddress.empty() && m_halvoWheelAddress.empty()) {
        LOGE("Connected remote device is none");
        return;
    }
    const bool isSmartRc = address == m_smartRcAddress;
    if (!isSmartRc && address != m_halvoWheelAddress) {
        LOGE("Not supported type");
        return;
    }
    if (reason < 0 || reason >= static_cast<int>(kDisconnectReasons.size())) {
        LOGE("Out of range");
        return;
    }
    WriteHsm(isSmartRc ? kSmartRcHsmKeys : kHalvoWheelHsmKeys, address,
             kDisconnectReasons[static_cast<std::size_t>(reason)]);
}

void CSmartRcEventHandler::SetHsmVconf(const std::string& reason) const
{
    if (!m_smartRcAddress.empty()) {
        WriteHsm(kSmartRcHsmKeys, m_smartRcAddress, reason);
    }
    if (!m_halvoWheelAddress.empty()) {
        WriteHsm(kHalvoWheelHsmKeys, m_halvoWheelAddress, reason);
    }
}

void CSmartRcEventHandler::ResetHsmVconf(Remote_Control_Device_Type type) const
{
    switch (type) {
    case SmartRc:
        WriteHsm(kSmartRcHsmKeys, "", "");
        break;
    case HalvoWheel:
        WriteHsm(kHalvoWheelHsmKeys, "", "");
        break;
    default:
        LOGE("Not supported type");
    }
}
