#pragma once

#include "people/Bus.h"
#include "people/Failure.h"
#include "vyrel-companion/Door.h"
#include "vyrel-companion/Friends.h"
#include "vyrel-companion/Options.h"
#include "vyrel-companion/Speaker.h"
#include "vyrel-companion/Terminal.h"

#include <gio/gio.h>

#include <memory>
#include <string_view>
#include <vector>

namespace companion {

/// The connection manager: owns its name, takes what the service tells it and hands it to those whom it concerns. Each
/// call is answered at once, since the service stands still until it is. Who may call is for the policy of the bus.
class Companion
{
public:
    /// Throws people::Failure where it cannot be the connection manager.
    explicit Companion(const Options& options);
    ~Companion();
    Companion(const Companion&) = delete;
    Companion& operator=(const Companion&) = delete;

    /// Runs until a signal ends it, or throws people::Failure when the bus goes.
    void Run();

private:
    struct Unref
    {
        void operator()(GMainLoop* loop) const
        {
            g_main_loop_unref(loop);
        }
    };

    static void OnCall(GDBusConnection* connection, const char* sender, const char* path, const char* interface,
                       const char* method, GVariant* arguments, GDBusMethodInvocation* invocation, gpointer self);
    static void OnSignal(GDBusConnection* connection, const char* sender, const char* path, const char* interface,
                         const char* signal, GVariant* arguments, gpointer self);
    static void OnClosed(GDBusConnection* connection, gboolean vanished, GError* error, gpointer self);
    static gboolean OnStop(gpointer self);

    void Export();
    void OwnName() const;
    void Take(std::string_view member, GVariant* arguments);
    void TakeAudio(GVariant* arguments);

    people::Bus m_bus;
    std::unique_ptr<GMainLoop, Unref> m_loop;
    Friends m_friends;
    Terminal m_terminal;
    Speaker m_speaker;
    Door m_door;
    guint m_object = 0;
    guint m_signals = 0;
    gulong m_closed = 0;
    std::vector<guint> m_sources;
    bool m_hasLostBus = false;
};

} // namespace companion
