#pragma once

#include "bus/Handles.h"
#include "bus/Opening.h"

#include <gio/gio.h>

#include <memory>
#include <string>
#include <vector>

namespace bus {

/// The name and the object under which other programs reach the platform.
inline constexpr const char* kOwnName = "org.vantor.platform";
inline constexpr const char* kOwnPath = "/org/vantor/platform";

/// How long one platform function waits for others, all its calls together.
inline constexpr int kPatienceMs = 1000;

/// A part of the platform that lives on the bus.
class Guest
{
public:
    /// The bus is there: what whoever has the guest enter waits for. Called when the guest enters, and from the main
    /// loop each time that the bus comes back. Must not tell the service anything.
    virtual void BusCame(GDBusConnection* connection) = 0;

    /// All else: what is to be exported, watched and asked without anybody waiting for it. Called from the main loop,
    /// after BusCame() and before the name is asked for; so a start is over sooner, and nobody finds a name without
    /// what belongs under it.
    virtual void BusSettled(GDBusConnection* /*connection*/) {}

    /// The bus is gone, with all that was asked of it. Subscriptions and exports are still to be given back.
    /// Called from the main loop, or when the guest leaves, also before BusSettled().
    virtual void BusWent(GDBusConnection* connection) = 0;

protected:
    ~Guest() = default;
};

/// The platform's own connection to the system bus, apart from the shared one of the process, so that its end is not
/// the process's. It is there while it has guests; a bus that is away is looked for once a second.
class SystemBus
{
public:
    static SystemBus& Shared();

    SystemBus() = default;
    ~SystemBus();
    SystemBus(const SystemBus&) = delete;
    SystemBus& operator=(const SystemBus&) = delete;

    /// Begins to open the connection, in a thread of GLib's. The first guest then waits for what is left of it.
    void Prepare();
    /// Opens the connection for the first guest, for a second at most.
    void Enter(Guest& guest);
    /// A guest that has not entered is no harm.
    void Leave(Guest& guest);

    /// Null while there is no bus.
    [[nodiscard]] GDBusConnection* Connection() const
    {
        return m_connection.get();
    }

private:
    static gboolean OnRetry(gpointer self);
    static gboolean OnStarted(gpointer self);
    static void OnClosed(GDBusConnection* connection, gboolean remotePeerVanished, GError* error, gpointer self);
    static void OnNameAnswered(GObject* connection, GAsyncResult* result, gpointer self);

    /// \return whether there is a connection now
    bool Open(guint milliseconds);
    void Tell(Guest& guest);
    void RequestName();
    void Lose();
    void RetryLater();

    std::vector<Guest*> m_guests;
    std::vector<Guest*> m_unsettled; ///< those that are still to be told the rest
    std::unique_ptr<Opening> m_opening;
    ObjectPtr<GDBusConnection> m_connection;
    gulong m_closed = 0;
    SourcePtr m_retry;
    SourcePtr m_settling;
    bool m_isNamed = false; ///< whether the name was asked for on this connection
    bool m_saidAbsent = false;
};

} // namespace bus
