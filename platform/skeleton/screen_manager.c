#include "screen_manager.h"

int screen_manager_set_ambient_mode(int mode, int type)
{
    return 0;
}

int screen_manager_set_ambient_lock(int on, int timeout_ms)
{
    return 0;
}
