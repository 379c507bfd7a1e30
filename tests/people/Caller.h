#pragma once

#include "bus/Handles.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace people_test {

/// A program that stands for the service: it speaks under its name, and takes no answer.
class Caller
{
public:
    explicit Caller(const char* name)
        : m_connection(g_dbus_connection_new_for_address_sync(
              std::getenv("DBUS_SYSTEM_BUS_ADDRESS"),
              static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
              nullptr, nullptr, nullptr))
    {
        const bus::VariantPtr reply(g_dbus_connection_call_sync(
            m_connection.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName",
            g_variant_new("(su)", name, 0U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
        EXPECT_NE(reply, nullptr);
    }
    ~Caller()
    {
        g_dbus_connection_close_sync(m_connection.get(), nullptr, nullptr);
    }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    /// Calls a method of the interface that has the name's own name.
    void Calls(const char* name, const char* member, GVariant* body)
    {
        g_dbus_connection_call(m_connection.get(), name, PathOf(name).c_str(), name, member, body, nullptr,
                               G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
        g_dbus_connection_flush_sync(m_connection.get(), nullptr, nullptr);
    }
    /// The same, and waits: the name of the error, or the text of the answer.
    std::string Asks(const char* name, const char* member, GVariant* body)
    {
        GError* failure = nullptr;
        const bus::VariantPtr reply(g_dbus_connection_call_sync(m_connection.get(), name, PathOf(name).c_str(), name,
                                                                member, body, nullptr, G_DBUS_CALL_FLAGS_NONE, 5000,
                                                                nullptr, &failure));
        const bus::ErrorPtr error(failure);
        const bus::TextPtr text(reply ? g_variant_print(reply.get(), FALSE) : g_dbus_error_get_remote_error(failure));
        return text ? text.get() : "no answer";
    }
    void Emits(const char* destination, const char* interface, const char* member, GVariant* body)
    {
        g_dbus_connection_emit_signal(m_connection.get(), destination, "/some/where", interface, member, body, nullptr);
        g_dbus_connection_flush_sync(m_connection.get(), nullptr, nullptr);
    }

private:
    static std::string PathOf(const char* name)
    {
        std::string path = std::string("/") + name;
        std::replace(path.begin(), path.end(), '.', '/');
        return path;
    }

    bus::ObjectPtr<GDBusConnection> m_connection;
};

} // namespace people_test
