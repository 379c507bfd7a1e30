/* The least that owns a bus name and waits: the floor of the service's start, memory and idling. */
#include <gio/gio.h>

int main(void)
{
    GMainLoop* loop = g_main_loop_new(NULL, FALSE);
    g_bus_own_name(G_BUS_TYPE_SYSTEM, "org.vantor.vyrel.lite", G_BUS_NAME_OWNER_FLAGS_NONE, NULL, NULL, NULL, NULL,
                   NULL);
    g_main_loop_run(loop);
    return 0;
}
