#pragma once

#include <bt_audio.h>
#include <bt_device.h>

#include <functional>
#include <memory>
#include <string>

class CDbusClient;

/// Whoever listens to the Bluetooth stack and tells connections on. Callbacks are set before init, which is when
/// listening begins; deinit forgets them and ends it.
class IBluetoothEventSubscriber
{
public:
    IBluetoothEventSubscriber() = default;
    virtual ~IBluetoothEventSubscriber() = default;
    IBluetoothEventSubscriber(const IBluetoothEventSubscriber&) = delete;
    IBluetoothEventSubscriber& operator=(const IBluetoothEventSubscriber&) = delete;

    virtual void init(std::shared_ptr<CDbusClient> dbusClient) = 0;
    virtual void deinit() = 0;
    virtual void setAuthorizationCallback(std::function<void()> callback) = 0;
    virtual void
    setAclConnectionStateChangedCallback(std::function<void(bool, bt_device_connection_info_s*)> callback) = 0;
    virtual void
    setAudioConnectedCallback(std::function<void(const std::string&, bt_audio_profile_type_e)> callback) = 0;
    virtual void setHidConnetedCallback(std::function<void(const std::string&)> callback) = 0;
    virtual void setGattConnectedCallback(std::function<void(const std::string&)> callback) = 0;
};
