// This file defines functions of GDBus, as far as the service and its television call them. The linker finds them
// before those of the library.

#include "orders/BusInProcess.h"

#include "GlibPointers.h"
#include "sim/VirtualClock.h"

#include <gio/gio.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using orders::Behaviour;
using orders::BusInProcess;

constexpr const char* kBusItself = "org.freedesktop.DBus";
constexpr const char* kSomebody = ":1.5"; // the unique name of every sibling

/// A request whose answer comes on the main loop. It is the result too that its callback is handed: a GTask would start
/// a thread of GLib's.
struct Request
{
    std::string member;
    Util::MessagePtr message;
    GAsyncReadyCallback callback;
    gpointer data;
    Util::MessagePtr answer{};
};

struct Subscription
{
    std::string interface;
    std::string path;
    GDBusSignalCallback callback;
    std::unique_ptr<void, GDestroyNotify> data;
};

std::list<Request>& Requests()
{
    static std::list<Request> requests;
    return requests;
}

std::vector<Subscription>& Subscriptions()
{
    static std::vector<Subscription> subscriptions;
    return subscriptions;
}

/// An object of the right type, over which nothing goes.
GDBusConnection* Connection()
{
    static GDBusConnection* connection = G_DBUS_CONNECTION(g_object_new(G_TYPE_DBUS_CONNECTION, nullptr));
    return connection;
}

/// A reply belongs to a call with a number, which only a connection that sends it would give.
Util::MessagePtr AnswerFrom(const char* sender, Util::MessagePtr answer)
{
    g_dbus_message_set_sender(answer.get(), sender);
    return answer;
}

/// \return the answer, or null where it never comes
Util::MessagePtr Answer(GDBusMessage* message)
{
    g_dbus_message_set_serial(message, 1);
    switch (BusInProcess::Instance().BehaviourOf(g_dbus_message_get_destination(message))) {
    case Behaviour::Hangs:
        return nullptr;
    case Behaviour::Absent:
        return AnswerFrom(kBusItself, Util::MessagePtr(g_dbus_message_new_method_error_literal(
                                          message, "org.freedesktop.DBus.Error.ServiceUnknown", "nobody has it")));
    case Behaviour::Error:
        return AnswerFrom(kSomebody, Util::MessagePtr(g_dbus_message_new_method_error_literal(
                                         message, "org.freedesktop.DBus.Error.Failed", "it does not want to")));
    case Behaviour::Answers:
        break;
    }
    Util::MessagePtr reply = AnswerFrom(kSomebody, Util::MessagePtr(g_dbus_message_new_method_reply(message)));
    const std::string body = BusInProcess::Instance().AnswerTo(g_dbus_message_get_member(message));
    if (!body.empty()) {
        g_dbus_message_set_body(reply.get(), g_variant_new_parsed(body.c_str()));
    }
    return reply;
}

/// Answers what can be answered now. Whoever is answered may ask for something else at once.
gboolean AnswerRequests(gpointer)
{
    std::list<Request> answered;
    for (auto request = Requests().begin(); request != Requests().end();) {
        const auto present = request++;
        present->answer = Answer(present->message.get());
        if (present->answer) {
            answered.splice(answered.end(), Requests(), present);
        }
    }
    for (Request& request : answered) {
        request.callback(G_OBJECT(Connection()), reinterpret_cast<GAsyncResult*>(&request), request.data);
    }
    return G_SOURCE_REMOVE;
}

void AnswerLater()
{
    g_idle_add_full(G_PRIORITY_DEFAULT, AnswerRequests, nullptr, nullptr);
}

std::chrono::milliseconds LongestWait(gint timeout)
{
    constexpr gint kUsualTimeout = 25'000; // GDBus's own
    return std::chrono::milliseconds(timeout >= 0 ? timeout : kUsualTimeout);
}

gboolean EmitKeys(gpointer body)
{
    for (const Subscription& listener : Subscriptions()) {
        if (listener.interface == "keyrouter.dbus.Signal") {
            listener.callback(Connection(), kSomebody, listener.path.c_str(), listener.interface.c_str(),
                              "KEY_COMBINATION", static_cast<GVariant*>(body), listener.data.get());
        }
    }
    return G_SOURCE_REMOVE;
}

constexpr std::array<std::pair<std::string_view, const char*>, 5> kSiblings = {{
    {"connectionmanager", "com.quorix.tv.bt.connectionmanager"},
    {"connectionshift", "com.quorix.tv.bt.connectionshift"},
    {"hfpAgent", "com.quorix.tv.hfpAgent"},
    {"irmonitor", "com.quorix.tv.bt.irmonitor"},
    {"updatemanager", "com.quorix.tv.bt.updatemanager"},
}};

} // namespace

namespace orders {

BusInProcess& BusInProcess::Instance()
{
    static BusInProcess bus;
    return bus;
}

void BusInProcess::Behaves(const std::string& sibling, Behaviour behaviour)
{
    const auto* found = std::ranges::find(kSiblings, sibling, &std::pair<std::string_view, const char*>::first);
    if (found == kSiblings.end()) {
        throw std::logic_error("no such sibling: " + sibling);
    }
    m_behaviours.insert_or_assign(found->second, behaviour);
    std::erase_if(m_behaviours, [](const auto& known) { return known.second == Behaviour::Answers; });
    AnswerLater();
}

void BusInProcess::WillAnswer(const std::string& member, const std::string& body)
{
    m_answers.insert_or_assign(member, body);
}

void BusInProcess::ReportsKeys(int code)
{
    g_idle_add_full(G_PRIORITY_DEFAULT, EmitKeys, g_variant_ref_sink(g_variant_new("(i)", code)),
                    [](gpointer body) { g_variant_unref(static_cast<GVariant*>(body)); });
}

std::string BusInProcess::State() const
{
    std::string text;
    for (const auto& [name, behaviour] : m_behaviours) {
        text += "sibling " + name + " " + std::to_string(static_cast<int>(behaviour)) + "\n";
    }
    for (const auto& [member, body] : m_answers) {
        text += "answer " + member + " " + body + "\n";
    }
    for (const Request& request : Requests()) {
        text += "request " + request.member + "\n";
    }
    for (const Subscription& subscription : Subscriptions()) {
        text += "subscribed " + subscription.interface + subscription.path + "\n";
    }
    return text;
}

int BusInProcess::Pending()
{
    return static_cast<int>(Requests().size());
}

Behaviour BusInProcess::BehaviourOf(const std::string& busName) const
{
    const auto found = m_behaviours.find(busName);
    return found != m_behaviours.end() ? found->second : Behaviour::Answers;
}

std::string BusInProcess::AnswerTo(const std::string& member) const
{
    const auto found = m_answers.find(member);
    return found != m_answers.end() ? found->second : "";
}

} // namespace orders

extern "C" {

GDBusConnection* g_bus_get_sync(GBusType, GCancellable*, GError**)
{
    return G_DBUS_CONNECTION(g_object_ref(Connection()));
}

guint g_bus_own_name(GBusType, const gchar*, GBusNameOwnerFlags, GBusAcquiredCallback, GBusNameAcquiredCallback,
                     GBusNameLostCallback, gpointer, GDestroyNotify)
{
    return 1;
}

void g_bus_unown_name(guint) {}

guint g_dbus_connection_signal_subscribe(GDBusConnection*, const gchar*, const gchar* interface, const gchar*,
                                         const gchar* path, const gchar*, GDBusSignalFlags,
                                         GDBusSignalCallback callback, gpointer data, GDestroyNotify notify)
{
    Subscriptions().push_back({interface != nullptr ? interface : "",
                               path != nullptr ? path : "",
                               callback,
                               {data, notify != nullptr ? notify : [](gpointer) {}}});
    return static_cast<guint>(Subscriptions().size());
}

gboolean g_dbus_connection_send_message(GDBusConnection*, GDBusMessage*, GDBusSendMessageFlags, volatile guint32*,
                                        GError**)
{
    return TRUE;
}

gboolean g_dbus_connection_emit_signal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                                       GVariant*, GError**)
{
    return TRUE;
}

GDBusMessage* g_dbus_connection_send_message_with_reply_sync(GDBusConnection*, GDBusMessage* message,
                                                             GDBusSendMessageFlags, gint timeout, volatile guint32*,
                                                             GCancellable*, GError** error)
{
    Util::MessagePtr answer = Answer(message);
    if (!answer) {
        sim::VirtualClock::Waits(LongestWait(timeout));
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "Timeout was reached"); // as GDBus says it
    }
    return answer.release();
}

void g_dbus_connection_send_message_with_reply(GDBusConnection*, GDBusMessage* message, GDBusSendMessageFlags, gint,
                                               volatile guint32*, GCancellable*, GAsyncReadyCallback callback,
                                               gpointer data)
{
    Requests().push_back(
        {g_dbus_message_get_member(message), Util::MessagePtr(G_DBUS_MESSAGE(g_object_ref(message))), callback, data});
    AnswerLater();
}

GDBusMessage* g_dbus_connection_send_message_with_reply_finish(GDBusConnection*, GAsyncResult* result, GError**)
{
    return reinterpret_cast<Request*>(result)->answer.release();
}

} // extern "C"
