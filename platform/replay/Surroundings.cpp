// GLib's loop, the bus and the files of a replay: nothing is done, and the answer is that of the recording. The
// recorder is led here in place of GLib and the C library.

#include "recorder/Body.h"
#include "recorder/Functions.h"
#include "recorder/Pool.h"
#include "recorder/Reader.h"
#include "replay/Answers.h"
#include "replay/Replay.h"

#include <gio/gio.h>
#include <glib-unix.h>

#include <fcntl.h>
#include <kpi_logger.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

using recorder::Callback;
using recorder::Function;
using recorder::Reader;
using replay::AnswerOf;
using replay::Replay;

namespace {

gboolean Flag(Reader& reader)
{
    return reader.Unsigned() != 0 ? TRUE : FALSE;
}

/// A result that a recording has as the negative number of the error.
template <typename Result>
Result Number(Reader& reader)
{
    const std::int64_t result = reader.Signed();
    if (result < 0) {
        errno = static_cast<int>(-result);
        return -1;
    }
    return static_cast<Result>(result);
}

std::string OrEmpty(std::optional<std::string_view> text)
{
    return std::string(text.value_or(""));
}

void TakeError(Reader& reader, GError** error)
{
    if (reader.Unsigned() == 0) {
        return;
    }
    const std::string domain = OrEmpty(reader.Text());
    const auto code = static_cast<gint>(reader.Signed());
    const std::string message = OrEmpty(reader.Text());
    g_set_error_literal(error, g_quark_from_string(domain.c_str()), code, message.c_str());
}

/// \return a reference; none where there is none, or of no type that there is
GVariant* TakeBody(Reader& reader)
{
    const auto type = reader.Text();
    if (!type) {
        return nullptr;
    }
    const auto bytes = reader.Bytes().value_or(std::span<const std::byte>());
    return recorder::BodyOf(std::string(*type), bytes.data(), bytes.size());
}

GDBusMessage* TakeReply(Reader& reader)
{
    if (reader.Unsigned() == 0) {
        return nullptr;
    }
    GDBusMessage* message = g_dbus_message_new();
    const std::uint64_t type = reader.Unsigned();
    if (type <= G_DBUS_MESSAGE_TYPE_SIGNAL) {
        g_dbus_message_set_message_type(message, static_cast<GDBusMessageType>(type));
    }
    const std::string sender = OrEmpty(reader.Text());
    if (g_dbus_is_name(sender.c_str()) != FALSE) {
        g_dbus_message_set_sender(message, sender.c_str());
    }
    const std::string name = OrEmpty(reader.Text());
    if (g_dbus_is_interface_name(name.c_str()) != FALSE) {
        g_dbus_message_set_error_name(message, name.c_str());
    }
    if (GVariant* body = TakeBody(reader)) {
        g_dbus_message_set_body(message, body);
        g_variant_unref(body);
    }
    return message;
}

/// An object of the right type, over which nothing goes.
GDBusConnection* Connection()
{
    static GDBusConnection* connection = G_DBUS_CONNECTION(g_object_new(G_TYPE_DBUS_CONNECTION, nullptr));
    return connection;
}

gboolean Sent(Function function, GError** error)
{
    Reader reader = AnswerOf(function);
    const gboolean sent = Flag(reader);
    TakeError(reader, error);
    return sent;
}

GDBusMessage* Replied(Function function, GError** error)
{
    Reader reader = AnswerOf(function);
    GDBusMessage* reply = TakeReply(reader);
    TakeError(reader, error);
    return reply;
}

guint Id(Function function)
{
    Reader reader = AnswerOf(function);
    return static_cast<guint>(reader.Unsigned());
}

/// What is to be released with a watch of a descriptor, by its id.
std::map<guint, std::pair<GDestroyNotify, gpointer>>& Watches()
{
    static std::map<guint, std::pair<GDestroyNotify, gpointer>> watches;
    return watches;
}

void EndWatch(guint id)
{
    const auto found = Watches().find(id);
    if (found == Watches().end()) {
        return;
    }
    const auto [notify, data] = found->second;
    Watches().erase(found);
    if (notify != nullptr) {
        notify(data);
    }
}

using KpiCallback = void (*)(int result, void* userData);

void TellSignal(Reader& reader, recorder::Anything function, void* userData, replay::Lent& texts)
{
    const char* sender = replay::TakeText(reader, texts);
    const char* path = replay::TakeText(reader, texts);
    const char* interface = replay::TakeText(reader, texts);
    const char* member = replay::TakeText(reader, texts);
    GVariant* body = TakeBody(reader);
    reinterpret_cast<GDBusSignalCallback>(function)(Connection(), sender, path, interface, member, body, userData);
    if (body != nullptr) {
        g_variant_unref(body);
    }
}

} // namespace

bool replay::CallOther(Callback type, Reader& reader, recorder::Anything function, void* userData, Lent& texts)
{
    switch (type) {
    case Callback::GSourceFunc:
        Replay::Current().SetTimer(static_cast<unsigned int>(reader.Unsigned()));
        reinterpret_cast<GSourceFunc>(function)(userData);
        return true;
    case Callback::GUnixFDSourceFunc:
        reinterpret_cast<GUnixFDSourceFunc>(function)(-1, G_IO_IN, userData);
        return true;
    case Callback::GDBusSignalCallback:
        TellSignal(reader, function, userData, texts);
        return true;
    case Callback::GAsyncReadyCallback:
        reinterpret_cast<GAsyncReadyCallback>(function)(G_OBJECT(Connection()), nullptr, userData);
        return true;
    case Callback::KpiCallback:
        reinterpret_cast<KpiCallback>(function)(static_cast<int>(reader.Signed()), userData);
        return true;
    default:
        return false;
    }
}

namespace KPILogFramework {

CLogger* CLogger::GetInstance()
{
    static CLogger logger;
    return &logger;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): as the platform's header has it
int CLogger::AddEventLogAsync(std::string, std::string, std::string, std::string, KpiCallback, void*)
{
    Reader reader = AnswerOf(Function::AddEventLogAsync);
    return static_cast<int>(reader.Signed());
}

} // namespace KPILogFramework

extern "C" {

// NOLINTNEXTLINE(clang-diagnostic-reserved-identifier): the platform names it so.
int __dlog_print(int, int, const char*, const char*, ...)
{
    return 0;
}

gint64 replayed_g_get_monotonic_time()
{
    return Replay::Current().Now();
}

GSource* replayed_g_main_current_source()
{
    return nullptr;
}

guint replayed_g_source_get_id(GSource*)
{
    return Replay::Current().Timer();
}

int replayed_sigaction(int, const struct sigaction*, struct sigaction*)
{
    return 0; // a signal ends a replay as it ends any program
}

guint replayed_g_timeout_add(guint, GSourceFunc, gpointer)
{
    return Id(Function::g_timeout_add);
}

guint replayed_g_timeout_add_seconds(guint, GSourceFunc, gpointer)
{
    return Id(Function::g_timeout_add_seconds);
}

gboolean replayed_g_source_remove(guint id)
{
    Reader reader = AnswerOf(Function::g_source_remove);
    EndWatch(id);
    return Flag(reader);
}

gboolean replayed_g_source_remove_by_user_data(gpointer)
{
    Reader reader = AnswerOf(Function::g_source_remove_by_user_data);
    return Flag(reader);
}

void replayed_g_usleep(gulong)
{
    AnswerOf(Function::g_usleep);
}

guint replayed_g_unix_fd_add_full(gint, gint, GIOCondition, GUnixFDSourceFunc, gpointer data, GDestroyNotify notify)
{
    const guint id = Id(Function::g_unix_fd_add_full);
    Watches()[id] = {notify, data};
    return id;
}

void replayed_g_main_loop_run(GMainLoop*)
{
    AnswerOf(Function::g_main_loop_run);
}

void replayed_g_main_loop_quit(GMainLoop*)
{
    AnswerOf(Function::g_main_loop_quit);
}

GDBusConnection* replayed_g_bus_get_sync(GBusType, GCancellable*, GError** error)
{
    return Sent(Function::g_bus_get_sync, error) != FALSE ? G_DBUS_CONNECTION(g_object_ref(Connection())) : nullptr;
}

guint replayed_g_bus_own_name(GBusType, const gchar*, GBusNameOwnerFlags, GBusAcquiredCallback,
                              GBusNameAcquiredCallback, GBusNameLostCallback, gpointer, GDestroyNotify)
{
    return Id(Function::g_bus_own_name);
}

void replayed_g_bus_unown_name(guint)
{
    AnswerOf(Function::g_bus_unown_name);
}

guint replayed_g_dbus_connection_signal_subscribe(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                                  const gchar*, const gchar*, GDBusSignalFlags, GDBusSignalCallback,
                                                  gpointer, GDestroyNotify)
{
    return Id(Function::g_dbus_connection_signal_subscribe);
}

gboolean replayed_g_dbus_connection_send_message(GDBusConnection*, GDBusMessage*, GDBusSendMessageFlags,
                                                 volatile guint32*, GError** error)
{
    return Sent(Function::g_dbus_connection_send_message, error);
}

void replayed_g_dbus_connection_send_message_with_reply(GDBusConnection*, GDBusMessage*, GDBusSendMessageFlags, gint,
                                                        volatile guint32*, GCancellable*, GAsyncReadyCallback, gpointer)
{
    AnswerOf(Function::g_dbus_connection_send_message_with_reply);
}

GDBusMessage* replayed_g_dbus_connection_send_message_with_reply_finish(GDBusConnection*, GAsyncResult*, GError** error)
{
    return Replied(Function::g_dbus_connection_send_message_with_reply_finish, error);
}

GDBusMessage* replayed_g_dbus_connection_send_message_with_reply_sync(GDBusConnection*, GDBusMessage*,
                                                                      GDBusSendMessageFlags, gint, volatile guint32*,
                                                                      GCancellable*, GError** error)
{
    return Replied(Function::g_dbus_connection_send_message_with_reply_sync, error);
}

gboolean replayed_g_dbus_connection_emit_signal(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                                                const gchar*, GVariant*, GError** error)
{
    return Sent(Function::g_dbus_connection_emit_signal, error);
}

time_t replayed_time(time_t* result)
{
    Reader reader = AnswerOf(Function::time);
    const auto now = static_cast<time_t>(reader.Signed());
    replay::Give(result, now);
    return now;
}

struct tm* replayed_localtime_r(const time_t*, struct tm* result)
{
    Reader reader = AnswerOf(Function::localtime_r);
    if (reader.Unsigned() == 0) {
        return nullptr;
    }
    *result = {};
    for (int* part : {&result->tm_sec, &result->tm_min, &result->tm_hour, &result->tm_mday, &result->tm_mon,
                      &result->tm_year, &result->tm_wday, &result->tm_yday, &result->tm_isdst}) {
        *part = static_cast<int>(reader.Signed());
    }
    result->tm_gmtoff = reader.Signed();
    return result;
}

int replayed_open(const char*, int, ...)
{
    Reader reader = AnswerOf(Function::open);
    // Something that the service can close: all else that it does with the file comes here.
    return Number<int>(reader) == 0 ? ::open("/dev/null", O_RDWR | O_CLOEXEC) : -1;
}

ssize_t replayed_read(int, void* room, size_t size)
{
    Reader reader = AnswerOf(Function::read);
    const auto length = Number<ssize_t>(reader);
    if (const auto bytes = reader.Bytes()) {
        std::memcpy(room, bytes->data(), std::min(size, bytes->size()));
    }
    return length;
}

ssize_t replayed_write(int, const void*, size_t)
{
    Reader reader = AnswerOf(Function::write);
    return Number<ssize_t>(reader);
}

int replayed_fstat(int, struct stat* status)
{
    Reader reader = AnswerOf(Function::fstat);
    const int result = Number<int>(reader);
    if (reader.Unsigned() != 0) {
        *status = {};
        status->st_mode = static_cast<mode_t>(reader.Unsigned());
        status->st_nlink = reader.Unsigned();
        status->st_size = reader.Signed();
    }
    return result;
}

int replayed_ftruncate(int, off_t)
{
    Reader reader = AnswerOf(Function::ftruncate);
    return Number<int>(reader);
}

int replayed_access(const char*, int)
{
    Reader reader = AnswerOf(Function::access);
    return Number<int>(reader);
}

gboolean replayed_g_file_set_contents_full(const gchar*, const gchar*, gssize, GFileSetContentsFlags, int,
                                           GError** error)
{
    return Sent(Function::g_file_set_contents_full, error);
}

} // extern "C"
