#include "people/Bus.h"

#include "bus/Opening.h"
#include "bus/SystemBus.h"

#include <cstddef>
#include <string_view>

namespace people {

namespace {

constexpr const char* kBusName = "org.freedesktop.DBus";
constexpr const char* kTheService = "the service";
constexpr std::string_view kOwnErrors = "org.vantor.platform.Error.";

bool Is(const GError* error, GDBusError code)
{
    return g_error_matches(error, G_DBUS_ERROR, code) != FALSE;
}

/// The first value of a reply.
bus::VariantPtr First(const bus::VariantPtr& reply)
{
    return bus::VariantPtr(g_variant_get_child_value(reply.get(), 0));
}

} // namespace

Failure FailureOf(const std::string& whom, const GError* error)
{
    const bus::TextPtr name(g_dbus_error_get_remote_error(error));
    const bus::ErrorPtr plain(g_error_copy(error));
    g_dbus_error_strip_remote_error(plain.get());
    const std::string text = plain->message;
    if (name && std::string_view(name.get()).starts_with(kOwnErrors)) {
        const bool isGone = std::string_view(name.get()).substr(kOwnErrors.size()) == "NotPending";
        return {isGone ? kNotThere : kRefused, text};
    }
    if (Is(error, G_DBUS_ERROR_ACCESS_DENIED) || Is(error, G_DBUS_ERROR_AUTH_FAILED)) {
        return {kNoRight, "you may not: be root or a member of the group \"vyrel\""};
    }
    if (Is(error, G_DBUS_ERROR_SERVICE_UNKNOWN) || Is(error, G_DBUS_ERROR_NAME_HAS_NO_OWNER)) {
        return {kNoService, whom + " does not run"};
    }
    if (Is(error, G_DBUS_ERROR_UNKNOWN_METHOD) || Is(error, G_DBUS_ERROR_UNKNOWN_INTERFACE) ||
        Is(error, G_DBUS_ERROR_UNKNOWN_OBJECT)) {
        return {kNoService, whom + " does not offer this: it is just starting, or of another version"};
    }
    if (Is(error, G_DBUS_ERROR_INVALID_ARGS) || Is(error, G_DBUS_ERROR_NOT_SUPPORTED)) {
        return {kRefused, whom + " says: " + text};
    }
    if (Is(error, G_DBUS_ERROR_NO_REPLY) || Is(error, G_DBUS_ERROR_TIMEOUT) ||
        g_error_matches(error, G_IO_ERROR, G_IO_ERROR_TIMED_OUT) != FALSE) {
        return {kFailure, whom + " does not answer"};
    }
    if (g_error_matches(error, G_IO_ERROR, G_IO_ERROR_INVALID_ARGUMENT) != FALSE) {
        return {kFailure, whom + " gave an answer that makes no sense"};
    }
    return {kFailure, whom + ": " + text};
}

Bus::Bus()
{
    bus::Opening opening;
    switch (opening.Wait(kPatienceMs)) {
    case bus::Opening::State::Open:
        m_connection = opening.Take();
        g_dbus_connection_set_exit_on_close(m_connection.get(), FALSE);
        break;
    case bus::Opening::State::Failed:
        throw Failure(kFailure, std::string("no message bus: ") + opening.Reason());
    case bus::Opening::State::UnderWay:
        throw Failure(kFailure, "the message bus does not answer");
    }
}

bool Bus::Has(const char* name) const
{
    const bus::VariantPtr reply = Call("the message bus", kBusName, "/org/freedesktop/DBus", kBusName, "NameHasOwner",
                                       g_variant_new("(s)", name), "(b)");
    return g_variant_get_boolean(First(reply).get()) != FALSE;
}

bus::VariantPtr Bus::CallPlatform(const char* interface, const char* method, GVariant* arguments,
                                  const char* replyType) const
{
    return Call(kTheService, bus::kOwnName, bus::kOwnPath, interface, method, arguments, replyType);
}

bus::VariantPtr Bus::PlatformProperties(const char* interface) const
{
    return First(Call(kTheService, bus::kOwnName, bus::kOwnPath, "org.freedesktop.DBus.Properties", "GetAll",
                      g_variant_new("(s)", interface), "(a{sv})"));
}

bus::VariantPtr Bus::BluezObjects() const
{
    return First(Call("the Bluetooth daemon", kBluez, "/", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects",
                      nullptr, "(a{oa{sa{sv}}})"));
}

void Bus::TrustDevice(const std::string& path) const
{
    const bus::VariantPtr reply =
        Call("the Bluetooth daemon", kBluez, path.c_str(), "org.freedesktop.DBus.Properties", "Set",
             g_variant_new("(ssv)", "org.bluez.Device1", "Trusted", g_variant_new_boolean(TRUE)), "()");
}

bus::VariantPtr Bus::Call(const std::string& whom, const char* name, const char* path, const char* interface,
                          const char* method, GVariant* arguments, const char* replyType) const
{
    GError* failure = nullptr;
    bus::VariantPtr reply(g_dbus_connection_call_sync(m_connection.get(), name, path, interface, method, arguments,
                                                      G_VARIANT_TYPE(replyType), G_DBUS_CALL_FLAGS_NO_AUTO_START,
                                                      kPatienceMs, nullptr, &failure));
    const bus::ErrorPtr error(failure);
    if (!reply) {
        throw FailureOf(whom, error.get());
    }
    return reply;
}

} // namespace people
