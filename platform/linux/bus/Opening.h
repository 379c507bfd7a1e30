#pragma once

#include "bus/Handles.h"

#include <gio/gio.h>

#include <memory>

namespace bus {

/// A connection to the system bus that is being made. GLib's own way blocks for as long as the bus likes; this one can
/// be left alone when the time is up and be asked again later.
class Opening
{
public:
    /// Begins to connect. Whatever keeps it from that is said by Wait().
    Opening();
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;
    ~Opening();

    enum class State
    {
        UnderWay,
        Open,
        Failed
    };

    /// Waits for the end, \p milliseconds at most; the default main context is left alone.
    State Wait(guint milliseconds);

    /// What was opened; once, after Wait() said so.
    ObjectPtr<GDBusConnection> Take();

    /// Why it failed.
    [[nodiscard]] const char* Reason() const;

private:
    /// What the end is written to. It lives until the end, also when nobody waits any more.
    struct Outcome
    {
        State state = State::UnderWay;
        ErrorPtr error;
    };

    static void OnOpened(GObject* connection, GAsyncResult* result, gpointer outcome);

    ContextPtr m_context;
    std::shared_ptr<Outcome> m_outcome;
    ObjectPtr<GDBusConnection> m_connection;
    ObjectPtr<GCancellable> m_cancellable;
};

} // namespace bus
