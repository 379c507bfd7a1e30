#pragma once

#include "Living.h"

#include <gio/gio.h>

#include <cstdint>
#include <functional>
#include <string>

/// The service's one gateway to the system bus.
///
/// It owns the name "org.vantor.vyrel.lite", keeps the shared connection, and talks to the sibling services in three
/// ways: a blocking call that gives the body of the reply, a call whose reply nobody waits for, and a signal to one
/// receiver. It listens for the key router's combinations and for easy pairing, and leads the update manager through
/// the firmware updates of a power-off.
///
/// Everything runs on the main loop's thread and nothing throws. Without a bus, or with names that the bus would not
/// take, or a message that is too large for it (over 32 MiB), a call gives what a failed call gives and the log says
/// why; the next one tries the bus again. The connection
/// is shared by the whole process and closes the process when the bus goes away, which is what a supervised service
/// wants: it comes back with a live one.
class CDbusClient
{
public:
    CDbusClient();
    ~CDbusClient();
    CDbusClient(const CDbusClient&) = delete;
    CDbusClient& operator=(const CDbusClient&) = delete;

    /// Asks for the bus name and listens for key combinations. Whether the name was given or lost is not looked at.
    void Init();
    /// Gives the name back. Subscriptions, requests that wait for an answer and the connection last as long as the
    /// process; what they bring is served as long as this object lives.
    void Deinit();

    // --- Calls and signals: DbusClient.cpp ---
    // Bodies are tuples, may be null for none, and are consumed when they are floating. Time-outs are milliseconds.

    /// The shared connection, opened when it is first asked for, or null when there is no bus. Not the caller's.
    GDBusConnection* GetSystemConnection();

    /// Calls and waits. An error reply is a reply like any other.
    /// \return the body of the reply, a full reference that the caller releases, or null: the call failed, nobody
    ///         answered in time, or the reply has no body
    GVariant* SendDbusMethodSync(const std::string& name, const std::string& path, const std::string& interface,
                                 const std::string& method, GVariant* params, unsigned int timeout);
    /// Calls without a body and waits for a sign of life. Any reply of the service itself is one, an error too; what
    /// the bus answers on behalf of a service that isn't there is none.
    bool IsServiceAlive(const std::string& name, const std::string& path, const std::string& interface,
                        const std::string& method, unsigned int timeout);
    /// Calls and forgets.
    void SendDbusMethod(const std::string& name, const std::string& path, const std::string& interface,
                        const std::string& method, GVariant* params);
    /// Sends a signal to \p name alone.
    /// \return false only when the bus gave an error; a signal that could not be sent for another reason gives true
    bool SendDbusSignal(const std::string& name, const std::string& path, const std::string& interface,
                        const std::string& signal, GVariant* params);
    /// Sends a command, which is the method's name, to the touch-IR monitor. "Reset" and "Stop" go out only while the
    /// monitor says that it runs.
    void SendToTouchIrMonitor(const std::string& command);

    // --- Incoming signals: IncomingSignals.cpp ---

    void AddSignalHandler();
    /// Replaces the handler of easy-pairing events and subscribes once more, also with an empty handler.
    void AddEasyPairingSignalHandler(std::function<void(int)> callback);
    void OnSiganl(GDBusConnection* connection, const gchar* signalName, GVariant* parameters);
    void OnCombinationKeyRecived(GVariant* parameters);
    void OnEasyPairingSiganl(GDBusConnection* connection, const gchar* signalName, GVariant* parameters);

    // --- Firmware updates: FirmwareUpdate.cpp ---
    // Chip, smart remote, wheel, in this order. Each step's answer starts the next one or ends the chain, and every end
    // gives the standby lock back that the caller took. Answers have no time limit, so one may come after the client is
    // gone: then the chain ends there, without a goodbye to the manager.

    void RequestBTChipUpdate();
    void RequestSmartRcFWUpdate();
    void RequestHalvoFWUpdate();
    static void ChipUpdateCb(GObject* source, GAsyncResult* result, gpointer userData);
    static void SmartRcUpdateCb(GObject* source, GAsyncResult* result, gpointer userData);
    static void HalvoUpdateCb(GObject* source, GAsyncResult* result, gpointer userData);

private:
    GDBusConnection* m_connection = nullptr;
    std::uint32_t m_ownerId;
    [[maybe_unused]] bool m_flag = false;
    std::function<void(int)> m_easyPairingCallback;
    /// Answers of the update manager and signals may come when the client is gone.
    Living<CDbusClient> m_living{this};
};
