/* The least that waits on a Linux box as the product does: it owns a bus name, holds a second connection to the bus,
   and has a socket for the journal. */
#include <gio/gio.h>

#include <sys/socket.h>

int main(void)
{
    GMainLoop* loop = g_main_loop_new(NULL, FALSE);
    const GDBusConnectionFlags flags =
        G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION;
    char* address = g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, NULL, NULL);
    GDBusConnection* second = g_dbus_connection_new_for_address_sync(address, flags, NULL, NULL, NULL);
    const int journal = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (second == NULL || journal < 0) {
        return 1;
    }
    g_bus_own_name(G_BUS_TYPE_SYSTEM, "org.vantor.vyrel.lite", G_BUS_NAME_OWNER_FLAGS_NONE, NULL, NULL, NULL, NULL,
                   NULL);
    g_main_loop_run(loop);
    return 0;
}
