#pragma once

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
