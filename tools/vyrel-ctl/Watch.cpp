#include "vyrel-ctl/Watch.h"

#include "bus/Handles.h"
#include "bus/SystemBus.h"
#include "people/Failure.h"
#include "people/Json.h"
#include "people/Output.h"
#include "people/Text.h"
#include "people/Words.h"

#include <gio/gio.h>
#include <glib-object.h>
#include <glib-unix.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace control {

namespace json = people::json;

namespace {

std::string TextOf(const char* text)
{
    return text != nullptr ? text : "";
}

std::string TimeOfDay()
{
    GDateTime* now = g_date_time_new_now_local();
    const bus::TextPtr text(g_date_time_format(now, "%H:%M:%S"));
    g_date_time_unref(now);
    return text.get();
}

/// What is watched for: all that the two names of the service send, but answers.
GVariant* Rules()
{
    GVariantBuilder rules;
    g_variant_builder_init(&rules, G_VARIANT_TYPE("as"));
    for (const char* sender : {people::kService, bus::kOwnName}) {
        for (const char* type : {"method_call", "signal"}) {
            g_variant_builder_add(&rules, "s", (std::string("type='") + type + "',sender='" + sender + "'").c_str());
        }
    }
    return g_variant_new("(asu)", &rules, 0U);
}

/// Messages come on a thread of GDBus's; they are handed to the main loop, where all else happens.
class Watcher
{
public:
    Watcher(const people::Bus& bus, const Options& options)
        : m_connection(bus.Connection()),
          m_options(options),
          m_loop(g_main_loop_new(nullptr, FALSE))
    {}
    ~Watcher()
    {
        g_dbus_connection_remove_filter(m_connection, m_filter);
        g_signal_handler_disconnect(m_connection, m_closed);
        for (const guint source : m_sources) {
            g_source_remove(source);
        }
        g_dbus_connection_close_sync(m_connection, nullptr, nullptr); // no message comes after this
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
    }
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    int Run();

private:
    struct Unref
    {
        void operator()(GMainLoop* loop) const
        {
            g_main_loop_unref(loop);
        }
    };
    using Handed = std::pair<Watcher*, bus::ObjectPtr<GDBusMessage>>;

    void BecomeMonitor();
    void Show(GDBusMessage* message);
    void End(int status);

    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                                   gpointer self);
    static gboolean OnHanded(gpointer handed);
    static void OnClosed(GDBusConnection* connection, gboolean vanished, GError* error, gpointer self);
    static gboolean OnSignal(gpointer self);
    static gboolean OnTimeout(gpointer self);

    GDBusConnection* m_connection;
    const Options& m_options;
    std::unique_ptr<GMainLoop, Unref> m_loop;
    guint m_filter = 0;
    gulong m_closed = 0;
    std::vector<guint> m_sources;
    int m_shown = 0;
    int m_status = people::kDone;
    bool m_hasEnded = false;
    std::exception_ptr m_trouble;
};

int Watcher::Run()
{
    m_filter = g_dbus_connection_add_filter(m_connection, OnMessage, this, nullptr);
    m_closed = g_signal_connect(m_connection, "closed", G_CALLBACK(OnClosed), this);
    BecomeMonitor();
    m_sources.push_back(g_unix_signal_add(SIGINT, OnSignal, this));
    m_sources.push_back(g_unix_signal_add(SIGTERM, OnSignal, this));
    if (m_options.timeoutSeconds) {
        g_timeout_add_seconds(static_cast<guint>(*m_options.timeoutSeconds), OnTimeout, this);
    }
    std::fputs("watching\n", stderr);
    g_main_loop_run(m_loop.get());
    if (m_trouble) {
        std::rethrow_exception(m_trouble);
    }
    return m_status;
}

void Watcher::BecomeMonitor()
{
    GError* failure = nullptr;
    const bus::VariantPtr reply(
        g_dbus_connection_call_sync(m_connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                    "org.freedesktop.DBus.Monitoring", "BecomeMonitor", Rules(), G_VARIANT_TYPE("()"),
                                    G_DBUS_CALL_FLAGS_NONE, people::kPatienceMs, nullptr, &failure));
    const bus::ErrorPtr error(failure);
    if (g_error_matches(failure, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) != FALSE) {
        throw people::Failure(people::kNoRight,
                              "the bus lets only root see what others are told: sudo vyrel-ctl watch");
    }
    if (!reply) {
        throw people::FailureOf("the message bus", failure);
    }
}

GDBusMessage* Watcher::OnMessage(GDBusConnection*, GDBusMessage* message, gboolean incoming, gpointer self)
{
    const GDBusMessageType type = g_dbus_message_get_message_type(message);
    const bool isSent = type == G_DBUS_MESSAGE_TYPE_METHOD_CALL || type == G_DBUS_MESSAGE_TYPE_SIGNAL;
    if (incoming == FALSE || !isSent) {
        return message;
    }
    auto handed = std::make_unique<Handed>(static_cast<Watcher*>(self), message);
    g_idle_add_full(G_PRIORITY_DEFAULT, OnHanded, handed.release(),
                    [](gpointer owned) { std::unique_ptr<Handed>(static_cast<Handed*>(owned)).reset(); });
    return nullptr; // GDBus would answer calls that are not for us, and the bus hang up on us
}

gboolean Watcher::OnHanded(gpointer handed)
{
    auto& [self, message] = *static_cast<Handed*>(handed);
    try {
        self->Show(message.get());
    } catch (...) {
        self->m_trouble = std::current_exception();
        self->End(people::kFailure);
    }
    return G_SOURCE_REMOVE;
}

void Watcher::Show(GDBusMessage* message)
{
    const std::string interface = TextOf(g_dbus_message_get_interface(message));
    const std::string sender = TextOf(g_dbus_message_get_sender(message));
    // What the bus itself says, and what the service asks of the bus and of the box's daemons, is no news for siblings.
    const std::string to = TextOf(g_dbus_message_get_destination(message));
    const bool isForSibling =
        std::ranges::find(people::kSiblings, to, &people::SiblingName::busName) != std::end(people::kSiblings);
    const bool isForAll = to.empty() && interface.starts_with(bus::kOwnName);
    if (m_hasEnded || (!isForSibling && !isForAll)) {
        return;
    }
    const std::string member = TextOf(g_dbus_message_get_member(message));
    GVariant* body = g_dbus_message_get_body(message);
    const std::string words = people::InWords(member, body);
    const std::string title = to.empty() ? "all" : people::TitleOf(to);
    if (m_options.json) {
        const bus::TextPtr text(body != nullptr ? g_variant_print(body, TRUE) : nullptr);
        people::Print(json::Object({{"time", std::to_string(g_get_real_time() / G_TIME_SPAN_MILLISECOND)},
                                    {"to", json::Text(title)},
                                    {"interface", json::Text(interface)},
                                    {"member", json::Text(member)},
                                    {"body", text ? json::Text(text.get()) : json::kNull},
                                    {"words", json::Text(words)}}) +
                      "\n");
    } else {
        constexpr std::size_t kColumn = 20;
        people::Print(TimeOfDay() + "  " + title + std::string(kColumn - std::min(kColumn, title.size()), ' ') + words +
                      "\n");
    }
    if (m_options.count && ++m_shown == *m_options.count) {
        End(people::kDone);
    }
}

void Watcher::End(int status)
{
    m_status = status;
    m_hasEnded = true;
    g_main_loop_quit(m_loop.get());
}

void Watcher::OnClosed(GDBusConnection*, gboolean, GError*, gpointer self)
{
    auto* watcher = static_cast<Watcher*>(self);
    watcher->m_trouble = std::make_exception_ptr(people::Failure(people::kFailure, "the message bus is gone"));
    watcher->End(people::kFailure);
}

gboolean Watcher::OnSignal(gpointer self)
{
    static_cast<Watcher*>(self)->End(people::kDone);
    return G_SOURCE_CONTINUE;
}

gboolean Watcher::OnTimeout(gpointer self)
{
    auto* watcher = static_cast<Watcher*>(self);
    watcher->End(watcher->m_options.count ? people::kNotThere : people::kDone);
    return G_SOURCE_REMOVE;
}

} // namespace

int Watch(const people::Bus& bus, const Options& options)
{
    return Watcher(bus, options).Run();
}

} // namespace control
