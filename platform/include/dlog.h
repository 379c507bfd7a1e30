/* The platform log.
 *
 * The rules that hold for all platform functions (results, ownership, callbacks) stand in README.md beside this
 * header. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Logs; this project writes to the main one only. */
enum
{
    LOG_ID_MAIN = 0
};

/* Priorities. */
enum
{
    DLOG_DEBUG = 3,
    DLOG_INFO = 4,
    DLOG_WARN = 5,
    DLOG_ERROR = 6
};

/* Writes one line: log_id LOG_ID_MAIN, priority DLOG_..., a tag, and a text built as printf does. Everything is copied;
 * the answer, negative on failure, is nothing to act on. The name with its underscores is the platform's. */
__attribute__((format(printf, 4, 5))) int __dlog_print( // NOLINT(clang-diagnostic-reserved-identifier)
    int log_id, int priority, const char* tag, const char* format, ...);

#ifdef __cplusplus
}
#endif
