#pragma once

#include <cstdarg>

namespace journal {

/// Writes one line to the journal, or to standard error, with its priority in front, where there is no journal.
/// \param priority DLOG_...; what lies beyond them counts as the nearest of them
/// \return the length of the text in bytes, or -1 for arguments that make no line and for a line that was lost
__attribute__((format(printf, 3, 0))) int WriteLine(int priority, const char* tag, const char* format,
                                                    va_list arguments);

} // namespace journal
