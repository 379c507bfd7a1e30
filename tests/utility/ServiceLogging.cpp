#include "ServiceLogging.h"

#include "LiteDebug.h"

#include <stdexcept>

void LogFromService()
{
    LOGD("debug");
    LOGI("info %d", 1);
    LOGW("warning %s", "two");
    [] { LOGE("error %d%%", 3); }();
}

int TracedInService(int)
{
    // Both statements say the number of their line.
    // clang-format off
    API_TRACE(); return __LINE__;
    // clang-format on
}

void TracedAndThrows()
{
    API_TRACE();
    throw std::runtime_error("out of here");
}
