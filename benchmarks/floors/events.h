// The least that answers three events as the service does: the same calls of the platform, settings and messages, with
// nothing looked at and nothing decided. Log lines are left out.
#pragma once

#include <gio/gio.h>

namespace bench {

// Who the events are about, and what they tell; the set in events/Set.h gives the same answers.
inline constexpr const char* kRemote = "AA:BB:CC:DD:EE:01";
inline constexpr const char* kSpeaker = "AA:BB:CC:DD:EE:21";
inline constexpr unsigned int kRemoteVersion = 0x10000123;
inline constexpr unsigned char kLowBattery = 5; // the level code that is announced each time

// The smart remote reports a low battery.
void FloorBatteryReport(GDBusConnection* connection);
// The set goes from normal to standby, with no sample of the light in the room.
void FloorStandby(GDBusConnection* connection);
// A speaker is connected; returns when both siblings have answered. False when one of them did not.
bool FloorA2dpConnection(GDBusConnection* connection);

} // namespace bench
