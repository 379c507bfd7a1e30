#pragma once

#include "GlibPointers.h"
#include "support/LoopThread.h"

#include <gio/gio.h>

#include <login_dbus.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace linux_test {

/// The box's logind on the private bus, with a thread of its own. What it is asked for is told as it comes.
class Logind
{
public:
    enum class Behaviour
    {
        Obeys,
        Refuses,
        Stalls ///< takes the request and never answers
    };

    /// \param told called on its thread with "Suspend", "PowerOff", "Reboot"
    explicit Logind(std::function<void(const std::string&)> told);
    ~Logind();
    Logind(const Logind&) = delete;
    Logind& operator=(const Logind&) = delete;

    void Behaves(Behaviour behaviour);

    void PreparesForSleep(bool start);
    void PreparesForShutdown(bool start);

    /// The holds that are held just now, such as "delay sleep:shutdown by vyrel-lite".
    [[nodiscard]] std::vector<std::string> Holds();
    /// Runs the default main context until these are the holds.
    [[nodiscard]] bool WaitForHolds(const std::vector<std::string>& holds);

    /// Returns when it has handled all that was sent to it before.
    void Synchronize();

    void Goes();
    void ComesBack();

private:
    using ConnectionPtr = std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>>;
    using ManagerPtr = std::unique_ptr<LoginManager, Util::ReleaseWith<g_object_unref>>;

    struct Hold
    {
        std::string words;
        int end; ///< it reads nothing until whoever holds the other one lets go
    };

    static gboolean OnRequest(LoginManager* manager, GDBusMethodInvocation* call, gboolean interactive, gpointer self);
    static gboolean OnInhibit(LoginManager* manager, GDBusMethodInvocation* call, GUnixFDList* descriptors,
                              const char* what, const char* who, const char* why, const char* mode, gpointer self);
    void CloseHolds();

    // All below belong to its thread.
    std::function<void(const std::string&)> m_told;
    Behaviour m_behaviour = Behaviour::Obeys;
    ConnectionPtr m_connection;
    ManagerPtr m_manager;
    std::vector<Hold> m_holds;
    std::vector<GDBusMethodInvocation*> m_stalled;
    support::LoopThread m_thread;
};

} // namespace linux_test
