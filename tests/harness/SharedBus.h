#pragma once

#include "GlibPointers.h"
#include "support/MainLoop.h"

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace harness {

/// This process's side of the bus: the connection that the service shares with all of GLib.
class SharedBus
{
public:
    static constexpr const char* kName = "org.example.Peer";
    static constexpr const char* kPath = "/org/example/Peer";

    SharedBus() : m_connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr))
    {
        if (!m_connection) {
            throw std::runtime_error("no bus");
        }
        g_dbus_connection_set_exit_on_close(m_connection.get(), FALSE);
    }

    [[nodiscard]] GDBusConnection* Connection() const
    {
        return m_connection.get();
    }

    /// Calls and waits. \return the reply's body as text, or its error's text; nothing when none came in time
    [[nodiscard]] std::string CallSync(const char* member, GVariant* body = nullptr, int timeout = 5000) const
    {
        const Util::MessagePtr call = NewCall(member, body);
        const Util::MessagePtr reply(g_dbus_connection_send_message_with_reply_sync(
            m_connection.get(), call.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, timeout, nullptr, nullptr, nullptr));
        return reply ? Text(reply.get()) : "no reply";
    }

    /// Calls without waiting; the reply's text goes to \p reply from the main loop.
    void CallAsync(const char* member, std::optional<std::string>& reply) const
    {
        const Util::MessagePtr call = NewCall(member, nullptr);
        g_dbus_connection_send_message_with_reply(m_connection.get(), call.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                                  G_MAXINT, nullptr, nullptr, OnReply, &reply);
    }

    /// Calls without waiting; \p then is done by the main loop when the reply has come, or an error in its place.
    void CallAsync(const char* member, std::function<void()> then) const
    {
        const Util::MessagePtr call = NewCall(member, nullptr);
        auto owned = std::make_unique<std::function<void()>>(std::move(then));
        g_dbus_connection_send_message_with_reply(m_connection.get(), call.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE,
                                                  G_MAXINT, nullptr, nullptr, OnAnyReply, owned.release());
    }

    /// Calls and forgets.
    void Send(const char* member, GVariant* body = nullptr) const
    {
        const Util::MessagePtr call = NewCall(member, body);
        g_dbus_connection_send_message(m_connection.get(), call.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                       nullptr);
    }

    void Signal(const char* destination, const char* member, GVariant* body = nullptr) const
    {
        g_dbus_connection_emit_signal(m_connection.get(), destination, kPath, kName, member, body, nullptr);
    }

private:
    static Util::MessagePtr NewCall(const char* member, GVariant* body)
    {
        Util::MessagePtr call(g_dbus_message_new_method_call(kName, kPath, kName, member));
        if (body != nullptr) {
            g_dbus_message_set_body(call.get(), body);
        }
        return call;
    }

    static std::string Text(GDBusMessage* reply)
    {
        GVariant* body = g_dbus_message_get_body(reply);
        const Util::GlibString text(body != nullptr ? g_variant_print(body, TRUE) : nullptr);
        const char* error = g_dbus_message_get_error_name(reply);
        return (error != nullptr ? std::string(error) + " " : "") + (text ? text.get() : "empty");
    }

    static void OnAnyReply(GObject* connection, GAsyncResult* result, gpointer then)
    {
        const std::unique_ptr<std::function<void()>> owned(static_cast<std::function<void()>*>(then));
        const Util::MessagePtr reply(g_dbus_connection_send_message_with_reply_finish(
            reinterpret_cast<GDBusConnection*>(connection), result, nullptr));
        (*owned)();
    }

    static void OnReply(GObject* connection, GAsyncResult* result, gpointer text)
    {
        GError* failure = nullptr;
        const Util::MessagePtr reply(g_dbus_connection_send_message_with_reply_finish(
            reinterpret_cast<GDBusConnection*>(connection), result, &failure));
        const Util::ErrorPtr error(failure);
        *static_cast<std::optional<std::string>*>(text) = reply ? Text(reply.get()) : "no reply";
    }

    std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>> m_connection;
};

} // namespace harness
