#include "vyrel-companion/Door.h"

#include "bus/Handles.h"
#include "bus/Remote.h"
#include "bus/SystemBus.h"
#include "people/Bus.h"
#include "people/Failure.h"
#include "people/Words.h"
#include "vyrel-companion/Notices.h"

#include <glib-object.h>

#include <bt_adapter.h>

#include <functional>
#include <utility>
#include <vector>

namespace companion {

namespace {

bool IsAuthentication(const people::Request& request, int code)
{
    return request.kind == "authentication" && request.code == code;
}

/// It is only shown, and answered at the other end.
bool IsNotice(const people::Request& request)
{
    return IsAuthentication(request, BT_AUTHENTICATION_PIN_DISPLAY) ||
           IsAuthentication(request, BT_AUTHENTICATION_PASSKEY_DISPLAY);
}

std::string Who(const people::Request& request)
{
    return request.address + (request.name.empty() ? "" : " \"" + request.name + "\"");
}

/// Whether a person at a terminal meant yes.
bool IsYes(const std::string& answer)
{
    return answer == "y" || answer == "Y" || answer == "yes";
}

} // namespace

Door::Door(GDBusConnection* connection, Friends& friends, Terminal& terminal, Rules rules)
    : m_connection(connection),
      m_friends(friends),
      m_terminal(terminal),
      m_rules(std::move(rules)),
      m_done(g_dbus_connection_signal_subscribe(connection, bus::kOwnName, people::kPairing, "Done", bus::kOwnPath,
                                                nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnDone, this, nullptr)),
      m_watch(g_bus_watch_name_on_connection(connection, bus::kOwnName, G_BUS_NAME_WATCHER_FLAGS_NONE, OnCame, OnWent,
                                             this, nullptr))
{}

Door::~Door()
{
    g_bus_unwatch_name(m_watch);
    g_dbus_connection_signal_unsubscribe(m_connection, m_done);
}

void Door::OnCame(GDBusConnection*, const char*, const char*, gpointer self)
{
    static_cast<Door*>(self)->Look(); // what was asked before this companion ran
}

void Door::OnWent(GDBusConnection*, const char*, gpointer self)
{
    auto* door = static_cast<Door*>(self);
    door->m_seen.clear();
    door->m_terminal.WithdrawAll("the service is gone");
}

void Door::OnDone(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* body, gpointer self)
{
    auto* door = static_cast<Door*>(self);
    if (g_variant_is_of_type(body, G_VARIANT_TYPE("(ts)")) == FALSE) {
        return;
    }
    guint64 id = 0;
    const char* outcome = nullptr;
    g_variant_get(body, "(t&s)", &id, &outcome);
    door->m_seen.erase(id);
    door->m_terminal.Withdraw(id, std::string("too late: ") + outcome);
}

void Door::Look()
{
    g_dbus_connection_call(m_connection, bus::kOwnName, bus::kOwnPath, people::kPairing, "ListPending", nullptr,
                           G_VARIANT_TYPE(people::kRequestsType), G_DBUS_CALL_FLAGS_NO_AUTO_START, people::kPatienceMs,
                           nullptr, bus::OnDone, bus::Done([this](GObject* connection, GAsyncResult* result) {
                               GError* failure = nullptr;
                               const bus::VariantPtr reply(
                                   g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &failure));
                               const bus::ErrorPtr error(failure);
                               if (!reply) {
                                   Complain(std::string("who waits cannot be seen: ") +
                                            people::FailureOf("the service", error.get()).what());
                                   return;
                               }
                               for (const people::Request& request : people::RequestsIn(reply.get())) {
                                   if (m_seen.insert(request.id).second) {
                                       Decide(request);
                                   }
                               }
                           }));
}

void Door::Decide(const people::Request& request)
{
    const bool isLetIn = m_rules.rule != Rule::Never && m_friends.Know(request.address) &&
                         !IsAuthentication(request, BT_AUTHENTICATION_PASSKEY_ENTRY);
    if (IsNotice(request)) {
        Tell(Who(request) + ": " + people::RequestInWords(request.kind, request.code, request.passkey, ""));
    } else if (isLetIn) {
        Accept(request, IsAuthentication(request, BT_AUTHENTICATION_PIN_ENTRY) ? m_rules.pin : "");
    } else if (m_rules.rule == Rule::Ask && m_terminal.IsThere()) {
        AskPerson(request);
    } else {
        Refuse(request);
    }
}

void Door::AskPerson(const people::Request& request)
{
    const bool wantsCode = IsAuthentication(request, BT_AUTHENTICATION_PIN_ENTRY) ||
                           IsAuthentication(request, BT_AUTHENTICATION_PASSKEY_ENTRY);
    const std::string question =
        Who(request) + ": " + people::RequestInWords(request.kind, request.code, request.passkey, "");
    m_terminal.Ask(request.id, question + (wantsCode ? " (nothing refuses it):" : " [y/N]"),
                   [this, request, wantsCode](const std::string& answer) {
                       if (wantsCode ? !answer.empty() : IsYes(answer)) {
                           Accept(request, wantsCode ? answer : "");
                       } else {
                           Refuse(request);
                       }
                   });
}

void Door::Accept(const people::Request& request, const std::string& code)
{
    Tell(Who(request) + " is let in");
    if (!m_friends.Know(request.address)) {
        m_friends.Add(request.address, request.name);
    }
    Answer(request, true, code);
}

void Door::Refuse(const people::Request& request)
{
    Tell(Who(request) + " is refused");
    Answer(request, false, "");
}

void Door::Answer(const people::Request& request, bool accept, const std::string& code)
{
    const people::Answer answer = people::AnswerTo(request, accept, code, accept);
    g_dbus_connection_call(
        m_connection, bus::kOwnName, bus::kOwnPath, people::kPairing, answer.method, answer.arguments, nullptr,
        G_DBUS_CALL_FLAGS_NO_AUTO_START, people::kPatienceMs, nullptr, bus::OnDone,
        bus::Done([who = Who(request)](GObject* connection, GAsyncResult* result) {
            GError* failure = nullptr;
            const bus::VariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &failure));
            const bus::ErrorPtr error(failure);
            if (!reply) {
                Complain(who + " cannot be answered: " + people::FailureOf("the service", error.get()).what());
            }
        }));
}

} // namespace companion
