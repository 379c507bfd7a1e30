#include "ApiTracker.h"

#include <dlog.h>

#include <utility>

namespace {

// There is one destructor for both kinds of tracer, so every OUT line names the service's header.
constexpr const char* kOutTag = "VYREL_LITE";
constexpr const char* kOutHeader = "LiteDebug.h";
constexpr int kOutLine = 121;

} // namespace

ApiTracker::ApiTracker(const char* tag, const char* header, int headerLine, std::string function, int line)
    : m_function(std::move(function)),
      m_line(line)
{
    __dlog_print(LOG_ID_MAIN, DLOG_DEBUG, tag, "%s: %s(%d) > IN >> [%s(%d)]", header, "ApiTracker", headerLine,
                 m_function.c_str(), m_line);
}

ApiTracker::~ApiTracker()
{
    __dlog_print(LOG_ID_MAIN, DLOG_DEBUG, kOutTag, "%s: %s(%d) > OUT << [%s(%d)]", kOutHeader, "~ApiTracker", kOutLine,
                 m_function.c_str(), m_line);
}
