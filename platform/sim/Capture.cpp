#include "sim/Capture.h"

#include "sim/Tape.h"
#include "sim/Television.h"

#include <glib-object.h>

#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

namespace sim {

struct Capture::Messages
{
    std::int64_t start; // of the television, on the clock
    std::mutex mutex;   // for what follows: messages come on GDBus's thread
    std::vector<Message> all;
    std::set<guint32> questions; // of the simulation, by their serial numbers

    bool IsOfSimulation(GDBusMessage* message, bool comesIn);
};

/// What brings the bus to rest asks it for its id on the same connection; the service never does.
bool Capture::Messages::IsOfSimulation(GDBusMessage* message, bool comesIn)
{
    if (comesIn) {
        return questions.erase(g_dbus_message_get_reply_serial(message)) == 1;
    }
    const bool isQuestion = g_strcmp0(g_dbus_message_get_member(message), "GetId") == 0 &&
                            g_strcmp0(g_dbus_message_get_destination(message), "org.freedesktop.DBus") == 0;
    if (isQuestion) {
        questions.insert(g_dbus_message_get_serial(message));
    }
    return isQuestion;
}

Capture::Capture() : m_messages(std::make_shared<Messages>())
{
    GError* failure = nullptr;
    m_connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &failure);
    if (m_connection == nullptr) {
        const std::string why = failure->message;
        g_error_free(failure);
        throw std::runtime_error("cannot listen to the message bus: " + why);
    }
    m_messages->start = g_get_monotonic_time() - Television::Current().tape.Now();
    m_filter = g_dbus_connection_add_filter(
        m_connection, OnMessage, new std::shared_ptr<Messages>(m_messages),
        [](gpointer messages) { delete static_cast<std::shared_ptr<Messages>*>(messages); }); // owned by the filter
}

Capture::~Capture()
{
    g_dbus_connection_remove_filter(m_connection, m_filter);
    g_object_unref(m_connection);
}

std::vector<Capture::Message> Capture::Take()
{
    const std::lock_guard<std::mutex> lock(m_messages->mutex);
    return std::exchange(m_messages->all, {});
}

GDBusMessage* Capture::OnMessage(GDBusConnection* connection, GDBusMessage* message, gboolean comesIn, gpointer data)
{
    const std::shared_ptr<Messages> messages = *static_cast<std::shared_ptr<Messages>*>(data);
    const std::lock_guard<std::mutex> lock(messages->mutex);
    if (messages->IsOfSimulation(message, comesIn != FALSE)) {
        return message;
    }
    gsize size = 0;
    const std::unique_ptr<guchar, decltype(&g_free)> bytes(
        g_dbus_message_to_blob(message, &size, g_dbus_connection_get_capabilities(connection), nullptr), g_free);
    if (bytes) {
        messages->all.push_back({g_get_monotonic_time() - messages->start, comesIn != FALSE,
                                 std::string(reinterpret_cast<const char*>(bytes.get()), size)});
    }
    return message;
}

} // namespace sim
