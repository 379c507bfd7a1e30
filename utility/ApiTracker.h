#pragma once

#include <string>

/// Writes an IN line to the platform log where it is made and an OUT line where its scope is left, by return or by
/// exception. Both logging headers give a macro for it, API_TRACE().
class ApiTracker
{
public:
    /// \param tag        log tag of the IN line; the OUT line is always the service's own
    /// \param header     base name of the logging header that placed the tracer
    /// \param headerLine line that the IN line gives for that header
    /// \param function   full signature of the traced function
    /// \param line       line at which the tracer stands in that function
    ApiTracker(const char* tag, const char* header, int headerLine, std::string function, int line);
    ~ApiTracker();

    ApiTracker(const ApiTracker&) = delete;
    ApiTracker& operator=(const ApiTracker&) = delete;

private:
    std::string m_function;
    int m_line;
};
