#include "support/Message.h"

#include "GlibPointers.h"

#include <glib.h>

#include <ostream>

namespace support {

namespace {

std::string Text(const char* text)
{
    return text != nullptr ? text : "";
}

std::string PrintBody(GVariant* body)
{
    const Util::GlibString text(g_variant_print(body, FALSE));
    return text.get();
}

const char* KindName(Message::Kind kind)
{
    return kind == Message::Kind::Call ? "call" : "signal";
}

} // namespace

Message ToMessage(GDBusMessage* message)
{
    Message result;
    result.kind = g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_SIGNAL ? Message::Kind::Signal
                                                                                         : Message::Kind::Call;
    result.destination = Text(g_dbus_message_get_destination(message));
    result.path = Text(g_dbus_message_get_path(message));
    result.interface = Text(g_dbus_message_get_interface(message));
    result.member = Text(g_dbus_message_get_member(message));
    GVariant* body = g_dbus_message_get_body(message);
    // An empty tuple and no body at all are the same on the wire.
    if (body != nullptr && g_variant_n_children(body) > 0) {
        result.signature = g_variant_get_type_string(body);
        result.body = PrintBody(body);
    }
    return result;
}

void PrintTo(const Message& message, std::ostream* out)
{
    *out << KindName(message.kind) << ' ' << message.member;
    if (!message.signature.empty()) {
        *out << ' ' << message.signature << ' ' << message.body;
    }
    *out << "  [to " << message.destination << ", path " << message.path << ", interface " << message.interface << ']';
}

} // namespace support
