/* The least that sends the messages of the bus client's three ways to talk: no checks, no log, no error text. */
#pragma once

#include <gio/gio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Calls and waits at most `timeout` milliseconds.
   Gives the body of the reply, a full reference that the caller releases, or NULL when there is none. */
GVariant* floor_call_sync(GDBusConnection* connection, const char* name, const char* path, const char* interface,
                          const char* method, GVariant* body, int timeout);

/* Calls and forgets. */
void floor_call(GDBusConnection* connection, const char* name, const char* path, const char* interface,
                const char* method, GVariant* body);

/* Sends a signal to `name` alone. */
void floor_signal(GDBusConnection* connection, const char* name, const char* path, const char* interface,
                  const char* signal, GVariant* body);

#ifdef __cplusplus
}
#endif
