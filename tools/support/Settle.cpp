#include "support/Settle.h"

#include "GlibPointers.h"
#include "support/Findings.h"
#include "support/MainLoop.h"
#include "support/Peer.h"

#include <gio/gio.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace support {

namespace {

/// More than any chain of messages in the service is long.
constexpr int kMostRounds = 100;

/// Returns when the bus has taken all that this process's shared connection sent before, and all that it sent back is
/// waiting in the main loop.
void SynchronizeSharedConnection()
{
    const std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>> connection(
        g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    if (!connection) {
        return; // no bus, nothing under way
    }
    const Util::VariantPtr id(g_dbus_connection_call_sync(
        connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetId", nullptr,
        nullptr, G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr, nullptr));
}

std::size_t CountMessages(std::initializer_list<Peer*> peers)
{
    std::size_t count = 0;
    for (const Peer* peer : peers) {
        count += peer->Received();
    }
    return count;
}

/// \return whether anything moved
bool DoRound(std::initializer_list<Peer*> peers)
{
    const std::size_t messagesBefore = CountMessages(peers);
    SynchronizeSharedConnection();
    for (Peer* peer : peers) {
        peer->Synchronize();
    }
    SynchronizeSharedConnection();
    const bool dispatched = DrainMainLoop();
    return dispatched || CountMessages(peers) != messagesBefore;
}

} // namespace

void Settle(std::initializer_list<Peer*> peers)
{
    for (int round = 0; round < kMostRounds; ++round) {
        if (!DoRound(peers)) {
            return;
        }
    }
    ReportFinding("the bus does not come to rest");
}

void Settle()
{
    Settle({});
}

} // namespace support
