#pragma once

#include "KpiRemocon.h"

#include <string>
#include <string_view>

/// Why a solar-charge event is sent. The other numbers stand for what a charging remote says of itself.
enum KpiSolarStatus : int
{
    KPI_SOLAR_BATTERY_REPORTED = 3,
    KPI_SOLAR_HARVESTED = 4,
    KPI_SOLAR_GRIPPED = 5
};

/// Samples of the light in the room, each text a list with "|" between its items.
struct KpiAmbientLight
{
    std::string lux;
    std::string colourTemperature;
    std::string localTime;
    std::string status;
};

struct KpiSolarCharge
{
    int adc; ///< 0 to 31
    int lux;
    int status; ///< KpiSolarStatus, or another number
    /// What belongs to the status: the grip sensor's state, the harvest time or the code of the grip, else 0.
    int detail;
};

struct KpiDeviceConnection
{
    std::string_view service; ///< the id of the service that connected, such as "0x02"
    std::string_view name;
    std::string_view address;
    int rssi;        ///< signal strength in dBm
    int deviceCount; ///< connected devices, this one included
    bool isDualAudio;
};

/// The usage events of the service: each call makes one, queues it with the collector and forgets it. Here alone stand
/// the names and codes by which the collector knows them. Names and addresses come over the air and may hold any bytes.
namespace Kpi {

/// \param level the level code that the remote reported, 0 to 7
void SendRemoteBattery(int level);
/// Counts the connection too: see KpiRemocon.
/// \param rssi signal strength in dBm, 0 for a link that is gone
void SendRemoteConnection(std::string_view address, int rssi, KpiRemoconEventType type);
void SendAmbientLight(const KpiAmbientLight& samples);
void SendSolarCharge(const KpiSolarCharge& charge);
void SendDeviceConnection(const KpiDeviceConnection& device);

} // namespace Kpi
