// What the service asks of the bus, and what it hears from it.

#include "recorder/Body.h"
#include "recorder/Functions.h"
#include "recorder/Pool.h"
#include "recorder/Recording.h"
#include "recorder/Sink.h"
#include "recorder/Writer.h"

#include <gio/gio.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>

using namespace recorder;

namespace {

void Put(Writer& writer, GVariant* body)
{
    writer.Text(body != nullptr ? g_variant_get_type_string(body) : nullptr);
    if (body != nullptr) {
        const std::unique_ptr<GVariant, decltype(&g_variant_unref)> stored(InOrderOfRecordings(body), g_variant_unref);
        const void* bytes = g_variant_get_data(stored.get()); // none where there are none
        writer.Bytes(bytes != nullptr ? bytes : "", g_variant_get_size(stored.get()));
    }
}

void Put(Writer& writer, GDBusMessage* message)
{
    writer.Unsigned(message != nullptr ? 1 : 0);
    if (message != nullptr) {
        writer.Text(g_dbus_message_get_destination(message));
        writer.Text(g_dbus_message_get_path(message));
        writer.Text(g_dbus_message_get_interface(message));
        writer.Text(g_dbus_message_get_member(message));
        Put(writer, g_dbus_message_get_body(message));
    }
}

void PutReply(Writer& writer, GDBusMessage* reply)
{
    writer.Unsigned(reply != nullptr ? 1 : 0);
    if (reply != nullptr) {
        writer.Unsigned(static_cast<std::uint64_t>(g_dbus_message_get_message_type(reply)));
        writer.Text(g_dbus_message_get_sender(reply));
        writer.Text(g_dbus_message_get_error_name(reply));
        Put(writer, g_dbus_message_get_body(reply));
    }
}

/// Hands a failure on to the service, after it was written.
void PutError(Writer& writer, GError* failure, GError** error)
{
    writer.Unsigned(failure != nullptr ? 1 : 0);
    if (failure != nullptr) {
        writer.Text(g_quark_to_string(failure->domain));
        writer.Signed(failure->code);
        writer.Text(failure->message);
        g_propagate_error(error, failure);
    }
}

gboolean EndSent(Function function, gboolean sent, GError* failure, GError** error)
{
    Writer& writer = BeginReturn(function);
    writer.Unsigned(sent != FALSE ? 1 : 0);
    PutError(writer, failure, error);
    End();
    return sent;
}

GDBusMessage* EndReply(Function function, GDBusMessage* reply, GError* failure, GError** error)
{
    Writer& writer = BeginReturn(function);
    PutReply(writer, reply);
    PutError(writer, failure, error);
    End();
    return reply;
}

struct EnterSignal
{
    template <std::size_t slot>
    static void At(GDBusConnection* connection, const gchar* sender, const gchar* path, const gchar* interface,
                   const gchar* member, GVariant* body, gpointer data)
    {
        const auto function = FunctionIn<GDBusSignalCallback>(Callback::GDBusSignalCallback, slot);
        if (!IsRecording()) {
            function(connection, sender, path, interface, member, body, data);
            return;
        }
        Writer& writer = BeginInput(Callback::GDBusSignalCallback, slot, data);
        for (const gchar* text : {sender, path, interface, member}) {
            writer.Text(text);
        }
        Put(writer, body);
        End();
        function(connection, sender, path, interface, member, body, data);
        BeginLeaves(Callback::GDBusSignalCallback);
        End();
    }
};

struct EnterReady
{
    template <std::size_t slot>
    static void At(GObject* source, GAsyncResult* result, gpointer data)
    {
        const auto function = FunctionIn<GAsyncReadyCallback>(Callback::GAsyncReadyCallback, slot);
        if (!IsRecording()) {
            function(source, result, data);
            return;
        }
        BeginInput(Callback::GAsyncReadyCallback, slot, data);
        End();
        function(source, result, data);
        BeginLeaves(Callback::GAsyncReadyCallback);
        End();
    }
};

} // namespace

namespace recorder {

Pool& BusPool(Callback type)
{
    constexpr std::size_t kSlots = 8;
    if (type == Callback::GDBusSignalCallback) {
        return MakeRoom<kSlots, EnterSignal>().pool;
    }
    return MakeRoom<kSlots, EnterReady>().pool;
}

} // namespace recorder

extern "C" {

GDBusConnection* seam_g_bus_get_sync(GBusType bus, GCancellable* cancellable, GError** error)
{
    if (!IsRecording()) {
        return g_bus_get_sync(bus, cancellable, error);
    }
    BeginCall(Function::g_bus_get_sync).Signed(bus);
    End();
    GError* failure = nullptr;
    GDBusConnection* connection = g_bus_get_sync(bus, cancellable, &failure);
    EndSent(Function::g_bus_get_sync, connection != nullptr ? TRUE : FALSE, failure, error);
    return connection;
}

guint seam_g_bus_own_name(GBusType bus, const gchar* name, GBusNameOwnerFlags flags, GBusAcquiredCallback connected,
                          GBusNameAcquiredCallback acquired, GBusNameLostCallback lost, gpointer data,
                          GDestroyNotify notify)
{
    if (!IsRecording()) {
        return g_bus_own_name(bus, name, flags, connected, acquired, lost, data, notify);
    }
    if (connected != nullptr || acquired != nullptr || lost != nullptr) {
        TellLost("who has the name on the bus");
    }
    Writer& writer = BeginCall(Function::g_bus_own_name);
    writer.Signed(bus);
    writer.Text(name);
    writer.Unsigned(static_cast<std::uint64_t>(flags));
    End();
    const guint id = g_bus_own_name(bus, name, flags, connected, acquired, lost, data, notify);
    BeginReturn(Function::g_bus_own_name).Unsigned(id);
    End();
    return id;
}

void seam_g_bus_unown_name(guint id)
{
    if (!IsRecording()) {
        g_bus_unown_name(id);
        return;
    }
    BeginCall(Function::g_bus_unown_name).Unsigned(id);
    End();
    g_bus_unown_name(id);
    BeginReturn(Function::g_bus_unown_name);
    End();
}

guint seam_g_dbus_connection_signal_subscribe(GDBusConnection* connection, const gchar* sender, const gchar* interface,
                                              const gchar* member, const gchar* path, const gchar* argument,
                                              GDBusSignalFlags flags, GDBusSignalCallback callback, gpointer data,
                                              GDestroyNotify notify)
{
    if (!IsRecording()) {
        return g_dbus_connection_signal_subscribe(connection, sender, interface, member, path, argument, flags,
                                                  callback, data, notify);
    }
    const auto given = Give(Callback::GDBusSignalCallback, callback, data);
    Writer& writer = BeginCall(Function::g_dbus_connection_signal_subscribe);
    for (const gchar* text : {sender, interface, member, path, argument}) {
        writer.Text(text);
    }
    writer.Unsigned(static_cast<std::uint64_t>(flags));
    writer.Unsigned(given.number);
    End();
    const guint id = g_dbus_connection_signal_subscribe(connection, sender, interface, member, path, argument, flags,
                                                        given.function, data, notify);
    BeginReturn(Function::g_dbus_connection_signal_subscribe).Unsigned(id);
    End();
    return id;
}

gboolean seam_g_dbus_connection_send_message(GDBusConnection* connection, GDBusMessage* message,
                                             GDBusSendMessageFlags flags, volatile guint32* serial, GError** error)
{
    if (!IsRecording()) {
        return g_dbus_connection_send_message(connection, message, flags, serial, error);
    }
    Put(BeginCall(Function::g_dbus_connection_send_message), message);
    End();
    GError* failure = nullptr;
    const gboolean sent = g_dbus_connection_send_message(connection, message, flags, serial, &failure);
    return EndSent(Function::g_dbus_connection_send_message, sent, failure, error);
}

void seam_g_dbus_connection_send_message_with_reply(GDBusConnection* connection, GDBusMessage* message,
                                                    GDBusSendMessageFlags flags, gint timeout, volatile guint32* serial,
                                                    GCancellable* cancellable, GAsyncReadyCallback callback,
                                                    gpointer data)
{
    if (!IsRecording()) {
        g_dbus_connection_send_message_with_reply(connection, message, flags, timeout, serial, cancellable, callback,
                                                  data);
        return;
    }
    const auto given = Give(Callback::GAsyncReadyCallback, callback, data);
    Writer& writer = BeginCall(Function::g_dbus_connection_send_message_with_reply);
    Put(writer, message);
    writer.Signed(timeout);
    writer.Unsigned(given.number);
    End();
    g_dbus_connection_send_message_with_reply(connection, message, flags, timeout, serial, cancellable, given.function,
                                              data);
    BeginReturn(Function::g_dbus_connection_send_message_with_reply);
    End();
}

GDBusMessage* seam_g_dbus_connection_send_message_with_reply_finish(GDBusConnection* connection, GAsyncResult* result,
                                                                    GError** error)
{
    constexpr auto kFunction = Function::g_dbus_connection_send_message_with_reply_finish;
    if (!IsRecording()) {
        return g_dbus_connection_send_message_with_reply_finish(connection, result, error);
    }
    BeginCall(kFunction);
    End();
    GError* failure = nullptr;
    GDBusMessage* reply = g_dbus_connection_send_message_with_reply_finish(connection, result, &failure);
    return EndReply(kFunction, reply, failure, error);
}

GDBusMessage* seam_g_dbus_connection_send_message_with_reply_sync(GDBusConnection* connection, GDBusMessage* message,
                                                                  GDBusSendMessageFlags flags, gint timeout,
                                                                  volatile guint32* serial, GCancellable* cancellable,
                                                                  GError** error)
{
    constexpr auto kFunction = Function::g_dbus_connection_send_message_with_reply_sync;
    if (!IsRecording()) {
        return g_dbus_connection_send_message_with_reply_sync(connection, message, flags, timeout, serial, cancellable,
                                                              error);
    }
    Writer& writer = BeginCall(kFunction);
    Put(writer, message);
    writer.Signed(timeout);
    End();
    GError* failure = nullptr;
    GDBusMessage* reply = g_dbus_connection_send_message_with_reply_sync(connection, message, flags, timeout, serial,
                                                                         cancellable, &failure);
    return EndReply(kFunction, reply, failure, error);
}

gboolean seam_g_dbus_connection_emit_signal(GDBusConnection* connection, const gchar* destination, const gchar* path,
                                            const gchar* interface, const gchar* member, GVariant* body, GError** error)
{
    if (!IsRecording()) {
        return g_dbus_connection_emit_signal(connection, destination, path, interface, member, body, error);
    }
    Writer& writer = BeginCall(Function::g_dbus_connection_emit_signal);
    for (const gchar* text : {destination, path, interface, member}) {
        writer.Text(text);
    }
    Put(writer, body);
    End();
    GError* failure = nullptr;
    const gboolean sent =
        g_dbus_connection_emit_signal(connection, destination, path, interface, member, body, &failure);
    return EndSent(Function::g_dbus_connection_emit_signal, sent, failure, error);
}

} // extern "C"
