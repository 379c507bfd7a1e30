#include "sim/Call.h"
#include "sim/Power.h"
#include "sim/ScreenAndSound.h"
#include "sim/Television.h"

#include <screen_manager.h>
#include <sound_manager.h>

#include <map>

using sim::Call;
using sim::Television;

int screen_manager_set_ambient_mode(int mode, int type)
{
    return Call(__func__, mode, type).Does([=](Television& tv) {
        tv.power.ambientMode = mode;
        tv.power.ambientType = type;
        return 0;
    });
}

int screen_manager_set_ambient_lock(int on, int timeout_ms)
{
    return Call(__func__, on, timeout_ms).Does([=](Television& tv) {
        if (on != 0) {
            tv.screen.LockAmbient(timeout_ms);
        } else {
            tv.screen.UnlockAmbient();
        }
        return 0;
    });
}

int sound_manager_set_tv_master_mute(bool mute)
{
    return Call(__func__, mute).Does([=](Television& tv) {
        tv.screen.masterMute = mute;
        return 0;
    });
}

int sound_manager_set_device_mute(int device, bool mute)
{
    return Call(__func__, device, mute).Does([=](Television& tv) {
        tv.screen.deviceMute[device] = mute;
        return 0;
    });
}

int sound_manager_get_device_mute(int device, bool* mute)
{
    return Call(__func__, device).Gives(mute, [=](Television& tv, bool& out) {
        out = tv.screen.deviceMute[device];
        return 0;
    });
}
