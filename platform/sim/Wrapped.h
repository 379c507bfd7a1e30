#pragma once

#include <gio/gio.h>

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

} // extern "C"
// NOLINTEND(clang-diagnostic-reserved-identifier)
