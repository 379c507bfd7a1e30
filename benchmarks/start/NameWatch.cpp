#include "NameWatch.h"

#include <glib-object.h>

#include <stdexcept>

namespace bench {

namespace {

constexpr const char* kBus = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";

gboolean SetTrue(gpointer flag)
{
    *static_cast<bool*>(flag) = true;
    return G_SOURCE_REMOVE;
}

} // namespace

NameWatch::NameWatch(const std::string& name)
    : m_name(name),
      m_connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr))
{
    if (m_connection == nullptr) {
        throw std::runtime_error("no bus");
    }
    // Unlike g_bus_watch_name, this asks nothing back, so the moment seen is the bus daemon's own notice.
    g_dbus_connection_signal_subscribe(m_connection, kBus, kBus, "NameOwnerChanged", kBusPath, m_name.c_str(),
                                       G_DBUS_SIGNAL_FLAGS_NONE, &NameWatch::OnSignal, this, nullptr);
    m_owned = AskWhetherOwned();
}

NameWatch::~NameWatch()
{
    g_object_unref(m_connection);
}

void NameWatch::WaitUntilOwned(bool owned, unsigned int seconds)
{
    bool late = false;
    const guint timer = g_timeout_add_seconds(seconds, SetTrue, &late);
    while (m_owned != owned && !late) {
        g_main_context_iteration(nullptr, TRUE);
    }
    if (late) {
        throw std::runtime_error(m_name + (owned ? " was not acquired" : " was not given back"));
    }
    g_source_remove(timer);
}

void NameWatch::OnSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*, GVariant* parameters,
                         gpointer self)
{
    const gchar* newOwner = nullptr;
    g_variant_get(parameters, "(&s&s&s)", nullptr, nullptr, &newOwner);
    static_cast<NameWatch*>(self)->m_owned = *newOwner != '\0';
}

bool NameWatch::AskWhetherOwned()
{
    GVariant* answer = g_dbus_connection_call_sync(m_connection, kBus, kBusPath, kBus, "NameHasOwner",
                                                   g_variant_new("(s)", m_name.c_str()), G_VARIANT_TYPE("(b)"),
                                                   G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    if (answer == nullptr) {
        throw std::runtime_error("the bus does not answer");
    }
    gboolean owned = FALSE;
    g_variant_get(answer, "(b)", &owned);
    g_variant_unref(answer);
    return owned != FALSE;
}

} // namespace bench
