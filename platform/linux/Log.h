// What the platform itself has to say goes to the same log as the service's lines.
#pragma once

#include <dlog.h>

/// Writes a line, printf style, with a priority DLOG_....
#define PLATFORM_LOG(priority, ...) __dlog_print(LOG_ID_MAIN, priority, "VYREL_PLATFORM", __VA_ARGS__)
