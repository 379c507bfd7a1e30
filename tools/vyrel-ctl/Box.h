#pragma once

#include "bluez/Tree.h"
#include "people/Bus.h"
#include "people/Requests.h"

#include <glib.h>

#include <string>
#include <vector>

namespace control {

/// Adapters and devices, as the Bluetooth daemon has them.
struct Bluetooth
{
    std::vector<bluez::Adapter> adapters;
    std::vector<bluez::Device> devices;
};

struct PowerNow
{
    int state = 0;
    int ambientMode = 0;
    int wakeupReason = 0;
    bool isLocked = false;
};

/// One start or resume; milliseconds, -1 for not yet.
struct Wake
{
    std::string cause;
    gint64 time = 0; ///< seconds since 1970
    int adapterMs = -1;
    int remoteMs = -1;
    int speakerMs = -1;
};

/// One of the box's own remotes; -1 for unknown, firmware 0.
struct RemoteNow
{
    std::string address;
    std::string kind;
    bool isConnected = false;
    bool speaks = false; ///< the remote protocol
    int level = -1;
    int reading = -1;
    gint64 ageMs = -1;
    int type = -1;
    guint32 firmware = 0;
};

struct Feature
{
    std::string group;
    std::string key;
    std::string value;
};

// What the box says of itself just now. Each throws people::Failure. What an answer holds in a wrong type is left out.

Bluetooth AskBluetooth(const people::Bus& bus);
/// \param wakes the last starts and resumes, the newest first
PowerNow AskPower(const people::Bus& bus, std::vector<Wake>& wakes);
std::vector<RemoteNow> AskRemotes(const people::Bus& bus);
std::vector<people::Request> AskRequests(const people::Bus& bus);
std::vector<Feature> AskFeatures(const people::Bus& bus);

/// What a device is for, in a word or two; empty for unknown.
std::string KindOf(const bluez::Device& device);

} // namespace control
