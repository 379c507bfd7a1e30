#pragma once

// Logging for the utilities and the usage events. Included by source files only, and by no source file together with
// the service's own logging header: both give the same macros, with another tag.

#include "ApiTracker.h"
#include "LogLine.h"

#define LOGD(...) VYREL_LOG_LINE(DLOG_DEBUG, "VYREL_UTIL", __VA_ARGS__)
#define LOGI(...) VYREL_LOG_LINE(DLOG_INFO, "VYREL_UTIL", __VA_ARGS__)
#define LOGW(...) VYREL_LOG_LINE(DLOG_WARN, "VYREL_UTIL", __VA_ARGS__)
#define LOGE(...) VYREL_LOG_LINE(DLOG_ERROR, "VYREL_UTIL", __VA_ARGS__)

/// First statement of a traced function.
#define API_TRACE() const ApiTracker apiTracker("VYREL_UTIL", "DlogUtil.h", 124, __PRETTY_FUNCTION__, __LINE__)
