#include "support/Description.h"

#include "GlibPointers.h"

#include <glib.h>

#include <fstream>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace support {

namespace {

/// The type of a body with these arguments; empty for none, as in Message.
std::string Signature(GDBusArgInfo** arguments)
{
    std::string types;
    for (GDBusArgInfo** argument = arguments; argument != nullptr && *argument != nullptr; ++argument) {
        types += (*argument)->signature;
    }
    return types.empty() ? types : "(" + types + ")";
}

/// The type of the member's body; nothing when there is no such member.
std::optional<std::string> ExpectedSignature(GDBusInterfaceInfo* interface, const Message& message)
{
    if (message.kind == Message::Kind::Call) {
        const GDBusMethodInfo* method = g_dbus_interface_info_lookup_method(interface, message.member.c_str());
        return method != nullptr ? std::optional(Signature(method->in_args)) : std::nullopt;
    }
    const GDBusSignalInfo* signal = g_dbus_interface_info_lookup_signal(interface, message.member.c_str());
    return signal != nullptr ? std::optional(Signature(signal->args)) : std::nullopt;
}

} // namespace

Description::Description(const std::string& interface)
{
    const std::string file = std::string(VYREL_INTERFACES) + "/" + interface + ".xml";
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    GError* failure = nullptr;
    m_node.reset(g_dbus_node_info_new_for_xml(text.str().c_str(), &failure));
    const Util::ErrorPtr error(failure);
    if (!m_node) {
        throw std::runtime_error(file + ": " + error->message);
    }
}

std::string Description::Violation(const Message& message) const
{
    const auto because = [&](const std::string& reason) {
        std::ostringstream text;
        PrintTo(message, &text);
        return text.str() + ": " + reason;
    };
    if (message.path != Path()) {
        return because("the path should be " + Path());
    }
    GDBusInterfaceInfo* interface = g_dbus_node_info_lookup_interface(m_node.get(), message.interface.c_str());
    if (interface == nullptr) {
        return because("there is no such interface");
    }
    const std::optional<std::string> expected = ExpectedSignature(interface, message);
    if (!expected) {
        return because("there is no such member");
    }
    if (*expected != message.signature) {
        return because("the body should be " + (expected->empty() ? std::string("empty") : *expected));
    }
    return "";
}

std::string Description::Path() const
{
    return m_node->path;
}

} // namespace support
