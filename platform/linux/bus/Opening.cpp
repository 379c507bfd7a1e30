#include "bus/Opening.h"

#include <utility>

namespace bus {

namespace {

gboolean TimeIsUp(gpointer isUp)
{
    *static_cast<bool*>(isUp) = true;
    return G_SOURCE_REMOVE;
}

} // namespace

Opening::Opening()
    : m_context(g_main_context_new()),
      m_outcome(std::make_shared<Outcome>()),
      m_cancellable(g_cancellable_new())
{
    GError* error = nullptr;
    const TextPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, &error));
    if (!address) {
        m_outcome->error.reset(error);
        m_outcome->state = State::Failed;
        return;
    }
    // Made outside the private context, because a connection tells of its end where it was made.
    m_connection.reset(G_DBUS_CONNECTION(g_object_new(
        G_TYPE_DBUS_CONNECTION, "address", address.get(), "flags",
        G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT | G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION, nullptr)));
    auto outcome = std::make_unique<std::shared_ptr<Outcome>>(m_outcome);
    g_main_context_push_thread_default(m_context.get());
    g_async_initable_init_async(G_ASYNC_INITABLE(m_connection.get()), G_PRIORITY_DEFAULT, m_cancellable.get(), OnOpened,
                                outcome.release());
    g_main_context_pop_thread_default(m_context.get());
}

Opening::~Opening()
{
    // What is still under way ends soon after it was cancelled, and takes its outcome with it.
    if (m_outcome->state == State::UnderWay) {
        g_cancellable_cancel(m_cancellable.get());
        Wait(100);
    }
}

void Opening::OnOpened(GObject* connection, GAsyncResult* result, gpointer outcome)
{
    const std::unique_ptr<std::shared_ptr<Outcome>> owned(static_cast<std::shared_ptr<Outcome>*>(outcome));
    GError* error = nullptr;
    const bool isOpen = g_async_initable_init_finish(G_ASYNC_INITABLE(connection), result, &error) != FALSE;
    (*owned)->error.reset(error);
    (*owned)->state = isOpen ? State::Open : State::Failed;
}

Opening::State Opening::Wait(guint milliseconds)
{
    bool isUp = milliseconds == 0;
    const SourcePtr timer(g_timeout_source_new(milliseconds));
    g_source_set_callback(timer.get(), TimeIsUp, &isUp, nullptr);
    g_source_attach(timer.get(), m_context.get());
    while (m_outcome->state == State::UnderWay &&
           (g_main_context_iteration(m_context.get(), isUp ? FALSE : TRUE) != FALSE || !isUp)) {
    }
    return m_outcome->state;
}

ObjectPtr<GDBusConnection> Opening::Take()
{
    return std::move(m_connection);
}

const char* Opening::Reason() const
{
    return m_outcome->error ? m_outcome->error->message : "";
}

} // namespace bus
