#include "bus/Remote.h"

#include <memory>
#include <type_traits>
#include <utility>

namespace bus {

namespace {

constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kObjectManager = "org.freedesktop.DBus.ObjectManager";
constexpr const char* kObjects = "(a{oa{sa{sv}}})";

VariantPtr Child(const VariantPtr& tuple)
{
    return VariantPtr(tuple ? g_variant_get_child_value(tuple.get(), 0) : nullptr);
}

VariantPtr CallSync(const Remote& remote, const std::string& path, const char* interface, const char* method,
                    GVariant* arguments, const char* replyType, const Deadline& deadline, ErrorPtr& error)
{
    GError* failure = nullptr;
    VariantPtr reply(g_dbus_connection_call_sync(
        remote.connection, remote.owner.c_str(), path.c_str(), interface, method, arguments, G_VARIANT_TYPE(replyType),
        G_DBUS_CALL_FLAGS_NO_AUTO_START, deadline.RemainingMs(), nullptr, &failure));
    error.reset(failure);
    return reply;
}

GVariant* SetArguments(const char* interface, const char* property, GVariant* value)
{
    return g_variant_new("(ssv)", interface, property, value);
}

/// Hands the first value of a reply to the function that waits for it.
gpointer Unpacked(Answered answered)
{
    return Done([answered = std::move(answered)](GObject* connection, GAsyncResult* result) {
        GError* failure = nullptr;
        const VariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &failure));
        const ErrorPtr error(failure);
        if (answered) {
            const bool hasValue = reply && g_variant_n_children(reply.get()) > 0;
            answered(hasValue ? Child(reply).get() : nullptr, error.get());
        }
    });
}

} // namespace

VariantPtr GetProperty(const Remote& remote, const std::string& path, const char* interface, const char* property,
                       const Deadline& deadline, ErrorPtr& error)
{
    const VariantPtr reply =
        CallSync(remote, path, kProperties, "Get", g_variant_new("(ss)", interface, property), "(v)", deadline, error);
    const VariantPtr boxed = Child(reply);
    return VariantPtr(boxed ? g_variant_get_variant(boxed.get()) : nullptr);
}

bool SetProperty(const Remote& remote, const std::string& path, const char* interface, const char* property,
                 GVariant* value, const Deadline& deadline, ErrorPtr& error)
{
    return CallSync(remote, path, kProperties, "Set", SetArguments(interface, property, value), "()", deadline,
                    error) != nullptr;
}

void SetPropertyLater(const Remote& remote, const std::string& path, const char* interface, const char* property,
                      GVariant* value, Answered answered)
{
    g_dbus_connection_call(remote.connection, remote.owner.c_str(), path.c_str(), kProperties, "Set",
                           SetArguments(interface, property, value), G_VARIANT_TYPE("()"),
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, OnDone, Unpacked(std::move(answered)));
}

void GetObjectsLater(const Remote& remote, Answered answered)
{
    g_dbus_connection_call(remote.connection, remote.owner.c_str(), "/", kObjectManager, "GetManagedObjects", nullptr,
                           G_VARIANT_TYPE(kObjects), G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, OnDone,
                           Unpacked(std::move(answered)));
}

VariantPtr GetObjects(const Remote& remote, const Deadline& deadline, ErrorPtr& error)
{
    return Child(CallSync(remote, "/", kObjectManager, "GetManagedObjects", nullptr, kObjects, deadline, error));
}

gpointer Done(std::function<void(GObject*, GAsyncResult*)> deed)
{
    return std::make_unique<std::function<void(GObject*, GAsyncResult*)>>(std::move(deed)).release();
}

void OnDone(GObject* source, GAsyncResult* result, gpointer deed)
{
    const std::unique_ptr<std::function<void(GObject*, GAsyncResult*)>> owned(
        static_cast<std::function<void(GObject*, GAsyncResult*)>*>(deed));
    (*owned)(source, result);
}

} // namespace bus
