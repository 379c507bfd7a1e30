#include "linux/Logind.h"

#include "support/MainLoop.h"

#include <gio/gunixfdlist.h>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <initializer_list>
#include <stdexcept>
#include <utility>

namespace linux_test {

namespace {

constexpr const char* kName = "org.freedesktop.login1";
constexpr const char* kPath = "/org/freedesktop/login1";

void CallBus(GDBusConnection* connection, const char* method, GVariant* body)
{
    const Util::VariantPtr answer(
        g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                    method, body, nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    if (!answer) {
        throw std::runtime_error(std::string("the bus refuses ") + method);
    }
}

} // namespace

Logind::Logind(std::function<void(const std::string&)> told) : m_told(std::move(told))
{
    ComesBack();
}

Logind::~Logind()
{
    Goes();
}

void Logind::Behaves(Behaviour behaviour)
{
    m_thread.Run([&] { m_behaviour = behaviour; });
}

void Logind::PreparesForSleep(bool start)
{
    m_thread.Run([&] { login_manager_emit_prepare_for_sleep(m_manager.get(), start ? TRUE : FALSE); });
}

void Logind::PreparesForShutdown(bool start)
{
    m_thread.Run([&] { login_manager_emit_prepare_for_shutdown(m_manager.get(), start ? TRUE : FALSE); });
}

std::vector<std::string> Logind::Holds()
{
    std::vector<std::string> words;
    m_thread.Run([&] {
        std::erase_if(m_holds, [](const Hold& hold) {
            pollfd end = {hold.end, POLLIN, 0};
            const bool isOver = ::poll(&end, 1, 0) > 0;
            if (isOver) {
                ::close(hold.end);
            }
            return isOver;
        });
        for (const Hold& hold : m_holds) {
            words.push_back(hold.words);
        }
    });
    return words;
}

bool Logind::WaitForHolds(const std::vector<std::string>& holds)
{
    return support::IterateUntil([&] { return Holds() == holds; });
}

void Logind::Synchronize()
{
    m_thread.Run([&] {
        if (m_connection) {
            CallBus(m_connection.get(), "GetId", nullptr);
        }
    });
    m_thread.Run([] {});
}

void Logind::Goes()
{
    m_thread.Run([&] {
        for (GDBusMethodInvocation* call : std::exchange(m_stalled, {})) {
            g_object_unref(call);
        }
        if (m_manager) {
            g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(m_manager.get()));
            m_manager.reset();
        }
        if (m_connection) {
            g_dbus_connection_close_sync(m_connection.get(), nullptr, nullptr);
            m_connection.reset();
        }
        CloseHolds();
    });
}

void Logind::CloseHolds()
{
    for (const Hold& hold : std::exchange(m_holds, {})) {
        ::close(hold.end);
    }
}

void Logind::ComesBack()
{
    m_thread.Run([&] {
        constexpr auto kFlags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                                  G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
        m_connection.reset(g_dbus_connection_new_for_address_sync(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"), kFlags,
                                                                  nullptr, nullptr, nullptr));
        if (!m_connection) {
            throw std::runtime_error("no bus for logind");
        }
        m_manager.reset(login_manager_skeleton_new());
        for (const char* request : {"handle-suspend", "handle-power-off", "handle-reboot"}) {
            g_signal_connect(m_manager.get(), request, G_CALLBACK(OnRequest), this);
        }
        g_signal_connect(m_manager.get(), "handle-inhibit", G_CALLBACK(OnInhibit), this);
        if (g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(m_manager.get()), m_connection.get(), kPath,
                                             nullptr) == FALSE) {
            throw std::runtime_error("logind cannot be exported");
        }
        CallBus(m_connection.get(), "RequestName", g_variant_new("(su)", kName, 0U));
    });
}

gboolean Logind::OnRequest(LoginManager*, GDBusMethodInvocation* call, gboolean interactive, gpointer self)
{
    auto& logind = *static_cast<Logind*>(self);
    const char* method = g_dbus_method_invocation_get_method_name(call);
    if (interactive != FALSE) {
        throw std::runtime_error("nobody is there to be asked");
    }
    logind.m_told(method);
    switch (logind.m_behaviour) {
    case Behaviour::Obeys:
        g_dbus_method_invocation_return_value(call, nullptr);
        break;
    case Behaviour::Refuses:
        g_dbus_method_invocation_return_dbus_error(call, "org.freedesktop.login1.SleepVerbNotSupported",
                                                   "Sleep verb not supported");
        break;
    case Behaviour::Stalls:
        logind.m_stalled.push_back(call);
        break;
    }
    return TRUE;
}

gboolean Logind::OnInhibit(LoginManager* manager, GDBusMethodInvocation* call, GUnixFDList*, const char* what,
                           const char* who, const char*, const char* mode, gpointer self)
{
    std::array<int, 2> ends = {-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe for a hold");
    }
    const std::unique_ptr<GUnixFDList, Util::ReleaseWith<g_object_unref>> list(
        g_unix_fd_list_new_from_array(&ends[1], 1));
    static_cast<Logind*>(self)->m_holds.push_back({std::string(mode) + " " + what + " by " + who, ends[0]});
    login_manager_complete_inhibit(manager, call, list.get(), g_variant_new_handle(0));
    return TRUE;
}

} // namespace linux_test
