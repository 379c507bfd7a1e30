/* Nothing was ever posted. */
#include "lwipc.h"

int LwipcIsDone(const char* event)
{
    return 0;
}
