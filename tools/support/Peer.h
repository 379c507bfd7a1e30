#pragma once

#include "GlibPointers.h"
#include "support/LoopThread.h"
#include "support/MainLoop.h"
#include "support/Message.h"

#include <gio/gio.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace support {

/// Another service on the system bus, with a connection and a thread of its own, so that it answers also while this
/// process's main thread waits in a synchronous call.
///
/// It records each method call and each signal that is addressed to it, in the order of arrival, whatever the path,
/// interface and member, and answers each call with an empty reply unless told otherwise. Make it after the PrivateBus.
/// All operations are for the test's thread; those that fail throw std::runtime_error.
class Peer
{
public:
    /// Looks at each message before it is answered.
    /// \return what is wrong with it, empty for nothing. Runs on the peer's thread.
    using Check = std::function<std::string(const Message&)>;

    /// Owns its name before it returns.
    /// \param busName the well-known name; empty for a peer that is known by its unique name only
    explicit Peer(std::string busName, Check check = {});
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // How it behaves. A member keeps its latest answer until it is given another.

    /// \param body a tuple, floating or not, that all calls of \p member are answered with; null for an empty reply
    void Answers(const std::string& member, GVariant* body);
    /// \param errorName such as "org.freedesktop.DBus.Error.Failed"
    void AnswersWithError(const std::string& member, const std::string& errorName, const std::string& text);
    /// Leaves all calls of \p member without an answer, until it is released.
    void Stalls(const std::string& member);
    /// Answers the calls that were stalled, in the order of their arrival, and stalls \p member no more.
    void Releases(const std::string& member);
    /// The same for calls of all members, whatever was said of one of them; the latest of these three holds.
    void StallsEverything();
    void AnswersEverythingWithError(const std::string& errorName, const std::string& text);
    /// Calls that were stalled are answered.
    void AnswersEverything();
    /// The next call of \p member is answered also while everything is stalled.
    void AnswersNext(const std::string& member);
    /// How many calls are stalled.
    [[nodiscard]] std::size_t StalledCalls() const;
    /// Answers the call that was stalled first, as if it had not been.
    void ReleasesOldest();
    /// Drops its connection instead of answering the next call of \p member.
    void VanishesOn(const std::string& member);

    /// Drops its connection, and its name with it, after all that it has sent. Returns when the bus has noticed.
    void Vanishes();
    /// Connects once more and owns its name before it returns. Calls that were stalled are forgotten.
    void Reappears();
    [[nodiscard]] bool IsThere() const;
    /// Owns one more name before it returns, until it vanishes: several services in one, for who makes many of them.
    void OwnsToo(const std::string& busName);

    /// \param body a tuple, floating or not; null for none
    /// \param destination null for all who subscribed
    void Emits(const std::string& path, const std::string& interface, const std::string& member, GVariant* body,
               const char* destination = nullptr);

    // What it has received.

    /// How many there were so far, whatever was forgotten. Costs no visit to the peer's thread.
    [[nodiscard]] std::size_t Received() const
    {
        return m_received;
    }
    [[nodiscard]] std::vector<Message> Messages() const;
    [[nodiscard]] std::vector<Message> Calls() const;
    [[nodiscard]] std::vector<Message> Signals() const;
    /// Forgets the messages, not what is wrong with them.
    void Clear();

    /// Runs the default main context until there are \p count messages or more.
    /// \return false when the deadline came first
    [[nodiscard]] bool WaitForMessages(std::size_t count, std::chrono::milliseconds deadline = kDeadline) const;

    /// What the check found wrong, one text a message. Clear() keeps it.
    [[nodiscard]] std::vector<std::string> Violations() const;
    /// The same, and forgets them: for who looks again and again.
    [[nodiscard]] std::vector<std::string> TakeViolations();

    /// Returns when all that the bus had for this peer is recorded and answered, and all that the peer sent is with
    /// the bus. Returns at once when the peer has vanished.
    void Synchronize();

    /// Returns when GDBus's own thread has let go of all calls of this process that were answered before: it keeps the
    /// descriptor of a call that was waited for a moment longer than the caller. Returns at once when the peer has
    /// vanished.
    void AwaitsGDBus();

    [[nodiscard]] const std::string& BusName() const
    {
        return m_busName;
    }

private:
    using ConnectionPtr = std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>>;

    struct Answer
    {
        Util::VariantPtr body;
        std::string errorName; ///< empty unless it is an error
        std::string errorText;
    };

    static GDBusMessage* OnMessage(GDBusConnection* connection, GDBusMessage* message, gboolean incoming,
                                   gpointer userData);

    // All below belong to the peer's thread.
    void Connect();
    void RequestName(const std::string& busName) const;
    void Disconnect();
    void AskBusForId() const;
    void HandleMessage(GDBusConnection* connection, GDBusMessage* message);
    void HandleCall(GDBusMessage* call);
    void Reply(GDBusMessage* call);
    void ReplyToStalled();
    [[nodiscard]] const Answer& AnswerTo(const std::string& member) const;

    const std::string m_busName;
    const Check m_check;
    ConnectionPtr m_connection; ///< null while it has vanished
    guint m_filter = 0;
    std::map<std::string, Answer> m_answers;
    bool m_stallsEverything = false;
    std::set<std::string> m_answeredNext; ///< members, whatever is stalled
    Answer m_errorToEverything;           ///< holds while it has an error's name
    std::set<std::string> m_stalling;
    std::set<std::string> m_vanishingOn;
    std::vector<Util::MessagePtr> m_stalled;
    std::vector<Message> m_messages;
    bool m_hasSent = false;                  ///< since all that it sent was with the bus
    std::atomic<std::size_t> m_received = 0; ///< written by the peer's thread, read by any
    std::vector<std::string> m_violations;
    LoopThread m_thread; ///< last, so that it ends before what it works on
};

} // namespace support
