/* The other side of the calls: answers every call to its name with one integer, as early as GDBus allows, so that
   little but the caller's own work is measured. */
#include <gio/gio.h>

static GDBusMessage* answer(GDBusConnection* connection, GDBusMessage* message, gboolean incoming, gpointer own_name)
{
    if (!incoming || g_dbus_message_get_message_type(message) != G_DBUS_MESSAGE_TYPE_METHOD_CALL ||
        g_strcmp0(g_dbus_message_get_destination(message), own_name) != 0) {
        return message;
    }
    GDBusMessage* reply = g_dbus_message_new_method_reply(message);
    g_dbus_message_set_body(reply, g_variant_new("(i)", 5));
    g_dbus_connection_send_message(connection, reply, G_DBUS_SEND_MESSAGE_FLAGS_NONE, NULL, NULL);
    g_object_unref(reply);
    g_object_unref(message);
    return NULL;
}

int main(int argc, char** argv)
{
    if (argc != 2) {
        g_printerr("usage: bench_peer OWN_NAME\n");
        return 2;
    }
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, NULL, NULL);
    if (connection == NULL) {
        g_printerr("bench_peer: no bus\n");
        return 1;
    }
    g_dbus_connection_add_filter(connection, answer, argv[1], NULL);
    g_bus_own_name_on_connection(connection, argv[1], G_BUS_NAME_OWNER_FLAGS_NONE, NULL, NULL, NULL, NULL);
    g_main_loop_run(g_main_loop_new(NULL, FALSE));
    return 0;
}
