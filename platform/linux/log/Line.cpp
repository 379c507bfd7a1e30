#include "log/Line.h"

#include "log/Journal.h"

#include <dlog.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace journal {

namespace {

/// Longer than the service's usual lines.
constexpr std::size_t kUsualLength = 1024;

/// A digit each, as text, for DLOG_DEBUG, DLOG_INFO, DLOG_WARN and DLOG_ERROR.
constexpr std::string_view kSyslogDigits = "7643";

std::string_view SyslogPriority(int priority)
{
    const int known = std::clamp<int>(priority, DLOG_DEBUG, DLOG_ERROR);
    return kSyslogDigits.substr(static_cast<std::size_t>(known - DLOG_DEBUG), 1);
}

iovec Piece(std::string_view text)
{
    return {const_cast<char*>(text.data()), text.size()}; // the kernel only reads it
}

/// In the form in which a service manager takes a line's priority from its standard error.
bool WriteToStandardError(std::string_view digit, std::string_view tag, std::string_view text)
{
    std::array<iovec, 7> pieces = {
        {Piece("<"), Piece(digit), Piece(">"), Piece(tag), Piece(": "), Piece(text), Piece("\n")}};
    ssize_t written = -1;
    do {
        written = ::writev(STDERR_FILENO, pieces.data(), static_cast<int>(pieces.size()));
    } while (written < 0 && errno == EINTR);
    return written > 0;
}

int WriteText(int priority, std::string_view tag, std::string_view text)
{
    const std::string_view digit = SyslogPriority(priority);
    const std::array<Field, 3> fields = {{{"PRIORITY", digit}, {"SYSLOG_IDENTIFIER", tag}, {"MESSAGE", text}}};
    const Journal::Outcome outcome = Journal::OfProcess().Send(fields);
    const bool isWritten = outcome == Journal::Outcome::Taken ||
                           (outcome == Journal::Outcome::Absent && WriteToStandardError(digit, tag, text));
    return isWritten ? static_cast<int>(text.size()) : -1;
}

/// For a line that is longer than usual; -1 when there is no memory for it.
[[gnu::format(printf, 3, 0)]] int WriteRareText(int priority, std::string_view tag, const char* format,
                                                va_list arguments)
{
    char* text = nullptr;
    const int length = ::vasprintf(&text, format, arguments);
    if (length < 0) {
        return -1;
    }
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    return WriteText(priority, tag, {text, static_cast<std::size_t>(length)});
}

} // namespace

int WriteLine(int priority, const char* tag, const char* format, va_list arguments)
{
    if (tag == nullptr || format == nullptr) {
        return -1;
    }
    std::array<char, kUsualLength> usual; // vsnprintf fills what is used
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(usual.data(), usual.size(), format, arguments);
    int result = -1;
    if (length >= 0 && static_cast<std::size_t>(length) < usual.size()) {
        result = WriteText(priority, tag, {usual.data(), static_cast<std::size_t>(length)});
    } else if (length >= 0) {
        result = WriteRareText(priority, tag, format, again);
    }
    va_end(again);
    return result;
}

} // namespace journal
