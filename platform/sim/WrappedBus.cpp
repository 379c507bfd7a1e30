// What the service asks of GLib, on the tape too: the messages that it sends, and what it is told in return.

#include "sim/Failures.h"
#include "sim/Handles.h"
#include "sim/HeldBack.h"
#include "sim/Side.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "sim/Wrapped.h"

#include <gio/gio.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

using sim::Entry;
using sim::EntryId;
using sim::Failures;
using sim::Kind;
using sim::Runs;
using sim::Side;
using sim::Television;

struct Unref
{
    void operator()(gpointer object) const
    {
        g_object_unref(object);
    }
};

struct FreeError
{
    void operator()(GError* error) const
    {
        g_error_free(error);
    }
};

using MessagePtr = std::unique_ptr<GDBusMessage, Unref>;
using ErrorPtr = std::unique_ptr<GError, FreeError>;

/// The service uses the connection that all of its process shares; a sibling of a test has one of its own.
bool IsOfService(GDBusConnection* connection)
{
    if (!Television::IsOn() || !sim::OnMainThread()) {
        return false;
    }
    const std::unique_ptr<GDBusConnection, Unref> shared(__real_g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    return shared.get() == connection;
}

std::string OrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

void AddBody(Entry& entry, GVariant* body)
{
    if (body == nullptr) {
        return;
    }
    const std::unique_ptr<char, decltype(&g_free)> text(g_variant_print(body, FALSE), g_free);
    entry.signature = g_variant_get_type_string(body);
    entry.body = text.get();
    entry.text += " " + entry.signature + " " + entry.body;
}

/// Where a message goes; each may be null.
struct Target
{
    const char* destination;
    const char* path;
    const char* interface;
    const char* member;
};

Entry Sent(const char* how, const Target& target, GVariant* body, int timeout = 0)
{
    Entry entry = {.kind = Kind::Bus,
                   .timeout = timeout,
                   .how = how,
                   .destination = OrEmpty(target.destination),
                   .interface = OrEmpty(target.interface),
                   .path = OrEmpty(target.path),
                   .member = OrEmpty(target.member)};
    entry.text = entry.how + " " + (entry.destination.empty() ? "everybody" : entry.destination) + " " + entry.member;
    AddBody(entry, body);
    return entry;
}

EntryId RecordMessage(GDBusConnection* connection, const char* how, GDBusMessage* message, int timeout = 0)
{
    if (!IsOfService(connection)) {
        return sim::kNoEntry;
    }
    const Target target = {g_dbus_message_get_destination(message), g_dbus_message_get_path(message),
                           g_dbus_message_get_interface(message), g_dbus_message_get_member(message)};
    return Television::Current().tape.Record(Sent(how, target, g_dbus_message_get_body(message), timeout));
}

/// A message that waits for its answer.
struct Asked
{
    EntryId entry;
    std::string destination;
    std::string member;
    GAsyncReadyCallback callback = nullptr;
    gpointer data = nullptr;
    MessagePtr made = nullptr; ///< the answer that takes the place of the true one
};

Asked AskedBy(GDBusMessage* message, EntryId entry)
{
    return {.entry = entry,
            .destination = OrEmpty(g_dbus_message_get_destination(message)),
            .member = OrEmpty(g_dbus_message_get_member(message))};
}

/// \param reply null when there is none; then \p error says why
Entry Answer(const Asked& asked, GDBusMessage* reply, const GError* error)
{
    Entry entry = {.kind = Kind::Reply,
                   .cause = asked.entry,
                   .how = "no reply",
                   .destination = asked.destination,
                   .member = asked.member};
    const char* name = reply != nullptr ? g_dbus_message_get_error_name(reply) : nullptr;
    if (reply != nullptr) {
        entry.how = name != nullptr ? "error" : "reply";
        entry.result = OrEmpty(name);
    } else {
        entry.result = error != nullptr ? error->message : "";
    }
    entry.text = entry.how + " " + entry.destination + " " + entry.member;
    entry.text += entry.result.empty() ? "" : ": " + entry.result;
    AddBody(entry, reply != nullptr ? g_dbus_message_get_body(reply) : nullptr);
    return entry;
}

/// What came of a message, on its way to the service, who asks for it in the callback.
struct Outcome
{
    MessagePtr reply;
    ErrorPtr error;
};

std::map<GAsyncResult*, Outcome>& Outcomes()
{
    static std::map<GAsyncResult*, Outcome> outcomes;
    return outcomes;
}

void OnAnswer(GObject* source, GAsyncResult* result, gpointer data)
{
    const std::unique_ptr<Asked> asked(static_cast<Asked*>(data));
    if (!Television::IsOn()) {
        asked->callback(source, result, asked->data);
        return;
    }
    GError* error = nullptr;
    MessagePtr reply(
        __real_g_dbus_connection_send_message_with_reply_finish(G_DBUS_CONNECTION(source), result, &error));
    if (asked->made && reply) {
        reply = std::move(asked->made);
    }
    const sim::Tape::Scope handles = Television::Current().tape.Begin(Answer(*asked, reply.get(), error));
    Outcomes()[result] = {std::move(reply), ErrorPtr(error)};
    {
        const sim::Handles holdsLoop;
        asked->callback(source, result, asked->data);
    }
    Outcomes().erase(result);
}

/// Who listens to a signal.
struct Listener
{
    GDBusSignalCallback callback;
    gpointer data;
    GDestroyNotify notify;
};

void OnSignal(GDBusConnection* connection, const gchar* sender, const gchar* path, const gchar* interface,
              const gchar* signal, GVariant* parameters, gpointer data)
{
    const auto* listener = static_cast<Listener*>(data);
    if (!Television::IsOn()) {
        listener->callback(connection, sender, path, interface, signal, parameters, listener->data);
        return;
    }
    Entry entry = {.kind = Kind::Signal,
                   .how = "signal",
                   .interface = OrEmpty(interface),
                   .path = OrEmpty(path),
                   .member = OrEmpty(signal)};
    entry.text = "signal from " + entry.interface + " " + entry.member;
    AddBody(entry, parameters);
    const sim::Tape::Scope handles = Television::Current().tape.Begin(std::move(entry));
    const sim::Handles holdsLoop;
    listener->callback(connection, sender, path, interface, signal, parameters, listener->data);
}

void FreeListener(gpointer data)
{
    const std::unique_ptr<Listener> listener(static_cast<Listener*>(data));
    if (listener->notify != nullptr) {
        listener->notify(listener->data);
    }
}

sim::HoldsBack& HeldBack()
{
    static sim::HoldsBack holdsBack;
    return holdsBack;
}

std::chrono::milliseconds LongestWait(gint timeout)
{
    constexpr gint kUsualTimeout = 25'000; // GDBus's own, in milliseconds
    return std::chrono::milliseconds(timeout >= 0 ? timeout : kUsualTimeout);
}

/// Lets the time pass for which the answer is held back.
/// \return whether the service has given up by then
bool WaitsInVain(GDBusMessage* message, gint timeout)
{
    if (!HeldBack()) {
        return false;
    }
    const std::chrono::milliseconds longest = LongestWait(timeout);
    const std::chrono::milliseconds held = HeldBack()(OrEmpty(g_dbus_message_get_destination(message)),
                                                      OrEmpty(g_dbus_message_get_member(message)), longest);
    sim::VirtualClock::Waits(std::min(held, longest));
    return held >= longest;
}

/// The error with which a call of GDBus ends, where somebody wants it so.
ErrorPtr ErrorOf(const char* function, std::optional<int> code)
{
    return ErrorPtr(code ? g_error_new(G_IO_ERROR, *code, "%s fails", function) : nullptr);
}

ErrorPtr FailureOf(const char* function)
{
    return ErrorOf(function, Television::Current().failures.Take(function));
}

/// True where the message is sent, and what comes of it is another answer, or none.
bool IsAnswer(std::optional<int> code)
{
    return code && *code <= Failures::kNoAnswer;
}

/// The answer to a message that has been sent; null where there is to be the true one.
MessagePtr AnswerOf(GDBusMessage* message, std::optional<int> code)
{
    if (!IsAnswer(code) || *code == Failures::kNoAnswer) {
        return nullptr;
    }
    if (*code > Failures::kAnswersError) {
        MessagePtr answer(g_dbus_message_new_method_reply(message));
        if (*code == Failures::kAnswersOther) {
            g_dbus_message_set_body(answer.get(), g_variant_new("(st)", "nobody asks for this", G_MAXUINT64));
        }
        return answer;
    }
    const char* name = Failures::kErrors[Failures::kAnswersError - *code];
    MessagePtr answer(g_dbus_message_new_method_error_literal(message, name, "fails"));
    constexpr const char* kOfTheBus[] = {"org.freedesktop.DBus.Error.ServiceUnknown",
                                         "org.freedesktop.DBus.Error.NoReply",
                                         "org.freedesktop.DBus.Error.LimitsExceeded"};
    if (std::ranges::find(kOfTheBus, std::string_view(name)) != std::end(kOfTheBus)) {
        g_dbus_message_set_sender(answer.get(), "org.freedesktop.DBus");
    }
    return answer;
}

/// As GDBus does where a message cannot be sent: the callback comes from the main loop, with the error.
void AnswerWith(ErrorPtr error, GDBusConnection* connection, GAsyncReadyCallback callback, gpointer data)
{
    const std::unique_ptr<GTask, Unref> task(g_task_new(connection, nullptr, callback, data));
    g_task_return_error(task.get(), error.release());
}

} // namespace

void sim::HoldAnswersBack(HoldsBack holdsBack)
{
    HeldBack() = std::move(holdsBack);
}

gboolean __wrap_g_dbus_connection_send_message(GDBusConnection* connection, GDBusMessage* message,
                                               GDBusSendMessageFlags flags, volatile guint32* serial, GError** error)
{
    const Runs runs(Side::Television);
    const EntryId entry = RecordMessage(connection, "call", message);
    if (ErrorPtr failure = entry != sim::kNoEntry ? FailureOf("g_dbus_connection_send_message") : nullptr) {
        g_propagate_error(error, failure.release());
        return FALSE;
    }
    return __real_g_dbus_connection_send_message(connection, message, flags, serial, error);
}

void __wrap_g_dbus_connection_send_message_with_reply(GDBusConnection* connection, GDBusMessage* message,
                                                      GDBusSendMessageFlags flags, gint timeout,
                                                      volatile guint32* serial, GCancellable* cancellable,
                                                      GAsyncReadyCallback callback, gpointer data)
{
    const Runs runs(Side::Television);
    const EntryId entry = RecordMessage(connection, "request", message, timeout);
    if (entry == sim::kNoEntry || callback == nullptr) {
        __real_g_dbus_connection_send_message_with_reply(connection, message, flags, timeout, serial, cancellable,
                                                         callback, data);
        return;
    }
    auto asked = std::make_unique<Asked>(AskedBy(message, entry)); // OnAnswer, which is always called, frees it
    asked->callback = callback;
    asked->data = data;
    const std::optional<int> code = Television::Current().failures.Take("g_dbus_connection_send_message_with_reply");
    if (code && !IsAnswer(code)) {
        AnswerWith(ErrorOf("g_dbus_connection_send_message_with_reply", code), connection, OnAnswer, asked.release());
        return;
    }
    if (code == Failures::kNoAnswer) {
        __real_g_dbus_connection_send_message(connection, message, flags, serial, nullptr);
        return;
    }
    Asked& waiting = *asked;
    __real_g_dbus_connection_send_message_with_reply(connection, message, flags, timeout, serial, cancellable, OnAnswer,
                                                     asked.release());
    waiting.made = AnswerOf(message, code); // now that it has a number, and before the loop brings the true one
}

GDBusMessage* __wrap_g_dbus_connection_send_message_with_reply_finish(GDBusConnection* connection, GAsyncResult* result,
                                                                      GError** error)
{
    const Runs runs(Side::Television);
    const auto found = Outcomes().find(result);
    if (found == Outcomes().end()) {
        return __real_g_dbus_connection_send_message_with_reply_finish(connection, result, error);
    }
    Outcome outcome = std::move(found->second);
    if (outcome.error) {
        g_propagate_error(error, outcome.error.release());
    }
    return outcome.reply.release();
}

GDBusMessage* __wrap_g_dbus_connection_send_message_with_reply_sync(GDBusConnection* connection, GDBusMessage* message,
                                                                    GDBusSendMessageFlags flags, gint timeout,
                                                                    volatile guint32* serial, GCancellable* cancellable,
                                                                    GError** error)
{
    const Runs runs(Side::Television);
    const EntryId entry = RecordMessage(connection, "ask", message, timeout);
    GError* failure = nullptr;
    GDBusMessage* reply = nullptr;
    constexpr const char* kName = "g_dbus_connection_send_message_with_reply_sync";
    const std::optional<int> code = entry != sim::kNoEntry ? Television::Current().failures.Take(kName) : std::nullopt;
    if (code == Failures::kNoAnswer) {
        __real_g_dbus_connection_send_message(connection, message, flags, serial, nullptr);
        sim::VirtualClock::Waits(LongestWait(timeout));
        failure = ErrorOf(kName, G_IO_ERROR_TIMED_OUT).release();
    } else if (code && !IsAnswer(code)) {
        failure = ErrorOf(kName, code).release();
    } else if (entry != sim::kNoEntry && WaitsInVain(message, timeout)) {
        __real_g_dbus_connection_send_message(connection, message, flags, serial, nullptr);
        g_set_error_literal(&failure, G_IO_ERROR, G_IO_ERROR_TIMED_OUT, "Timeout was reached"); // as GDBus says it
    } else {
        reply = __real_g_dbus_connection_send_message_with_reply_sync(connection, message, flags, timeout, serial,
                                                                      cancellable, &failure);
        if (MessagePtr made = reply != nullptr ? AnswerOf(message, code) : nullptr) {
            g_object_unref(std::exchange(reply, made.release()));
        }
    }
    if (entry != sim::kNoEntry) {
        Television::Current().tape.Record(Answer(AskedBy(message, entry), reply, failure));
    }
    if (failure != nullptr) {
        g_propagate_error(error, failure);
    }
    return reply;
}

gboolean __wrap_g_dbus_connection_emit_signal(GDBusConnection* connection, const gchar* destination, const gchar* path,
                                              const gchar* interface, const gchar* signal, GVariant* parameters,
                                              GError** error)
{
    const Runs runs(Side::Television);
    if (IsOfService(connection)) {
        Television::Current().tape.Record(Sent("signal", {destination, path, interface, signal}, parameters));
        if (ErrorPtr failure = FailureOf("g_dbus_connection_emit_signal")) {
            g_propagate_error(error, failure.release());
            return FALSE;
        }
    }
    return __real_g_dbus_connection_emit_signal(connection, destination, path, interface, signal, parameters, error);
}

guint __wrap_g_dbus_connection_signal_subscribe(GDBusConnection* connection, const gchar* sender,
                                                const gchar* interface, const gchar* member, const gchar* path,
                                                const gchar* argument, GDBusSignalFlags flags,
                                                GDBusSignalCallback callback, gpointer data, GDestroyNotify notify)
{
    const Runs runs(Side::Television);
    if (!IsOfService(connection) || callback == nullptr) {
        return __real_g_dbus_connection_signal_subscribe(connection, sender, interface, member, path, argument, flags,
                                                         callback, data, notify);
    }
    if (Television::Current().failures.Take("g_dbus_connection_signal_subscribe")) {
        return 0;
    }
    auto listener = std::make_unique<Listener>(Listener{callback, data, notify}); // freed when the subscription ends
    return __real_g_dbus_connection_signal_subscribe(connection, sender, interface, member, path, argument, flags,
                                                     OnSignal, listener.release(), FreeListener);
}

GDBusConnection* __wrap_g_bus_get_sync(GBusType type, GCancellable* cancellable, GError** error)
{
    const Runs runs(Side::Television);
    // The service wants to know why it fails. Who looks from outside takes the connection that there is, or none.
    const bool isOfService = error != nullptr && Television::IsOn() && sim::OnMainThread();
    if (ErrorPtr failure = isOfService ? FailureOf("g_bus_get_sync") : nullptr) {
        g_propagate_error(error, failure.release());
        return nullptr;
    }
    return __real_g_bus_get_sync(type, cancellable, error);
}

guint __wrap_g_bus_own_name(GBusType type, const gchar* name, GBusNameOwnerFlags flags,
                            GBusAcquiredCallback busAcquired, GBusNameAcquiredCallback nameAcquired,
                            GBusNameLostCallback nameLost, gpointer data, GDestroyNotify notify)
{
    const Runs runs(Side::Television);
    if (Television::IsOn() && sim::OnMainThread()) {
        Television::Current().failures.Take("g_bus_own_name");
    }
    return __real_g_bus_own_name(type, name, flags, busAcquired, nameAcquired, nameLost, data, notify);
}
