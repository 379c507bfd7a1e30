#pragma once

#include <gio/gio.h>

#include <string>

namespace people {

/// The siblings that the service speaks to, and what people call them.
struct SiblingName
{
    const char* busName;
    const char* title;
};
inline constexpr SiblingName kSiblings[] = {
    {"com.quorix.tv.bt.connectionmanager", "connection manager"},
    {"com.quorix.tv.bt.connectionshift", "connection shift"},
    {"com.quorix.tv.hfpAgent", "hands-free agent"},
    {"com.quorix.tv.bt.updatemanager", "update manager"},
    {"com.quorix.tv.bt.irmonitor", "touch-IR monitor"},
};

/// What people call whoever has this name on the bus; the name itself for others.
std::string TitleOf(const std::string& busName);

/// A power state, an ambient mode and what is asked for in a pairing, as people say it; the number for others.
std::string PowerStateInWords(int state);
std::string AmbientModeInWords(int mode);
/// \param code of a pairing request with kind "authentication", "consent" or "service"
std::string RequestInWords(const std::string& kind, int code, const std::string& passkey, const std::string& uuid);

/// What a message of the service says, printable. A body of another type than it should have is shown as it is.
/// \param member the method or signal
/// \param body null for none
std::string InWords(const std::string& member, GVariant* body);

} // namespace people
