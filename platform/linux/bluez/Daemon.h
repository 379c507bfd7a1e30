#pragma once

#include "bluez/Tree.h"
#include "bus/Remote.h"
#include "bus/SystemBus.h"
#include "loop/Timer.h"

#include <gio/gio.h>

#include <functional>
#include <string>
#include <string_view>

namespace bluez {

/// Is told of the daemon's life, from the main loop.
class DaemonListener
{
public:
    /// The daemon has gone; its objects went before.
    virtual void DaemonWent() = 0;

protected:
    ~DaemonListener() = default;
};

/// The Bluetooth daemon's present life on the bus: who it is, its objects, and what becomes of them.
///
/// A daemon that comes, goes and comes back is followed. What it is asked is addressed to its present life.
class Daemon final : public bus::Guest
{
public:
    Daemon(TreeListener& treeListener, DaemonListener& listener) : m_tree(treeListener), m_listener(listener) {}
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;
    ~Daemon();

    /// Looks for the daemon now, for a second at most; what is there is in the tree afterwards.
    void Start();
    void Stop();

    /// Not there: an empty remote.
    [[nodiscard]] const bus::Remote& Remote() const
    {
        return m_remote;
    }
    [[nodiscard]] const bluez::Tree& Objects() const
    {
        return m_tree;
    }
    /// Whether a message comes from the daemon: anybody can send anything to anybody.
    [[nodiscard]] bool IsFrom(const char* sender) const
    {
        return sender != nullptr && m_remote.owner == sender;
    }

    void BusCame(GDBusConnection* connection) override;
    void BusSettled(GDBusConnection* connection) override;
    void BusWent(GDBusConnection* connection) override;

    /// What other parts export and take back with the connection.
    std::function<void(GDBusConnection*)> onBusSettled;
    std::function<void()> onBusWent;

private:
    static void OnNameAppeared(GDBusConnection* connection, const gchar* name, const gchar* owner, gpointer self);
    static void OnNameVanished(GDBusConnection* connection, const gchar* name, gpointer self);
    static void OnSignal(GDBusConnection* connection, const gchar* sender, const gchar* path, const gchar* interface,
                         const gchar* signal, GVariant* arguments, gpointer self);

    void Meet(GDBusConnection* connection, const std::string& owner);
    void LoadNow();
    void LoadLater();
    void Part();

    bluez::Tree m_tree;
    DaemonListener& m_listener;
    bus::Remote m_remote;
    guint m_watch = 0;
    guint m_signals = 0;
    guint m_changes = 0;
    bool m_starting = false;
    loop::Timer m_retry;
};

} // namespace bluez
