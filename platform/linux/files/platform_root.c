#include "platform_root.h"

const char* platform_root(void)
{
    return "";
}
