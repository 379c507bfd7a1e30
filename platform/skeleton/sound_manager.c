#include "sound_manager.h"

#include <stddef.h>

int sound_manager_set_tv_master_mute(bool mute)
{
    return 0;
}

int sound_manager_set_device_mute(int device, bool mute)
{
    return 0;
}

int sound_manager_get_device_mute(int device, bool* mute)
{
    if (mute == NULL) {
        return -1;
    }
    *mute = false;
    return 0;
}
