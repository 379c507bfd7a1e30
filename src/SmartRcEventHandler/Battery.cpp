// Batteries of both remotes. The level code of a report becomes a setting, a usage event and, when it is low, a notice;
// otherwise its ADC reading is judged, and may give one of two warnings.

#include "CommonUtil.h"
#include "DbusClient/Sibling.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "SafeFile.h"
#include "SmartRcEventHandler/Readings.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "UsageEvents.h"
#include "Utf8.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <glib.h>

#include <bt_error.h>
#include <bt_hid.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace {

constexpr const char* kAppReady = "/tmp/app_ready";
constexpr const char* kSolarOverride = "/tmp/solar";

// The report's byte: the level code in its low bits, the ADC reading above.
constexpr int kLevelMask = 7;
constexpr int kAdcShift = 3;
constexpr int kAdcStep = 1 << kAdcShift;

constexpr int kLevelEmpty = 0;
constexpr int kLevelLow = 5;

constexpr int kHighestAdcBelow90 = 27;
constexpr int kHighestAdcUnder50 = 15;
constexpr int kHighestAdcUnder10 = 3;

// Bits of the setting that remembers which warnings were given.
constexpr int kWarnedUnder50 = 1;
constexpr int kWarnedUnder10 = 2;

// Percent by ADC reading. It is not a straight line; nothing in it is to be smoothed.
constexpr std::array<int, 32> kPercentages = {0,  3,  6,  10, 13, 16, 19, 23, 26, 29, 32, 35, 39, 42, 45, 48,
                                              53, 55, 58, 61, 65, 68, 71, 74, 77, 81, 84, 87, 90, 94, 97, 100};

/// Announces the low level always, and the empty one once, as soon as the applications can show it.
/// \param announced whether the empty level was announced since the remote connected
/// \return false when the report is to be judged by its ADC reading instead
bool Announce(int level, bool& announced, const std::function<void()>& notify)
{
    if (level == kLevelLow) {
        notify();
        return true;
    }
    if (level != kLevelEmpty || announced) {
        return false;
    }
    if (Util::CommonUtil::CheckExist(kAppReady)) {
        notify();
        announced = true;
    }
    return true;
}

/// The battery value of an ADC reading of any size.
int ToBattery(int adc)
{
    constexpr int kLargest = std::numeric_limits<int>::max() / kAdcStep;
    constexpr int kSmallest = std::numeric_limits<int>::min() / kAdcStep;
    return std::clamp(adc, kSmallest, kLargest) * kAdcStep;
}

/// People who test solar remotes put an ADC reading into a file; it then stands for the reported one.
int OverriddenBattery(unsigned char reported)
{
    const std::optional<std::string> text = Util::SafeFile::Read(kSolarOverride);
    if (!text) {
        return reported;
    }
    const int adc = Util::SafeFile::ToInt(*text);
    LOGI("battery : %d", adc);
    return ToBattery(adc);
}

int ReadFwVersion(const std::string& address)
{
    unsigned int version = 0;
    bt_hid_get_smart_rc_fw_version(address.c_str(), &version);
    return static_cast<int>(version);
}

/// Both remotes' readings are judged alike; this is what differs.
struct JudgedRemote
{
    int flagKey;        ///< the setting with the warning bits
    const char* method; ///< tells the connection manager the percentage
};
constexpr JudgedRemote kSmartRc = {VconfKey::DB_VYREL_SMARTRC_ADC_FLAG, "SmartRcBatteryLevel"};
constexpr JudgedRemote kHalvoWheel = {VconfKey::DB_VYREL_HALVOWHEEL_ADC_FLAG, "HalvoWheelBatteryLevel"};

/// The warning bits after this reading: the old ones when no warning is due. A battery that is found under 10 % at once
/// gives the second warning only, so both bits are set then.
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

/// \return kNoReading when the platform does not say
int QueryAdc(int (*query)(unsigned char*))
{
    unsigned char battery = 0;
    const int result = query(&battery);
    if (result != BT_ERROR_NONE) {
        LOGE("getting battery status failed %s", Util::CommonUtil::ERR_STR(result));
        return kNoReading;
    }
    return battery >> kAdcShift;
}

} // namespace

void CSmartRcEventHandler::OnSmartRcBatteryNotifyChanged(bt_hid_battery_status_info_s* status, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(status, "BatteryStatus is NULL");
    static_cast<CSmartRcEventHandler*>(userData)->HandleBatteryNotifyChanged(status);
}

void CSmartRcEventHandler::HandleBatteryNotifyChanged(bt_hid_battery_status_info_s* status)
{
    RETURN_IF_NULL(status, "BatteryStatus is null");
    RETURN_IF_NULL(status->remote_address, "BatteryStatus->remote_address is null");
    const std::string address(status->remote_address);
    if (IsSmartRcAddress(address)) {
        HandleSmartRCBatteryNotifyChanged(address, status->status);
    } else if (IsHalvoWheelAddress(address)) {
        HandleHalvoWheelBatteryNotifyChanged(address, status->status);
    }
}

void CSmartRcEventHandler::HandleSmartRCBatteryNotifyChanged(const std::string& address, unsigned char battery)
{
    const int level = battery & kLevelMask;
    Util::VconfUtil::SetVconf(VconfKey::MEMORY_SP_KPI_BATLEV, level);
    SendBatteryKpi(level);

    const int fwVersion = ReadFwVersion(address);
    LOGI("battery notified for smart rc = %d", m_smartRcFirstBattery);
    const bool done = Announce(level, m_smartRcFirstBattery, [&] {
        Call(m_dbusClient.get(), kConnectionManager, "SmartRcBatteryNotify",
             g_variant_new("(ssi)", Util::CommonUtil::ToString(level).c_str(), Util::ToValidUtf8(address).c_str(),
                           fwVersion));
    });
    if (!done && IsSolarRemote(fwVersion)) {
        HandleSolarCellRemoteBatteryStatus(address, fwVersion, OverriddenBattery(battery));
    }
}

void CSmartRcEventHandler::HandleHalvoWheelBatteryNotifyChanged(const std::string& address, unsigned char battery)
{
    const int level = battery & kLevelMask;
    Util::VconfUtil::SetVconf(VconfKey::MEMORY_ORG_VANTOR_VYREL_HALVO_WHEEL_BATTERY_LEVEL, level);
    SendBatteryKpi(level);

    LOGI("battery notified for smart rc = %d", m_halvoWheelFirstBattery);
    const bool done = Announce(level, m_halvoWheelFirstBattery, [&] {
        Call(m_dbusClient.get(), kConnectionManager, "HalvoWheelBatteryNotify",
             g_variant_new("(ss)", Util::CommonUtil::ToString(level).c_str(), Util::ToValidUtf8(address).c_str()));
    });
    if (!done) {
        HandleHalvoWheelBatteryStatus(address, battery);
    }
}

void CSmartRcEventHandler::SendBatteryKpi(int level) const
{
    Kpi::SendRemoteBattery(level);
}

void CSmartRcEventHandler::HandleSolarCellRemoteBatteryStatus(const std::string&, int, int battery) const
{
    JudgeBattery(SmartRc, battery);
}

void CSmartRcEventHandler::HandleHalvoWheelBatteryStatus(const std::string&, int battery) const
{
    JudgeBattery(HalvoWheel, battery);
}

void CSmartRcEventHandler::JudgeBattery(Remote_Control_Device_Type type, int battery) const
{
    const JudgedRemote& remote = type == HalvoWheel ? kHalvoWheel : kSmartRc;
    const int adc = battery >> kAdcShift;
    LOGI("batteryLevel : 0x%x", static_cast<unsigned int>(adc));
    SendSolarChargeKpi(kBatteryReported, type, kNoReading, 0);

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
        Call(m_dbusClient.get(), kConnectionManager, remote.method, g_variant_new("(s)", percentage.c_str()));
    } catch (const std::exception& exception) {
        LOGE("exception : %s", exception.what());
    }
}

void CSmartRcEventHandler::GetSmartRcAdc(int& adc) const
{
    adc = QueryAdc(bt_hid_get_smart_rc_battery_status);
}

void CSmartRcEventHandler::GetHalvoWheelAdc(int& adc) const
{
    adc = QueryAdc(bt_hid_get_halvo_switch_battery_status);
}

int CSmartRcEventHandler::ConvertAdcValueToPercentage(int adc) const
{
    if (adc < 0 || adc >= static_cast<int>(kPercentages.size())) {
        LOGE("Out of range : %d", adc);
        throw std::invalid_argument("invalid argument");
    }
    return kPercentages[static_cast<std::size_t>(adc)];
}
