#include "log/Line.h"

#include <dlog.h>

#include <cstdarg>

int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
{
    if (log_id != LOG_ID_MAIN) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const int result = journal::WriteLine(priority, tag, format, arguments);
    va_end(arguments);
    return result;
}
