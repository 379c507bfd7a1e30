#include "TvStatusUtil.h"

#include "CommonUtil.h"
#include "DlogUtil.h"
#include "SystemConfigUtil.h"
#include "VconfUtil.h"

#include <screen_manager.h>

namespace Util {

namespace {

constexpr power_state_e kNormal = 0;
constexpr power_state_e kPictureOff = 1;
constexpr power_state_e kBackgroundStandby = 2;
constexpr power_state_e kLowPower = 4;
constexpr int kUserAction = 1;

constexpr int kAmbientArt = 1;
constexpr int kAmbientLowPower = 2;
constexpr int kArtPicture = 4;
constexpr int kSuspendFromBackground = 4;
constexpr int kTvSpeaker = 0;

bool lpmLockTaken = false;

bool IsLowPowerAmbientMode()
{
    return TvStatusUtil::GetPowerState() == kLowPower && TvStatusUtil::GetAmbientMode() == kAmbientLowPower;
}

bool WakesIntoArt()
{
    int fullPowerOffMode = 0;
    VconfUtil::GetVconf(VconfKey::DB_VYREL_AMBIENT_MODE_FULL_POWER_OFF_EVENT, fullPowerOffMode);
    return SystemConfigUtil::IsVellonTV() && !SystemConfigUtil::IsArtModeOnly() &&
           TvStatusUtil::GetAmbientMode() == kAmbientLowPower && fullPowerOffMode == kAmbientArt;
}

void WakeFromLowPower()
{
    LOGE("<Not Error> Go to Normal from Low Power Mode");
    if (WakesIntoArt()) {
        LOGI("turn on with artmode");
        screen_manager_set_ambient_mode(kAmbientArt, kArtPicture);
    } else {
        screen_manager_set_ambient_mode(0, 0);
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
    return GetPowerState() < kBackgroundStandby;
}

void TvStatusUtil::PictureOn()
{
    if (device_power_get_state() == kPictureOff) {
        device_power_set_state(kNormal, kUserAction);
    }
}

void TvStatusUtil::SleepTv()
{
    const power_state_e state = device_power_get_state();
    if (state == kLowPower) {
        LOGE("<Not Error> Go to suspend from Low Power Mode");
        screen_manager_set_ambient_mode(3, 2);
    } else if (state == kBackgroundStandby) {
        LOGI("Go to suspend  from BackGround Standby");
        device_power_request_poweroff(kSuspendFromBackground);
    }
}

void TvStatusUtil::WakeUpTv(power_state_e state)
{
    device_power_set_wakeup_reason(1);
    if (state == kLowPower) {
        WakeFromLowPower();
    } else if (state == kBackgroundStandby) {
        LOGI("Go to Normal from BackGround Standby");
        device_power_set_state(kNormal, kUserAction);
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
    return GetAmbientMode() == kAmbientArt && (GetAmbientType() & kArtPicture) != 0;
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
    const int result = device_power_lock_state(kBackgroundStandby, timeout);
    if (result != 0) {
        LOGE("power lock state failed -> ret [%s]", CommonUtil::ERR_STR(result));
    }
    LOGI("standby lock(timout == %dms) : %d", timeout, result);
}

void TvStatusUtil::UnSetStandbyPowerLock()
{
    const int result = device_power_unlock_state(kBackgroundStandby);
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
    sound_manager_set_device_mute(kTvSpeaker, mute);
}

bool TvStatusUtil::GetTvSpeakerMute()
{
    bool mute = false;
    sound_manager_get_device_mute(kTvSpeaker, &mute);
    return mute;
}

bool TvStatusUtil::isBluetoothSpeakerSelection(sound_tv_output_route_e route)
{
    return route == 3 || route == 5 || route == 6;
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
