#pragma once

#include "sim/Slot.h"

#include <bt_hid.h>

#include <string>

namespace sim {

class Television;

/// What the smart remote and the wheel have in common. The address is the one it had last, also while it is away.
class Remote
{
public:
    // What happens to it.
    /// Bonds if need be, and connects: the link first, then the remote itself.
    void Connects(const std::string& newAddress);
    /// Is connected from before the service's start on: nobody is told.
    void IsConnected(const std::string& newAddress);
    /// Ends the connection in order: the remote's own notice comes first, that of the link after it.
    void Disconnects(int reason = 0);
    /// Loses the link: the notice of the link comes first, with the reason, that of the remote after it.
    void LosesLink(int reason);
    void ReportsBattery(unsigned char byte);
    void ReportsCharging(unsigned char status, unsigned char harvestTime);

    // What it is, for a test to set.
    std::string address;
    std::string name;
    bool connected = false;
    unsigned char deviceType = 0x11;
    unsigned int fwVersion = 0;
    unsigned char battery = 0;
    bool noLatency = false;

protected:
    Remote(Television& tv, std::string remoteName, unsigned int product);
    virtual ~Remote() = default;

    Television& Tv()
    {
        return m_tv;
    }

private:
    virtual void TellConnection(bool isConnected) = 0;
    virtual void TellCharging(unsigned char status, unsigned char harvestTime) = 0;
    virtual const char* Title() const = 0;

    Television& m_tv;
    unsigned int m_product;
};

class SmartRemote final : public Remote
{
public:
    explicit SmartRemote(Television& tv);

    void IsGripped(unsigned char key);
    /// The sensor changes its state, and tells so.
    void GripSensorTurns(bt_hid_sc_grip_sensor_state_e state);

    bt_hid_sc_grip_sensor_state_e gripSensor = BT_SC_GRIP_SENSOR_ON;
    std::string duid;

    Slot<bt_hid_smart_rc_connection_cb> onConnection{"bt_hid_smart_rc_connection_cb"};
    /// Batteries of both remotes.
    Slot<bt_hid_battery_status_received_cb> onBattery{"bt_hid_battery_status_received_cb"};
    Slot<bt_hid_smart_rc_charging_status_received_cb> onCharging{"bt_hid_smart_rc_charging_status_received_cb"};
    Slot<bt_hid_smart_rc_grip_sensor_detected_cb> onGripped{"bt_hid_smart_rc_grip_sensor_detected_cb"};
    Slot<bt_hid_smart_rc_grip_sensor_state_changed_cb> onGripState{"bt_hid_smart_rc_grip_sensor_state_changed_cb"};

private:
    void TellConnection(bool isConnected) override;
    void TellCharging(unsigned char status, unsigned char harvestTime) override;
    const char* Title() const override
    {
        return "the smart remote";
    }
};

class Wheel final : public Remote
{
public:
    explicit Wheel(Television& tv);

    Slot<bt_hid_halvo_switch_connection_state_changed_cb> onConnection{
        "bt_hid_halvo_switch_connection_state_changed_cb"};
    Slot<bt_hid_halvo_switch_charging_status_received_cb> onCharging{"bt_hid_halvo_switch_charging_status_received_cb"};

private:
    void TellConnection(bool isConnected) override;
    void TellCharging(unsigned char status, unsigned char harvestTime) override;
    const char* Title() const override
    {
        return "the wheel";
    }
};

/// The rotating stand.
class Stand
{
public:
    bool connected = false;
};

} // namespace sim
