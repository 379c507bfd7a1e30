// Devices: what is connected at the start, the last speaker, a reset of the pairings, and the report of each
// connection.

#include "Bluetooth/BluetoothEventHandler.h"
#include "Bluetooth/BluetoothUtil.h"
#include "Bluetooth/ServiceMap.h"
#include "CommonUtil.h"
#include "DbusClient/DbusClient.h"
#include "DbusClient/Sibling.h"
#include "GlibPointers.h"
#include "Guard.h"
#include "KpiRemocon.h"
#include "LastSpeaker.h"
#include "LiteDebug.h"
#include "Living.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "UsageEvents.h"
#include "Utf8.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <glib.h>

#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_hid.h>
#include <device_power.h>

#include <memory>
#include <string>

namespace {

constexpr const char* kGattService = "0x40";
constexpr const char* kHidService = "0x08";
constexpr const char* kHandsFreeService = "0x04";
constexpr const char* kAudioService = "0x02";

/// True when the state is one in which this reason can have switched the set on.
bool IsWokenByBluetooth(int reason, power_state_e state)
{
    if (reason == DEVICE_POWER_WAKEUP_BLUETOOTH_IN_STANDBY) {
        return state == DEVICE_POWER_STATE_STANDBY || state == DEVICE_POWER_STATE_LOW_POWER;
    }
    return state == DEVICE_POWER_STATE_NORMAL || state == DEVICE_POWER_STATE_STANDBY;
}

bool RemoveBond(bt_device_info_s* info, void* userData)
{
    RETURN_IF_NULL(userData, "UserData is NULL", true);
    return static_cast<CBluetoothEventHandler*>(userData)->removeBondedDevice(info);
}

} // namespace

void CBluetoothEventHandler::handleConnectedDevice()
{
    const bool isA2dpConnected = BluetoothUtil::isA2dpDeviceConnected(BT_AUDIO_PROFILE_A2DP_SOURCE);
    std::string address;
    const bool isHandsFreeConnected = BluetoothUtil::isHfpDeviceConnected(BT_AUDIO_PROFILE_HANDS_FREE, address);
    if (isA2dpConnected) {
        LOGI("a2dp source connected");
        Call(m_dbusClient.get(), kConnectionManager, "CheckConnectedDevice");
        if (isHandsFreeConnected) {
            LOGI("HFP connected, %s", address.c_str());
            Ask(m_dbusClient.get(), kHandsFreeAgent, "StartDaemon",
                g_variant_new("(s)", Util::ToValidUtf8(address).c_str()), kAgentStartTimeout);
        }
        return;
    }
    LOGI("a2dp source is not connected");
    if (isHandsFreeConnected) {
        // A hands-free link is not kept without an audio link beside it.
        LOGI("HFP connected, %s", address.c_str());
        bt_audio_disconnect(address.c_str(), BT_AUDIO_PROFILE_HANDS_FREE);
    }
}

bool CBluetoothEventHandler::isLastSoundOutputBTspk() const
{
    int route = 0;
    Util::VconfUtil::GetVconf(VconfKey::DB_VYREL_LASTSOUNDROUTE, route);
    LOGI("last tv soundoutput is %d", route);
    return LastSpeaker::IsRouteTo(route);
}

void CBluetoothEventHandler::addTimerForLastConnectedBtSpeaker()
{
    if (isLastSoundOutputBTspk() && device_power_get_state() == DEVICE_POWER_STATE_NORMAL) {
        m_reconnectionTimer = g_timeout_add(LastSpeaker::kCallBackDelay, handleLastConnectedSpk, this);
    }
}

int CBluetoothEventHandler::handleLastConnectedSpk(void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL", G_SOURCE_REMOVE);
    auto* handler = static_cast<CBluetoothEventHandler*>(userData);
    if (!BluetoothUtil::isA2dpDeviceConnected()) {
        Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_LASTSOUNDROUTE, 0);
        Call(handler->m_dbusClient.get(), kConnectionManager, "LastConnectedBtSpk");
    }
    handler->m_reconnectionTimer = 0;
    return G_SOURCE_REMOVE;
}

bool CBluetoothEventHandler::isBtWakeUpReasonAndPowerState() const
{
    const int reason = device_power_get_wakeup_reason();
    LOGI("wake up reason = %d", reason);
    if (reason != DEVICE_POWER_WAKEUP_BLUETOOTH && reason != DEVICE_POWER_WAKEUP_BLUETOOTH_IN_STANDBY) {
        return false;
    }
    if (!IsWokenByBluetooth(reason, device_power_get_state())) {
        LOGI("Not A2DP power on scenario");
        return false;
    }
    return true;
}

bool CBluetoothEventHandler::isA2dpPowerOn(std::string& address) const
{
    char* text = nullptr;
    int reason = 0;
    const int result = bt_adapter_get_power_on_reason(&text, &reason);
    const Util::MallocString platformAddress(text);
    if (result != BT_ERROR_NONE || !platformAddress) {
        LOGE("Fail to get bt wake-up reason");
        return false;
    }
    const bool isA2dp = reason == BT_ADAPTER_POWER_ON_REASON_A2DP;
    LOGI("wake up address : %s, wake up reason : %d", platformAddress.get(), reason);
    LOGI("A2DP power on : %d", isA2dp ? 1 : 0);
    if (!isA2dp) {
        return false;
    }
    address = platformAddress.get();
    LOGI("A2DP wake up case. addr : %s", address.c_str());
    return true;
}

void CBluetoothEventHandler::removeAllPairedDeviceToReset()
{
    int isRequested = 0; // set by the power-off of a reset (CTvStatusEventHandler::OnPowerStandbyCb)
    Util::VconfUtil::GetVconf(VconfKey::DB_VYREL_RESET, isRequested);
    if (isRequested == 0) {
        LOGE("<Not error> Not reset case.");
        return;
    }
    // Cleared first: whatever comes of it, it is not done again at the next enable.
    Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_RESET, 0);
    LOGE("<Not error> Remove all paired devices");
    bt_adapter_foreach_bonded_device(RemoveBond, this);
    Call(m_dbusClient.get(), kConnectionManager, "DeleteDatabase");
    LOGE("<Not error> Remove all paired devices, Done");
}

bool CBluetoothEventHandler::removeBondedDevice(bt_device_info_s* info)
{
    RETURN_IF_NULL(info, "deviceinfo is NULL", true);
    RETURN_IF_NULL(info->remote_address, "deviceinfo->remote_address is NULL", true);
    const std::string address(info->remote_address);
    if (!info->is_bonded || address.empty()) {
        return true;
    }
    unsigned int vendor = 0;
    unsigned int product = 0;
    bt_device_get_remote_vid_pid(address.c_str(), &vendor, &product);
    // The smart remote stays paired: after the reset nobody could operate the set without it.
    if (product != BT_HID_SMART_RC_PRODUCT_ID) {
        LOGE("<Not error> Remove %s", address.c_str());
        bt_device_destroy_bond(address.c_str());
    }
    return true;
}

void CBluetoothEventHandler::onDeviceConnectionStateChanged(bool /*connected*/, bt_device_connection_info_s* info)
{
    RETURN_IF_NULL(info, "connInfo is NULL");
    RETURN_IF_NULL(info->remote_address, "remote_Address is NULL");
    if (!m_smartRcHandler) {
        LOGE("no remote handler, the link of %s is dropped", info->remote_address);
        return;
    }
    m_smartRcHandler->SetHsmVconf(info->remote_address, info->disconnect_reason);
}

void CBluetoothEventHandler::onGattConnected(const std::string& address)
{
    m_serviceMap.Put(address, kGattService);
    LOGI("Add WirelessInfo [%s:0x40]", address.c_str());
    setRssiCallback(address);
}

void CBluetoothEventHandler::onHidConnected(const std::string& address)
{
    m_serviceMap.Put(address, kHidService);
    LOGI("Add WirelessInfo [%s:0x08]", address.c_str());
    setRssiCallback(address);
}

void CBluetoothEventHandler::onAudioConnected(const std::string& address, bt_audio_profile_type_e type)
{
    m_serviceMap.Put(address, type == BT_AUDIO_PROFILE_HANDS_FREE ? kHandsFreeService : kAudioService);
    // The line says 0x02 for hands-free too.
    LOGI("Add WirelessInfo [%s:0x02]", address.c_str());
    setRssiCallback(address);
}

void CBluetoothEventHandler::setRssiCallback(const std::string& address)
{
    const int result = bt_device_get_rssi_strength(address.c_str(), BT_DEVICE_LINK_ANY, OnRssiStrength, this);
    LOGI("ret = %s", Util::CommonUtil::ERR_STR(result));
}

void CBluetoothEventHandler::OnRssiStrength(char* address, int /*linkType*/, int strength, void* userData)
{
    auto* handler = Living<CBluetoothEventHandler>::Find(userData);
    RETURN_IF_NULL(handler, "userData is NULL");
    RETURN_IF_NULL(address, "address is NULL");
    handler->sendWirelessBtConnectKpi(address, strength);
}

void CBluetoothEventHandler::sendWirelessBtConnectKpi(const std::string& address, int strength)
{
    if (BluetoothUtil::isSmartRc(address)) {
        Kpi::SendRemoteConnection(address, strength, KPI_REMOCON_CONNECTED);
        return;
    }
    const char* service = m_serviceMap.Find(address);
    if (service == nullptr) {
        LOGE("Can not find service id of %s", address.c_str());
        return;
    }
    std::string name;
    if (!BluetoothUtil::getDeviceName(address, name)) {
        name = "InValidName";
    }
    Kpi::SendDeviceConnection({.service = service,
                               .name = name,
                               .address = address,
                               .rssi = strength,
                               .deviceCount = BluetoothUtil::getNumberOfBtdevice(),
                               .isDualAudio = BluetoothUtil::isDualAudio()});
    m_serviceMap.Remove(address);
}
