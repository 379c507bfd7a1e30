#include "vyrel-companion/Companion.h"

#include "bluez/Address.h"
#include "bus/Handles.h"
#include "people/Failure.h"
#include "people/Words.h"
#include "vyrel-companion/Notices.h"
#include "vyrel-companion/Rules.h"

#include <glib-object.h>
#include <glib-unix.h>

#include <bt_audio.h>
#include <companion_dbus.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <optional>
#include <string>
#include <utility>

namespace companion {

namespace {

constexpr const char* kName = "com.quorix.tv.bt.connectionmanager";
constexpr const char* kPath = "/com/quorix/tv/bt/connectionmanager";
constexpr guint kDoNotQueue = 4;
constexpr guint kIsOwner = 1;

Rules RulesOf(const Options& options)
{
    Rules rules = ReadRules(options.config.empty() ? options.root + "/etc/vyrel-lite/companion.conf" : options.config);
    rules.rule = options.rule.value_or(rules.rule);
    return rules;
}

std::string AddressIn(GVariant* arguments)
{
    const char* address = nullptr;
    g_variant_get_child(arguments, 0, "&s", &address);
    return bluez::IsAddress(address) ? bluez::Normalised(address) : "";
}

/// What is no news for people: signs of life, and what the door tells in its own words.
bool IsSilent(std::string_view member)
{
    constexpr std::array<std::string_view, 4> kSilent = {"Hello", "AuthorizationRequest", "AuthenticaionRequest",
                                                         "SspConcentRequest"};
    return std::ranges::find(kSilent, member) != kSilent.end();
}

} // namespace

Companion::Companion(const Options& options)
    : m_loop(g_main_loop_new(nullptr, FALSE)),
      m_friends(options.root),
      m_speaker(m_bus.Connection(), options.root),
      m_door(m_bus.Connection(), m_friends, m_terminal, RulesOf(options))
{
    m_closed = g_signal_connect(m_bus.Connection(), "closed", G_CALLBACK(OnClosed), this);
    Export();
    // Whoever sees the name may end this program at once, which then has to end in order.
    m_sources.push_back(g_unix_signal_add(SIGINT, OnStop, this));
    m_sources.push_back(g_unix_signal_add(SIGTERM, OnStop, this));
    OwnName();
}

Companion::~Companion()
{
    for (const guint source : m_sources) {
        g_source_remove(source);
    }
    g_dbus_connection_unregister_object(m_bus.Connection(), m_object);
    g_dbus_connection_signal_unsubscribe(m_bus.Connection(), m_signals);
    g_signal_handler_disconnect(m_bus.Connection(), m_closed);
    g_dbus_connection_close_sync(m_bus.Connection(), nullptr, nullptr);
    // What was asked is answered now: by an error, since the connection is closed.
    while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
    }
}

void Companion::Export()
{
    static const GDBusInterfaceVTable kTable = {OnCall, nullptr, nullptr, {}};
    m_object = g_dbus_connection_register_object(
        m_bus.Connection(), kPath, companion_connectionmanager_interface_info(), &kTable, this, nullptr, nullptr);
    // Its signals are addressed to the connection manager, not sent by it.
    m_signals = g_dbus_connection_signal_subscribe(m_bus.Connection(), people::kService, kName, nullptr, nullptr,
                                                   nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, this, nullptr);
}

void Companion::OwnName() const
{
    GError* failure = nullptr;
    const bus::VariantPtr reply(g_dbus_connection_call_sync(
        m_bus.Connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", kName, kDoNotQueue), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, people::kPatienceMs,
        nullptr, &failure));
    const bus::ErrorPtr error(failure);
    if (g_error_matches(failure, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED) != FALSE) {
        throw people::Failure(people::kNoRight, "this user may not be the connection manager: be root or the user "
                                                "\"vyrel-companion\"");
    }
    if (!reply) {
        throw people::FailureOf("the message bus", failure);
    }
    guint32 outcome = 0;
    g_variant_get(reply.get(), "(u)", &outcome);
    if (outcome != kIsOwner) {
        throw people::Failure(people::kRefused, "another connection manager runs");
    }
}

void Companion::Run()
{
    Tell("waiting for the service's word");
    g_main_loop_run(m_loop.get());
    if (m_hasLostBus) {
        throw people::Failure(people::kFailure, "the message bus is gone");
    }
}

void Companion::OnCall(GDBusConnection*, const char*, const char*, const char*, const char* method, GVariant* arguments,
                       GDBusMethodInvocation* invocation, gpointer self)
{
    g_dbus_method_invocation_return_value(invocation, nullptr);
    static_cast<Companion*>(self)->Take(method, arguments);
}

void Companion::OnSignal(GDBusConnection*, const char*, const char*, const char*, const char* signal,
                         GVariant* arguments, gpointer self)
{
    static_cast<Companion*>(self)->Take(signal, arguments);
}

void Companion::Take(std::string_view member, GVariant* arguments)
{
    if (!IsSilent(member)) {
        Tell(people::InWords(std::string(member), arguments));
    }
    if (member == "AuthorizationRequest" || member == "AuthenticaionRequest" || member == "SspConcentRequest") {
        m_door.Look();
    } else if (member == "AudioConnectionStateChanged") {
        TakeAudio(arguments);
    } else if (member == "CheckConnectedDevice") {
        m_speaker.LookForConnected();
    } else if (member == "LastConnectedBtSpk") {
        m_speaker.CallBack();
    } else if (member == "A2dpPowerOn") {
        m_speaker.CallBack(AddressIn(arguments));
    } else if (member == "AdapterDisabled") {
        m_speaker.LetBe();
    } else if (member == "BondDestroied") {
        m_friends.Remove(AddressIn(arguments));
        m_speaker.ForgetIfLast(AddressIn(arguments));
    } else if (member == "DeleteDatabase") {
        m_friends.Clear();
        m_speaker.Forget();
    }
}

void Companion::TakeAudio(GVariant* arguments)
{
    int profile = 0;
    int connected = 0;
    g_variant_get_child(arguments, 1, "i", &profile);
    g_variant_get_child(arguments, 3, "i", &connected);
    const std::string address = AddressIn(arguments);
    if (profile == BT_AUDIO_PROFILE_A2DP_SOURCE && connected != 0 && !address.empty()) {
        m_speaker.Connected(address);
    }
}

void Companion::OnClosed(GDBusConnection*, gboolean, GError*, gpointer self)
{
    auto* companion = static_cast<Companion*>(self);
    companion->m_hasLostBus = true;
    g_main_loop_quit(companion->m_loop.get());
}

gboolean Companion::OnStop(gpointer self)
{
    g_main_loop_quit(static_cast<Companion*>(self)->m_loop.get());
    return G_SOURCE_CONTINUE;
}

} // namespace companion
