#pragma once

#include "Living.h"

#include <bt_device.h>
#include <bt_hid.h>
#include <vconf.h>

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <tuple>

class CDbusClient;

/// The set's own remote controls.
enum Remote_Control_Device_Type : int
{
    SmartRc = 0,
    HalvoWheel = 1
};

/// One sample of the light in the room, as texts.
struct AmbiLightStruct
{
    std::string lux;
    std::string cct;
    std::string timeStamp; ///< local time, "%F %T"
    std::string status;    ///< "2" in every sample; what it stands for is the collector's affair
};

/// A pending shop-mode command: remote address, device type, command byte.
using ShopModeData = std::tuple<std::string, int, unsigned char>;
using ShopModeDataPtr = std::unique_ptr<ShopModeData, std::function<void(ShopModeData*)>>;

/// Looks after the set's own remote controls: the smart remote and the wheel controller.
///
/// Normally:
///  1. A remote connects. Its address is kept, it is told the shop mode, the record of its last loss is cleared, and
///     the smart remote is sent the set's IR key code and has its grip sensor set.
///  2. It reports its battery, its charging and its grip; these become settings, usage events and calls to the
///     connection manager. Each battery warning is given once, until the battery is charged again.
///  3. Settings that others write become commands to it, with retries where the link may be busy.
///  4. It goes, and its address with it.
/// Once an hour the light in the room is sampled. Eight samples make one event, and with the eighth the sampling ends:
/// it starts again when the set comes back to normal power. Standby ends it too, and sends what there is.
///
/// Exceptions: the platform reports changes only, so Init looks for remotes that are connected already and treats them
/// as if they had just connected. The reason of a loss is recorded by whoever hears of the link first, which may be
/// after the remote's own event.
///
/// Deinit ends the platform's callbacks, the watches of InitVconfKeyCallbacks and the use-mode timer. These outlive it:
/// the watch on the first screen, which is never ended, the timers of light and IR key code, and the retries, which end
/// by themselves and are not kept. Should one come when the handler is gone, it does nothing.
///
/// An operation that is const may still write settings and send commands; what it leaves alone is the handler.
class CSmartRcEventHandler
{
public:
    CSmartRcEventHandler();
    ~CSmartRcEventHandler();
    CSmartRcEventHandler(const CSmartRcEventHandler&) = delete;
    CSmartRcEventHandler& operator=(const CSmartRcEventHandler&) = delete;

    // --- Start and stop: SmartRcEventHandler.cpp ---

    void Init(std::shared_ptr<CDbusClient> dbusClient);
    void Deinit();

    // --- Connection: Connection.cpp ---

    static void OnSmartRcConnectionStateChanged(bool connected, bt_device_info_s* info, void* userData);
    static void OnHalvoWheelConnectionStateChanged(bool connected, bt_device_info_s* info, void* userData);
    void HandleSmartRcConnectionStateChanged(bool connected, bt_device_info_s* info);
    void HandleHalvoWheelConnectionStateChanged(bool connected, bt_device_info_s* info);
    void OnSmartRcConnected(bt_device_info_s* info);
    void OnSmartRcDisConnected(bt_device_info_s* info);
    void OnHalvoWheelConnected(bt_device_info_s* info);
    void OnHalvoWheelDisConnected(bt_device_info_s* info);
    void CheckConnectedDevice();
    void CheckConnectedHalvo();

    // --- Which remote, and why it was lost: RemoteQueries.cpp ---

    bool IsSmartRcConnected() const;
    bool IsHalvoWheelConnected() const;
    bool IsRemoteDeviceConnected(Remote_Control_Device_Type type) const;
    /// \param address left alone when the answer is false
    bool GetDeviceAddress(std::string& address, Remote_Control_Device_Type type) const;
    bool GetHalvoWheelAddress(std::string& address) const;
    bool IsSmartRcAddress(const std::string& address) const;
    bool IsHalvoWheelAddress(const std::string& address) const;
    std::string GetSmartRcAddress() const;
    /// The platform's model code of the smart remote, 0 when it gives none.
    int GetSmartRcDeviceType() const;
    bool Is2MicSmartRc() const;
    /// \param reason 0 to 3, an index into the reason texts
    void SetHsmVconf(const std::string& address, int reason) const;
    void SetHsmVconf(const std::string& reason) const;
    void ResetHsmVconf(Remote_Control_Device_Type type) const;

    // --- Battery and charging: Battery.cpp, Solar.cpp ---

    static void OnSmartRcBatteryNotifyChanged(bt_hid_battery_status_info_s* status, void* userData);
    static void OnSmartRcBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime, void* userData);
    static void OnHalvoWheelBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime,
                                                          void* userData);
    void HandleBatteryNotifyChanged(bt_hid_battery_status_info_s* status);
    /// \param battery the report's byte: level code in bits 0 to 2, ADC reading in bits 3 to 7
    void HandleSmartRCBatteryNotifyChanged(const std::string& address, unsigned char battery);
    void HandleHalvoWheelBatteryNotifyChanged(const std::string& address, unsigned char battery);
    void HandleSmartRcBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime) const;
    void HandleHalvoWheelBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime) const;
    /// \param battery ADC reading times 8, plus bits that do not count; wider than a byte when it comes from a file
    void HandleSolarCellRemoteBatteryStatus(const std::string& address, int fwVersion, int battery) const;
    void HandleHalvoWheelBatteryStatus(const std::string& address, int battery) const;
    /// \param adc 0 to 31, or -1 when the platform does not say
    void GetSmartRcAdc(int& adc) const;
    void GetHalvoWheelAdc(int& adc) const;
    /// \param adc the reading to report, -1 to ask the platform for it
    void SendSolarChargeKpi(unsigned char code, Remote_Control_Device_Type type, int adc, int harvestTime) const;
    void SendBatteryKpi(int level) const;
    bool IsSolarRemote(int fwVersion) const;
    int GetSolarEventReason(unsigned char code) const;
    /// \throws std::invalid_argument outside 0 to 31
    int ConvertAdcValueToPercentage(int adc) const;

    // --- Light in the room: AmbientLight.cpp ---

    void StartAmbiLightTimer();
    void StopAmbiLightTimer();
    /// \param lux the reading, or -1 when the sensor fails
    void GetLuxValue(int& lux) const;
    bool GetCurrentSensorInfo(AmbiLightStruct& sample) const;
    void GetCurrentTime(std::string& time) const;
    void SaveAmbiLightInfo();
    // Each appends one field of all samples to its output: eight slots, seven "|" between them.
    void GetSavedAllLuxInfo(std::string& lux) const;
    void GetSavedAllCctInfo(std::string& cct) const;
    void GetSavedAllTimeStampInfo(std::string& timeStamps) const;
    void GetSavedStatusInfo(std::string& status) const;
    void ClearAmbiLightInfo();
    void SendAmbiLightKpi();

    // --- Grip sensor and touch IR: GripSensor.cpp, TouchIr.cpp ---

    void SetGripSensorOnOff() const;
    void GripSensorOn(const std::string& address) const;
    void GripSensorOff(const std::string& address) const;
    static void OnGripSensorStateChanged(bt_hid_sc_grip_sensor_state_e state, void* userData);
    static void OnGripSensorDetected(unsigned char key, void* userData);
    void HandleGripSensorDetected(unsigned char key) const;
    bool GripSensorPopupAvailable() const;
    void sendGripsensorKpi(unsigned char key) const;
    int getGripSensorKpiStatus() const;
    void StartTouchIrMonitor() const;
    void OnTouchIrModeChanged(keynode_t* keyNode) const;

    // --- IR key code: IrKeyCode.cpp ---

    void AddIrKeyCodeTimer();
    void RemoveIrKeyCodeTimer();
    /// \return true to be called again in 10 seconds
    bool SendIrKeyCodeCommand() const;

    // --- Commands: Commands.cpp, ShopMode.cpp ---

    void SendShopModeToSmartRC(int useMode) const;
    void SendShopModeToHalvo(int useMode) const;
    void HandleShopMode(const std::string& address, int deviceType, int useMode) const;
    void SendShopMode(ShopModeDataPtr shopModeData) const;
    static int RetryTimerSendShopMode(void* userData);
    void SendDeviceInfoQuery(Remote_Control_Device_Type type) const;
    void AddTimerSendDeviceInfoQueryToHalvoWheel();
    /// \return false when a connected remote did not take the command
    bool SendResetCommand() const;
    bool SendResetCommandToHalvoWheel() const;

    // --- No latency: NoLatency.cpp ---
    // The wheel is served after the smart remote, also when that gave up.

    bool SetNoLatency(const std::string& address) const;
    void SendNoLatencyCommand();
    void SendNoLatencyToSmartRC();
    void SendNoLatencyToHalvoWheel();
    void RetrySetNoLatencyToSmartRc();
    void RetrySetNoLatencyToHalvoWheel(const std::string& address);

    // --- DUID: Duid.cpp ---

    void OnDuidChanged(keynode_t* keyNode);
    static int RetryTimerSetDuid(void* userData);

    // --- Settings that others write: SettingWatchers.cpp ---

    void InitVconfKeyCallbacks();
    void DeInitVconfKeyCallbacks();
    void OnUseModeChanged(keynode_t* keyNode);
    void OnOobStateChanged(keynode_t* keyNode);
    void OnFactoryLaunched(keynode_t* keyNode);
    void OnServiceReset(keynode_t* keyNode);
    bool IsShopMode() const;
    void SetFirstScreenCallback();
    void UnSetFirstScreenCallback() const;
    void OnFirstScreenStateChagned(keynode_t* keyNode);

private:
    // The timers whose ids are kept clear their id when they end: to remove a source that is gone is a GLib critical.
    static int OnIrKeyCodeTimer(void* userData);
    static int OnUseModeTimer(void* userData);

    /// Gives the low-battery notice that this reading is due, if any.
    void JudgeBattery(Remote_Control_Device_Type type, int battery) const;

    std::shared_ptr<CDbusClient> m_dbusClient;
    bool m_smartRcFirstBattery = false;
    bool m_halvoWheelFirstBattery = false;
    std::string m_smartRcAddress;
    std::string m_halvoWheelAddress;
    unsigned int m_ambiLightTimerId = 0;
    std::list<AmbiLightStruct> m_ambiLightList;
    unsigned int m_useModeTimerId = 0;
    unsigned int m_irKeyCodeTimerId = 0;
    Living<CSmartRcEventHandler> m_living{this};
};
