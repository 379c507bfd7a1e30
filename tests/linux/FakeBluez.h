#pragma once

#include "bluez_dbus.h"
#include "bus/Handles.h"
#include "support/LoopThread.h"

#include <gio/gio.h>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace linux_test {

/// The Bluetooth daemon, played on the private bus from a thread of its own with the interfaces that the platform uses.
/// All operations are for the test's thread.
class FakeBluez
{
public:
    static constexpr const char* kAdapter = "/org/bluez/hci0";

    FakeBluez() = default;
    ~FakeBluez();
    FakeBluez(const FakeBluez&) = delete;
    FakeBluez& operator=(const FakeBluez&) = delete;

    /// Begins a life: connects, exports its managers and what was added before, and owns its name.
    void Starts();
    /// Ends it without a word. What was added is forgotten.
    void Dies();

    void AddAdapter(bool powered, const std::string& path = kAdapter);
    /// Takes the adapter away, and leaves its devices to their fate, as the real one does.
    void PullAdapter(const std::string& path = kAdapter);
    void SetAdapter(const std::function<void(BluezAdapter1*)>& change, const std::string& path = kAdapter);

    /// \return the path
    std::string AddDevice(const std::string& address, const std::function<void(BluezDevice1*)>& change = {},
                          const std::string& adapter = kAdapter);
    void SetDevice(const std::string& path, const std::function<void(BluezDevice1*)>& change);
    void SetControl(const std::string& device, bool connected);
    void AddTransport(const std::string& path, const std::string& device, const std::string& uuid, int volume = -1);
    void SetVolume(const std::string& path, int volume);
    void Remove(const std::string& path);

    // How it behaves. Members are "RemoveDevice", or "Set Powered" for a property.

    void AnswersWithError(const std::string& member, const std::string& error);
    void Stalls(const std::string& member);
    void DiesOn(const std::string& member);
    void Behaves();

    /// Any signal from the daemon.
    void Emits(const std::string& path, const std::string& interface, const std::string& signal, GVariant* arguments);

    // Its agent's calls to the platform. The outcome is "pending", "ok", "ok VALUE" or an error's name.

    /// \return a number for Outcome()
    int Asks(const std::string& method, GVariant* arguments);
    std::string Outcome(int call);

    // What it was called: "RemoveDevice /org/bluez/hci0/dev_...", "Set Powered true".

    std::vector<std::string> Calls();
    int CallsOf(const std::string& call);
    void ForgetCalls();
    [[nodiscard]] std::string AgentPath();

private:
    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                                   gpointer self);
    GDBusMessage* Take(GDBusConnection* connection, GDBusMessage* message);

    GDBusObjectSkeleton* Object(const std::string& path);
    void Add(const std::string& path, GDBusInterfaceSkeleton* interface);
    /// Takes an object off the bus.
    void Drop(const std::string& path);
    void Connect();
    void Disconnect();

    std::mutex m_mutex; ///< guards what the connection's own thread looks at
    std::map<std::string, std::string> m_errors;
    std::set<std::string> m_stalling;
    std::set<std::string> m_deadly;
    std::vector<std::string> m_calls;
    std::string m_agentOwner;
    std::string m_agentPath;
    std::map<int, std::string> m_outcomes;
    int m_lastCall = 0;

    bus::ObjectPtr<GDBusConnection> m_connection;
    bus::ObjectPtr<GDBusObjectManagerServer> m_server;
    using Objects = std::map<std::string, bus::ObjectPtr<GDBusObjectSkeleton>>;
    Objects m_objects;
    std::vector<Objects> m_past;  ///< of its earlier lives
    support::LoopThread m_thread; ///< last, so that it ends before what it works on
};

} // namespace linux_test
