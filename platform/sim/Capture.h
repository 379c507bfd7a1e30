#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace sim {

/// Keeps every message that goes over the service's connection, either way, as long as it lives; also those that the
/// tape shows nothing of, such as the question for a name. For who wants to look at them with a tool for such captures.
class Capture
{
public:
    struct Message
    {
        std::int64_t at;     ///< microseconds since the television was made
        bool comesIn;        ///< to the service
        std::string message; ///< as it is on the wire
    };

    /// Begins. The messages that made the connection are not seen. Throws std::runtime_error where there is no bus.
    Capture();
    /// Messages that are still on their way are not seen any more.
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// What came since it was asked last, in order.
    std::vector<Message> Take();

private:
    struct Messages;
    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message, gboolean comesIn,
                                   gpointer messages);

    std::shared_ptr<Messages> m_messages; // shared with the filter, which may still run on GDBus's thread
    GDBusConnection* m_connection = nullptr;
    guint m_filter = 0;
};

} // namespace sim
