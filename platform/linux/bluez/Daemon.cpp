#include "bluez/Daemon.h"

#include "Log.h"
#include "bus/Deadline.h"
#include "bus/Handles.h"

#include <memory>
#include <string_view>

namespace bluez {

namespace {

constexpr const char* kName = "org.bluez";
constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr guint kRetryMs = 5000;

/// The unique name of the daemon now; empty when there is none.
std::string FindOwner(GDBusConnection* connection)
{
    const bus::VariantPtr reply(
        g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                    "GetNameOwner", g_variant_new("(s)", kName), G_VARIANT_TYPE("(s)"),
                                    G_DBUS_CALL_FLAGS_NONE, bus::kPatienceMs / 2, nullptr, nullptr));
    if (!reply) {
        return "";
    }
    const char* owner = nullptr;
    g_variant_get(reply.get(), "(&s)", &owner);
    return owner;
}

} // namespace

Daemon::~Daemon()
{
    Stop();
}

void Daemon::Start()
{
    m_starting = true;
    bus::SystemBus::Shared().Enter(*this);
    m_starting = false;
}

void Daemon::Stop()
{
    bus::SystemBus::Shared().Leave(*this);
}

void Daemon::BusCame(GDBusConnection* connection)
{
    if (!m_starting) {
        return; // the watch says what there is
    }
    if (const std::string owner = FindOwner(connection); !owner.empty()) {
        Meet(connection, owner);
        LoadNow();
    }
}

void Daemon::BusSettled(GDBusConnection* connection)
{
    if (onBusSettled) {
        onBusSettled(connection);
    }
    // It asks again who the daemon is, and so misses nothing of what happened since.
    m_watch = g_bus_watch_name_on_connection(connection, kName, G_BUS_NAME_WATCHER_FLAGS_NONE, OnNameAppeared,
                                             OnNameVanished, this, nullptr);
}

void Daemon::BusWent(GDBusConnection*)
{
    if (m_watch != 0) {
        g_bus_unwatch_name(m_watch);
        m_watch = 0;
    }
    Part();
    if (onBusWent) {
        onBusWent();
    }
}

void Daemon::OnNameAppeared(GDBusConnection* connection, const gchar*, const gchar* owner, gpointer self)
{
    auto& daemon = *static_cast<Daemon*>(self);
    if (daemon.m_remote.owner == owner) {
        return;
    }
    daemon.Part();
    daemon.Meet(connection, owner);
    daemon.LoadLater();
}

void Daemon::OnNameVanished(GDBusConnection*, const gchar*, gpointer self)
{
    auto& daemon = *static_cast<Daemon*>(self);
    if (daemon.m_remote.IsThere()) {
        PLATFORM_LOG(DLOG_WARN, "the Bluetooth daemon is gone");
    }
    daemon.Part();
}

void Daemon::Meet(GDBusConnection* connection, const std::string& owner)
{
    m_remote = {connection, owner};
    m_signals = g_dbus_connection_signal_subscribe(connection, owner.c_str(), kObjectManager, nullptr, nullptr, nullptr,
                                                   G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, this, nullptr);
    m_changes = g_dbus_connection_signal_subscribe(connection, owner.c_str(), kProperties, "PropertiesChanged", nullptr,
                                                   nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, this, nullptr);
}

void Daemon::LoadNow()
{
    bus::ErrorPtr error;
    const bus::VariantPtr objects = bus::GetObjects(m_remote, bus::Deadline(bus::kPatienceMs / 2), error);
    if (objects) {
        m_tree.Load(objects.get());
        return;
    }
    PLATFORM_LOG(DLOG_ERROR, "the Bluetooth daemon does not tell its objects: %s", error->message);
    m_retry.Start(kRetryMs, [this] { LoadLater(); });
}

void Daemon::LoadLater()
{
    bus::GetObjectsLater(m_remote, [this, owner = m_remote.owner](GVariant* objects, const GError* error) {
        if (m_remote.owner != owner) {
            return; // an earlier life of the daemon
        }
        if (objects != nullptr) {
            m_tree.Load(objects);
            return;
        }
        PLATFORM_LOG(DLOG_ERROR, "the Bluetooth daemon does not tell its objects: %s",
                     error != nullptr ? error->message : "nothing");
        m_retry.Start(kRetryMs, [this] { LoadLater(); });
    });
}

void Daemon::Part()
{
    m_retry.Stop();
    if (!m_remote.IsThere()) {
        return;
    }
    g_dbus_connection_signal_unsubscribe(m_remote.connection, m_signals);
    g_dbus_connection_signal_unsubscribe(m_remote.connection, m_changes);
    // Nothing more is asked of it while its objects go.
    m_remote = {};
    m_tree.Clear();
    m_listener.DaemonWent();
}

// Subscribed by the daemon's unique name, so that what others send under its interfaces does not come here.
void Daemon::OnSignal(GDBusConnection*, const gchar*, const gchar* path, const gchar*, const gchar* signal,
                      GVariant* arguments, gpointer self)
{
    auto& daemon = *static_cast<Daemon*>(self);
    const std::string_view name = signal;
    if (name == "InterfacesAdded") {
        daemon.m_tree.Added(arguments);
    } else if (name == "InterfacesRemoved") {
        daemon.m_tree.Removed(arguments);
    } else {
        daemon.m_tree.Changed(path, arguments);
    }
}

} // namespace bluez
