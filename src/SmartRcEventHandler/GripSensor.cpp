// The grip sensor: off while the setup wizard runs, and what happens when somebody picks the smart remote up.

#include "CommonUtil.h"
#include "DbusClient/Sibling.h"
#include "ExceptionText.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/Readings.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "SystemConfigUtil.h"
#include "UsageEvents.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <bt_error.h>
#include <bt_hid.h>
#include <vconf.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>

namespace {

constexpr int kMaxPopupCount = 5;
constexpr std::array<const char*, 3> kSetupModes = {"PNP_SETUP", "SMARTHUB_SETUP", "OSU_TERMS_SETUP"};

/// What the solar usage event says of the sensor.
enum GripKpiStatus
{
    kGripUnknown = 1,
    kGripOff = 2,
    kGripOn = 3
};

bool IsSetupMode(const std::string& wizardMode)
{
    return std::any_of(kSetupModes.begin(), kSetupModes.end(),
                       [&wizardMode](const char* setupMode) { return wizardMode == setupMode; });
}

std::string ReadWizardMode()
{
    std::string wizardMode;
    Util::VconfUtil::GetVconf(VconfKey::MEMORY_WIZARD_WIZARD_MODE, wizardMode);
    return wizardMode;
}

/// The sensor's state; not available when the platform does not say.
bt_hid_sc_grip_sensor_state_e QueryState()
{
    bt_hid_sc_grip_sensor_state_e state = BT_SC_GRIP_SENSOR_NOT_AVAILABLE;
    const int result = bt_hid_get_smart_rc_grip_sensor_state(&state);
    LOGI("bt_hid_get_smart_rc_grip_sensor_state ret = %s state = %d", Util::CommonUtil::ERR_STR(result), state);
    return state;
}

} // namespace

void CSmartRcEventHandler::OnGripSensorStateChanged(bt_hid_sc_grip_sensor_state_e state, void* userData)
{
    // Only the first state of the process's life sets the sensor; later on connections and the wizard do.
    static bool isCalled = false;
    LOGE("state = %d", state);
    if (state == BT_SC_GRIP_SENSOR_NOT_AVAILABLE) {
        return;
    }
    vconf_set_int(VconfKey::kGripPopupCount, 0);
    RETURN_IF_NULL(userData, "userData is NULL");
    if (!isCalled) {
        isCalled = true;
        static_cast<CSmartRcEventHandler*>(userData)->SetGripSensorOnOff();
    }
}

void CSmartRcEventHandler::OnGripSensorDetected(unsigned char key, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    static_cast<CSmartRcEventHandler*>(userData)->HandleGripSensorDetected(key);
}

void CSmartRcEventHandler::HandleGripSensorDetected(unsigned char key) const
{
    LOGI("Grip Sensor Detected");
    if (GripSensorPopupAvailable()) {
        Call(m_dbusClient.get(), kConnectionManager, "GripSensorDetected");
    }
    sendGripsensorKpi(key);
}

void CSmartRcEventHandler::SetGripSensorOnOff() const
{
    // Whether it was this function that switched the sensor off, and so has to switch it on again.
    static bool isNeedRecovery = false;
    LOGI("SetGripSensorOnOff");
    if (m_smartRcAddress.empty()) {
        LOGE("smartRC is not connected");
        return;
    }
    const bt_hid_sc_grip_sensor_state_e state = QueryState();
    if (state == BT_SC_GRIP_SENSOR_NOT_AVAILABLE) {
        LOGI("Not support Grip Sensor");
        return;
    }
    if (!Util::SystemConfigUtil::isSupportGripSensor()) {
        GripSensorOff(m_smartRcAddress);
        isNeedRecovery = false;
        return;
    }
    const std::string wizardMode = ReadWizardMode();
    LOGI("wizardMode : %s", wizardMode.c_str());
    if (state == BT_SC_GRIP_SENSOR_ON && IsSetupMode(wizardMode)) {
        GripSensorOff(m_smartRcAddress);
        isNeedRecovery = true;
    } else if (isNeedRecovery && state == BT_SC_GRIP_SENSOR_OFF && wizardMode == "OFF") {
        GripSensorOn(m_smartRcAddress);
        isNeedRecovery = false;
    }
}

void CSmartRcEventHandler::GripSensorOn(const std::string& address) const
{
    LOGI("GripSensorOn");
    const auto deviceType = static_cast<unsigned char>(GetSmartRcDeviceType());
    bt_hid_send_device_command(address.c_str(), deviceType, BT_HID_COMMAND_GRIP_SENSOR_ON);
}

void CSmartRcEventHandler::GripSensorOff(const std::string& address) const
{
    LOGI("GripSensorOff");
    const auto deviceType = static_cast<unsigned char>(GetSmartRcDeviceType());
    bt_hid_send_device_command(address.c_str(), deviceType, BT_HID_COMMAND_GRIP_SENSOR_OFF);
}

bool CSmartRcEventHandler::GripSensorPopupAvailable() const
{
    if (QueryState() == BT_SC_GRIP_SENSOR_NOT_AVAILABLE) {
        LOGE("BT_SC_GRIP_SENSOR_NOT_AVAILABLE");
        return false;
    }
    const std::string wizardMode = ReadWizardMode();
    if (IsSetupMode(wizardMode)) {
        LOGE("wizard mode == %s", wizardMode.c_str());
        return false;
    }
    int count = 0;
    vconf_get_int(VconfKey::kGripPopupCount, &count);
    LOGI("count : %d", count);
    if (count >= kMaxPopupCount) {
        LOGE("reached max count");
        return false;
    }
    return true;
}

void CSmartRcEventHandler::sendGripsensorKpi(unsigned char key) const
{
    try {
        int adc = kNoReading;
        int lux = 0;
        GetSmartRcAdc(adc);
        GetLuxValue(lux);
        if (adc == kNoReading || lux == kNoReading) {
            LOGE("kpi value data is invalid");
            return;
        }
        LOGI("adc = %d lux = %d status = %d key = %d", adc, lux, KPI_SOLAR_GRIPPED, key);
        Kpi::SendSolarCharge({.adc = adc, .lux = lux, .status = KPI_SOLAR_GRIPPED, .detail = key});
    } catch (...) {
        LOGE("%s", TextOfException().c_str());
    }
}

int CSmartRcEventHandler::getGripSensorKpiStatus() const
{
    bt_hid_sc_grip_sensor_state_e state = BT_SC_GRIP_SENSOR_NOT_AVAILABLE;
    if (bt_hid_get_smart_rc_grip_sensor_state(&state) != BT_ERROR_NONE) {
        return kGripUnknown;
    }
    switch (state) {
    case BT_SC_GRIP_SENSOR_OFF:
        return kGripOff;
    case BT_SC_GRIP_SENSOR_ON:
        return kGripOn;
    default:
        return kGripUnknown;
    }
}
