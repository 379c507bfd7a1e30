#include "sim/Failures.h"
#include "sim/Side.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <dlog.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

/// The line as it reads, however long it is.
[[gnu::format(printf, 1, 0)]] std::string Format(const char* format, va_list arguments)
{
    va_list copy;
    va_copy(copy, arguments);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it does not see va_copy here
    const int length = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    std::string text(length > 0 ? static_cast<std::size_t>(length) + 1 : 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

/// Every line of the service begins with "file: function(line) > ".
void TakeApart(sim::Entry& entry, const char* format, va_list arguments)
{
    constexpr std::string_view kPrefix = "%s: %s(%d) > ";
    if (!std::string_view(format).starts_with(kPrefix)) {
        return;
    }
    entry.file = va_arg(arguments, const char*);
    entry.function = va_arg(arguments, const char*);
    entry.line = va_arg(arguments, int);
    const std::size_t prefix = entry.file.size() + entry.function.size() + std::to_string(entry.line).size() + 7;
    entry.message = entry.message.substr(std::min(prefix, entry.message.size()));
}

} // namespace

int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
{
    const sim::Runs runs(sim::Side::Television);
    sim::Television& tv = sim::Television::Current();
    if (const std::optional<int> failure = tv.failures.Take(__func__)) {
        return *failure;
    }
    if (tag == nullptr || format == nullptr) {
        return -1;
    }
    sim::Entry entry = {.kind = sim::Kind::Log, .text = {}, .priority = priority, .tag = tag};
    va_list arguments;
    va_start(arguments, format);
    entry.message = Format(format, arguments);
    va_end(arguments);
    entry.text = std::string(1, sim::PriorityLetter(priority)) + " " + entry.tag + " " + entry.message;
    va_start(arguments, format);
    TakeApart(entry, format, arguments);
    va_end(arguments);
    if (log_id != LOG_ID_MAIN) {
        entry.text += " (log " + std::to_string(log_id) + ")";
    }
    tv.tape.Record(std::move(entry));
    return 0;
}
