/* Light-weight events between processes: posted once, asked for at any time.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Whether the event was posted: 1 or more when it was, less than 1 when it was not or cannot be told. The event is
 * named by the path of its flag file, such as "/tmp/.bt_irmonitor". */
int LwipcIsDone(const char* event);

#ifdef __cplusplus
}
#endif
