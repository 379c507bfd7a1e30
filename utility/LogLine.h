#pragma once

// What the two logging headers share: a log line is the caller's text behind the place it comes from.

#include <dlog.h>

#ifdef __cppcheck__ // its preprocessor does not know __VA_OPT__
#define VYREL_LOG_LINE(priority, tag, ...) __dlog_print(LOG_ID_MAIN, priority, tag, __VA_ARGS__)
#else
#define VYREL_LOG_LINE(priority, tag, format, ...)                                                                     \
    __dlog_print(LOG_ID_MAIN, priority, tag, "%s: %s(%d) > " format, __FILE_NAME__, __func__,                          \
                 __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#endif
