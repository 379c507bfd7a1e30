#pragma once

#include "bus/Handles.h"
#include "power/Inhibitor.h"

#include <gio/gio.h>

#include <login_dbus.h>

#include <functional>

namespace power {

/// logind: what it tells, what it is asked for, what keeps it waiting. It may be absent, and come and go.
class Login
{
public:
    /// All are told from the main loop.
    class Listener
    {
    public:
        /// The machine is about to sleep or to go down; it waits until the delay is given back.
        virtual void SleepComes() = 0;
        virtual void ShutdownComes() = 0;
        virtual void SleepEnded() = 0;
        virtual void ShutdownCancelled() = 0;

    protected:
        ~Listener() = default;
    };

    enum class Request
    {
        Suspend,
        PowerOff,
        Reboot
    };

    explicit Login(Listener& listener) : m_listener(listener) {}
    ~Login();
    Login(const Login&) = delete;
    Login& operator=(const Login&) = delete;

    void Attach(GDBusConnection* connection);
    void Detach();

    /// \param failed called from the main loop when it was refused, or logind is absent; not after Detach()
    void Ask(Request request, std::function<void()> failed);

    /// Whether sleep and shutdown are to be delayed until we have done our part.
    void Delay(bool on);
    /// Whether sleep and shutdown are to be refused to everybody.
    void Block(bool on);

private:
    static void OnProxy(GObject* source, GAsyncResult* result, gpointer self);
    static void OnOwner(GObject* proxy, GParamSpec* property, gpointer self);
    static void OnPrepareForSleep(LoginManager* proxy, gboolean start, gpointer self);
    static void OnPrepareForShutdown(LoginManager* proxy, gboolean start, gpointer self);
    static void OnAnswer(GObject* proxy, GAsyncResult* result, gpointer data);

    [[nodiscard]] bool IsThere() const;
    void OwnerChanged();

    Listener& m_listener;
    bus::ObjectPtr<GCancellable> m_life; ///< of all that is asked of this connection
    bus::ObjectPtr<LoginManager> m_proxy;
    bool m_delays = false;
    bool m_blocks = false;
    Inhibitor m_delay{"sleep:shutdown", "remotes and speakers are told first", "delay"};
    Inhibitor m_block{"sleep:shutdown", "something must be ended in standby", "block"};
};

} // namespace power
