#pragma once

#include <device_power.h>
#include <sound_manager.h>

namespace Util {

/// The one place that reads and changes the set's power state, its ambient (low-power picture) mode and its mutes.
/// Platform failures are logged and otherwise ignored.
class TvStatusUtil
{
public:
    static power_state_e GetPowerState();
    static void SetPowerState(power_state_e state);
    /// True while the set is on, with its picture or without.
    static bool IsValidPowerState();
    /// Gives a set without its picture the picture back.
    static void PictureOn();
    /// Suspends a set that is in low-power mode or in background standby; in any other state nothing happens.
    static void SleepTv();
    /// Wakes the set. \p state is the power state that the caller has read just now.
    static void WakeUpTv(power_state_e state);
    static int GetDeviceWakeUpReason();

    static int GetAmbientMode();
    /// A bit mask (DEVICE_POWER_AMBIENT_TYPE_...).
    static int GetAmbientType();
    static bool IsArtAppShowing();

    /// Holds the set in low-power mode for \p timeout milliseconds. Only while it shows the low-power picture.
    static void LockLpmPowerState(int timeout);
    /// Gives that lock up. Only in the same mode, and only if a lock was taken; a failed release leaves it taken.
    static void UnlockLpmPowerState();
    /// Holds the set in standby for \p timeout milliseconds.
    static void SetStandbyPowerLock(int timeout);
    static void UnSetStandbyPowerLock();

    static void SetMasterMute(bool mute);
    static void SetTvSpeakerMute(bool mute);
    static bool GetTvSpeakerMute();

    /// True for the output routes that lead to a Bluetooth speaker.
    static bool isBluetoothSpeakerSelection(sound_tv_output_route_e route);
    static bool isWifiSpeakerConnecting();
    static int GetWifiChannel();
};

} // namespace Util
