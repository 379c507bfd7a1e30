// Bodies of signals and replies that the service gets. The first letter says who hears it; then a value as GLib prints
// one, "(51,)", or a whole message as on the wire.

#include "DbusClient/DbusClient.h"
#include "GlibPointers.h"
#include "Input.h"
#include "Target.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "tv/language/Body.h"

#include <gio/gio.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using ConnectionPtr = std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>>;
using TaskPtr = std::unique_ptr<GTask, Util::ReleaseWith<g_object_unref>>;

/// \return null for what is neither
Util::MessagePtr FromWire(fuzz::Bytes bytes)
{
    if (bytes.empty()) {
        return nullptr;
    }
    std::vector<guchar> copy(bytes.begin(), bytes.end()); // it wants to write there
    return Util::MessagePtr(
        g_dbus_message_new_from_blob(copy.data(), copy.size(), G_DBUS_CAPABILITY_FLAGS_UNIX_FD_PASSING, nullptr));
}

/// \return null for what is no value
Util::VariantPtr FromText(const std::string& text)
{
    return Util::VariantPtr(
        language::IsReadable(text) ? g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, nullptr) : nullptr);
}

/// The body as a message brings it: a tuple, or none.
Util::VariantPtr Body(const fuzz::Input& input)
{
    if (const Util::MessagePtr message = FromWire(input.RestAsBytes())) {
        GVariant* body = g_dbus_message_get_body(message.get());
        return Util::VariantPtr(body != nullptr ? g_variant_ref(body) : nullptr);
    }
    Util::VariantPtr body = FromText(std::string(input.Rest()));
    const bool isTuple = body && g_variant_is_of_type(body.get(), G_VARIANT_TYPE_TUPLE) != FALSE;
    return isTuple ? std::move(body) : nullptr;
}

using Callback = void (*)(GObject* source, GAsyncResult* result, gpointer userData);

/// An answer of the update manager comes.
void Answers(CDbusClient& client, Callback callback, GVariant* body)
{
    const ConnectionPtr connection(static_cast<GDBusConnection*>(g_object_new(G_TYPE_DBUS_CONNECTION, nullptr)));
    const TaskPtr task(g_task_new(connection.get(), nullptr, nullptr, nullptr));
    const Util::MessagePtr call(g_dbus_message_new_method_call("a.b", "/a", "a.b", "CHIP"));
    g_dbus_message_set_serial(call.get(), 1);
    GDBusMessage* reply = g_dbus_message_new_method_reply(call.get());
    if (body != nullptr) {
        g_dbus_message_set_body(reply, body);
    }
    g_task_return_pointer(task.get(), reply, g_object_unref);
    callback(G_OBJECT(connection.get()), G_ASYNC_RESULT(task.get()), &client);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    fuzz::Input input(data, size);
    const char who = input.Letter();
    const Util::VariantPtr body = Body(input);
    static sim::Television tv;
    CDbusClient client;
    switch (who) {
    case 'k':
        client.OnSiganl(nullptr, "KEY_COMBINATION", body.get());
        break;
    case 'e':
        client.OnEasyPairingSiganl(nullptr, "Any", body.get());
        break;
    case 'c':
        Answers(client, CDbusClient::ChipUpdateCb, body.get());
        break;
    case 'r':
        Answers(client, CDbusClient::SmartRcUpdateCb, body.get());
        break;
    case 'w':
        Answers(client, CDbusClient::HalvoUpdateCb, body.get());
        break;
    default:
        break;
    }
    tv.tape.Clear();
    return 0;
}
