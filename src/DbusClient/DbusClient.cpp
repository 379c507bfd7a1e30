#include "DbusClient/DbusClient.h"

#include "DbusClient/Sibling.h"
#include "GlibPointers.h"
#include "LiteDebug.h"

#include <lwipc.h>

#include <limits>
#include <memory>
#include <utility>

namespace {

constexpr const char* kOwnName = "org.vantor.vyrel.lite";
constexpr const char* kIrMonitorRunning = "/tmp/.bt_irmonitor";
constexpr const char* kBusItself = "org.freedesktop.DBus";

/// The largest message that dbus-daemon takes, in bytes with its header, unless its configuration sets
/// "max_message_size"; its system.conf names this default. It drops the connection of whoever sends more, and the
/// service with it. The protocol itself ends at 128 MiB.
constexpr gsize kLargestMessage = 32UL * 1024 * 1024;
/// A value takes up to eight times as much room in a message as in a GVariant. Up to this size that does no harm, and
/// the exact size need not be worked out.
constexpr gsize kSurelySmall = kLargestMessage / 16;

bool IsBody(GVariant* body)
{
    return body == nullptr || g_variant_is_of_type(body, G_VARIANT_TYPE_TUPLE) != FALSE;
}

/// True for what can be put into a method call. GLib answers anything else with a critical, so it is asked first.
bool IsCallable(const std::string& name, const std::string& path, const std::string& interface,
                const std::string& method, GVariant* body)
{
    return g_dbus_is_name(name.c_str()) != FALSE && g_variant_is_object_path(path.c_str()) != FALSE &&
           g_dbus_is_interface_name(interface.c_str()) != FALSE && g_dbus_is_member_name(method.c_str()) != FALSE &&
           IsBody(body);
}

/// A call of what IsCallable has found to be in order. The fields are set as they are, because the ways for each of
/// them would look at its text twice more, which is a twentieth of what the whole call takes.
/// \param body null for none; the message keeps a reference of its own
Util::MessagePtr Compose(const std::string& name, const std::string& path, const std::string& interface,
                         const std::string& method, GVariant* body)
{
    Util::MessagePtr message(g_dbus_message_new());
    g_dbus_message_set_message_type(message.get(), G_DBUS_MESSAGE_TYPE_METHOD_CALL);
    g_dbus_message_set_header(message.get(), G_DBUS_MESSAGE_HEADER_FIELD_DESTINATION,
                              g_variant_new_string(name.c_str()));
    g_dbus_message_set_header(message.get(), G_DBUS_MESSAGE_HEADER_FIELD_PATH, g_variant_new_object_path(path.c_str()));
    g_dbus_message_set_header(message.get(), G_DBUS_MESSAGE_HEADER_FIELD_INTERFACE,
                              g_variant_new_string(interface.c_str()));
    g_dbus_message_set_header(message.get(), G_DBUS_MESSAGE_HEADER_FIELD_MEMBER, g_variant_new_string(method.c_str()));
    if (body != nullptr) {
        g_dbus_message_set_body(message.get(), body);
    }
    return message;
}

/// True for a call, or a signal to one receiver, that is no larger than the bus takes; sets an error otherwise.
bool IsSmallEnough(const std::string& name, const std::string& path, const std::string& interface,
                   const std::string& member, GVariant* body, GError** failure)
{
    const gsize roughSize = path.size() + (body != nullptr ? g_variant_get_size(body) : 0);
    if (roughSize <= kSurelySmall) {
        return true;
    }
    const Util::MessagePtr message = Compose(name, path, interface, member, body);
    gsize size = 0;
    const std::unique_ptr<guchar, Util::ReleaseWith<g_free>> bytes(
        g_dbus_message_to_blob(message.get(), &size, G_DBUS_CAPABILITY_FLAGS_NONE, failure));
    if (bytes && size > kLargestMessage) {
        g_set_error(failure, G_IO_ERROR, G_IO_ERROR_MESSAGE_TOO_LARGE,
                    "the bus takes no message of %" G_GSIZE_FORMAT " bytes", size);
        return false;
    }
    return bytes != nullptr;
}

/// A call ready to be sent, or null when the bus would not take it.
/// \param body null for none; the message keeps a reference of its own
Util::MessagePtr NewCall(const std::string& name, const std::string& path, const std::string& interface,
                         const std::string& method, GVariant* body)
{
    if (!IsCallable(name, path, interface, method, body)) {
        LOGE("GDbus error : %s", "invalid name, path, interface, method or body");
        return nullptr;
    }
    GError* failure = nullptr;
    const bool isSmallEnough = IsSmallEnough(name, path, interface, method, body, &failure);
    const Util::ErrorPtr error(failure);
    if (!isSmallEnough) {
        LOGE("GDbus error : %s", error->message);
        return nullptr;
    }
    return Compose(name, path, interface, method, body);
}

/// Sends and waits for the reply; null when there is none.
Util::MessagePtr SendAndWait(GDBusConnection* connection, GDBusMessage* message, unsigned int timeout)
{
    if (connection == nullptr || message == nullptr) {
        return nullptr;
    }
    constexpr unsigned int kLongestTimeout = std::numeric_limits<gint>::max();
    GError* failure = nullptr;
    Util::MessagePtr reply(g_dbus_connection_send_message_with_reply_sync(
        connection, message, G_DBUS_SEND_MESSAGE_FLAGS_NONE,
        static_cast<gint>(timeout < kLongestTimeout ? timeout : kLongestTimeout), nullptr, nullptr, &failure));
    const Util::ErrorPtr error(failure);
    if (error) {
        LOGE("GDbus error : %s", error->message);
        return nullptr;
    }
    return reply;
}

} // namespace

CDbusClient::CDbusClient() : m_ownerId(std::numeric_limits<std::uint32_t>::max()) {}

CDbusClient::~CDbusClient() = default;

void CDbusClient::Init()
{
    m_ownerId = g_bus_own_name(G_BUS_TYPE_SYSTEM, kOwnName, G_BUS_NAME_OWNER_FLAGS_NONE, nullptr, nullptr, nullptr,
                               this, nullptr);
    AddSignalHandler();
}

// NOLINTNEXTLINE(readability-make-member-function-const): it changes what the bus knows of the client.
void CDbusClient::Deinit()
{
    g_bus_unown_name(m_ownerId);
}

GDBusConnection* CDbusClient::GetSystemConnection()
{
    if (m_connection == nullptr) {
        GError* failure = nullptr;
        m_connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &failure);
        const Util::ErrorPtr error(failure);
        if (error) {
            LOGE("g_bus_get_sync fail, reason: %s", error->message);
        }
    }
    return m_connection;
}

GVariant* CDbusClient::SendDbusMethodSync(const std::string& name, const std::string& path,
                                          const std::string& interface, const std::string& method, GVariant* params,
                                          unsigned int timeout)
{
    LOGI("name = %s, path = %s, interface = %s, method = %s", name.c_str(), path.c_str(), interface.c_str(),
         method.c_str());
    const Util::VariantPtr body = Util::TakeBody(params);
    const Util::MessagePtr message = NewCall(name, path, interface, method, body.get());
    const Util::MessagePtr reply = SendAndWait(GetSystemConnection(), message.get(), timeout);
    GVariant* answer = reply ? g_dbus_message_get_body(reply.get()) : nullptr;
    // A GVariant never changes, so a reference is as good as a copy, and it keeps the body when the message goes.
    return answer != nullptr ? g_variant_ref(answer) : nullptr;
}

bool CDbusClient::IsServiceAlive(const std::string& name, const std::string& path, const std::string& interface,
                                 const std::string& method, unsigned int timeout)
{
    LOGI("name = %s, path = %s, interface = %s, method = %s", name.c_str(), path.c_str(), interface.c_str(),
         method.c_str());
    const Util::MessagePtr message = NewCall(name, path, interface, method, nullptr);
    const Util::MessagePtr reply = SendAndWait(GetSystemConnection(), message.get(), timeout);
    return reply && g_strcmp0(g_dbus_message_get_sender(reply.get()), kBusItself) != 0;
}

void CDbusClient::SendDbusMethod(const std::string& name, const std::string& path, const std::string& interface,
                                 const std::string& method, GVariant* params)
{
    const Util::VariantPtr body = Util::TakeBody(params);
    const Util::MessagePtr message = NewCall(name, path, interface, method, body.get());
    GDBusConnection* connection = GetSystemConnection();
    if (connection != nullptr && message) {
        GError* failure = nullptr;
        g_dbus_connection_send_message(connection, message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, &failure);
        const Util::ErrorPtr error(failure);
        if (error) {
            LOGE("GDbus error : %s", error->message);
        }
    }
    LOGI("name = %s, path = %s, interface = %s, method = %s", name.c_str(), path.c_str(), interface.c_str(),
         method.c_str());
}

bool CDbusClient::SendDbusSignal(const std::string& name, const std::string& path, const std::string& interface,
                                 const std::string& signal, GVariant* params)
{
    LOGI("name = %s, path = %s, interface = %s, signal = %s", name.c_str(), path.c_str(), interface.c_str(),
         signal.c_str());
    const Util::VariantPtr body = Util::TakeBody(params);
    GDBusConnection* connection = GetSystemConnection();
    GError* failure = nullptr;
    const bool emitted = connection != nullptr && IsCallable(name, path, interface, signal, body.get()) &&
                         IsSmallEnough(name, path, interface, signal, body.get(), &failure) &&
                         g_dbus_connection_emit_signal(connection, name.c_str(), path.c_str(), interface.c_str(),
                                                       signal.c_str(), body.get(), &failure) != FALSE;
    if (!emitted) {
        LOGE("g_dbus_connection_emit_signal = failed");
    }
    const Util::ErrorPtr error(failure);
    if (error) {
        LOGE("g_dbus_connection_emit_signal, reason : %s", error->message);
        return false;
    }
    return true;
}

void CDbusClient::SendToTouchIrMonitor(const std::string& command)
{
    const bool needsRunningMonitor = command == "Reset" || command == "Stop";
    if (needsRunningMonitor && LwipcIsDone(kIrMonitorRunning) < 1) {
        LOGE("%s command but irmonitor is not running", command.c_str());
        return;
    }
    Call(this, kTouchIrMonitor, command);
}
