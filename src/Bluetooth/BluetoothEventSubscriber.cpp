// Registers with the Bluetooth stack for connections, pairing and volume, and takes the registrations back.

#include "Bluetooth/BluetoothEventSubscriber.h"

#include "Guard.h"
#include "LiteDebug.h"
#include "SystemConfigUtil.h"

#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_avrcp.h>
#include <bt_device.h>
#include <bt_gatt.h>
#include <bt_hid.h>

#include <utility>

void CBluetoothEventSubscriber::init(std::shared_ptr<CDbusClient> dbusClient)
{
    m_dbusClient = std::move(dbusClient);
    registerConnectionCallbacks();
}

void CBluetoothEventSubscriber::deinit()
{
    // The callbacks first: an event that comes during the calls below must not reach the handler that is stopping.
    m_authorizationCallback = nullptr;
    m_aclConnectionCallback = nullptr;
    m_audioConnectedCallback = nullptr;
    m_hidConnectedCallback = nullptr;
    m_gattConnectedCallback = nullptr;
    unRegisterConnectionCallbacks();
}

void CBluetoothEventSubscriber::setAuthorizationCallback(std::function<void()> callback)
{
    m_authorizationCallback = std::move(callback);
}

void CBluetoothEventSubscriber::setAclConnectionStateChangedCallback(
    std::function<void(bool, bt_device_connection_info_s*)> callback)
{
    m_aclConnectionCallback = std::move(callback);
}

void CBluetoothEventSubscriber::setAudioConnectedCallback(
    std::function<void(const std::string&, bt_audio_profile_type_e)> callback)
{
    m_audioConnectedCallback = std::move(callback);
}

void CBluetoothEventSubscriber::setHidConnetedCallback(std::function<void(const std::string&)> callback)
{
    m_hidConnectedCallback = std::move(callback);
}

void CBluetoothEventSubscriber::setGattConnectedCallback(std::function<void(const std::string&)> callback)
{
    m_gattConnectedCallback = std::move(callback);
}

void CBluetoothEventSubscriber::registerConnectionCallbacks()
{
    bt_audio_initialize();

    LOGI("Register connection request callbacks");
    bt_adapter_set_authentication_req_cb(OnAuthenticaionRequest, this);
    bt_adapter_set_ssp_consent_request_cb(OnSspConcentRequest, this);
    bt_device_set_auth_event_cb(OnAuthorizationRequest, this);

    LOGI("Register connection state changed callbacks");
    bt_device_set_bond_created_cb(OnBondCreatead, this);
    bt_device_set_bond_destroyed_cb(OnBondDestroyed, this);
    bt_device_set_connection_state_changed_cb(OnDeviceConnectionStateChanged, this);
    bt_gatt_set_connection_state_changed_cb(OnGattConnectionStateChanged, this);
    bt_audio_set_connection_state_changed_cb(OnAudioConnectionStateChanged, this);
    bt_hid_host_initialize(OnHidConnectionStateChanged, this);

    LOGI("Register avrcp callbacks");
    registerAvrcpCallbacks();

    LOGI("Register other connection callbackes");
    bt_adapter_set_max_device_connected_cb(OnMaxConnectionReached, this);
    if (Util::SystemConfigUtil::isHfpSupport()) {
        // NOLINTBEGIN(bugprone-lambda-function-name): the log's readers know these lambdas by "operator()".
        bt_audio_set_slc_state_changed_cb(
            [](bool connected, const char* address, void* userData) {
                RETURN_IF_NULL(userData, "userData is NULL");
                RETURN_IF_NULL(address, "address is NULL");
                static_cast<CBluetoothEventSubscriber*>(userData)->OnSlcCtateChanged(connected, address);
            },
            this);
        // NOLINTEND(bugprone-lambda-function-name)
    }
}

void CBluetoothEventSubscriber::registerAvrcpCallbacks()
{
    // NOLINTBEGIN(bugprone-lambda-function-name): the log names these lambdas "operator()", too.
    bt_avrcp_control_initialize(
        [](bool connected, const char* address, void* userData) {
            auto* subscriber = Living<CBluetoothEventSubscriber>::Find(userData);
            RETURN_IF_NULL(subscriber, "userData is NULL");
            RETURN_IF_NULL(address, "address is NULL");
            subscriber->OnAvrcpControlStateChanged(connected, address);
        },
        this);
    bt_avrcp_target_initialize(
        [](bool connected, const char* address, void* userData) {
            auto* subscriber = Living<CBluetoothEventSubscriber>::Find(userData);
            RETURN_IF_NULL(subscriber, "userData is NULL");
            RETURN_IF_NULL(address, "address is NULL");
            subscriber->OnAvrcpTargetStateChanged(connected, address);
        },
        this);
    // A volume that a device states and one that it changes to are the same news to the connection manager.
    const auto onVolume = [](const char* address, unsigned int volume, void* userData) {
        auto* subscriber = Living<CBluetoothEventSubscriber>::Find(userData);
        RETURN_IF_NULL(subscriber, "userData is NULL");
        RETURN_IF_NULL(address, "address is NULL");
        subscriber->OnAvrcpAbsVolumeInterimReceived(address, static_cast<unsigned short>(volume));
    };
    // NOLINTEND(bugprone-lambda-function-name)
    bt_avrcp_set_interim_volume_notify_cb(onVolume, this);
    bt_avrcp_set_absolute_volume_changed_cb(onVolume, this);
}

void CBluetoothEventSubscriber::unRegisterConnectionCallbacks()
{
    LOGI("Unregister connection request callbacks");
    bt_adapter_unset_authentication_req_cb();
    bt_adapter_unset_ssp_consent_request_cb();
    bt_device_unset_auth_event_cb();
    bt_adapter_unset_max_device_connected_cb();

    LOGI("Unregister connection state changed callbacks");
    bt_device_unset_bond_created_cb();
    bt_device_unset_bond_destroyed_cb();
    bt_device_unset_connection_state_changed_cb();
    bt_hid_host_deinitialize();
    bt_gatt_unset_connection_state_changed_cb();
    // Done above already, and harmless. The stack has always been given this sequence of calls, so it is kept.
    bt_adapter_unset_max_device_connected_cb();
    if (Util::SystemConfigUtil::isHfpSupport()) {
        bt_audio_unset_slc_state_changed_cb();
    }
    bt_audio_unset_connection_state_changed_cb();
    bt_audio_deinitialize();
}
