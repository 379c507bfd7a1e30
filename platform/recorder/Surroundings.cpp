// What the service asks of GLib's loop and of the C library, and what they tell it.

#include "recorder/Functions.h"
#include "recorder/Pool.h"
#include "recorder/Recording.h"
#include "recorder/Sink.h"
#include "recorder/Writer.h"

#include <glib-unix.h>
#include <glib.h>

#include <dlog.h>
#include <kpi_logger.h>
#include <platform_root.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace recorder;

namespace {

using KpiCallback = void (*)(int result, void* userData);

struct EnterTimer
{
    template <std::size_t slot>
    static gboolean At(gpointer data)
    {
        const auto function = FunctionIn<GSourceFunc>(Callback::GSourceFunc, slot);
        if (!IsRecording()) {
            return function(data);
        }
        Writer& writer = BeginInput(Callback::GSourceFunc, slot, data);
        writer.Unsigned(g_source_get_id(g_main_current_source()));
        End();
        const gboolean again = function(data);
        BeginLeaves(Callback::GSourceFunc).Signed(again);
        End();
        return again;
    }
};

struct EnterDescriptor
{
    template <std::size_t slot>
    static gboolean At(gint descriptor, GIOCondition condition, gpointer data)
    {
        const auto function = FunctionIn<GUnixFDSourceFunc>(Callback::GUnixFDSourceFunc, slot);
        if (!IsRecording()) {
            return function(descriptor, condition, data);
        }
        BeginInput(Callback::GUnixFDSourceFunc, slot, data);
        End();
        const gboolean again = function(descriptor, condition, data);
        BeginLeaves(Callback::GUnixFDSourceFunc).Signed(again);
        End();
        return again;
    }
};

struct EnterKpi
{
    template <std::size_t slot>
    static void At(int result, void* data)
    {
        const auto function = FunctionIn<KpiCallback>(Callback::KpiCallback, slot);
        if (!IsRecording()) {
            function(result, data);
            return;
        }
        BeginInput(Callback::KpiCallback, slot, data).Signed(result);
        End();
        function(result, data);
        BeginLeaves(Callback::KpiCallback);
        End();
    }
};

guint MakeTimer(Function function, guint interval, GSourceFunc callback, gpointer data,
                guint (*make)(guint, GSourceFunc, gpointer))
{
    const auto given = Give(Callback::GSourceFunc, callback, data);
    Writer& writer = BeginCall(function);
    writer.Unsigned(interval);
    writer.Unsigned(given.number);
    End();
    const guint id = make(interval, given.function, data);
    BeginReturn(function).Unsigned(id);
    End();
    return id;
}

/// What a log line is before its text: the place that it comes from.
constexpr std::string_view kPlace = "%s: %s(%d) > ";

/// \param room grows to what the text needs and is kept
[[gnu::format(printf, 2, 0)]] std::string_view Format(std::vector<char>& room, const char* format, va_list arguments)
{
    va_list copy;
    va_copy(copy, arguments);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): it does not see va_copy here
    const int length = std::vsnprintf(room.data(), room.size(), format, copy);
    va_end(copy);
    if (length < 0) {
        return "";
    }
    const auto size = static_cast<std::size_t>(length);
    if (size >= room.size()) {
        room.resize(size + 1);
        std::vsnprintf(room.data(), room.size(), format, arguments);
    }
    return {room.data(), size};
}

} // namespace

namespace recorder {

Pool& PoolOf(Callback type)
{
    constexpr std::size_t kTimers = 32;
    constexpr std::size_t kOthers = 8;
    switch (type) {
    case Callback::GSourceFunc:
        return MakeRoom<kTimers, EnterTimer>().pool;
    case Callback::GUnixFDSourceFunc:
        return MakeRoom<kOthers, EnterDescriptor>().pool;
    case Callback::KpiCallback:
        return MakeRoom<kOthers, EnterKpi>().pool;
    case Callback::GDBusSignalCallback:
    case Callback::GAsyncReadyCallback:
        return BusPool(type);
    default:
        return GeneratedPool(type);
    }
}

} // namespace recorder

extern "C" {

guint seam_g_timeout_add(guint interval, GSourceFunc function, gpointer data)
{
    if (!IsRecording()) {
        return g_timeout_add(interval, function, data);
    }
    return MakeTimer(Function::g_timeout_add, interval, function, data, g_timeout_add);
}

guint seam_g_timeout_add_seconds(guint interval, GSourceFunc function, gpointer data)
{
    if (!IsRecording()) {
        return g_timeout_add_seconds(interval, function, data);
    }
    return MakeTimer(Function::g_timeout_add_seconds, interval, function, data, g_timeout_add_seconds);
}

gboolean seam_g_source_remove(guint id)
{
    if (!IsRecording()) {
        return g_source_remove(id);
    }
    BeginCall(Function::g_source_remove).Unsigned(id);
    End();
    const gboolean found = g_source_remove(id);
    BeginReturn(Function::g_source_remove).Unsigned(found != FALSE ? 1 : 0);
    End();
    return found;
}

gboolean seam_g_source_remove_by_user_data(gpointer data)
{
    if (!IsRecording()) {
        return g_source_remove_by_user_data(data);
    }
    BeginCall(Function::g_source_remove_by_user_data);
    End();
    const gboolean found = g_source_remove_by_user_data(data);
    BeginReturn(Function::g_source_remove_by_user_data).Unsigned(found != FALSE ? 1 : 0);
    End();
    return found;
}

void seam_g_usleep(gulong microseconds)
{
    if (!IsRecording()) {
        g_usleep(microseconds);
        return;
    }
    BeginCall(Function::g_usleep).Unsigned(microseconds);
    End();
    g_usleep(microseconds);
    BeginReturn(Function::g_usleep);
    End();
}

guint seam_g_unix_fd_add_full(gint priority, gint descriptor, GIOCondition condition, GUnixFDSourceFunc function,
                              gpointer data, GDestroyNotify notify)
{
    if (!IsRecording()) {
        return g_unix_fd_add_full(priority, descriptor, condition, function, data, notify);
    }
    const auto given = Give(Callback::GUnixFDSourceFunc, function, data);
    BeginCall(Function::g_unix_fd_add_full).Unsigned(given.number);
    End();
    const guint id = g_unix_fd_add_full(priority, descriptor, condition, given.function, data, notify);
    BeginReturn(Function::g_unix_fd_add_full).Unsigned(id);
    End();
    return id;
}

void seam_g_main_loop_run(GMainLoop* loop)
{
    if (!IsRecording()) {
        g_main_loop_run(loop);
        return;
    }
    BeginCall(Function::g_main_loop_run);
    End();
    g_main_loop_run(loop);
    BeginReturn(Function::g_main_loop_run);
    End();
}

void seam_g_main_loop_quit(GMainLoop* loop)
{
    if (!IsRecording()) {
        g_main_loop_quit(loop);
        return;
    }
    BeginCall(Function::g_main_loop_quit);
    End();
    g_main_loop_quit(loop);
    BeginReturn(Function::g_main_loop_quit);
    End();
}

time_t seam_time(time_t* result)
{
    if (!IsRecording()) {
        return time(result);
    }
    BeginCall(Function::time);
    End();
    const time_t now = time(result);
    BeginReturn(Function::time).Signed(now);
    End();
    return now;
}

struct tm* seam_localtime_r(const time_t* moment, struct tm* result)
{
    if (!IsRecording()) {
        return localtime_r(moment, result);
    }
    BeginCall(Function::localtime_r).Signed(*moment);
    End();
    struct tm* local = localtime_r(moment, result);
    Writer& writer = BeginReturn(Function::localtime_r);
    writer.Unsigned(local != nullptr ? 1 : 0);
    if (local != nullptr) {
        for (const int part : {local->tm_sec, local->tm_min, local->tm_hour, local->tm_mday, local->tm_mon,
                               local->tm_year, local->tm_wday, local->tm_yday, local->tm_isdst}) {
            writer.Signed(part);
        }
        writer.Signed(local->tm_gmtoff);
    }
    End();
    return local;
}

// Not recorded: who stops the service is told by what it is called back for.
int seam_sigaction(int signal, const struct sigaction* action, struct sigaction* before)
{
    return sigaction(signal, action, before);
}

// Not recorded but in the beginning of the life: it is one folder as long as the process runs.
const char* seam_platform_root(void)
{
    return platform_root();
}

[[gnu::format(printf, 4, 5)]] int seam_dlog_print(int log, int priority, const char* tag, const char* format, ...)
{
    static std::vector<char> room(4096);
    if (format == nullptr) {
        return -1;
    }
    va_list arguments;
    va_start(arguments, format);
    const std::string_view line = Format(room, format, arguments);
    va_end(arguments);
    if (IsRecording()) {
        Writer& writer = BeginLog();
        writer.Unsigned(static_cast<std::uint64_t>(priority));
        writer.Text(tag);
        writer.Text(line);
        End();
    }
    if (!std::string_view(format).starts_with(kPlace)) {
        return __dlog_print(log, priority, tag, "%s", line.data());
    }
    // As the service has it: the place in fields of its own, for a log that keeps them apart.
    va_start(arguments, format);
    const char* file = va_arg(arguments, const char*);
    const char* function = va_arg(arguments, const char*);
    const int number = va_arg(arguments, int);
    va_end(arguments);
    const int place = std::snprintf(nullptr, 0, "%s: %s(%d) > ", file, function, number);
    return __dlog_print(log, priority, tag, "%s: %s(%d) > %s", file, function, number,
                        line.data() + std::min(static_cast<std::size_t>(std::max(place, 0)), line.size()));
}

KPILogFramework::CLogger* seam_kpi_GetInstance()
{
    return KPILogFramework::CLogger::GetInstance();
}

int seam_kpi_AddEventLogAsync(KPILogFramework::CLogger* logger, std::string category, std::string name,
                              std::string code, std::string description, KpiCallback callback, void* userData)
{
    if (!IsRecording()) {
        return logger->AddEventLogAsync(std::move(category), std::move(name), std::move(code), std::move(description),
                                        callback, userData);
    }
    const auto given = Give(Callback::KpiCallback, callback, userData);
    Writer& writer = BeginCall(Function::AddEventLogAsync);
    for (const std::string* text : {&category, &name, &code, &description}) {
        writer.Text(std::string_view(*text));
    }
    writer.Unsigned(given.number);
    End();
    const int result = logger->AddEventLogAsync(std::move(category), std::move(name), std::move(code),
                                                std::move(description), given.function, userData);
    BeginReturn(Function::AddEventLogAsync).Signed(result);
    End();
    return result;
}

} // extern "C"
