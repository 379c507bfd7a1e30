#pragma once

#include "Living.h"

#include <device_power.h>

#include <memory>

class CDbusClient;
class CSmartRcEventHandler;

/// Makes the Bluetooth side follow the set's power life.
///
/// Normally: each change of power state sets visibility, the light sampling and what else belongs to the new state,
/// and is told to the connection manager last. A full power-off gives the update manager its chance in standby, under
/// a lock; the notices of the power-off itself set connectability, visibility and headless mode; a wake-up ends
/// headless mode.
///
/// Two kinds of power-off are a reset (PowerOffOption::IsReset): the remotes and the stand are told first, then the
/// stack is reset and the remotes are given time to erase. A reset that happened before this start is found by its
/// counters and clears the Bluetooth settings. An adapter that is off when the set goes to sleep asks for a cold boot.
///
/// No power state is kept: every decision is made from the record that the platform passes. Handlers answer 0.
class CTvStatusEventHandler
{
public:
    CTvStatusEventHandler() = default;
    /// Timers that are still pending go too.
    ~CTvStatusEventHandler();
    CTvStatusEventHandler(const CTvStatusEventHandler&) = delete;
    CTvStatusEventHandler& operator=(const CTvStatusEventHandler&) = delete;

    // --- Subscriptions: Subscriptions.cpp ---

    /// Subscribes to the six notices, then finishes a reset that came before this start.
    void Init(std::shared_ptr<CDbusClient> dbusClient, std::shared_ptr<CSmartRcEventHandler> smartRcHandler);
    /// Ends no subscription: all six outlive it and end with the process. A notice is handled until the handler is
    /// gone.
    void Deinit();

    // --- Changes of power state: PowerTransitions.cpp ---

    int HandlePowerStateChanged(device_power_state_info* info);
    static int HandleLastConnectedSpk(void* self);
    void GoToNormalPowerState(device_power_state_info* info) const;
    void GoToNormalPictureoff(device_power_state_info* info) const;
    void GoToStandbyPowerState(device_power_state_info* info) const;
    void GoToOffPowerState(device_power_state_info* info) const;
    void GoToSuspendPowerState(device_power_state_info* info) const;
    void GoToLowPowerAmbientMode(int previousAmbientMode) const;

    // --- Power-off and wake-up: PowerOff.cpp ---

    int OnPowerStandbyCb(int option);
    int OnPowerOffEvent(device_poweroff_info* info);
    int OnPostPowerOffEvent(device_poweroff_info* info) const;
    int OnAmbientPowerOff(device_poweroff_info* info) const;
    int OnWakeUp(int reason) const;
    static bool NeedColdBootToReset();

    // --- Reset: BluetoothReset.cpp ---

    void SendResetCommand();
    void ResetRotator() const;
    static bool IsRotatorConnected();
    static void SendResetCommandToRotator();
    void SendResetCommandToSmartRc();
    void SendResetCommandToHalvoWheel();
    /// \param option the power-off option
    void DoBluetoothReset(int option);
    static void FactoryReset();
    static bool IsAutomationTestMode();
    /// \return microseconds
    int GetSleepTimeForReset() const;
    static void ResetVconfKeys();
    /// For reset tools; the service itself does not call it.
    static void RemoveAllHeadlessDevice();

private:
    /// True when the set was reset since the service last ran, or nobody can say.
    static bool WasReset();
    static void FinishReset();

    std::shared_ptr<CDbusClient> m_dbusClient;
    std::shared_ptr<CSmartRcEventHandler> m_smartRcHandler;
    /// Retries made so far, shared by both remotes; cleared after the wait of a reset.
    int m_resetRetryCount = 0;
    /// The power manager keeps the handler's address for good.
    Living<CTvStatusEventHandler> m_living{this};
};
