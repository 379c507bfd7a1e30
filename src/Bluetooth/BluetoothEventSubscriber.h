#pragma once

#include "Bluetooth/IBluetoothEventSubscriber.h"
#include "Living.h"

#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_device.h>

#include <functional>
#include <memory>
#include <string>

/// The one place that listens to the Bluetooth stack for connections, pairing and volume.
///
/// Each platform callback is a static function that checks what it is given, copies the texts and calls one handler.
/// The handlers pass the event on to the sibling services, in blocking calls of at most 5 seconds whose replies they
/// drop, and tell connections to whoever set the callbacks. An event that lacks its address, name or record is logged
/// and dropped.
class CBluetoothEventSubscriber : public IBluetoothEventSubscriber
{
public:
    CBluetoothEventSubscriber() = default;

    void init(std::shared_ptr<CDbusClient> dbusClient) override;
    /// Ends the registrations but for the volume and player roles (AVRCP), which stay open for good: their events are
    /// served as long as this object lives.
    void deinit() override;
    void setAuthorizationCallback(std::function<void()> callback) override;
    void
    setAclConnectionStateChangedCallback(std::function<void(bool, bt_device_connection_info_s*)> callback) override;
    void setAudioConnectedCallback(std::function<void(const std::string&, bt_audio_profile_type_e)> callback) override;
    void setHidConnetedCallback(std::function<void(const std::string&)> callback) override;
    void setGattConnectedCallback(std::function<void(const std::string&)> callback) override;

    // --- Registration: BluetoothEventSubscriber.cpp ---

    void registerConnectionCallbacks();
    void unRegisterConnectionCallbacks();

    // --- Connections, bonds and volume: ConnectionEvents.cpp ---

    static void OnBondCreatead(int result, bt_device_info_s* info, void* userData);
    static void OnBondDestroyed(int result, char* address, void* userData);
    static void OnDeviceConnectionStateChanged(bool connected, bt_device_connection_info_s* info, void* userData);
    static void OnGattConnectionStateChanged(int result, bool connected, const char* address, void* userData);
    static void OnAudioConnectionStateChanged(int result, bool connected, const char* address,
                                              bt_audio_profile_type_e type, void* userData);
    static void OnHidConnectionStateChanged(int result, bool connected, const char* address, void* userData);
    static void OnMaxConnectionReached(int result, char* address, void* userData);

    void HandleBondCreatead(int result, bt_device_info_s* info);
    void HandleBondDestroyed(int result, const std::string& address);
    void HandleDeviceConnectionStateChanged(bool connected, bt_device_connection_info_s* info);
    void HandleGattConnectionStateChanged(bool connected, const std::string& address);
    void HandleAudioConnecionStateChanged(int result, bool connected, const std::string& address,
                                          bt_audio_profile_type_e type);
    void HandleHidConnectionStateChanged(int result, bool connected, const std::string& address);
    void OnAvrcpControlStateChanged(bool connected, const std::string& address);
    void OnAvrcpTargetStateChanged(bool connected, const std::string& address);
    void OnAvrcpAbsVolumeInterimReceived(const std::string& address, unsigned short volume);
    void OnSlcCtateChanged(bool connected, const std::string& address);

    // --- Requests to pair and to connect: PairingRequests.cpp ---

    static void OnAuthorizationRequest(int result, char* address, char* name, bt_profile_service_id_e service,
                                       void* userData);
    static void OnAuthenticaionRequest(int result, bt_authentication_type_info_e type, char* name, char* address,
                                       char* passKey, void* userData);
    static void OnSspConcentRequest(int result, char* name, char* address, void* userData);

    void HandleAuthorizationRequest(int result, const std::string& address, const std::string& name,
                                    bt_profile_service_id_e service);
    void HandleAuthenticaionRequest(int result, bt_authentication_type_info_e type, const std::string& name,
                                    const std::string& address, const std::string& passKey);
    void HandleSspConcentRequest(int result, const std::string& name, const std::string& address);

private:
    void registerAvrcpCallbacks();

    std::shared_ptr<CDbusClient> m_dbusClient;
    std::function<void()> m_authorizationCallback;
    std::function<void(bool, bt_device_connection_info_s*)> m_aclConnectionCallback;
    std::function<void(const std::string&, bt_audio_profile_type_e)> m_audioConnectedCallback;
    std::function<void(const std::string&)> m_hidConnectedCallback;
    std::function<void(const std::string&)> m_gattConnectedCallback;
    /// The volume and player roles stay open for good, so their events may come when the subscriber is gone.
    Living<CBluetoothEventSubscriber> m_living{this};
};
