#include "power/PowerManager.h"
#include "power/Result.h"

#include <screen_manager.h>

using power::PowerManager;
using power::ResultOf;

int screen_manager_set_ambient_mode(int mode, int type)
{
    return ResultOf(PowerManager::OfProcess().SetAmbient(mode, type));
}

int screen_manager_set_ambient_lock(int on, int timeout_ms)
{
    return ResultOf(PowerManager::OfProcess().SetAmbientLock(on != 0, timeout_ms));
}
