// The sun: how full the battery of a solar remote is, its warnings, and what charging tells.

#include "CommonUtil.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "UsageEvents.h"
#include "VconfUtil.h"

#include <bt_error.h>

#include <array>
#include <exception>
#include <stdexcept>

namespace {

// Percent by ADC reading, as the remotes' batteries were measured: not a straight line.
constexpr std::array<int, 32> kPercentages = {0,  3,  6,  10, 13, 16, 19, 23, 26, 29, 32, 35, 39, 42, 45, 48,
                                              53, 55, 58, 61, 65, 68, 71, 74, 77, 81, 84, 87, 90, 94, 97, 100};

constexpr int kAdcShift = 3;
constexpr int kHighestAdcBelow90 = 27;
constexpr int kHighestAdcUnder50 = 15;
constexpr int kHighestAdcUnder10 = 3;
constexpr int kWarnedUnder50 = 1;
constexpr int kWarnedUnder10 = 2;

constexpr unsigned char kBatteryReported = 9;
// The charging statuses that the user is told about.
constexpr unsigned char kFirstNoticedStatus = 6;
constexpr unsigned char kLastNoticedStatus = 7;

constexpr int kUnknown = -1;

/// What is judged alike for both remotes, and where it goes.
struct JudgedRemote
{
    int flagKey;
    const char* method;
};
constexpr JudgedRemote kSmartRc = {VconfKey::DB_VYREL_SMARTRC_ADC_FLAG, "SmartRcBatteryLevel"};
constexpr JudgedRemote kHalvoWheel = {VconfKey::DB_VYREL_HALVOWHEEL_ADC_FLAG, "HalvoWheelBatteryLevel"};

/// The warning bits after this reading; the old ones when no warning is due. A reading that calls for the second
/// warning leaves the first one out for good.
int WarningBits(int adc, int bits)
{
    if (adc <= kHighestAdcUnder10) {
        return bits | kWarnedUnder50 | kWarnedUnder10;
    }
    if (adc <= kHighestAdcUnder50) {
        return bits | kWarnedUnder50;
    }
    return bits;
}

bool IsChargingNotice(unsigned char status)
{
    return status == kFirstNoticedStatus || status == kLastNoticedStatus;
}

/// \return 0 to 31, or -1 when the platform does not say
int QueryAdc(int (*query)(unsigned char*))
{
    unsigned char battery = 0;
    const int result = query(&battery);
    if (result != BT_ERROR_NONE) {
        LOGE("getting battery status failed %s", Util::CommonUtil::ERR_STR(result));
        return kUnknown;
    }
    return battery >> kAdcShift;
}

} // namespace

void CSmartRcEventHandler::OnSmartRcBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime,
                                                                  void* userData)
{
    if (userData == nullptr) {
        LOGE("userData is NULL");
        return;
    }
    static_cast<CSmartRcEventHandler*>(userData)->HandleSmartRcBatteryChargingStatusRecieved(status, harvestTime);
}

void CSmartRcEventHandler::OnHalvoWheelBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime,
                                                                     void* userData)
{
    if (userData == nullptr) {
        LOGE("userData is NULL");
        return;
    }
    static_cast<CSmartRcEventHandler*>(userData)->HandleHalvoWheelBatteryChargingStatusRecieved(status, harvestTime);
}

void CSmartRcEventHandler::HandleSmartRcBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime)
{
    LOGI("charging status : 0x%x, harvestTime = %d", status, harvestTime);
    SendSolarChargeKpi(status, SmartRc, kUnknown, harvestTime);
    if (IsChargingNotice(status)) {
        CallConnectionManager("SmartRcBatteryChargingStatus", g_variant_new("(y)", status));
    }
}

void CSmartRcEventHandler::HandleHalvoWheelBatteryChargingStatusRecieved(unsigned char status,
                                                                         unsigned char harvestTime)
{
    LOGI("charging status : 0x%x, harvestTime = %d", status, harvestTime);
    SendSolarChargeKpi(status, HalvoWheel, kUnknown, harvestTime);
    if (IsChargingNotice(status)) {
        CallConnectionManager("HalvoWheelBatteryChargingStatus", g_variant_new("(y)", status));
    }
}

void CSmartRcEventHandler::HandleSolarCellRemoteBatteryStatus(const std::string&, int, int battery)
{
    JudgeBattery(SmartRc, battery);
}

void CSmartRcEventHandler::HandleHalvoWheelBatteryStatus(const std::string&, int battery)
{
    JudgeBattery(HalvoWheel, battery);
}

void CSmartRcEventHandler::JudgeBattery(Remote_Control_Device_Type type, int battery)
{
    const JudgedRemote& remote = type == HalvoWheel ? kHalvoWheel : kSmartRc;
    const int adc = battery >> kAdcShift;
    LOGI("batteryLevel : 0x%x", static_cast<unsigned int>(adc));
    SendSolarChargeKpi(kBatteryReported, type, kUnknown, 0);

    if (adc > kHighestAdcBelow90) {
        LOGI("battery level is higher than 90");
        Util::VconfUtil::SetVconf(remote.flagKey, 0);
        return;
    }
    int bits = 0;
    Util::VconfUtil::GetVconf(remote.flagKey, bits);
    if ((bits & kWarnedUnder10) != 0) {
        LOGI("already notify twice at battery level under 50 and  under 10");
        return;
    }
    const int newBits = WarningBits(adc, bits);
    if (newBits == bits) {
        return;
    }
    try {
        // Converted first: a reading out of range must leave the setting as it is.
        const std::string percentage = Util::CommonUtil::ToString(ConvertAdcValueToPercentage(adc));
        Util::VconfUtil::SetVconf(remote.flagKey, newBits);
        CallConnectionManager(remote.method, g_variant_new("(s)", percentage.c_str()));
    } catch (const std::exception& exception) {
        LOGE("exception : %s", exception.what());
    }
}

void CSmartRcEventHandler::GetSmartRcAdc(int& adc)
{
    adc = QueryAdc(bt_hid_get_smart_rc_battery_status);
}

void CSmartRcEventHandler::GetHalvoWheelAdc(int& adc)
{
    adc = QueryAdc(bt_hid_get_halvo_switch_battery_status);
}

void CSmartRcEventHandler::SendSolarChargeKpi(unsigned char code, Remote_Control_Device_Type type, int adc,
                                              int harvestTime)
{
    if (!IsRemoteDeviceConnected(type)) {
        LOGE("device is not connected");
        return;
    }
    const int reason = GetSolarEventReason(code);
    if (adc == kUnknown && type == HalvoWheel) {
        GetHalvoWheelAdc(adc);
    } else if (adc == kUnknown) {
        GetSmartRcAdc(adc);
    }
    int lux = 0;
    GetLuxValue(lux);
    if (adc == kUnknown || reason == kUnknown || lux == kUnknown) {
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

bool CSmartRcEventHandler::IsSolarRemote(int fwVersion)
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

int CSmartRcEventHandler::GetSolarEventReason(unsigned char code)
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
        return kUnknown;
    }
}

int CSmartRcEventHandler::ConvertAdcValueToPercentage(int adc)
{
    if (adc < 0 || adc >= static_cast<int>(kPercentages.size())) {
        LOGE("Out of range : %d", adc);
        throw std::invalid_argument("invalid argument");
    }
    return kPercentages[static_cast<std::size_t>(adc)];
}
