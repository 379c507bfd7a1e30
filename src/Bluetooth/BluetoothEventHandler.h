#pragma once

#include "Bluetooth/BluetoothEventSubscriber.h"
#include "Bluetooth/IBluetoothEventSubscriber.h"
#include "Bluetooth/ServiceMap.h"
#include "Living.h"

#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_device.h>

#include <cstdint>
#include <memory>
#include <string>

class CDbusClient;
class CSmartRcEventHandler;

/// Owns the set's Bluetooth adapter for the life of the service.
///
/// Normally: Init brings the stack up and switches the adapter on; each time the adapter comes up, identity and
/// visibility are applied again; connections are recorded, their signal strength is asked for, and the answer becomes
/// a usage event.
///
/// Exceptions: a setting can keep the adapter off; an adapter that is on already reports no change, so what an enable
/// would do is done at once; a reset leaves a mark in the settings, and all pairings but the remote's are removed; a
/// request to pair or connect cancels the reconnection of the last speaker.
class CBluetoothEventHandler
{
public:
    CBluetoothEventHandler() = default;
    ~CBluetoothEventHandler();
    CBluetoothEventHandler(const CBluetoothEventHandler&) = delete;
    CBluetoothEventHandler& operator=(const CBluetoothEventHandler&) = delete;

    void Init(std::shared_ptr<CDbusClient> dbusClient, std::shared_ptr<CSmartRcEventHandler> smartRcHandler);
    /// Ends what Init registered, but for this: the volume and player roles stay open for good, as do the listening
    /// sockets; a pending reconnection of the last speaker comes all the same and finds no client; an answer to a
    /// question for a signal strength is still served. None of them reaches an object that is gone.
    void Deinit();

    // --- Adapter: BluetoothEventHandler.cpp ---

    void initializeAdapter();
    /// \param state 1 runs the enable handling, every other value the disable handling, whatever the result
    void onAdapterStateChange(int result, bt_adapter_state_e state);
    void handleAdapterEnable();
    void handleAdapterDisable();
    /// True unless the setting that keeps the adapter off is set.
    bool isAdapterFactoryOptionEnable() const;
    void handleAdapterFactoryOptionEnable();
    void handleAdapterFactoryOptionDisable();
    void initVconfKeys();
    void initVconfCallbacks();
    void deinitVconfCallbacks();
    void initBluetoothEventSubscriber();
    void deInitBluetoothEventSubscriber();
    /// A request from any device: a pending reconnection of the last speaker is off.
    void onAuthorizationRequest();

    // --- What the set shows of itself: AdapterIdentity.cpp ---

    bool checkVisibilityOption() const;
    void setAdapterVisibility() const;
    void setLocalAdapterName();
    void setEIRData();
    /// Each call opens one more listening socket, which stays open: it advertises the set's own service.
    void setQuorixTVCustomUuid();

    // --- Devices: ConnectedDevices.cpp ---

    void handleConnectedDevice();
    bool isLastSoundOutputBTspk() const;
    void addTimerForLastConnectedBtSpeaker();
    static int handleLastConnectedSpk(void* userData);
    bool isBtWakeUpReasonAndPowerState() const;
    /// \param address the device that switched the set on, left alone when the answer is false
    bool isA2dpPowerOn(std::string& address) const;
    void removeAllPairedDeviceToReset();
    /// \return true: go on with the next device
    bool removeBondedDevice(bt_device_info_s* info);
    void onDeviceConnectionStateChanged(bool connected, bt_device_connection_info_s* info);
    void onGattConnected(const std::string& address);
    void onHidConnected(const std::string& address);
    void onAudioConnected(const std::string& address, bt_audio_profile_type_e type);
    void setRssiCallback(const std::string& address);
    /// \param strength signal strength of the link in dBm
    void sendWirelessBtConnectKpi(const std::string& address, int strength);

private:
    static void OnRssiStrength(char* address, int linkType, int strength, void* userData);
    void cancelReconnection();

    std::uint32_t m_reconnectionTimer = 0;
    std::unique_ptr<CBluetoothEventSubscriber> m_subscriber;
    std::shared_ptr<CDbusClient> m_dbusClient;
    std::shared_ptr<CSmartRcEventHandler> m_smartRcHandler;
    ServiceMap m_serviceMap;
    /// The question for a signal strength cannot be taken back, so its answer may come when the handler is gone.
    Living<CBluetoothEventHandler> m_living{this};
};
