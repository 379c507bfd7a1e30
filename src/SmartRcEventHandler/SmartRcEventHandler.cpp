// Start and stop of the remotes' handler.

#include "SmartRcEventHandler/SmartRcEventHandler.h"

#include "DbusClient/DbusClient.h"
#include "LiteDebug.h"

#include <glib.h>

#include <bt_hid.h>

#include <utility>

CSmartRcEventHandler::CSmartRcEventHandler()
{
    API_TRACE();
}

CSmartRcEventHandler::~CSmartRcEventHandler() = default;

void CSmartRcEventHandler::Init(std::shared_ptr<CDbusClient> dbusClient)
{
    m_dbusClient = std::move(dbusClient);
    bt_hid_set_smart_rc_connection_cb(OnSmartRcConnectionStateChanged, this);
    bt_hid_set_halvo_switch_connection_state_changed_cb(OnHalvoWheelConnectionStateChanged, this);
    bt_hid_set_battery_status_received_cb(OnSmartRcBatteryNotifyChanged, this);
    bt_hid_set_smart_rc_charging_status_received_cb(OnSmartRcBatteryChargingStatusRecieved, this);
    bt_hid_set_halvo_switch_charging_status_received_cb(OnHalvoWheelBatteryChargingStatusRecieved, this);
    bt_hid_set_smart_rc_grip_sensor_detected_cb(OnGripSensorDetected, this);
    bt_hid_set_smart_rc_grip_sensor_state_changed_cb(OnGripSensorStateChanged, this);

    InitVconfKeyCallbacks();
    // The platform reports changes only: what is connected already has to be asked for.
    CheckConnectedDevice();
    CheckConnectedHalvo();
    StartAmbiLightTimer();
    SetGripSensorOnOff();
    StartTouchIrMonitor();
}

void CSmartRcEventHandler::Deinit()
{
    bt_hid_unset_smart_rc_connection_cb();
    bt_hid_unset_halvo_switch_connection_state_changed_cb();
    bt_hid_unset_battery_status_received_cb();
    bt_hid_unset_smart_rc_charging_status_received_cb();
    bt_hid_unset_halvo_switch_charging_status_received_cb();
    bt_hid_unset_smart_rc_grip_sensor_detected_cb();
    bt_hid_unset_smart_rc_grip_sensor_state_changed_cb();

    DeInitVconfKeyCallbacks();
    if (m_useModeTimerId != 0) {
        g_source_remove(m_useModeTimerId);
        m_useModeTimerId = 0;
    }
}
