#include "bluez/Profiles.h"

#include "Log.h"
#include "bluez/Daemon.h"
#include "bluez/Proxy.h"
#include "bluez/Result.h"
#include "bluez/Stack.h"
#include "bus/Remote.h"
#include "bus/SystemBus.h"

#include <gio/gunixfdlist.h>

#include <bluez_dbus.h>
#include <bt_error.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace bluez {

namespace {

// Without a name the daemon puts one on the air that it makes of our connection's name and the path.
constexpr const char* kProfileName = "vyrel-lite";
constexpr const char* kPathPrefix = "/org/vantor/platform/rfcomm/";

bool IsUuidText(std::string_view text)
{
    constexpr std::string_view kForm = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    return text.size() == kForm.size() && std::ranges::equal(text, kForm, [](char character, char form) {
               return form == '-' ? character == '-' : g_ascii_isxdigit(character) != FALSE;
           });
}

GVariant* Options()
{
    GVariantBuilder options;
    g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&options, "{sv}", "Name", g_variant_new_string(kProfileName));
    g_variant_builder_add(&options, "{sv}", "Role", g_variant_new_string("server"));
    g_variant_builder_add(&options, "{sv}", "Channel", g_variant_new_uint16(0)); // any that is free
    g_variant_builder_add(&options, "{sv}", "RequireAuthentication", g_variant_new_boolean(FALSE));
    g_variant_builder_add(&options, "{sv}", "RequireAuthorization", g_variant_new_boolean(FALSE));
    return g_variant_builder_end(&options);
}

gboolean HangUp(BluezProfile1* profile, GDBusMethodInvocation* invocation, GUnixFDList*, const gchar*, GVariant*,
                GVariant*, gpointer)
{
    // The descriptors go with the message.
    bluez_profile1_complete_new_connection(profile, invocation, nullptr);
    return TRUE;
}

gboolean Agree(gpointer, GDBusMethodInvocation* invocation, gpointer)
{
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return TRUE;
}

gboolean AgreeToDisconnection(gpointer, GDBusMethodInvocation* invocation, const gchar*, gpointer)
{
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return TRUE;
}

} // namespace

Profiles::~Profiles()
{
    BusWent();
}

int Profiles::Create(const char* uuid, int& socket)
{
    if (!IsUuidText(uuid)) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    std::string lower(uuid);
    std::ranges::transform(lower, lower.begin(), g_ascii_tolower);
    socket = ++m_lastSocket;
    m_sockets.emplace(socket, Socket{std::move(lower), false});
    return BT_ERROR_NONE;
}

bool Profiles::Export(Offer& offer) const
{
    GDBusConnection* connection = bus::SystemBus::Shared().Connection();
    if (connection == nullptr) {
        return false;
    }
    if (!offer.profile) {
        offer.profile.reset(bluez_profile1_skeleton_new());
        g_signal_connect(offer.profile.get(), "handle-new-connection", G_CALLBACK(HangUp), nullptr);
        g_signal_connect(offer.profile.get(), "handle-release", G_CALLBACK(Agree), nullptr);
        g_signal_connect(offer.profile.get(), "handle-request-disconnection", G_CALLBACK(AgreeToDisconnection),
                         nullptr);
        g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(offer.profile.get()), connection, offer.path.c_str(),
                                         nullptr);
    }
    return true;
}

void Profiles::Unexport(Offer& offer)
{
    if (offer.profile) {
        g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(offer.profile.get()));
        offer.profile.reset();
    }
}

int Profiles::Listen(int number, int backlog)
{
    const auto socket = m_sockets.find(number);
    if (socket == m_sockets.end() || backlog < 0) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    if (socket->second.listens) {
        return BT_ERROR_ALREADY_DONE;
    }
    const std::string& uuid = socket->second.uuid;
    if (const auto known = m_offers.find(uuid); known != m_offers.end()) {
        ++known->second.listeners;
        socket->second.listens = true;
        return BT_ERROR_NONE;
    }
    const auto manager = MakeProxy<bluez_profile_manager1_proxy_new_sync>(m_stack.daemon.Remote(), kManagerPath);
    Offer offer;
    offer.listeners = 1;
    offer.path = kPathPrefix + std::to_string(number);
    if (!manager || !Export(offer)) {
        return BT_ERROR_NOT_INITIALIZED;
    }
    GError* failure = nullptr;
    if (bluez_profile_manager1_call_register_profile_sync(manager.get(), offer.path.c_str(), uuid.c_str(), Options(),
                                                          G_DBUS_CALL_FLAGS_NONE, bus::kPatienceMs, nullptr,
                                                          &failure) == FALSE) {
        const bus::ErrorPtr error(failure);
        PLATFORM_LOG(DLOG_ERROR, "cannot offer the service %s: %s", uuid.c_str(), error->message);
        Unexport(offer);
        return ResultOf(error.get());
    }
    m_offers.emplace(uuid, std::move(offer));
    socket->second.listens = true;
    return BT_ERROR_NONE;
}

int Profiles::Destroy(int number)
{
    const auto socket = m_sockets.extract(number);
    if (!socket) {
        return BT_ERROR_INVALID_PARAMETER;
    }
    if (socket.mapped().listens) {
        Withdraw(socket.mapped().uuid);
    }
    return BT_ERROR_NONE;
}

void Profiles::Withdraw(const std::string& uuid)
{
    const auto offer = m_offers.find(uuid);
    if (offer == m_offers.end() || --offer->second.listeners > 0) {
        return;
    }
    if (const auto manager = MakeProxy<bluez_profile_manager1_proxy_new_sync>(m_stack.daemon.Remote(), kManagerPath)) {
        bluez_profile_manager1_call_unregister_profile(manager.get(), offer->second.path.c_str(),
                                                       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
    }
    Unexport(offer->second);
    m_offers.erase(offer);
}

void Profiles::BusWent()
{
    for (auto& [uuid, offer] : m_offers) {
        Unexport(offer);
    }
}

void Profiles::ManagerCame()
{
    const auto manager = MakeProxy<bluez_profile_manager1_proxy_new_sync>(m_stack.daemon.Remote(), kManagerPath);
    for (auto& [uuid, offer] : m_offers) {
        if (!manager || !Export(offer)) {
            return;
        }
        bluez_profile_manager1_call_register_profile(
            manager.get(), offer.path.c_str(), uuid.c_str(), Options(), G_DBUS_CALL_FLAGS_NONE, -1, nullptr,
            bus::OnDone, bus::Done([text = uuid](GObject* source, GAsyncResult* result) {
                GError* failure = nullptr;
                if (bluez_profile_manager1_call_register_profile_finish(BLUEZ_PROFILE_MANAGER1(source), result,
                                                                        &failure) == FALSE) {
                    const bus::ErrorPtr error(failure);
                    PLATFORM_LOG(DLOG_ERROR, "cannot offer the service %s: %s", text.c_str(), error->message);
                }
            }));
    }
}

void Profiles::Forget()
{
    m_sockets.clear();
    while (!m_offers.empty()) {
        m_offers.begin()->second.listeners = 1;
        Withdraw(std::string(m_offers.begin()->first));
    }
}

} // namespace bluez
