#pragma once

// What a function that is called from outside does with a pointer that it cannot work without. The text is logged with
// the logging header of the file that uses it, which is why none is included here.

/// Leaves the function when the pointer is null, and logs the text as an error before; what stands behind the text is
/// returned. A macro, because the log line names the function that it stands in.
///
///     RETURN_IF_NULL(userData, "userData is NULL");
///     RETURN_IF_NULL(userData, "userData is NULL", G_SOURCE_REMOVE);
#define RETURN_IF_NULL(pointer, text, ...)                                                                             \
    do {                                                                                                               \
        if ((pointer) == nullptr) {                                                                                    \
            LOGE(text);                                                                                                \
            return __VA_ARGS__;                                                                                        \
        }                                                                                                              \
    } while (false)
