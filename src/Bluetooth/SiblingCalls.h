#pragma once

#include "DbusClient/Sibling.h"

#include <gio/gio.h>

class CDbusClient;

/// How long the loop stands still for an answer at most, in milliseconds.
inline constexpr unsigned int kCallTimeout = 5000;
inline constexpr unsigned int kAgentStartTimeout = 1000;

// What happens once the client was given back is logged and dropped: client may be null. params is a tuple or null for
// none, and is consumed when it is floating.

/// Calls, waits for the answer and drops it.
/// \param timeout in milliseconds
void CallAndWait(CDbusClient* client, const Sibling& sibling, const char* method, GVariant* params,
                 unsigned int timeout);
/// Calls and goes on.
void CallAndGoOn(CDbusClient* client, const Sibling& sibling, const char* method, GVariant* params);
