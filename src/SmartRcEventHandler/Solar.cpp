// Charging: what the remotes report of it, which of them have a solar cell, and the usage event of charge and battery.

#include "DbusClient/Sibling.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/Readings.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "UsageEvents.h"

#include <glib.h>

#include <memory>

namespace {

constexpr int kNoReason = -1;

// The charging statuses that the user is told about.
constexpr unsigned char kFirstNoticedStatus = 6;
constexpr unsigned char kLastNoticedStatus = 7;

bool IsChargingNotice(unsigned char status)
{
    return status == kFirstNoticedStatus || status == kLastNoticedStatus;
}

} // namespace

void CSmartRcEventHandler::OnSmartRcBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime,
                                                                  void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    static_cast<CSmartRcEventHandler*>(userData)->HandleSmartRcBatteryChargingStatusRecieved(status, harvestTime);
}

void CSmartRcEventHandler::OnHalvoWheelBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime,
                                                                     void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    static_cast<CSmartRcEventHandler*>(userData)->HandleHalvoWheelBatteryChargingStatusRecieved(status, harvestTime);
}

void CSmartRcEventHandler::HandleSmartRcBatteryChargingStatusRecieved(unsigned char status,
                                                                      unsigned char harvestTime) const
{
    LOGI("charging status : 0x%x, harvestTime = %d", status, harvestTime);
    SendSolarChargeKpi(status, SmartRc, kNoReading, harvestTime);
    if (IsChargingNotice(status)) {
        Call(m_dbusClient.get(), kConnectionManager, "SmartRcBatteryChargingStatus", g_variant_new("(y)", status));
    }
}

void CSmartRcEventHandler::HandleHalvoWheelBatteryChargingStatusRecieved(unsigned char status,
                                                                         unsigned char harvestTime) const
{
    LOGI("charging status : 0x%x, harvestTime = %d", status, harvestTime);
    SendSolarChargeKpi(status, HalvoWheel, kNoReading, harvestTime);
    if (IsChargingNotice(status)) {
        Call(m_dbusClient.get(), kConnectionManager, "HalvoWheelBatteryChargingStatus", g_variant_new("(y)", status));
    }
}

void CSmartRcEventHandler::SendSolarChargeKpi(unsigned char code, Remote_Control_Device_Type type, int adc,
                                              int harvestTime) const
{
    if (!IsRemoteDeviceConnected(type)) {
        LOGE("device is not connected");
        return;
    }
    const int reason = GetSolarEventReason(code);
    if (adc == kNoReading && type == HalvoWheel) {
        GetHalvoWheelAdc(adc);
    } else if (adc == kNoReading) {
        GetSmartRcAdc(adc);
    }
    int lux = 0;
    GetLuxValue(lux);
    if (adc == kNoReading || reason == kNoReason || lux == kNoReading) {
        LOGE("solar kpi value is invalid , do not send solar kpi");
        return;
    }
    int detail = 0;
    if (reason == KPI_SOLAR_HARVESTED) {
        detail = harvestTime;
    } else if (reason == KPI_SOLAR_BATTERY_REPORTED) {
        detail = getGripSensorKpiStatus();
    }
    LOGI("adc = %d lux = %d reason = %d harvest time = %d", adc, lux, reason, detail);
    Kpi::SendSolarCharge({.adc = adc, .lux = lux, .status = reason, .detail = detail});
}

bool CSmartRcEventHandler::IsSolarRemote(int fwVersion) const
{
    const auto version = static_cast<unsigned int>(fwVersion);
    LOGI("connected smart rc fw version is %x", version);
    switch (version & 0xF0000000U) {
    case 0x10000000U:
    case 0x20000000U:
    case 0x30000000U:
    case 0x40000000U:
    case 0x50000000U:
    case 0xE0000000U:
    case 0xF0000000U:
        return true;
    default:
        return false;
    }
}

int CSmartRcEventHandler::GetSolarEventReason(unsigned char code) const
{
    switch (code) {
    case 5:
        return 1;
    case 6:
        return 0;
    case 7:
        return 2;
    case 8:
        return KPI_SOLAR_HARVESTED;
    case kBatteryReported:
        return KPI_SOLAR_BATTERY_REPORTED;
    default:
        return kNoReason;
    }
}
