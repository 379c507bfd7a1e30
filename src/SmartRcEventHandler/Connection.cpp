// The remotes come and go, or were there before the service.

#include "CommonUtil.h"
#include "GlibPointers.h"
#include "Guard.h"
#include "KpiRemocon.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "SystemConfigUtil.h"
#include "UsageEvents.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_hid.h>

#include <string>

namespace {

constexpr int kNoRssi = 0;

/// The record of a bonded device, given back to the platform in every case. A query that failed leaves a null record,
/// which the platform takes back too.
class BondedDevice
{
public:
    BondedDevice() = default;
    ~BondedDevice()
    {
        bt_adapter_free_device_info(m_info);
    }
    BondedDevice(const BondedDevice&) = delete;
    BondedDevice& operator=(const BondedDevice&) = delete;

    int Query(const char* address)
    {
        return bt_adapter_get_bonded_device_info(address, &m_info);
    }
    bt_device_info_s* Get() const
    {
        return m_info;
    }

private:
    bt_device_info_s* m_info = nullptr;
};

bool HasAddress(const bt_device_info_s* info)
{
    RETURN_IF_NULL(info, "deviceInfo is NULL", false);
    RETURN_IF_NULL(info->remote_address, "deviceInfo->remote_address is NULL", false);
    return true;
}

int ReadUseMode()
{
    int useMode = 0;
    Util::VconfUtil::GetVconf(VconfKey::DB_MENU_SUPPORT_USE_MODE, useMode);
    return useMode;
}

/// The battery warnings that were given belong to the remote that connected last: another one starts anew.
void ForgetWarningsOfAnother(const std::string& address, int lastAddressKey, int flagKey)
{
    std::string lastAddress;
    Util::VconfUtil::GetVconf(lastAddressKey, lastAddress);
    if (lastAddress != address) {
        Util::VconfUtil::SetVconf(flagKey, 0);
    }
}

} // namespace

void CSmartRcEventHandler::OnSmartRcConnectionStateChanged(bool connected, bt_device_info_s* info, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(info, "deviceInfo is NULL");
    static_cast<CSmartRcEventHandler*>(userData)->HandleSmartRcConnectionStateChanged(connected, info);
}

void CSmartRcEventHandler::OnHalvoWheelConnectionStateChanged(bool connected, bt_device_info_s* info, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(info, "deviceInfo is NULL");
    static_cast<CSmartRcEventHandler*>(userData)->HandleHalvoWheelConnectionStateChanged(connected, info);
}

void CSmartRcEventHandler::HandleSmartRcConnectionStateChanged(bool connected, bt_device_info_s* info)
{
    if (!HasAddress(info)) {
        return;
    }
    if (connected) {
        OnSmartRcConnected(info);
    } else {
        OnSmartRcDisConnected(info);
    }
}

void CSmartRcEventHandler::HandleHalvoWheelConnectionStateChanged(bool connected, bt_device_info_s* info)
{
    if (!HasAddress(info)) {
        return;
    }
    if (connected) {
        OnHalvoWheelConnected(info);
    } else {
        OnHalvoWheelDisConnected(info);
    }
}

void CSmartRcEventHandler::OnSmartRcConnected(bt_device_info_s* info)
{
    m_smartRcAddress = info->remote_address;
    LOGI("SmartRcConencted address = %s", m_smartRcAddress.c_str());

    // On a monitor with a wheel shop mode is the wheel's alone: the smart remote is told off.
    const int useMode = Util::SystemConfigUtil::IsHalvo() ? 0 : ReadUseMode();
    if (!m_smartRcAddress.empty()) {
        SendShopModeToSmartRC(useMode);
    }

    m_smartRcFirstBattery = false;
    ResetHsmVconf(SmartRc);
    // The last address is written by the usage event of the connection, which comes later.
    ForgetWarningsOfAnother(m_smartRcAddress, VconfKey::DB_VYREL_LAST_SMARTRC_ADDRESS,
                            VconfKey::DB_VYREL_SMARTRC_ADC_FLAG);

    SetFirstScreenCallback();
    AddIrKeyCodeTimer();
    SetGripSensorOnOff();
}

void CSmartRcEventHandler::OnSmartRcDisConnected(bt_device_info_s* info)
{
    LOGI("SmartRc DisConencted address = %s", info->remote_address);
    UnSetFirstScreenCallback();
    RemoveIrKeyCodeTimer();
    Kpi::SendRemoteConnection(m_smartRcAddress, kNoRssi, KPI_REMOCON_DISCONNECTED);
    m_smartRcAddress.clear();
}

void CSmartRcEventHandler::OnHalvoWheelConnected(bt_device_info_s* info)
{
    m_halvoWheelAddress = info->remote_address;
    LOGI("halvowheel address = %s", m_halvoWheelAddress.c_str());

    if (Util::SystemConfigUtil::IsHalvo()) {
        const int useMode = ReadUseMode();
        if (!m_halvoWheelAddress.empty()) {
            SendShopModeToHalvo(useMode);
        }
    }

    m_halvoWheelFirstBattery = false;
    ResetHsmVconf(HalvoWheel);
    ForgetWarningsOfAnother(m_halvoWheelAddress, VconfKey::DB_VYREL_LAST_HALVO_WHEEL_ADDRESS,
                            VconfKey::DB_VYREL_HALVOWHEEL_ADC_FLAG);

    SetFirstScreenCallback();
    Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_LAST_HALVO_WHEEL_ADDRESS, m_halvoWheelAddress);
}

void CSmartRcEventHandler::OnHalvoWheelDisConnected(bt_device_info_s* info)
{
    LOGI("halvowheel DisConencted address = %s", info->remote_address);
    m_halvoWheelAddress.clear();
    UnSetFirstScreenCallback();
}

void CSmartRcEventHandler::CheckConnectedDevice()
{
    if (!IsSmartRcConnected()) {
        LOGE("smart rc disconnected or getting conn status failed");
        return;
    }
    BondedDevice device;
    char* found = nullptr;
    int result = bt_hid_get_smart_rc_address(&found);
    const Util::MallocString address(found);
    if (result != BT_ERROR_NONE) {
        LOGE("fail to get connected smartrc address %s", Util::CommonUtil::ERR_STR(result));
        return;
    }
    result = device.Query(address.get());
    if (result != BT_ERROR_NONE) {
        LOGE("fail to get connected sc device info %s", Util::CommonUtil::ERR_STR(result));
        return;
    }
    LOGI("SC is connected now so call sc connected cb");
    OnSmartRcConnectionStateChanged(true, device.Get(), this);
}

void CSmartRcEventHandler::CheckConnectedHalvo()
{
    if (!IsHalvoWheelConnected()) {
        LOGE("halvo wheel disconnected or getting conn status failed");
        return;
    }
    BondedDevice device;
    std::string address;
    if (!GetHalvoWheelAddress(address)) {
        LOGE("getting halvo wheel address is failed");
        return;
    }
    const int result = device.Query(address.c_str());
    if (result != BT_ERROR_NONE) {
        LOGE("fail to get connected device info %s", Util::CommonUtil::ERR_STR(result));
        return;
    }
    LOGI("halvo wheel is connected now so call halvo connected cb");
    HandleHalvoWheelConnectionStateChanged(true, device.Get());
}
