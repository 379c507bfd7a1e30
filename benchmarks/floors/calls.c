#include "calls.h"

GVariant* floor_call_sync(GDBusConnection* connection, const char* name, const char* path, const char* interface,
                          const char* method, GVariant* body, int timeout)
{
    GDBusMessage* message = g_dbus_message_new_method_call(name, path, interface, method);
    g_dbus_message_set_body(message, body);
    GDBusMessage* reply = g_dbus_connection_send_message_with_reply_sync(
        connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, timeout, NULL, NULL, NULL);
    g_object_unref(message);
    if (reply == NULL) {
        return NULL;
    }
    GVariant* answer = g_dbus_message_get_body(reply);
    if (answer != NULL) {
        g_variant_ref(answer);
    }
    g_object_unref(reply);
    return answer;
}

void floor_call(GDBusConnection* connection, const char* name, const char* path, const char* interface,
                const char* method, GVariant* body)
{
    GDBusMessage* message = g_dbus_message_new_method_call(name, path, interface, method);
    g_dbus_message_set_body(message, body);
    g_dbus_connection_send_message(connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE, NULL, NULL);
    g_object_unref(message);
}

void floor_signal(GDBusConnection* connection, const char* name, const char* path, const char* interface,
                  const char* signal, GVariant* body)
{
    g_dbus_connection_emit_signal(connection, name, path, interface, signal, body, NULL);
}
