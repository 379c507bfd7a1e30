#pragma once

#include "Slot.h"
#include "bluez_dbus.h"
#include "bus/Handles.h"
#include "loop/Timer.h"
#include "vantor_dbus.h"

#include <gio/gio.h>

#include <bt_adapter.h>
#include <bt_device.h>

#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>

namespace bluez {

class Stack;

template <auto Member>
struct Handler;

/// What devices ask for, kept until somebody answers: the daemon's agent on the one side, the interface
/// org.vantor.platform.Pairing1 and the service's callbacks on the other.
///
/// Nobody there to be asked: refused at once, because a prompt that nobody can see would block a box without a screen.
/// Nobody answers for 25 seconds: refused, before the daemon and the device lose patience.
class Broker
{
public:
    explicit Broker(Stack& stack) : m_stack(stack) {}
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;
    ~Broker();

    void BusSettled(GDBusConnection* connection);
    void BusWent();
    /// The daemon's agent manager is there.
    void ManagerCame();
    void DaemonWent();

    /// The pairing of this device has ended: what was shown for it need not be shown any more.
    void PairingEnded(std::string_view address, bool hasPaired);
    /// Nobody is told any more: refuses what waits.
    int UnsetAuthentication();
    int UnsetConsent();
    int UnsetService();
    /// BT_ERROR_NOT_IN_PROGRESS when the device does not wait for this service.
    int RejectService(const char* address, bt_profile_service_id_e service);

    box::Slot<bt_adapter_authentication_req_cb> onAuthentication;
    box::Slot<bt_adapter_ssp_consent_request_cb> onConsent;
    box::Slot<bt_device_auth_event_cb> onService;

private:
    enum class Kind
    {
        Authentication,
        Consent,
        Service
    };

    struct Request
    {
        std::uint64_t id = 0;
        Kind kind = Kind::Authentication;
        std::string device; ///< path
        std::string address;
        std::string name;
        int code = 0; ///< how to authenticate, or the service
        std::string passkey;
        std::string uuid;
        bus::ObjectPtr<GDBusMethodInvocation> invocation; ///< null for what is only shown
        gint64 deadline = 0;                              ///< monotonic, microseconds
        loop::Timer patience;
    };
    using Requests = std::list<std::unique_ptr<Request>>;

    template <auto Member>
    friend struct Handler;

    [[nodiscard]] bool IsFromDaemon(GDBusMethodInvocation* call) const;

    // The daemon's calls.
    gboolean OnRelease(GDBusMethodInvocation* invocation);
    gboolean OnPinCode(GDBusMethodInvocation* invocation, const char* device);
    gboolean OnShowPinCode(GDBusMethodInvocation* invocation, const char* device, const char* pinCode);
    gboolean OnPasskey(GDBusMethodInvocation* invocation, const char* device);
    gboolean OnShowPasskey(GDBusMethodInvocation* invocation, const char* device, guint passkey, guint16 entered);
    gboolean OnConfirmation(GDBusMethodInvocation* invocation, const char* device, guint passkey);
    gboolean OnAuthorization(GDBusMethodInvocation* invocation, const char* device);
    gboolean OnService(GDBusMethodInvocation* invocation, const char* device, const char* uuid);
    gboolean OnCancel(GDBusMethodInvocation* invocation);

    // Calls of others.
    gboolean OnAnswerAuthentication(GDBusMethodInvocation* invocation, const char* address, gboolean accept,
                                    const char* passkey);
    gboolean OnAnswerConsent(GDBusMethodInvocation* invocation, const char* address, gboolean accept);
    gboolean OnAnswerService(GDBusMethodInvocation* invocation, const char* address, int service, gboolean accept,
                             gboolean trust);
    gboolean OnListPending(GDBusMethodInvocation* invocation);

    void ExportAgent(GDBusConnection* connection);
    void ExportPairing(GDBusConnection* connection);
    void RequestDefault() const;
    void Ask(GDBusMethodInvocation* invocation, const char* device, Kind kind, int code, std::string passkey,
             std::string uuid);
    void TellService(const Request& request) const;
    [[nodiscard]] bool IsHeard(Kind kind) const;
    Requests::iterator Find(Kind kind, const char* address);
    void Accept(Requests::iterator request, const char* passkey);
    void Reject(Requests::iterator request, const char* outcome);
    void RejectAll(Kind kind);
    void CancelAll();
    /// Takes the request out and announces its end.
    std::unique_ptr<Request> End(Requests::iterator request, const char* outcome);

    Stack& m_stack;
    bus::ObjectPtr<BluezAgent1> m_agent;
    bus::ObjectPtr<VantorPairing1> m_pairing;
    Requests m_requests; ///< the oldest first
    std::uint64_t m_lastId = 0;
};

} // namespace bluez
