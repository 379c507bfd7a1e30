#include "UtilityLogging.h"

#include "DlogUtil.h"

void LogFromUtility()
{
    LOGI("info");
}

int TracedInUtility()
{
    // Both statements say the number of their line.
    // clang-format off
    API_TRACE(); return __LINE__;
    // clang-format on
}
