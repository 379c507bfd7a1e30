#pragma once

#include <glib.h>

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
    std::string status;
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
///     connection manager, each low-battery notice at most once until the battery recovers.
///  3. Settings that others write become commands to it, with retries where the link may be busy.
///  4. It goes, and its address with it.
/// Once an hour, while the set is in normal power, the light in the room is sampled; eight samples make one event.
///
/// Exceptions: a remote that was connected before the service started is announced to itself at Init. The reason of a
/// loss is recorded by whoever hears of the link first, which may be after the remote's own event. Retry timers end by
/// themselves and are not kept.
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

    bool IsSmartRcConnected();
    bool IsHalvoWheelConnected();
    bool IsRemoteDeviceConnected(Remote_Control_Device_Type type);
    /// \param address left alone when the answer is false
    bool GetDeviceAddress(std::string& address, Remote_Control_Device_Type type);
    bool GetHalvoWheelAddress(std::string& address);
    bool IsSmartRcAddress(const std::string& address);
    bool IsHalvoWheelAddress(const std::string& address);
    std::string GetSmartRcAddress();
    /// The platform's model code of the smart remote, 0 when it gives none.
    int GetSmartRcDeviceType();
    bool Is2MicSmartRc();
    /// \param reason 0 to 3, an index into the reason texts
    void SetHsmVconf(const std::string& address, int reason);
    void SetHsmVconf(const std::string& reason);
    void ResetHsmVconf(Remote_Control_Device_Type type);

    // --- Battery, charging and sun: Battery.cpp, Solar.cpp ---

    static void OnSmartRcBatteryNotifyChanged(bt_hid_battery_status_info_s* status, void* userData);
    static void OnSmartRcBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime, void* userData);
    static void OnHalvoWheelBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime,
                                                          void* userData);
    void HandleBatteryNotifyChanged(bt_hid_battery_status_info_s* status);
    /// \param battery the report's byte: level code in bits 0 to 2, ADC reading in bits 3 to 7
    void HandleSmartRCBatteryNotifyChanged(const std::string& address, unsigned char battery);
    void HandleHalvoWheelBatteryNotifyChanged(const std::string& address, unsigned char battery);
    void HandleSmartRcBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime);
    void HandleHalvoWheelBatteryChargingStatusRecieved(unsigned char status, unsigned char harvestTime);
    /// \param battery ADC reading times 8, plus bits that do not count; wider than a byte when it comes from a file
    void HandleSolarCellRemoteBatteryStatus(const std::string& address, int fwVersion, int battery);
    void HandleHalvoWheelBatteryStatus(const std::string& address, int battery);
    /// \param adc 0 to 31, or -1 when the platform does not say
    void GetSmartRcAdc(int& adc);
    void GetHalvoWheelAdc(int& adc);
    /// \param adc the reading to report, -1 to ask the platform for it
    void SendSolarChargeKpi(unsigned char code, Remote_Control_Device_Type type, int adc, int harvestTime);
    void SendBatteryKpi(int level);
    bool IsSolarRemote(int fwVersion);
    int GetSolarEventReason(unsigned char code);
    /// \throws std::invalid_argument outside 0 to 31
    int ConvertAdcValueToPercentage(int adc);

    // --- Light in the room: AmbientLight.cpp ---

    void StartAmbiLightTimer();
    void StopAmbiLightTimer();
    /// \param lux the reading, or -1 when the sensor fails
    void GetLuxValue(int& lux);
    bool GetCurrentSensorInfo(AmbiLightStruct& sample);
    void GetCurrentTime(std::string& time);
    void SaveAmbiLightInfo();
    // Each appends one field of all samples to its output: eight slots, seven "|" between them.
    void GetSavedAllLuxInfo(std::string& lux);
    void GetSavedAllCctInfo(std::string& cct);
    void GetSavedAllTimeStampInfo(std::string& timeStamps);
    void GetSavedStatusInfo(std::string& status);
    void ClearAmbiLightInfo();
    void SendAmbiLightKpi();

    // --- Grip sensor and touch IR: GripSensor.cpp, TouchIr.cpp ---

    void SetGripSensorOnOff();
    void GripSensorOn(const std::string& address);
    void GripSensorOff(const std::string& address);
    static void OnGripSensorStateChanged(bt_hid_sc_grip_sensor_state_e state, void* userData);
    static void OnGripSensorDetected(unsigned char key, void* userData);
    void HandleGripSensorDetected(unsigned char key);
    bool GripSensorPopupAvailable();
    void sendGripsensorKpi(unsigned char key);
    int getGripSensorKpiStatus();
    void StartTouchIrMonitor();
    void OnTouchIrModeChanged(keynode_t* keyNode);

    // --- IR key code: IrKeyCode.cpp ---

    void AddIrKeyCodeTimer();
    void RemoveIrKeyCodeTimer();
    /// \return true to be called again in 10 seconds
    bool SendIrKeyCodeCommand();

    // --- Commands: Commands.cpp, ShopMode.cpp ---

    void SendShopModeToSmartRC(int useMode);
    void SendShopModeToHalvo(int useMode);
    void HandleShopMode(const std::string& address, int deviceType, int useMode);
    void SendShopMode(std::unique_ptr<std::tuple<std::string, int, unsigned char>,
                                      std::function<void(std::tuple<std::string, int, unsigned char>*)>>
                          shopModeData);
    static int RetryTimerSendShopMode(void* userData);
    void SendDeviceInfoQuery(Remote_Control_Device_Type type);
    void AddTimerSendDeviceInfoQueryToHalvoWheel();
    /// \return false when a connected remote did not take the command
    bool SendResetCommand();
    bool SendResetCommandToHalvoWheel();

    // --- No latency: NoLatency.cpp ---
    // The wheel is served after the smart remote, also when that gave up.

    bool SetNoLatency(const std::string& address);
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
    bool IsShopMode();
    void SetFirstScreenCallback();
    void UnSetFirstScreenCallback();
    void OnFirstScreenStateChagned(keynode_t* keyNode);

private:
    // The timers whose ids are kept: each clears its id when it ends, because a stale one would be removed once more.
    static int OnIrKeyCodeTimer(void* userData);
    static int OnUseModeTimer(void* userData);

    /// \param arguments the call's body, null for none; consumed when it is floating
    void CallConnectionManager(const std::string& method, GVariant* arguments);
    /// Gives the low-battery notice that this reading is due, if any.
    void JudgeBattery(Remote_Control_Device_Type type, int battery);

    std::shared_ptr<CDbusClient> m_dbusClient;
    bool m_smartRcFirstBattery;
    bool m_halvoWheelFirstBattery;
    std::string m_smartRcAddress;
    std::string m_halvoWheelAddress;
    unsigned int m_ambiLightTimerId;
    std::list<AmbiLightStruct> m_ambiLightList;
    unsigned int m_useModeTimerId;
    unsigned int m_irKeyCodeTimerId;
};
