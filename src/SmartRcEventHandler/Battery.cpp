// Battery reports: the level becomes a setting, a usage event and, when it is low, a notice.

#include "CommonUtil.h"
#include "LiteDebug.h"
#include "SafeFile.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "UsageEvents.h"
#include "Utf8.h"
#include "VconfUtil.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>

namespace {

constexpr const char* kAppReady = "/tmp/app_ready";
constexpr const char* kSolarOverride = "/tmp/solar";

constexpr int kLevelMask = 7;
constexpr int kLevelEmpty = 0;
constexpr int kLevelLow = 5;
constexpr int kAdcStep = 8;

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

} // namespace

void CSmartRcEventHandler::OnSmartRcBatteryNotifyChanged(bt_hid_battery_status_info_s* status, void* userData)
{
    if (userData == nullptr) {
        LOGE("userData is NULL");
        return;
    }
    if (status == nullptr) {
        LOGE("BatteryStatus is NULL");
        return;
    }
    static_cast<CSmartRcEventHandler*>(userData)->HandleBatteryNotifyChanged(status);
}

void CSmartRcEventHandler::HandleBatteryNotifyChanged(bt_hid_battery_status_info_s* status)
{
    if (status == nullptr) {
        LOGE("BatteryStatus is null");
        return;
    }
    if (status->remote_address == nullptr) {
        LOGE("BatteryStatus->remote_address is null");
        return;
    }
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
        CallConnectionManager("SmartRcBatteryNotify", g_variant_new("(ssi)", Util::CommonUtil::ToString(level).c_str(),
                                                                    Util::ToValidUtf8(address).c_str(), fwVersion));
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
        CallConnectionManager(
            "HalvoWheelBatteryNotify",
            g_variant_new("(ss)", Util::CommonUtil::ToString(level).c_str(), Util::ToValidUtf8(address).c_str()));
    });
    if (!done) {
        HandleHalvoWheelBatteryStatus(address, battery);
    }
}

void CSmartRcEventHandler::SendBatteryKpi(int level)
{
    Kpi::SendRemoteBattery(level);
}
