#pragma once

#include <gio/gio.h>

#include <sys/syscall.h>
#include <unistd.h>

namespace sim {

/// The service's own thread; what other ones of the process ask for is not on the tape.
inline bool OnMainThread()
{
    return ::syscall(SYS_gettid) == ::getpid();
}

} // namespace sim

// The linker leads the project's own calls of a function F to __wrap_F, and __real_F to the function itself.
// NOLINTBEGIN(clang-diagnostic-reserved-identifier)
extern "C" {

guint __wrap_g_timeout_add(guint interval, GSourceFunc function, gpointer data);
guint __real_g_timeout_add(guint interval, GSourceFunc function, gpointer data);
guint __wrap_g_timeout_add_full(gint priority, guint interval, GSourceFunc function, gpointer data,
                                GDestroyNotify notify);
guint __real_g_timeout_add_full(gint priority, guint interval, GSourceFunc function, gpointer data,
                                GDestroyNotify notify);
guint __wrap_g_timeout_add_seconds(guint interval, GSourceFunc function, gpointer data);
guint __real_g_timeout_add_seconds(guint interval, GSourceFunc function, gpointer data);
guint __wrap_g_timeout_add_seconds_full(gint priority, guint interval, GSourceFunc function, gpointer data,
                                        GDestroyNotify notify);
guint __real_g_timeout_add_seconds_full(gint priority, guint interval, GSourceFunc function, gpointer data,
                                        GDestroyNotify notify);
gboolean __wrap_g_source_remove(guint id);
gboolean __real_g_source_remove(guint id);
gboolean __wrap_g_dbus_connection_send_message(GDBusConnection* connection, GDBusMessage* message,
                                               GDBusSendMessageFlags flags, volatile guint32* serial, GError** error);
gboolean __real_g_dbus_connection_send_message(GDBusConnection* connection, GDBusMessage* message,
                                               GDBusSendMessageFlags flags, volatile guint32* serial, GError** error);
void __wrap_g_dbus_connection_send_message_with_reply(GDBusConnection* connection, GDBusMessage* message,
                                                      GDBusSendMessageFlags flags, gint timeout,
                                                      volatile guint32* serial, GCancellable* cancellable,
                                                      GAsyncReadyCallback callback, gpointer data);
void __real_g_dbus_connection_send_message_with_reply(GDBusConnection* connection, GDBusMessage* message,
                                                      GDBusSendMessageFlags flags, gint timeout,
                                                      volatile guint32* serial, GCancellable* cancellable,
                                                      GAsyncReadyCallback callback, gpointer data);
GDBusMessage* __wrap_g_dbus_connection_send_message_with_reply_finish(GDBusConnection* connection, GAsyncResult* result,
                                                                      GError** error);
GDBusMessage* __real_g_dbus_connection_send_message_with_reply_finish(GDBusConnection* connection, GAsyncResult* result,
                                                                      GError** error);
GDBusMessage* __wrap_g_dbus_connection_send_message_with_reply_sync(GDBusConnection* connection, GDBusMessage* message,
                                                                    GDBusSendMessageFlags flags, gint timeout,
                                                                    volatile guint32* serial, GCancellable* cancellable,
                                                                    GError** error);
GDBusMessage* __real_g_dbus_connection_send_message_with_reply_sync(GDBusConnection* connection, GDBusMessage* message,
                                                                    GDBusSendMessageFlags flags, gint timeout,
                                                                    volatile guint32* serial, GCancellable* cancellable,
                                                                    GError** error);
gboolean __wrap_g_dbus_connection_emit_signal(GDBusConnection* connection, const gchar* destination, const gchar* path,
                                              const gchar* interface, const gchar* signal, GVariant* parameters,
                                              GError** error);
gboolean __real_g_dbus_connection_emit_signal(GDBusConnection* connection, const gchar* destination, const gchar* path,
                                              const gchar* interface, const gchar* signal, GVariant* parameters,
                                              GError** error);
guint __wrap_g_dbus_connection_signal_subscribe(GDBusConnection* connection, const gchar* sender,
                                                const gchar* interface, const gchar* member, const gchar* path,
                                                const gchar* argument, GDBusSignalFlags flags,
                                                GDBusSignalCallback callback, gpointer data, GDestroyNotify notify);
guint __real_g_dbus_connection_signal_subscribe(GDBusConnection* connection, const gchar* sender,
                                                const gchar* interface, const gchar* member, const gchar* path,
                                                const gchar* argument, GDBusSignalFlags flags,
                                                GDBusSignalCallback callback, gpointer data, GDestroyNotify notify);
gboolean __wrap_g_file_set_contents_full(const gchar* path, const gchar* contents, gssize length,
                                         GFileSetContentsFlags flags, int mode, GError** error);
gboolean __real_g_file_set_contents_full(const gchar* path, const gchar* contents, gssize length,
                                         GFileSetContentsFlags flags, int mode, GError** error);
GDBusConnection* __wrap_g_bus_get_sync(GBusType type, GCancellable* cancellable, GError** error);
GDBusConnection* __real_g_bus_get_sync(GBusType type, GCancellable* cancellable, GError** error);
guint __wrap_g_bus_own_name(GBusType type, const gchar* name, GBusNameOwnerFlags flags,
                            GBusAcquiredCallback busAcquired, GBusNameAcquiredCallback nameAcquired,
                            GBusNameLostCallback nameLost, gpointer data, GDestroyNotify notify);
guint __real_g_bus_own_name(GBusType type, const gchar* name, GBusNameOwnerFlags flags,
                            GBusAcquiredCallback busAcquired, GBusNameAcquiredCallback nameAcquired,
                            GBusNameLostCallback nameLost, gpointer data, GDestroyNotify notify);

} // extern "C"
// NOLINTEND(clang-diagnostic-reserved-identifier)
