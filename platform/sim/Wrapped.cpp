// What the service asks of GLib, on the tape too: its timers, and the messages that it sends. Programs with a simulated
// television are linked so that the project's own calls of these functions come through here; GLib's don't.

#include "sim/Wrapped.h"

#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Timers.h"

#include <gio/gio.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace {

using sim::Kind;
using sim::Television;

struct Unref
{
    void operator()(gpointer object) const
    {
        g_object_unref(object);
    }
};

/// Timers have a number, in the order in which they were made, because ids differ from run to run.
struct Timer
{
    int number;
    std::string interval;
};

std::map<guint, Timer>& Timers()
{
    static std::map<guint, Timer> timers;
    return timers;
}

bool OnMainThread()
{
    return ::syscall(SYS_gettid) == ::getpid();
}

guint Made(guint id, const std::string& interval)
{
    static int count = 0;
    if (Television::IsOn() && OnMainThread()) {
        Timers()[id] = {++count, interval};
        Television::Current().tape.Record(
            {.kind = Kind::Timer, .text = "timer " + std::to_string(count) + ": " + interval});
    }
    return id;
}

/// The service uses the connection that all of its process shares; a sibling of a test has one of its own.
bool IsOfService(GDBusConnection* connection)
{
    if (!Television::IsOn() || !OnMainThread()) {
        return false;
    }
    const std::unique_ptr<GDBusConnection, Unref> shared(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    return shared.get() == connection;
}

std::string BodyText(GVariant* body)
{
    if (body == nullptr) {
        return "";
    }
    char* text = g_variant_print(body, FALSE);
    std::string result = std::string(" ") + g_variant_get_type_string(body) + " " + text;
    g_free(text);
    return result;
}

void RecordMessage(GDBusConnection* connection, const char* how, GDBusMessage* message, int timeout = 0)
{
    if (IsOfService(connection)) {
        Television::Current().tape.Record({.kind = Kind::Bus,
                                           .text = std::string(how) + " " + g_dbus_message_get_destination(message) +
                                                   " " + g_dbus_message_get_member(message) +
                                                   BodyText(g_dbus_message_get_body(message)),
                                           .timeout = timeout});
    }
}

} // namespace

int sim::PendingTimers(std::string_view interval)
{
    std::erase_if(Timers(),
                  [](const auto& timer) { return g_main_context_find_source_by_id(nullptr, timer.first) == nullptr; });
    return static_cast<int>(
        std::ranges::count_if(Timers(), [&](const auto& timer) { return timer.second.interval == interval; }));
}

guint __wrap_g_timeout_add(guint interval, GSourceFunc function, gpointer data)
{
    return Made(__real_g_timeout_add(interval, function, data), std::to_string(interval) + " ms");
}

guint __wrap_g_timeout_add_full(gint priority, guint interval, GSourceFunc function, gpointer data,
                                GDestroyNotify notify)
{
    return Made(__real_g_timeout_add_full(priority, interval, function, data, notify),
                std::to_string(interval) + " ms");
}

guint __wrap_g_timeout_add_seconds(guint interval, GSourceFunc function, gpointer data)
{
    return Made(__real_g_timeout_add_seconds(interval, function, data), std::to_string(interval) + " s");
}

guint __wrap_g_timeout_add_seconds_full(gint priority, guint interval, GSourceFunc function, gpointer data,
                                        GDestroyNotify notify)
{
    return Made(__real_g_timeout_add_seconds_full(priority, interval, function, data, notify),
                std::to_string(interval) + " s");
}

gboolean __wrap_g_source_remove(guint id)
{
    const auto timer = Timers().find(id);
    if (timer != Timers().end() && Television::IsOn() && OnMainThread()) {
        Television::Current().tape.Record(
            {.kind = Kind::Timer, .text = "timer " + std::to_string(timer->second.number) + " removed"});
    }
    return __real_g_source_remove(id);
}

gboolean __wrap_g_dbus_connection_send_message(GDBusConnection* connection, GDBusMessage* message,
                                               GDBusSendMessageFlags flags, volatile guint32* serial, GError** error)
{
    RecordMessage(connection, "call", message);
    return __real_g_dbus_connection_send_message(connection, message, flags, serial, error);
}

void __wrap_g_dbus_connection_send_message_with_reply(GDBusConnection* connection, GDBusMessage* message,
                                                      GDBusSendMessageFlags flags, gint timeout,
                                                      volatile guint32* serial, GCancellable* cancellable,
                                                      GAsyncReadyCallback callback, gpointer data)
{
    RecordMessage(connection, "request", message, timeout);
    __real_g_dbus_connection_send_message_with_reply(connection, message, flags, timeout, serial, cancellable, callback,
                                                     data);
}

GDBusMessage* __wrap_g_dbus_connection_send_message_with_reply_sync(GDBusConnection* connection, GDBusMessage* message,
                                                                    GDBusSendMessageFlags flags, gint timeout,
                                                                    volatile guint32* serial, GCancellable* cancellable,
                                                                    GError** error)
{
    RecordMessage(connection, "ask", message, timeout);
    return __real_g_dbus_connection_send_message_with_reply_sync(connection, message, flags, timeout, serial,
                                                                 cancellable, error);
}

gboolean __wrap_g_dbus_connection_emit_signal(GDBusConnection* connection, const gchar* destination, const gchar* path,
                                              const gchar* interface, const gchar* signal, GVariant* parameters,
                                              GError** error)
{
    if (IsOfService(connection)) {
        Television::Current().tape.Record({.kind = Kind::Bus,
                                           .text = std::string("signal ") +
                                                   (destination != nullptr ? destination : "everybody") + " " + signal +
                                                   BodyText(parameters)});
    }
    return __real_g_dbus_connection_emit_signal(connection, destination, path, interface, signal, parameters, error);
}
