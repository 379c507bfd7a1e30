#include "linux/FakeBluez.h"

#include <glib-object.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bluez_dbus.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <utility>

namespace linux_test {

namespace {

gboolean Yes(gpointer, GDBusMethodInvocation* invocation, gpointer)
{
    g_dbus_method_invocation_return_value(invocation, nullptr);
    return TRUE;
}

gboolean YesToOne(gpointer, GDBusMethodInvocation* invocation, const gchar*, gpointer)
{
    return Yes(nullptr, invocation, nullptr);
}

gboolean YesToTwo(gpointer, GDBusMethodInvocation* invocation, const gchar*, const gchar*, gpointer)
{
    return Yes(nullptr, invocation, nullptr);
}

gboolean YesToObjectAndOptions(gpointer, GDBusMethodInvocation* invocation, const gchar*, GVariant*, gpointer)
{
    return Yes(nullptr, invocation, nullptr);
}

gboolean YesToProfile(gpointer, GDBusMethodInvocation* invocation, const gchar*, const gchar*, GVariant*, gpointer)
{
    return Yes(nullptr, invocation, nullptr);
}

/// A call in words: the member, or "Set" and the property, and its arguments.
std::string Words(GDBusMessage* message, std::string& member)
{
    member = g_dbus_message_get_member(message);
    GVariant* body = g_dbus_message_get_body(message);
    std::string words = member;
    if (body == nullptr) {
        return words;
    }
    std::size_t first = 0;
    if (member == "Set" && g_variant_is_of_type(body, G_VARIANT_TYPE("(ssv)"))) {
        const char* property = nullptr;
        g_variant_get_child(body, 1, "&s", &property);
        member = std::string("Set ") + property;
        words = member;
        first = 2;
    }
    for (std::size_t i = first; i < g_variant_n_children(body); ++i) {
        bus::VariantPtr child(g_variant_get_child_value(body, i));
        if (g_variant_is_of_type(child.get(), G_VARIANT_TYPE_VARIANT)) {
            child.reset(g_variant_get_variant(child.get()));
        }
        if (g_variant_is_of_type(child.get(), G_VARIANT_TYPE_STRING) ||
            g_variant_is_of_type(child.get(), G_VARIANT_TYPE_OBJECT_PATH)) {
            words += std::string(" ") + g_variant_get_string(child.get(), nullptr);
        } else if (g_variant_is_of_type(child.get(), G_VARIANT_TYPE_VARDICT)) {
            // Of the options, what the daemon puts on the air.
            const char* name = nullptr;
            if (g_variant_lookup(child.get(), "Name", "&s", &name) != FALSE) {
                words += std::string(" named ") + name;
            }
        } else {
            const bus::TextPtr text(g_variant_print(child.get(), FALSE));
            words += std::string(" ") + text.get();
        }
    }
    return words;
}

} // namespace

FakeBluez::~FakeBluez()
{
    Dies();
}

void FakeBluez::Starts()
{
    m_thread.Run([this] { Connect(); });
}

void FakeBluez::Dies()
{
    m_thread.Run([this] { Disconnect(); });
}

void FakeBluez::Connect()
{
    const bus::TextPtr address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    m_connection.reset(g_dbus_connection_new_for_address_sync(
        address.get(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr));
    if (!m_connection) {
        throw std::runtime_error("the daemon finds no bus");
    }
    g_dbus_connection_add_filter(m_connection.get(), OnMessage, this, nullptr);
    m_server.reset(g_dbus_object_manager_server_new("/"));
    BluezAgentManager1* agents = bluez_agent_manager1_skeleton_new();
    g_signal_connect(agents, "handle-register-agent", G_CALLBACK(YesToTwo), nullptr);
    g_signal_connect(agents, "handle-unregister-agent", G_CALLBACK(YesToOne), nullptr);
    g_signal_connect(agents, "handle-request-default-agent", G_CALLBACK(YesToOne), nullptr);
    Add("/org/bluez", G_DBUS_INTERFACE_SKELETON(agents));
    BluezProfileManager1* profiles = bluez_profile_manager1_skeleton_new();
    g_signal_connect(profiles, "handle-register-profile", G_CALLBACK(YesToProfile), nullptr);
    g_signal_connect(profiles, "handle-unregister-profile", G_CALLBACK(YesToOne), nullptr);
    Add("/org/bluez", G_DBUS_INTERFACE_SKELETON(profiles));
    for (const auto& [path, object] : m_objects) {
        g_dbus_object_manager_server_export(m_server.get(), object.get());
    }
    g_dbus_object_manager_server_set_connection(m_server.get(), m_connection.get());
    const bus::VariantPtr answer(g_dbus_connection_call_sync(
        m_connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", "org.bluez", 4U), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    if (!answer) {
        throw std::runtime_error("the daemon gets no name");
    }
}

void FakeBluez::Disconnect()
{
    if (!m_connection) {
        return;
    }
    g_dbus_connection_close_sync(m_connection.get(), nullptr, nullptr);
    m_past.push_back(std::exchange(m_objects, {}));
    m_server.reset();
    m_connection.reset();
}

GDBusObjectSkeleton* FakeBluez::Object(const std::string& path)
{
    auto& object = m_objects[path];
    if (!object) {
        object.reset(g_dbus_object_skeleton_new(path.c_str()));
    }
    return object.get();
}

void FakeBluez::Add(const std::string& path, GDBusInterfaceSkeleton* interface)
{
    const bool isNew = !m_objects.contains(path);
    GDBusObjectSkeleton* object = Object(path);
    g_dbus_object_skeleton_add_interface(object, interface);
    g_object_unref(interface);
    if (isNew && m_server && g_dbus_object_manager_server_get_connection(m_server.get()) != nullptr) {
        g_dbus_object_manager_server_export(m_server.get(), object);
    }
}

void FakeBluez::AddAdapter(bool powered, const std::string& path)
{
    m_thread.Run([&] {
        BluezLEAdvertisingManager1* advertising = bluez_leadvertising_manager1_skeleton_new();
        g_signal_connect(advertising, "handle-register-advertisement", G_CALLBACK(YesToObjectAndOptions), nullptr);
        g_signal_connect(advertising, "handle-unregister-advertisement", G_CALLBACK(YesToOne), nullptr);
        g_dbus_object_skeleton_add_interface(
            m_objects.emplace(path, g_dbus_object_skeleton_new(path.c_str())).first->second.get(),
            G_DBUS_INTERFACE_SKELETON(advertising));
        g_object_unref(advertising);
        BluezAdapter1* adapter = bluez_adapter1_skeleton_new();
        bluez_adapter1_set_address(adapter, "00:11:22:33:44:55");
        bluez_adapter1_set_alias(adapter, "box");
        bluez_adapter1_set_powered(adapter, powered ? TRUE : FALSE);
        bluez_adapter1_set_pairable(adapter, TRUE);
        g_signal_connect(adapter, "handle-remove-device",
                         G_CALLBACK(+[](BluezAdapter1*, GDBusMethodInvocation* invocation, const gchar* device,
                                        gpointer self) -> gboolean {
                             auto& daemon = *static_cast<FakeBluez*>(self);
                             daemon.Drop(device);
                             g_dbus_method_invocation_return_value(invocation, nullptr);
                             return TRUE;
                         }),
                         this);
        g_dbus_object_skeleton_add_interface(Object(path), G_DBUS_INTERFACE_SKELETON(adapter));
        g_object_unref(adapter);
        if (m_server) {
            g_dbus_object_manager_server_export(m_server.get(), Object(path));
        }
    });
}

void FakeBluez::PullAdapter(const std::string& path)
{
    Remove(path);
}

void FakeBluez::SetAdapter(const std::function<void(BluezAdapter1*)>& change, const std::string& path)
{
    m_thread.Run([&] {
        const bus::ObjectPtr<GDBusInterface> adapter(
            g_dbus_object_get_interface(G_DBUS_OBJECT(Object(path)), "org.bluez.Adapter1"));
        change(BLUEZ_ADAPTER1(adapter.get()));
        g_dbus_interface_skeleton_flush(G_DBUS_INTERFACE_SKELETON(adapter.get()));
    });
}

std::string FakeBluez::AddDevice(const std::string& address, const std::function<void(BluezDevice1*)>& change,
                                 const std::string& adapter)
{
    std::string path = adapter + "/dev_" + address;
    std::ranges::replace(path, ':', '_');
    m_thread.Run([&] {
        BluezDevice1* device = bluez_device1_skeleton_new();
        bluez_device1_set_address(device, address.c_str());
        bluez_device1_set_address_type(device, "public");
        bluez_device1_set_adapter(device, adapter.c_str());
        g_signal_connect(device, "handle-connect", G_CALLBACK(Yes), nullptr);
        g_signal_connect(device, "handle-disconnect", G_CALLBACK(Yes), nullptr);
        g_signal_connect(device, "handle-disconnect-profile", G_CALLBACK(YesToOne), nullptr);
        if (change) {
            change(device);
        }
        Add(path, G_DBUS_INTERFACE_SKELETON(device));
    });
    return path;
}

void FakeBluez::SetDevice(const std::string& path, const std::function<void(BluezDevice1*)>& change)
{
    m_thread.Run([&] {
        const bus::ObjectPtr<GDBusInterface> device(
            g_dbus_object_get_interface(G_DBUS_OBJECT(Object(path)), "org.bluez.Device1"));
        change(BLUEZ_DEVICE1(device.get()));
        g_dbus_interface_skeleton_flush(G_DBUS_INTERFACE_SKELETON(device.get()));
    });
}

void FakeBluez::SetControl(const std::string& path, bool connected)
{
    m_thread.Run([&] {
        bus::ObjectPtr<GDBusInterface> control(
            g_dbus_object_get_interface(G_DBUS_OBJECT(Object(path)), "org.bluez.MediaControl1"));
        if (!control) {
            Add(path, G_DBUS_INTERFACE_SKELETON(bluez_media_control1_skeleton_new()));
            control.reset(g_dbus_object_get_interface(G_DBUS_OBJECT(Object(path)), "org.bluez.MediaControl1"));
        }
        bluez_media_control1_set_connected(BLUEZ_MEDIA_CONTROL1(control.get()), connected ? TRUE : FALSE);
        g_dbus_interface_skeleton_flush(G_DBUS_INTERFACE_SKELETON(control.get()));
    });
}

void FakeBluez::AddTransport(const std::string& path, const std::string& device, const std::string& uuid, int volume)
{
    // A transport without a volume lacks the property, which a skeleton cannot: such a one is announced by hand.
    if (volume < 0) {
        GVariantBuilder interfaces;
        g_variant_builder_init(&interfaces, G_VARIANT_TYPE("a{sa{sv}}"));
        g_variant_builder_open(&interfaces, G_VARIANT_TYPE("{sa{sv}}"));
        g_variant_builder_add(&interfaces, "s", "org.bluez.MediaTransport1");
        g_variant_builder_open(&interfaces, G_VARIANT_TYPE_VARDICT);
        g_variant_builder_add(&interfaces, "{sv}", "Device", g_variant_new_object_path(device.c_str()));
        g_variant_builder_add(&interfaces, "{sv}", "UUID", g_variant_new_string(uuid.c_str()));
        g_variant_builder_close(&interfaces);
        g_variant_builder_close(&interfaces);
        Emits("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded",
              g_variant_new("(oa{sa{sv}})", path.c_str(), &interfaces));
        return;
    }
    m_thread.Run([&] {
        BluezMediaTransport1* transport = bluez_media_transport1_skeleton_new();
        bluez_media_transport1_set_device(transport, device.c_str());
        bluez_media_transport1_set_uuid(transport, uuid.c_str());
        bluez_media_transport1_set_volume(transport, static_cast<guint16>(volume));
        Add(path, G_DBUS_INTERFACE_SKELETON(transport));
    });
}

void FakeBluez::SetVolume(const std::string& path, int volume)
{
    GVariantBuilder properties;
    g_variant_builder_init(&properties, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&properties, "{sv}", "Volume", g_variant_new_uint16(static_cast<guint16>(volume)));
    Emits(path, "org.freedesktop.DBus.Properties", "PropertiesChanged",
          g_variant_new("(sa{sv}as)", "org.bluez.MediaTransport1", &properties, nullptr));
}

void FakeBluez::Remove(const std::string& path)
{
    m_thread.Run([&] { Drop(path); });
}

void FakeBluez::Drop(const std::string& path)
{
    if (auto object = m_objects.extract(path); object) {
        if (m_server) {
            g_dbus_object_manager_server_unexport(m_server.get(), path.c_str());
        }
        m_past.emplace_back().insert(std::move(object));
    }
}

void FakeBluez::AnswersWithError(const std::string& member, const std::string& error)
{
    const std::lock_guard lock(m_mutex);
    m_errors[member] = error;
}

void FakeBluez::Stalls(const std::string& member)
{
    const std::lock_guard lock(m_mutex);
    m_stalling.insert(member);
}

void FakeBluez::DiesOn(const std::string& member)
{
    const std::lock_guard lock(m_mutex);
    m_deadly.insert(member);
}

void FakeBluez::Behaves()
{
    const std::lock_guard lock(m_mutex);
    m_errors.clear();
    m_stalling.clear();
    m_deadly.clear();
}

void FakeBluez::Emits(const std::string& path, const std::string& interface, const std::string& signal,
                      GVariant* arguments)
{
    m_thread.Run([&] {
        g_dbus_connection_emit_signal(m_connection.get(), nullptr, path.c_str(), interface.c_str(), signal.c_str(),
                                      arguments, nullptr);
    });
}

int FakeBluez::Asks(const std::string& method, GVariant* arguments)
{
    const std::unique_lock lock(m_mutex);
    const int call = ++m_lastCall;
    m_outcomes[call] = "pending";
    struct Asked
    {
        FakeBluez* self;
        int call;
    };
    const std::string owner = m_agentOwner;
    const std::string path = m_agentPath;
    GVariant* body = arguments != nullptr ? g_variant_ref_sink(arguments) : nullptr;
    support::LoopThread::Post(m_thread.Context().get(), [=, this] {
        auto asked = std::make_unique<Asked>(Asked{this, call});
        g_dbus_connection_call(
            m_connection.get(), owner.c_str(), path.c_str(), "org.bluez.Agent1", method.c_str(), body, nullptr,
            G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr,
            [](GObject* connection, GAsyncResult* result, gpointer data) {
                const std::unique_ptr<Asked> owned(static_cast<Asked*>(data));
                GError* failure = nullptr;
                const bus::VariantPtr reply(
                    g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &failure));
                const bus::ErrorPtr error(failure);
                std::string outcome = "ok";
                if (error) {
                    const bus::TextPtr name(g_dbus_error_get_remote_error(error.get()));
                    outcome = name ? name.get() : error->message;
                } else if (g_variant_n_children(reply.get()) == 1) {
                    const bus::VariantPtr value(g_variant_get_child_value(reply.get(), 0));
                    const bus::TextPtr text(g_variant_print(value.get(), FALSE));
                    outcome += std::string(" ") + text.get();
                }
                const std::lock_guard inner(owned->self->m_mutex);
                owned->self->m_outcomes[owned->call] = outcome;
            },
            asked.release());
        if (body != nullptr) {
            g_variant_unref(body);
        }
    });
    return call;
}

std::string FakeBluez::Outcome(int call)
{
    const std::lock_guard lock(m_mutex);
    return m_outcomes[call];
}

std::vector<std::string> FakeBluez::Calls()
{
    const std::lock_guard lock(m_mutex);
    return m_calls;
}

int FakeBluez::CallsOf(const std::string& call)
{
    return static_cast<int>(std::ranges::count(Calls(), call));
}

void FakeBluez::ForgetCalls()
{
    const std::lock_guard lock(m_mutex);
    m_calls.clear();
}

std::string FakeBluez::AgentPath()
{
    const std::lock_guard lock(m_mutex);
    return m_agentPath;
}

GDBusMessage* FakeBluez::OnMessage(GDBusConnection* connection, GDBusMessage* message, gboolean incoming, gpointer self)
{
    const bool isCall = g_dbus_message_get_message_type(message) == G_DBUS_MESSAGE_TYPE_METHOD_CALL;
    return incoming != FALSE && isCall ? static_cast<FakeBluez*>(self)->Take(connection, message) : message;
}

GDBusMessage* FakeBluez::Take(GDBusConnection* connection, GDBusMessage* message)
{
    std::string member;
    const std::string words = Words(message, member);
    const std::lock_guard lock(m_mutex);
    m_calls.push_back(words);
    if (member == "RegisterAgent") {
        m_agentOwner = g_dbus_message_get_sender(message);
        const char* path = nullptr;
        g_variant_get_child(g_dbus_message_get_body(message), 0, "&o", &path);
        m_agentPath = path;
    }
    if (m_deadly.contains(member)) {
        support::LoopThread::Post(m_thread.Context().get(), [this] { Disconnect(); });
        g_object_unref(message);
        return nullptr;
    }
    if (m_stalling.contains(member)) {
        g_object_unref(message);
        return nullptr;
    }
    if (const auto error = m_errors.find(member); error != m_errors.end()) {
        const bus::ObjectPtr<GDBusMessage> reply(
            g_dbus_message_new_method_error_literal(message, error->second.c_str(), "no"));
        g_dbus_connection_send_message(connection, reply.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr);
        g_object_unref(message);
        return nullptr;
    }
    return message;
}

} // namespace linux_test
