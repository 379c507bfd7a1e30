#include "TvStatusUtil.h"

#include "CommonUtil.h"
#include "DlogUtil.h"
#include "SystemConfigUtil.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <device_power.h>
#include <screen_manager.h>
#include <sound_manager.h>

namespace Util {

namespace {

constexpr int kUserAction = 1;
// What the next three mean only the managers know that are told them.
constexpr int kWakeUpReason = 1;
constexpr int kPowerOffReason = 4;
constexpr int kSuspendType = 2;

/// Whether the service holds the set in low-power mode: what it did not take it does not give back.
bool lpmLockTaken = false;

bool IsLowPowerAmbientMode()
{
    return TvStatusUtil::GetPowerState() == DEVICE_POWER_STATE_LOW_POWER &&
           TvStatusUtil::GetAmbientMode() == DEVICE_POWER_AMBIENT_MODE_LOW_POWER;
}

bool WakesIntoArt()
{
    int fullPowerOffMode = 0;
    VconfUtil::GetVconf(VconfKey::DB_VYREL_AMBIENT_MODE_FULL_POWER_OFF_EVENT, fullPowerOffMode);
    return SystemConfigUtil::IsVellonTV() && !SystemConfigUtil::IsArtModeOnly() &&
           TvStatusUtil::GetAmbientMode() == DEVICE_POWER_AMBIENT_MODE_LOW_POWER &&
           fullPowerOffMode == DEVICE_POWER_AMBIENT_MODE_ART;
}

void WakeFromLowPower()
{
    LOGE("<Not Error> Go to Normal from Low Power Mode");
    if (WakesIntoArt()) {
        LOGI("turn on with artmode");
        screen_manager_set_ambient_mode(DEVICE_POWER_AMBIENT_MODE_ART, DEVICE_POWER_AMBIENT_TYPE_ART);
    } else {
        screen_manager_set_ambient_mode(DEVICE_POWER_AMBIENT_MODE_NONE, 0);
    }
}

} // namespace

power_state_e TvStatusUtil::GetPowerState()
{
    const power_state_e state = device_power_get_state();
    LOGI("Power state = %d", state);
    return state;
}

void TvStatusUtil::SetPowerState(power_state_e state)
{
    const int result = device_power_set_state(state, kUserAction);
    LOGI("device_power_set_state %d, result :%d", state, result);
}

bool TvStatusUtil::IsValidPowerState()
{
    return GetPowerState() < DEVICE_POWER_STATE_STANDBY;
}

void TvStatusUtil::PictureOn()
{
    if (device_power_get_state() == DEVICE_POWER_STATE_PICTURE_OFF) {
        device_power_set_state(DEVICE_POWER_STATE_NORMAL, kUserAction);
    }
}

void TvStatusUtil::SleepTv()
{
    const power_state_e state = device_power_get_state();
    if (state == DEVICE_POWER_STATE_LOW_POWER) {
        LOGE("<Not Error> Go to suspend from Low Power Mode");
        screen_manager_set_ambient_mode(DEVICE_POWER_AMBIENT_MODE_SUSPEND, kSuspendType);
    } else if (state == DEVICE_POWER_STATE_STANDBY) {
        LOGI("Go to suspend  from BackGround Standby");
        device_power_request_poweroff(kPowerOffReason);
    }
}

void TvStatusUtil::WakeUpTv(power_state_e state)
{
    device_power_set_wakeup_reason(kWakeUpReason);
    if (state == DEVICE_POWER_STATE_LOW_POWER) {
        WakeFromLowPower();
    } else if (state == DEVICE_POWER_STATE_STANDBY) {
        LOGI("Go to Normal from BackGround Standby");
        device_power_set_state(DEVICE_POWER_STATE_NORMAL, kUserAction);
    }
}

int TvStatusUtil::GetDeviceWakeUpReason()
{
    return device_power_get_wakeup_reason();
}

int TvStatusUtil::GetAmbientMode()
{
    const int mode = device_power_get_ambient_mode();
    LOGI("Current Ambient Mode : %d", mode);
    return mode;
}

int TvStatusUtil::GetAmbientType()
{
    const int type = device_power_get_ambient_type();
    LOGI("Current Ambient type : %d", type);
    return type;
}

bool TvStatusUtil::IsArtAppShowing()
{
    if (!SystemConfigUtil::IsVellonTV()) {
        LOGI("Not vellon TV");
        return false;
    }
    return GetAmbientMode() == DEVICE_POWER_AMBIENT_MODE_ART && (GetAmbientType() & DEVICE_POWER_AMBIENT_TYPE_ART) != 0;
}

void TvStatusUtil::LockLpmPowerState(int timeout)
{
    if (!IsLowPowerAmbientMode()) {
        LOGE("Not LPM mode");
        return;
    }
    lpmLockTaken = screen_manager_set_ambient_lock(1, timeout) == 0;
    LOGE("<Not Error> Lock LPM");
}

void TvStatusUtil::UnlockLpmPowerState()
{
    if (!IsLowPowerAmbientMode()) {
        LOGE("Not LPM mode");
        return;
    }
    if (!lpmLockTaken) {
        LOGE("ambient lock is not called");
        return;
    }
    lpmLockTaken = screen_manager_set_ambient_lock(0, 0) != 0;
    LOGE("<Not Error> UnLock LPM");
}

void TvStatusUtil::SetStandbyPowerLock(int timeout)
{
    const int result = device_power_lock_state(DEVICE_POWER_STATE_STANDBY, timeout);
    if (result != 0) {
        LOGE("power lock state failed -> ret [%s]", CommonUtil::ERR_STR(result));
    }
    LOGI("standby lock(timout == %dms) : %d", timeout, result);
}

void TvStatusUtil::UnSetStandbyPowerLock()
{
    const int result = device_power_unlock_state(DEVICE_POWER_STATE_STANDBY);
    if (result != 0) {
        LOGE("power lock state failed -> ret [%s]", CommonUtil::ERR_STR(result));
    }
    LOGI("standby unlock : %d", result);
}

void TvStatusUtil::SetMasterMute(bool mute)
{
    sound_manager_set_tv_master_mute(mute);
}

void TvStatusUtil::SetTvSpeakerMute(bool mute)
{
    sound_manager_set_device_mute(SOUND_DEVICE_TV_SPEAKER, mute);
}

bool TvStatusUtil::GetTvSpeakerMute()
{
    bool mute = false;
    sound_manager_get_device_mute(SOUND_DEVICE_TV_SPEAKER, &mute);
    return mute;
}

bool TvStatusUtil::isBluetoothSpeakerSelection(sound_tv_output_route_e route)
{
    return route == SOUND_TV_OUTPUT_BLUETOOTH || route == SOUND_TV_OUTPUT_BLUETOOTH_2 ||
           route == SOUND_TV_OUTPUT_BLUETOOTH_3;
}

bool TvStatusUtil::isWifiSpeakerConnecting()
{
    int status = 0;
    VconfUtil::GetVconf(VconfKey::MEMORY_ACM_NETWORKSPEAKER_STATUS, status);
    return status == -1;
}

int TvStatusUtil::GetWifiChannel()
{
    int frequency = 0;
    VconfUtil::GetVconf(VconfKey::MEMORY_WIFI_FREQUENCY, frequency);
    return frequency;
}

} // namespace Util
