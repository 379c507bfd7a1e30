#include "bluez/Broker.h"

#include "Log.h"
#include "bluez/Address.h"
#include "bluez/Daemon.h"
#include "bluez/Proxy.h"
#include "bluez/Stack.h"
#include "bluez/Tree.h"
#include "bus/Remote.h"
#include "bus/SystemBus.h"

#include <glib-object.h>

#include <bluez_dbus.h>
#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>
#include <vantor_dbus.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <functional>
#include <iterator>
#include <optional>
#include <system_error>
#include <utility>

namespace bluez {

namespace {

constexpr const char* kAgentPath = "/org/vantor/platform/agent";
constexpr const char* kCapability = "DisplayYesNo";
constexpr const char* kRejected = "org.bluez.Error.Rejected";
constexpr const char* kCanceled = "org.bluez.Error.Canceled";
constexpr const char* kNotPending = "org.vantor.platform.Error.NotPending";
constexpr guint kPatienceMs = 25000;
constexpr gint64 kUsPerMs = 1000;
constexpr guint kHighestPasskey = 999999;
constexpr std::size_t kLongestPin = 16;

// The numbers of services that the service is told, beside that of audio, are the platform's own.
constexpr int kServiceOther = 0;
constexpr int kServiceInput = 5;
constexpr int kServiceHandsFree = 7;
constexpr auto kServices = std::to_array<std::pair<std::string_view, int>>({
    {"110a", BT_PROFILE_SERVICE_AUDIO},
    {"110b", BT_PROFILE_SERVICE_AUDIO},
    {"110c", BT_PROFILE_SERVICE_AUDIO},
    {"110d", BT_PROFILE_SERVICE_AUDIO},
    {"110e", BT_PROFILE_SERVICE_AUDIO},
    {"111e", kServiceHandsFree},
    {"111f", kServiceHandsFree},
    {"1108", kServiceHandsFree},
    {"1112", kServiceHandsFree},
    {"1124", kServiceInput},
});

int ServiceOf(std::string_view uuid)
{
    for (const auto& [uuid16, service] : kServices) {
        if (IsUuid(uuid, uuid16)) {
            return service;
        }
    }
    return kServiceOther;
}

std::string SixDigits(guint passkey)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%06u", passkey);
    return text.data();
}

std::optional<guint> PasskeyIn(std::string_view text)
{
    guint passkey = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), passkey);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && passkey <= kHighestPasskey ? std::optional(passkey) : std::nullopt;
}

bool IsPin(std::string_view text)
{
    return !text.empty() && text.size() <= kLongestPin;
}

void Refuse(GDBusMethodInvocation* invocation, const char* error, const char* text)
{
    g_dbus_method_invocation_return_dbus_error(invocation, error, text);
}

} // namespace

/// Connects a call of generated code to a member function. The agent's calls are the daemon's to make; anybody else,
/// who can send them as well, is turned away.
template <auto Member>
struct Handler;

template <typename... Arguments, gboolean (Broker::*Member)(GDBusMethodInvocation*, Arguments...)>
struct Handler<Member>
{
    static gboolean Call(gpointer, GDBusMethodInvocation* invocation, Arguments... arguments, gpointer broker)
    {
        return (static_cast<Broker*>(broker)->*Member)(invocation, arguments...);
    }

    static gboolean CallOfDaemon(gpointer, GDBusMethodInvocation* invocation, Arguments... arguments, gpointer broker)
    {
        if (!static_cast<Broker*>(broker)->IsFromDaemon(invocation)) {
            g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_ACCESS_DENIED,
                                                  "only the Bluetooth daemon may ask");
            return TRUE;
        }
        return (static_cast<Broker*>(broker)->*Member)(invocation, arguments...);
    }
};

Broker::~Broker()
{
    BusWent();
}

void Broker::BusSettled(GDBusConnection* connection)
{
    ExportPairing(connection);
}

void Broker::ExportAgent(GDBusConnection* connection)
{
    m_agent.reset(bluez_agent1_skeleton_new());
    BluezAgent1* agent = m_agent.get();
    const auto on = [&](const char* call, GCallback handler) { g_signal_connect(agent, call, handler, this); };
    on("handle-release", G_CALLBACK(Handler<&Broker::OnRelease>::CallOfDaemon));
    on("handle-request-pin-code", G_CALLBACK(Handler<&Broker::OnPinCode>::CallOfDaemon));
    on("handle-display-pin-code", G_CALLBACK(Handler<&Broker::OnShowPinCode>::CallOfDaemon));
    on("handle-request-passkey", G_CALLBACK(Handler<&Broker::OnPasskey>::CallOfDaemon));
    on("handle-display-passkey", G_CALLBACK(Handler<&Broker::OnShowPasskey>::CallOfDaemon));
    on("handle-request-confirmation", G_CALLBACK(Handler<&Broker::OnConfirmation>::CallOfDaemon));
    on("handle-request-authorization", G_CALLBACK(Handler<&Broker::OnAuthorization>::CallOfDaemon));
    on("handle-authorize-service", G_CALLBACK(Handler<&Broker::OnService>::CallOfDaemon));
    on("handle-cancel", G_CALLBACK(Handler<&Broker::OnCancel>::CallOfDaemon));
    g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(agent), connection, kAgentPath, nullptr);
}

void Broker::ExportPairing(GDBusConnection* connection)
{
    m_pairing.reset(vantor_pairing1_skeleton_new());
    VantorPairing1* pairing = m_pairing.get();
    const auto on = [&](const char* call, GCallback handler) { g_signal_connect(pairing, call, handler, this); };
    on("handle-answer-authentication", G_CALLBACK(Handler<&Broker::OnAnswerAuthentication>::Call));
    on("handle-answer-consent", G_CALLBACK(Handler<&Broker::OnAnswerConsent>::Call));
    on("handle-answer-service", G_CALLBACK(Handler<&Broker::OnAnswerService>::Call));
    on("handle-list-pending", G_CALLBACK(Handler<&Broker::OnListPending>::Call));
    g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(pairing), connection, bus::kOwnPath, nullptr);
}

void Broker::BusWent()
{
    CancelAll();
    if (m_agent) {
        g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(m_agent.get()));
        m_agent.reset();
    }
    if (m_pairing) {
        g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(m_pairing.get()));
        m_pairing.reset();
    }
}

void Broker::ManagerCame()
{
    const auto manager = MakeProxy<bluez_agent_manager1_proxy_new_sync>(m_stack.daemon.Remote(), kManagerPath);
    if (!manager) {
        return;
    }
    if (!m_agent) {
        ExportAgent(m_stack.daemon.Remote().connection);
    }
    bluez_agent_manager1_call_register_agent(
        manager.get(), kAgentPath, kCapability, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, bus::OnDone,
        bus::Done([this](GObject* source, GAsyncResult* result) {
            GError* failure = nullptr;
            bluez_agent_manager1_call_register_agent_finish(BLUEZ_AGENT_MANAGER1(source), result, &failure);
            const bus::ErrorPtr error(failure);
            const bus::TextPtr name(error ? g_dbus_error_get_remote_error(error.get()) : nullptr);
            // Known already, which is as good.
            if (error && g_strcmp0(name.get(), "org.bluez.Error.AlreadyExists") != 0) {
                PLATFORM_LOG(DLOG_ERROR, "cannot become the pairing agent: %s", error->message);
                return;
            }
            RequestDefault();
        }));
}

void Broker::RequestDefault() const
{
    const auto manager = MakeProxy<bluez_agent_manager1_proxy_new_sync>(m_stack.daemon.Remote(), kManagerPath);
    if (!manager) {
        return;
    }
    bluez_agent_manager1_call_request_default_agent(
        manager.get(), kAgentPath, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, bus::OnDone,
        bus::Done([](GObject* source, GAsyncResult* result) {
            GError* failure = nullptr;
            if (bluez_agent_manager1_call_request_default_agent_finish(BLUEZ_AGENT_MANAGER1(source), result,
                                                                       &failure) == FALSE) {
                const bus::ErrorPtr error(failure);
                PLATFORM_LOG(DLOG_ERROR, "cannot become the default pairing agent: %s", error->message);
            }
        }));
}

void Broker::DaemonWent()
{
    CancelAll();
}

bool Broker::IsFromDaemon(GDBusMethodInvocation* call) const
{
    return m_stack.daemon.IsFrom(g_dbus_method_invocation_get_sender(call));
}

bool Broker::IsHeard(Kind kind) const
{
    switch (kind) {
    case Kind::Authentication:
        return onAuthentication.IsSet();
    case Kind::Consent:
        return onConsent.IsSet();
    default:
        return onService.IsSet();
    }
}

void Broker::Ask(GDBusMethodInvocation* invocation, const char* device, Kind kind, int code, std::string passkey,
                 std::string uuid)
{
    const bool isShown = kind == Kind::Authentication &&
                         (code == BT_AUTHENTICATION_PIN_DISPLAY || code == BT_AUTHENTICATION_PASSKEY_DISPLAY);
    const Device* known = m_stack.daemon.Objects().DeviceAt(device);
    if (known == nullptr || !IsHeard(kind) || !m_stack.MayTell()) {
        PLATFORM_LOG(DLOG_WARN, "a pairing request of %s is refused: %s", device,
                     known == nullptr ? "no such device" : "nobody is there to be asked");
        Refuse(invocation, kRejected, "nobody is there to be asked");
        return;
    }
    const auto shownAlready = std::ranges::find_if(m_requests, [&](const auto& request) {
        return isShown && request->device == device && request->code == code && request->passkey == passkey;
    });
    if (isShown) {
        g_dbus_method_invocation_return_value(invocation, nullptr);
        if (shownAlready != m_requests.end()) {
            return; // only the number of typed keys is another
        }
    }
    auto request = std::make_unique<Request>();
    request->id = ++m_lastId;
    request->kind = kind;
    request->device = device;
    request->address = known->address;
    request->name = known->name;
    request->code = code;
    request->passkey = std::move(passkey);
    request->uuid = std::move(uuid);
    request->invocation.reset(isShown ? nullptr : invocation);
    request->deadline = g_get_monotonic_time() + kPatienceMs * kUsPerMs;
    const Request& asked = *m_requests.emplace_back(std::move(request));
    m_requests.back()->patience.Start(kPatienceMs, [this, id = asked.id] {
        const auto late = std::ranges::find_if(m_requests, [&](const auto& one) { return one->id == id; });
        if (late != m_requests.end()) {
            Reject(late, "timeout");
        }
    });
    constexpr std::array<const char*, 3> kKinds = {"authentication", "consent", "service"};
    // Who comes later finds it in the list.
    if (m_pairing) {
        vantor_pairing1_emit_request(m_pairing.get(), asked.id, kKinds.at(static_cast<std::size_t>(kind)),
                                     asked.address.c_str(), asked.name.c_str(), asked.code, asked.passkey.c_str(),
                                     asked.uuid.c_str());
    }
    TellService(asked);
}

void Broker::TellService(const Request& request) const
{
    // Copies, because the service may answer from within, which ends the request, and may write to what it is handed.
    std::string address = request.address;
    std::string name = request.name;
    std::string passkey = request.passkey;
    const int code = request.code;
    switch (request.kind) {
    case Kind::Authentication:
        onAuthentication.Tell(int{BT_ERROR_NONE}, code, name.data(), address.data(), passkey.data());
        break;
    case Kind::Consent:
        onConsent.Tell(int{BT_ERROR_NONE}, name.data(), address.data());
        break;
    case Kind::Service:
        onService.Tell(int{BT_ERROR_NONE}, address.data(), name.data(), code);
        break;
    }
}

Broker::Requests::iterator Broker::Find(Kind kind, const char* address)
{
    const std::string normalised = Normalised(address);
    return std::ranges::find_if(
        m_requests, [&](const auto& request) { return request->kind == kind && request->address == normalised; });
}

std::unique_ptr<Broker::Request> Broker::End(Requests::iterator request, const char* outcome)
{
    std::unique_ptr<Request> ended = std::move(*request);
    m_requests.erase(request);
    if (m_pairing) {
        vantor_pairing1_emit_done(m_pairing.get(), ended->id, outcome);
    }
    return ended;
}

void Broker::Accept(Requests::iterator request, const char* passkey)
{
    const std::unique_ptr<Request> ended = End(request, "accepted");
    GDBusMethodInvocation* invocation = ended->invocation.release(); // answering gives it back
    if (invocation == nullptr) {
        return;
    }
    GVariant* answer = nullptr;
    if (ended->kind == Kind::Authentication && ended->code == BT_AUTHENTICATION_PIN_ENTRY) {
        answer = g_variant_new("(s)", passkey);
    } else if (ended->kind == Kind::Authentication && ended->code == BT_AUTHENTICATION_PASSKEY_ENTRY) {
        answer = g_variant_new("(u)", PasskeyIn(passkey).value_or(0));
    }
    g_dbus_method_invocation_return_value(invocation, answer);
}

void Broker::Reject(Requests::iterator request, const char* outcome)
{
    const std::unique_ptr<Request> ended = End(request, outcome);
    if (GDBusMethodInvocation* invocation = ended->invocation.release(); invocation != nullptr) {
        Refuse(invocation, kRejected, outcome);
    }
}

void Broker::RejectAll(Kind kind)
{
    for (auto request = m_requests.begin(); request != m_requests.end();) {
        const auto next = std::next(request);
        if ((*request)->kind == kind) {
            Reject(request, "rejected");
        }
        request = next;
    }
}

void Broker::CancelAll()
{
    while (!m_requests.empty()) {
        const std::unique_ptr<Request> ended = End(m_requests.begin(), "cancelled");
        if (GDBusMethodInvocation* invocation = ended->invocation.release(); invocation != nullptr) {
            Refuse(invocation, kCanceled, "cancelled");
        }
    }
}

void Broker::PairingEnded(std::string_view address, bool hasPaired)
{
    for (auto request = m_requests.begin(); request != m_requests.end();) {
        const auto next = std::next(request);
        if ((*request)->address == address && !(*request)->invocation) {
            End(request, hasPaired ? "accepted" : "rejected");
        }
        request = next;
    }
}

int Broker::UnsetAuthentication()
{
    RejectAll(Kind::Authentication);
    return onAuthentication.Unset();
}

int Broker::UnsetConsent()
{
    RejectAll(Kind::Consent);
    return onConsent.Unset();
}

int Broker::UnsetService()
{
    RejectAll(Kind::Service);
    return onService.Unset();
}

int Broker::RejectService(const char* address, bt_profile_service_id_e service)
{
    if (!IsAddress(address)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    const std::string normalised = Normalised(address);
    const auto request = std::ranges::find_if(m_requests, [&](const auto& one) {
        return one->kind == Kind::Service && one->address == normalised && one->code == service;
    });
    if (request == m_requests.end()) {
        return BT_ERROR_NOT_IN_PROGRESS;
    }
    Reject(request, "rejected");
    return BT_ERROR_NONE;
}

gboolean Broker::OnRelease(GDBusMethodInvocation* invocation)
{
    // The daemon ends, or another program has taken the place; the daemon's next life is met with a new registration.
    CancelAll();
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return TRUE;
}

gboolean Broker::OnPinCode(GDBusMethodInvocation* invocation, const char* device)
{
    Ask(invocation, device, Kind::Authentication, BT_AUTHENTICATION_PIN_ENTRY, "", "");
    return TRUE;
}

gboolean Broker::OnShowPinCode(GDBusMethodInvocation* invocation, const char* device, const char* pinCode)
{
    Ask(invocation, device, Kind::Authentication, BT_AUTHENTICATION_PIN_DISPLAY, pinCode, "");
    return TRUE;
}

gboolean Broker::OnPasskey(GDBusMethodInvocation* invocation, const char* device)
{
    Ask(invocation, device, Kind::Authentication, BT_AUTHENTICATION_PASSKEY_ENTRY, "", "");
    return TRUE;
}

gboolean Broker::OnShowPasskey(GDBusMethodInvocation* invocation, const char* device, guint passkey, guint16)
{
    Ask(invocation, device, Kind::Authentication, BT_AUTHENTICATION_PASSKEY_DISPLAY, SixDigits(passkey), "");
    return TRUE;
}

gboolean Broker::OnConfirmation(GDBusMethodInvocation* invocation, const char* device, guint passkey)
{
    Ask(invocation, device, Kind::Authentication, BT_AUTHENTICATION_PASSKEY_CONFIRMATION, SixDigits(passkey), "");
    return TRUE;
}

gboolean Broker::OnAuthorization(GDBusMethodInvocation* invocation, const char* device)
{
    Ask(invocation, device, Kind::Consent, 0, "", "");
    return TRUE;
}

gboolean Broker::OnService(GDBusMethodInvocation* invocation, const char* device, const char* uuid)
{
    std::string lower(uuid);
    std::ranges::transform(lower, lower.begin(), g_ascii_tolower);
    const int service = ServiceOf(lower);
    Ask(invocation, device, Kind::Service, service, "", std::move(lower));
    return TRUE;
}

gboolean Broker::OnCancel(GDBusMethodInvocation* invocation)
{
    CancelAll();
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return TRUE;
}

gboolean Broker::OnAnswerAuthentication(GDBusMethodInvocation* invocation, const char* address, gboolean accept,
                                        const char* passkey)
{
    const auto request = Find(Kind::Authentication, address);
    if (request == m_requests.end()) {
        Refuse(invocation, kNotPending, "this device does not wait for an authentication");
        return TRUE;
    }
    const int code = (*request)->code;
    if (accept != FALSE && ((code == BT_AUTHENTICATION_PIN_ENTRY && !IsPin(passkey)) ||
                            (code == BT_AUTHENTICATION_PASSKEY_ENTRY && !PasskeyIn(passkey)))) {
        g_dbus_method_invocation_return_error(invocation, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                              "a PIN has 1 to 16 characters, a passkey is a number up to 999999");
        return TRUE;
    }
    if (accept != FALSE) {
        Accept(request, passkey);
    } else {
        Reject(request, "rejected");
    }
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return TRUE;
}

gboolean Broker::OnAnswerConsent(GDBusMethodInvocation* invocation, const char* address, gboolean accept)
{
    const auto request = Find(Kind::Consent, address);
    if (request == m_requests.end()) {
        Refuse(invocation, kNotPending, "this device does not wait for a consent");
        return TRUE;
    }
    if (accept != FALSE) {
        Accept(request, "");
    } else {
        Reject(request, "rejected");
    }
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return TRUE;
}

gboolean Broker::OnAnswerService(GDBusMethodInvocation* invocation, const char* address, int service, gboolean accept,
                                 gboolean trust)
{
    const std::string normalised = Normalised(address);
    const auto request = std::ranges::find_if(m_requests, [&](const auto& one) {
        return one->kind == Kind::Service && one->address == normalised && one->code == service;
    });
    if (request == m_requests.end()) {
        Refuse(invocation, kNotPending, "this device does not wait for this service");
        return TRUE;
    }
    const std::string device = (*request)->device;
    if (accept != FALSE) {
        Accept(request, "");
    } else {
        Reject(request, "rejected");
    }
    if (accept != FALSE && trust != FALSE) {
        bus::SetPropertyLater(m_stack.daemon.Remote(), device, kDeviceInterface, "Trusted",
                              g_variant_new_boolean(TRUE));
    }
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return TRUE;
}

gboolean Broker::OnListPending(GDBusMethodInvocation* invocation)
{
    constexpr std::array<const char*, 3> kKinds = {"authentication", "consent", "service"};
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE("a(tsssissu)"));
    const gint64 now = g_get_monotonic_time();
    for (const auto& request : m_requests) {
        g_variant_builder_add(&list, "(tsssissu)", guint64{request->id},
                              kKinds.at(static_cast<std::size_t>(request->kind)), request->address.c_str(),
                              request->name.c_str(), request->code, request->passkey.c_str(), request->uuid.c_str(),
                              static_cast<guint>(std::max<gint64>(request->deadline - now, 0) / kUsPerMs));
    }
    vantor_pairing1_complete_list_pending(m_pairing.get(), invocation, g_variant_builder_end(&list));
    return TRUE;
}

} // namespace bluez
