// Connections, bonds and volume: what the Bluetooth stack reports, and who is told.

#include "Bluetooth/BluetoothEventSubscriber.h"
#include "Bluetooth/BluetoothUtil.h"
#include "DbusClient/Sibling.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "Utf8.h"

#include <glib.h>

#include <bt_audio.h>
#include <bt_device.h>
#include <bt_error.h>

#include <functional>
#include <memory>
#include <string>

namespace {

GVariant* AddressBody(const std::string& address)
{
    return g_variant_new("(s)", Util::ToValidUtf8(address).c_str());
}

GVariant* ConnectionBody(bool connected, const std::string& address)
{
    return g_variant_new("(bs)", connected ? TRUE : FALSE, Util::ToValidUtf8(address).c_str());
}

} // namespace

void CBluetoothEventSubscriber::OnBondCreatead(int result, bt_device_info_s* info, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    static_cast<CBluetoothEventSubscriber*>(userData)->HandleBondCreatead(result, info);
}

void CBluetoothEventSubscriber::OnBondDestroyed(int result, char* address, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    if (result != BT_ERROR_NONE) {
        LOGE("Destroy Bond failed");
        return;
    }
    RETURN_IF_NULL(address, "address is NULL");
    static_cast<CBluetoothEventSubscriber*>(userData)->HandleBondDestroyed(BT_ERROR_NONE, address);
}

void CBluetoothEventSubscriber::OnDeviceConnectionStateChanged(bool connected, bt_device_connection_info_s* info,
                                                               void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    LOGI("enter");
    static_cast<CBluetoothEventSubscriber*>(userData)->HandleDeviceConnectionStateChanged(connected, info);
    LOGI("exit");
}

void CBluetoothEventSubscriber::OnGattConnectionStateChanged(int /*result*/, bool connected, const char* address,
                                                             void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(address, "address is NULL");
    LOGI("enter");
    static_cast<CBluetoothEventSubscriber*>(userData)->HandleGattConnectionStateChanged(connected, address);
    LOGI("exit");
}

void CBluetoothEventSubscriber::OnAudioConnectionStateChanged(int result, bool connected, const char* address,
                                                              bt_audio_profile_type_e type, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(address, "address is NULL");
    static_cast<CBluetoothEventSubscriber*>(userData)->HandleAudioConnecionStateChanged(result, connected, address,
                                                                                        type);
}

void CBluetoothEventSubscriber::OnHidConnectionStateChanged(int result, bool connected, const char* address,
                                                            void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(address, "address is NULL");
    static_cast<CBluetoothEventSubscriber*>(userData)->HandleHidConnectionStateChanged(result, connected, address);
}

void CBluetoothEventSubscriber::OnMaxConnectionReached(int /*result*/, char* /*address*/, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    LOGI("enter");
    LOGI("exit");
}

void CBluetoothEventSubscriber::HandleBondCreatead(int /*result*/, bt_device_info_s* info)
{
    if (info == nullptr) {
        LOGE("deviceInfo is NULL");
    } else if (info->remote_address == nullptr) {
        LOGE("remote_Address is NULL");
    } else if (info->remote_name == nullptr) {
        LOGE("remote_name is NULL");
    }
    // Nobody is told of a new bond; a record that lacks something is worth a log line all the same.
}

void CBluetoothEventSubscriber::HandleBondDestroyed(int /*result*/, const std::string& address)
{
    Ask(m_dbusClient.get(), kConnectionManager, "BondDestroied", AddressBody(address));
}

void CBluetoothEventSubscriber::HandleDeviceConnectionStateChanged(bool connected, bt_device_connection_info_s* info)
{
    RETURN_IF_NULL(info, "connInfo is NULL");
    RETURN_IF_NULL(info->remote_address, "remote_Address is NULL");
    LOGI("address : %s", info->remote_address);
    if (!m_aclConnectionCallback) {
        LOGE("m_aclConnectionCallback is nullptr");
        return;
    }
    m_aclConnectionCallback(connected, info);
}

void CBluetoothEventSubscriber::HandleGattConnectionStateChanged(bool connected, const std::string& address)
{
    if (connected && m_gattConnectedCallback) {
        m_gattConnectedCallback(address);
    }
}

void CBluetoothEventSubscriber::HandleAudioConnecionStateChanged(int result, bool connected, const std::string& address,
                                                                 bt_audio_profile_type_e type)
{
    LOGI("result = %d connected = %d address = %s type = %d", result, connected ? 1 : 0, address.c_str(), type);
    if (result == BT_ERROR_NONE) {
        Ask(m_dbusClient.get(), kConnectionManager, "AudioConnectionStateChanged",
            g_variant_new("(siii)", Util::ToValidUtf8(address).c_str(), type, 0, connected ? 1 : 0));
    }
    // The shift service keeps a list of its own, and hears of failed attempts too.
    if (type == BT_AUDIO_PROFILE_A2DP_SOURCE) {
        Ask(m_dbusClient.get(), kConnectionShift, "UpdateConnectedDeviceList", ConnectionBody(connected, address));
    }
    if (connected && m_audioConnectedCallback) {
        m_audioConnectedCallback(address, type);
    }
}

void CBluetoothEventSubscriber::HandleHidConnectionStateChanged(int result, bool connected, const std::string& address)
{
    LOGI("hid connetion state changed address : %s connected : %d", address.c_str(), connected ? 1 : 0);
    if (!connected) {
        return;
    }
    if (m_hidConnectedCallback) {
        m_hidConnectedCallback(address);
    }
    // The set's own remotes are the business of CSmartRcEventHandler.
    if (BluetoothUtil::isSmartRc(address) || BluetoothUtil::isHalvo(address)) {
        return;
    }
    Ask(m_dbusClient.get(), kConnectionManager, "HidConStateChanged",
        g_variant_new("(sii)", Util::ToValidUtf8(address).c_str(), result, 1));
}

void CBluetoothEventSubscriber::OnAvrcpControlStateChanged(bool connected, const std::string& address)
{
    Ask(m_dbusClient.get(), kConnectionManager, "AvrcpCtConnectionChanged", ConnectionBody(connected, address));
}

void CBluetoothEventSubscriber::OnAvrcpTargetStateChanged(bool connected, const std::string& address)
{
    Ask(m_dbusClient.get(), kConnectionManager, "AvrcpTgConnectionChanged", ConnectionBody(connected, address));
}

void CBluetoothEventSubscriber::OnAvrcpAbsVolumeInterimReceived(const std::string& address, unsigned short volume)
{
    const int level = volume;
    Ask(m_dbusClient.get(), kConnectionManager, "AvrcpInterimReceived",
        g_variant_new("(si)", Util::ToValidUtf8(address).c_str(), level));
}

void CBluetoothEventSubscriber::OnSlcCtateChanged(bool connected, const std::string& address)
{
    if (!connected) {
        return;
    }
    LOGI("send signal to launch hfp agent");
    Ask(m_dbusClient.get(), kHandsFreeAgent, "StartDaemon", AddressBody(address), kAgentStartTimeout);
}
