#pragma once

#include "CKpiBase.h"

#include <glib.h>

#include <string>

/// What a connection event tells. Any other number is the reason of a disconnection, passed on to the collector as it
/// is.
enum KpiRemoconEventType : int
{
    KPI_REMOCON_CONNECTED = 0,
    KPI_REMOCON_DISCONNECTED = 1,
    KPI_REMOCON_MODULE_RESET = 2
};

/// A usage event of the smart remote.
///
/// code  | payload  | what it holds
/// ------|----------|--------------------------------------------------------------
/// EV005 | "(i)"    | the level code of the remote's report, 0 to 7
/// EV006 | "(sii)"  | remote's address, signal strength in dBm, KpiRemoconEventType
/// EV015 | "(ssss)" | lux, colour temperature, local time, status: lists with "|" between their items
/// EV016 | "(iiii)" | ADC reading, lux, status, what belongs to the status (KpiSolarCharge)
///
/// Making an EV006 counts it: pairings, reconnections and module resets live on in the settings. An unknown code, or a
/// payload of another type, leaves the event without its text, and so unsent. Operations that are const may write
/// settings, but leave the event as it is.
class KpiRemocon : public CKpiBase
{
public:
    /// \param payload stays the caller's, and is not needed any more once the event is made
    KpiRemocon(const std::string& eventName, const std::string& eventCode, GVariant* payload);
    ~KpiRemocon() override;

    // --- Counters, kept in the settings; 0 when unreadable: RemoconCounters.cpp ---

    // Each adds one.
    void SetSmartRcPairingCount() const;
    void SetReconnectCount() const;
    void SetBtChipResetCount() const;
    /// \param rssi signal strength in dBm
    void SetSmartRcRssi(int rssi) const;
    int GetSmartRcPairingCount() const;
    int GetReconnectCount() const;
    int GetBtChipResetCount() const;
    int GetSmartRcRssi() const;
    /// True when this remote is the one that connected last.
    bool IsReconnectCase(const std::string& address) const;
    /// Keeps the type for the event's text and counts the connection or the module reset.
    void SetBtConnectDescription(KpiRemoconEventType type, const std::string& address);
    /// Remembers the remote as the one that connected last, if the event is a connection.
    void SetLastConnectedAddress(const std::string& address) const;
    void SetSmartRcDisconnectReason(KpiRemoconEventType type);
    KpiRemoconEventType GetDisconnectReason() const;

    // --- What the platform knows: KpiRemocon.cpp ---

    /// \param address of the connected remote; left alone when it is unreadable
    void GetSmartRcAddress(std::string& address) const;
    /// \param name left alone on failure
    void GetModelName(std::string& name) const;
    /// Hexadecimal digits without a prefix; empty on failure.
    std::string GetBtChipFwVersion() const;
    /// Hexadecimal digits without a prefix; "InvalidFW" on failure.
    std::string GetSmartRcFwVersion() const;
    /// The platform's model code of the remote, 0 on failure.
    int GetSmartRcDeviceType() const;
    /// Sets the input type that the model of the remote has; a model that nobody knows changes nothing.
    void SetSmartRcInputType();

protected:
    /// Code of the input type that connection events carry.
    std::string m_inputType;

private:
    void BuildBatteryDescription(GVariant* payload);
    void BuildBtConnectDescription(GVariant* payload);
    void BuildAmbientLightDescription(GVariant* payload);
    void BuildSolarChargeDescription(GVariant* payload);

    KpiRemoconEventType m_eventType = KPI_REMOCON_CONNECTED;
};
