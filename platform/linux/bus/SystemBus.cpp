#include "bus/SystemBus.h"

#include "Log.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace bus {

namespace {

SourcePtr Attach(GSource* source, GSourceFunc function, gpointer data)
{
    g_source_set_callback(source, function, data, nullptr);
    g_source_attach(source, nullptr);
    return SourcePtr(source);
}

} // namespace

SystemBus& SystemBus::Shared()
{
    static SystemBus bus;
    return bus;
}

SystemBus::~SystemBus()
{
    m_guests.clear();
    Lose();
}

void SystemBus::Prepare()
{
    if (!m_connection && !m_opening && !m_retry) {
        m_opening = std::make_unique<Opening>();
    }
}

void SystemBus::Enter(Guest& guest)
{
    if (std::ranges::find(m_guests, &guest) != m_guests.end()) {
        return;
    }
    m_guests.push_back(&guest);
    if (m_connection) {
        Tell(guest);
    } else if (!m_retry && !Open(kPatienceMs)) {
        RetryLater();
    }
}

void SystemBus::Leave(Guest& guest)
{
    if (std::erase(m_guests, &guest) == 0) {
        return;
    }
    std::erase(m_unsettled, &guest);
    if (m_connection) {
        guest.BusWent(m_connection.get());
    }
    if (m_guests.empty()) {
        Lose();
        m_retry.reset();
        m_opening.reset();
    }
}

bool SystemBus::Open(guint milliseconds)
{
    if (!m_opening) {
        m_opening = std::make_unique<Opening>();
    }
    const Opening::State state = m_opening->Wait(milliseconds);
    if (state == Opening::State::UnderWay) {
        return false;
    }
    const std::unique_ptr<Opening> opening = std::move(m_opening);
    if (state == Opening::State::Failed) {
        if (!m_saidAbsent) {
            PLATFORM_LOG(DLOG_ERROR, "no system bus: %s", opening->Reason());
        }
        m_saidAbsent = true;
        return false;
    }
    m_saidAbsent = false;
    m_connection = opening->Take();
    m_closed = g_signal_connect(m_connection.get(), "closed", G_CALLBACK(OnClosed), this);
    for (Guest* guest : std::vector<Guest*>(m_guests)) {
        Tell(*guest);
    }
    return true;
}

void SystemBus::Tell(Guest& guest)
{
    m_unsettled.push_back(&guest);
    if (!m_settling) {
        m_settling = Attach(g_idle_source_new(), OnStarted, this);
    }
    guest.BusCame(m_connection.get());
}

void SystemBus::Lose()
{
    m_settling.reset();
    m_unsettled.clear();
    m_isNamed = false;
    if (!m_connection) {
        return;
    }
    g_signal_handler_disconnect(m_connection.get(), m_closed);
    // Guests must find no connection when they are told of its end.
    const ObjectPtr<GDBusConnection> connection = std::move(m_connection);
    for (Guest* guest : std::vector<Guest*>(m_guests)) {
        guest->BusWent(connection.get());
    }
}

void SystemBus::RetryLater()
{
    m_retry = Attach(g_timeout_source_new_seconds(1), OnRetry, this);
}

gboolean SystemBus::OnRetry(gpointer self)
{
    auto& bus = *static_cast<SystemBus*>(self);
    // No wait: the main loop has other things to do, and the next try looks at the same opening.
    if (!bus.Open(0)) {
        return G_SOURCE_CONTINUE;
    }
    bus.m_retry.reset();
    return G_SOURCE_REMOVE;
}

void SystemBus::OnClosed(GDBusConnection*, gboolean, GError*, gpointer self)
{
    auto& bus = *static_cast<SystemBus*>(self);
    PLATFORM_LOG(DLOG_ERROR, "the system bus is gone");
    bus.Lose();
    bus.RetryLater();
}

gboolean SystemBus::OnStarted(gpointer self)
{
    auto& bus = *static_cast<SystemBus*>(self);
    while (bus.m_connection && !bus.m_unsettled.empty()) {
        Guest* guest = bus.m_unsettled.front();
        bus.m_unsettled.erase(bus.m_unsettled.begin());
        guest->BusSettled(bus.m_connection.get());
    }
    if (bus.m_connection && !bus.m_isNamed) {
        bus.RequestName();
    }
    bus.m_settling.reset();
    return G_SOURCE_REMOVE;
}

void SystemBus::RequestName()
{
    m_isNamed = true;
    g_dbus_connection_call(m_connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                           "RequestName", g_variant_new("(su)", kOwnName, 0U), G_VARIANT_TYPE("(u)"),
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, OnNameAnswered, nullptr);
}

void SystemBus::OnNameAnswered(GObject* connection, GAsyncResult* result, gpointer)
{
    GError* failure = nullptr;
    const VariantPtr answer(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &failure));
    const ErrorPtr error(failure);
    constexpr guint32 kPrimaryOwner = 1;
    guint32 outcome = 0;
    if (answer) {
        g_variant_get(answer.get(), "(u)", &outcome);
    }
    if (outcome != kPrimaryOwner) {
        PLATFORM_LOG(DLOG_ERROR, "cannot own %s: %s", kOwnName, error ? error->message : "another program has it");
    }
}

} // namespace bus
