#include "sim/Remotes.h"

#include "sim/Devices.h"
#include "sim/Queue.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <bt_hid.h>

#include <utility>

namespace sim {

Remote::Remote(Television& tv, std::string remoteName, unsigned int product)
    : name(std::move(remoteName)),
      m_tv(tv),
      m_product(product)
{}

void Remote::IsConnected(const std::string& newAddress)
{
    address = newAddress;
    connected = true;
    m_tv.devices.Knows({.address = address,
                        .name = name,
                        .vendor = BT_HID_ACCESSORY_VENDOR_ID,
                        .product = m_product,
                        .connected = true});
}

void Remote::Connects(const std::string& newAddress)
{
    const Tape::Scope happens = m_tv.tape.Note(std::string(Title()) + " connects");
    IsConnected(newAddress);
    m_tv.devices.Connects(address, 1);
    TellConnection(true);
}

void Remote::Disconnects(int reason)
{
    const Tape::Scope happens = m_tv.tape.Note(std::string(Title()) + " disconnects");
    connected = false;
    TellConnection(false);
    m_tv.devices.Disconnects(address, reason, 1);
}

void Remote::LosesLink(int reason)
{
    const Tape::Scope happens = m_tv.tape.Note(std::string(Title()) + " is lost");
    connected = false;
    m_tv.devices.Disconnects(address, reason, 1);
    TellConnection(false);
}

void Remote::ReportsBattery(unsigned char byte)
{
    battery = byte;
    m_tv.queue.Post([this, byte, text = address]() mutable {
        bt_hid_battery_status_info_s status = {byte, text.data()};
        m_tv.smartRemote.onBattery.Tell(&status);
    });
}

void Remote::ReportsCharging(unsigned char status, unsigned char harvestTime)
{
    TellCharging(status, harvestTime);
}

SmartRemote::SmartRemote(Television& tv) : Remote(tv, "Smart Remote", BT_HID_SMART_RC_PRODUCT_ID) {}

void SmartRemote::TellConnection(bool isConnected)
{
    Tv().queue.Post([this, isConnected, device = Device{.address = address, .name = name}] {
        onConnection.Tell(isConnected, DeviceRecord(device).Get());
    });
}

void SmartRemote::TellCharging(unsigned char status, unsigned char harvestTime)
{
    Tv().queue.Post([=, this] { onCharging.Tell(status, harvestTime); });
}

void SmartRemote::IsGripped(unsigned char key)
{
    const Tape::Scope happens = Tv().tape.Note("the smart remote is gripped");
    Tv().queue.Post([=, this] { onGripped.Tell(key); });
}

void SmartRemote::GripSensorTurns(bt_hid_sc_grip_sensor_state_e state)
{
    gripSensor = state;
    Tv().queue.Post([=, this] { onGripState.Tell(state); });
}

Wheel::Wheel(Television& tv) : Remote(tv, "Halvo Wheel", BT_HID_HALVO_SWITCH_PRODUCT_ID) {}

void Wheel::TellConnection(bool isConnected)
{
    Tv().queue.Post([this, isConnected, device = Device{.address = address, .name = name}] {
        onConnection.Tell(isConnected, DeviceRecord(device).Get());
    });
}

void Wheel::TellCharging(unsigned char status, unsigned char harvestTime)
{
    Tv().queue.Post([=, this] { onCharging.Tell(status, harvestTime); });
}

} // namespace sim
