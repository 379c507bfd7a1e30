#include "support/Peer.h"

#include <algorithm>
#include <future>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <utility>

namespace support {

namespace {

constexpr const char* kBusItself = "org.freedesktop.DBus";
constexpr const char* kBusPath = "/org/freedesktop/DBus";

/// No time-out: a virtual clock that jumps must not end a call.
constexpr gint kNoTimeout = G_MAXINT;

using ConnectionPtr = std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>>;

/// What the filter of a connection holds. The filter runs on GDBus's own thread and can run once more while it is being
/// removed, so it reaches the peer only through the peer's context, which no longer runs by then.
struct FilterData
{
    LoopThread::ContextPtr context;
    Peer* peer;
};

void DeleteFilterData(gpointer data)
{
    const std::unique_ptr<FilterData> owned(static_cast<FilterData*>(data));
}

[[noreturn]] void Throw(const std::string& what, GError* failure)
{
    const Util::ErrorPtr error(failure);
    throw std::runtime_error(error ? what + ": " + error->message : what);
}

ConnectionPtr OpenConnection(GError** failure)
{
    const Util::GlibString address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, failure));
    if (!address) {
        return nullptr;
    }
    constexpr auto kFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    return ConnectionPtr(g_dbus_connection_new_for_address_sync(address.get(), kFlags, nullptr, nullptr, failure));
}

Util::VariantPtr CallBus(GDBusConnection* connection, const char* method, GVariant* body, GError** failure)
{
    return Util::VariantPtr(g_dbus_connection_call_sync(connection, kBusItself, kBusPath, kBusItself, method, body,
                                                        nullptr, G_DBUS_CALL_FLAGS_NONE, kNoTimeout, nullptr, failure));
}

/// \param promise a std::promise<void>, taken over
void OnAnswerThatIsAwaited(GObject* connection, GAsyncResult* result, gpointer promise)
{
    const std::unique_ptr<std::promise<void>> answered(static_cast<std::promise<void>*>(promise));
    // Without an error to look at: a bus that has gone keeps nothing, either.
    const Util::VariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, nullptr));
    answered->set_value();
}

/// Returns when the bus has noticed that a connection was closed: only then are its names free, and those answered that
/// wait for it. Nobody but another connection can tell.
void AwaitDeparture(const std::string& uniqueName)
{
    const ConnectionPtr observer = OpenConnection(nullptr);
    gboolean isThere = observer ? TRUE : FALSE;
    while (isThere != FALSE) {
        const Util::VariantPtr reply =
            CallBus(observer.get(), "NameHasOwner", g_variant_new("(s)", uniqueName.c_str()), nullptr);
        isThere = FALSE;
        if (reply) {
            g_variant_get(reply.get(), "(b)", &isThere);
        }
    }
}

void DemandTuple(GVariant* body)
{
    if (body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE_TUPLE) == FALSE) {
        throw std::runtime_error("a body must be a tuple");
    }
}

/// True for a method call or a signal from another than the bus.
bool IsFromSomebody(GDBusMessage* message)
{
    const GDBusMessageType type = g_dbus_message_get_message_type(message);
    return (type == G_DBUS_MESSAGE_TYPE_METHOD_CALL || type == G_DBUS_MESSAGE_TYPE_SIGNAL) &&
           g_strcmp0(g_dbus_message_get_sender(message), kBusItself) != 0;
}

std::vector<Message> OfKind(const std::vector<Message>& messages, Message::Kind kind)
{
    std::vector<Message> result;
    std::copy_if(messages.begin(), messages.end(), std::back_inserter(result),
                 [kind](const Message& message) { return message.kind == kind; });
    return result;
}

} // namespace

Peer::Peer(std::string busName, Check check) : m_busName(std::move(busName)), m_check(std::move(check))
{
    m_thread.Run([this] { Connect(); });
}

Peer::~Peer()
{
    m_thread.Run([this] { Disconnect(); });
}

void Peer::Answers(const std::string& member, GVariant* body)
{
    Util::VariantPtr owned = Util::TakeBody(body);
    DemandTuple(owned.get());
    m_thread.Run([&] { m_answers[member] = Answer{std::move(owned), {}, {}}; });
}

void Peer::AnswersWithError(const std::string& member, const std::string& errorName, const std::string& text)
{
    m_thread.Run([&] { m_answers[member] = Answer{nullptr, errorName, text}; });
}

void Peer::Stalls(const std::string& member)
{
    m_thread.Run([&] { m_stalling.insert(member); });
}

void Peer::Releases(const std::string& member)
{
    m_thread.Run([&] {
        m_stalling.erase(member);
        const auto isOther = [&](const Util::MessagePtr& call) {
            return g_dbus_message_get_member(call.get()) != member;
        };
        const auto firstOfIt = std::stable_partition(m_stalled.begin(), m_stalled.end(), isOther);
        std::for_each(firstOfIt, m_stalled.end(), [this](const Util::MessagePtr& call) { Reply(call.get()); });
        m_stalled.erase(firstOfIt, m_stalled.end());
    });
}

void Peer::StallsEverything()
{
    m_thread.Run([this] {
        m_stallsEverything = true;
        m_errorToEverything = {};
    });
}

void Peer::AnswersEverythingWithError(const std::string& errorName, const std::string& text)
{
    m_thread.Run([&] {
        m_stallsEverything = false;
        m_errorToEverything = Answer{nullptr, errorName, text};
        ReplyToStalled();
    });
}

void Peer::AnswersEverything()
{
    m_thread.Run([this] {
        m_stallsEverything = false;
        m_errorToEverything = {};
        ReplyToStalled();
    });
}

void Peer::AnswersNext(const std::string& member)
{
    m_thread.Run([&] { m_answeredNext.insert(member); });
}

std::size_t Peer::StalledCalls() const
{
    std::size_t count = 0;
    m_thread.Run([&] { count = m_stalled.size(); });
    return count;
}

void Peer::ReleasesOldest()
{
    m_thread.Run([this] {
        if (!m_stalled.empty()) {
            Reply(m_stalled.front().get());
            m_stalled.erase(m_stalled.begin());
        }
    });
}

void Peer::VanishesOn(const std::string& member)
{
    m_thread.Run([&] { m_vanishingOn.insert(member); });
}

void Peer::Vanishes()
{
    m_thread.Run([this] { Disconnect(); });
}

void Peer::Reappears()
{
    m_thread.Run([this] {
        Disconnect();
        Connect();
    });
}

bool Peer::IsThere() const
{
    bool isThere = false;
    m_thread.Run([&] { isThere = m_connection && g_dbus_connection_is_closed(m_connection.get()) == FALSE; });
    return isThere;
}

void Peer::OwnsToo(const std::string& busName)
{
    m_thread.Run([&] { RequestName(busName); });
}

void Peer::Emits(const std::string& path, const std::string& interface, const std::string& member, GVariant* body,
                 const char* destination)
{
    const Util::VariantPtr owned = Util::TakeBody(body);
    DemandTuple(owned.get());
    m_thread.Run([&] {
        GError* failure = nullptr;
        m_hasSent = true;
        if (!m_connection ||
            g_dbus_connection_emit_signal(m_connection.get(), destination, path.c_str(), interface.c_str(),
                                          member.c_str(), owned.get(), &failure) == FALSE) {
            Throw("the peer could not emit " + member, failure);
        }
    });
}

std::vector<Message> Peer::Messages() const
{
    std::vector<Message> messages;
    m_thread.Run([&] { messages = m_messages; });
    return messages;
}

std::vector<Message> Peer::Calls() const
{
    return OfKind(Messages(), Message::Kind::Call);
}

std::vector<Message> Peer::Signals() const
{
    return OfKind(Messages(), Message::Kind::Signal);
}

void Peer::Clear()
{
    m_thread.Run([this] { m_messages.clear(); });
}

bool Peer::WaitForMessages(std::size_t count, std::chrono::milliseconds deadline) const
{
    return IterateUntil([&] { return Messages().size() >= count; }, deadline);
}

std::vector<std::string> Peer::Violations() const
{
    std::vector<std::string> violations;
    m_thread.Run([&] { violations = m_violations; });
    return violations;
}

std::vector<std::string> Peer::TakeViolations()
{
    std::vector<std::string> violations;
    m_thread.Run([&] { violations = std::exchange(m_violations, {}); });
    return violations;
}

void Peer::Synchronize()
{
    // The first brings in what the bus had; that is handled before the second, which pushes out what was sent.
    m_thread.Run([this] { AskBusForId(); });
    m_thread.Run([this] {
        if (std::exchange(m_hasSent, false)) {
            AskBusForId();
        }
    });
}

/// All connections share GDBus's thread, which takes one answer after the other. This call is not waited for in a
/// context of its own, so it leaves no descriptor itself.
void Peer::AwaitsGDBus()
{
    auto answered = std::make_unique<std::promise<void>>();
    const std::future<void> answer = answered->get_future();
    m_thread.Run([&] {
        if (!m_connection) {
            answered->set_value();
            return;
        }
        g_dbus_connection_call(m_connection.get(), kBusItself, kBusPath, kBusItself, "GetId", nullptr, nullptr,
                               G_DBUS_CALL_FLAGS_NONE, kNoTimeout, nullptr, OnAnswerThatIsAwaited, answered.release());
    });
    answer.wait();
}

/// Runs on GDBus's thread.
GDBusMessage* Peer::OnMessage(GDBusConnection* connection, GDBusMessage* message, gboolean incoming, gpointer userData)
{
    if (incoming == FALSE || !IsFromSomebody(message)) {
        return message;
    }
    const auto* data = static_cast<const FilterData*>(userData);
    const std::shared_ptr<GDBusConnection> heldConnection(G_DBUS_CONNECTION(g_object_ref(connection)), g_object_unref);
    const std::shared_ptr<GDBusMessage> heldMessage(message, g_object_unref);
    LoopThread::Post(data->context.get(), [peer = data->peer, heldConnection, heldMessage] {
        peer->HandleMessage(heldConnection.get(), heldMessage.get());
    });
    return nullptr; // so that GDBus does not answer for objects that it does not know
}

void Peer::Connect()
{
    GError* failure = nullptr;
    ConnectionPtr connection = OpenConnection(&failure);
    if (!connection) {
        Throw("the peer found no bus", failure);
    }
    m_connection = std::move(connection);
    auto data = std::make_unique<FilterData>(FilterData{m_thread.Context(), this});
    m_filter = g_dbus_connection_add_filter(m_connection.get(), OnMessage, data.release(), DeleteFilterData);
    if (!m_busName.empty()) {
        RequestName(m_busName);
    }
}

void Peer::RequestName(const std::string& busName) const
{
    constexpr guint32 kDoNotQueue = 4;
    constexpr guint32 kPrimaryOwner = 1;
    GError* failure = nullptr;
    const Util::VariantPtr reply =
        CallBus(m_connection.get(), "RequestName", g_variant_new("(su)", busName.c_str(), kDoNotQueue), &failure);
    guint32 result = 0;
    if (reply) {
        g_variant_get(reply.get(), "(u)", &result);
    }
    if (result != kPrimaryOwner) {
        Throw("the peer did not get the name " + busName, failure);
    }
}

void Peer::Disconnect()
{
    if (!m_connection) {
        return;
    }
    const std::string uniqueName = g_dbus_connection_get_unique_name(m_connection.get());
    // All of these may find that the bus itself has gone, which is a way to vanish, too.
    g_dbus_connection_flush_sync(m_connection.get(), nullptr, nullptr);
    g_dbus_connection_close_sync(m_connection.get(), nullptr, nullptr);
    g_dbus_connection_remove_filter(m_connection.get(), m_filter);
    m_connection.reset();
    m_stalled.clear();
    AwaitDeparture(uniqueName);
}

void Peer::AskBusForId() const
{
    if (m_connection) {
        // Without an error to look at: a bus that has gone has nothing more to bring.
        CallBus(m_connection.get(), "GetId", nullptr, nullptr);
    }
}

void Peer::HandleMessage(GDBusConnection* connection, GDBusMessage* message)
{
    if (connection != m_connection.get()) {
        return; // it has vanished since
    }
    Message recorded = ToMessage(message);
    std::string violation = m_check ? m_check(recorded) : std::string();
    if (!violation.empty()) {
        m_violations.push_back(std::move(violation));
    }
    const bool isCall = recorded.kind == Message::Kind::Call;
    m_messages.push_back(std::move(recorded));
    ++m_received;
    if (isCall) {
        HandleCall(message);
    }
}

void Peer::HandleCall(GDBusMessage* call)
{
    const std::string member = g_dbus_message_get_member(call);
    if (m_vanishingOn.erase(member) > 0) {
        Disconnect();
        return;
    }
    const bool isAnswered = m_answeredNext.erase(member) > 0;
    if (!isAnswered && (m_stallsEverything || m_stalling.count(member) > 0)) {
        m_stalled.emplace_back(G_DBUS_MESSAGE(g_object_ref(call)));
    } else {
        Reply(call);
    }
}

void Peer::ReplyToStalled()
{
    for (const Util::MessagePtr& call : m_stalled) {
        Reply(call.get());
    }
    m_stalled.clear();
}

const Peer::Answer& Peer::AnswerTo(const std::string& member) const
{
    static const Answer kEmpty = {};
    if (!m_errorToEverything.errorName.empty()) {
        return m_errorToEverything;
    }
    const auto answer = m_answers.find(member);
    return answer != m_answers.end() ? answer->second : kEmpty;
}

void Peer::Reply(GDBusMessage* call)
{
    if ((g_dbus_message_get_flags(call) & G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED) != 0) {
        return;
    }
    const Answer& answer = AnswerTo(g_dbus_message_get_member(call));
    const bool isError = !answer.errorName.empty();
    const Util::MessagePtr reply(
        isError ? g_dbus_message_new_method_error_literal(call, answer.errorName.c_str(), answer.errorText.c_str())
                : g_dbus_message_new_method_reply(call));
    if (!isError && answer.body) {
        g_dbus_message_set_body(reply.get(), answer.body.get());
    }
    m_hasSent = true;
    // The caller may have gone, or the bus; either is for the test to see.
    g_dbus_connection_send_message(m_connection.get(), reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
}

} // namespace support
