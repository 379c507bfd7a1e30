#pragma once

#include "GlibPointers.h"

#include <glib.h>

#include <string>

class CDbusClient;

/// A service beside this one, as it is found on the bus. What it is sent stands in data/dbus-1/interfaces.
struct Sibling
{
    const char* name;
    const char* path;
    const char* interface;
};

inline constexpr Sibling kConnectionManager = {
    "com.quorix.tv.bt.connectionmanager", "/com/quorix/tv/bt/connectionmanager", "com.quorix.tv.bt.connectionmanager"};
inline constexpr Sibling kConnectionShift = {"com.quorix.tv.bt.connectionshift", "/com/quorix/tv/bt/connectionshift",
                                             "com.quorix.tv.bt.connectionshift"};
inline constexpr Sibling kHandsFreeAgent = {"com.quorix.tv.hfpAgent", "/com/quorix/tv/hfpAgent",
                                            "com.quorix.tv.hfpAgent.api"};
inline constexpr Sibling kUpdateManager = {"com.quorix.tv.bt.updatemanager", "/com/quorix/tv/bt/updatemanager",
                                           "com.quorix.tv.bt.updatemanager"};
inline constexpr Sibling kTouchIrMonitor = {"com.quorix.tv.bt.irmonitor", "/com/quorix/tv/bt/irmonitor",
                                            "com.quorix.tv.bt.irmonitor"};

/// How long the main loop stands still for an answer at most, in milliseconds.
inline constexpr unsigned int kAnswerTimeout = 5000;
/// The same for the hands-free agent, which is only to be started.
inline constexpr unsigned int kAgentStartTimeout = 1000;

// The three ways to speak to a sibling. Bodies are tuples or null for none, and are consumed when they are floating.
// The client may be null, which it is once a component has given it back: what was to be sent is then logged as dropped
// and counts as failed.

/// Calls and goes on; the reply is dropped.
void Call(CDbusClient* client, const Sibling& sibling, const std::string& method, GVariant* body = nullptr);
/// Calls and waits for the answer.
/// \param timeout in milliseconds
/// \return the answer's body, also an error's, or null: the call failed, nobody answered in time, or it has no body
Util::VariantPtr Ask(CDbusClient* client, const Sibling& sibling, const std::string& method, GVariant* body = nullptr,
                     unsigned int timeout = kAnswerTimeout);
/// Sends a signal to the sibling alone.
void Signal(CDbusClient* client, const Sibling& sibling, const std::string& signal, GVariant* body = nullptr);
