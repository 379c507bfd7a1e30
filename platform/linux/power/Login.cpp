#include "power/Login.h"

#include "Log.h"

#include <memory>
#include <utility>

namespace power {

namespace {

constexpr const char* kName = "org.freedesktop.login1";
constexpr const char* kPath = "/org/freedesktop/login1";

const char* WordOf(Login::Request request)
{
    switch (request) {
    case Login::Request::Suspend:
        return "suspend";
    case Login::Request::PowerOff:
        return "power-off";
    case Login::Request::Reboot:
        break;
    }
    return "reboot";
}

struct Question
{
    Login::Request request;
    std::function<void()> failed;
};

} // namespace

Login::~Login()
{
    Detach();
}

void Login::Attach(GDBusConnection* connection)
{
    m_life.reset(g_cancellable_new());
    login_manager_proxy_new(connection,
                            static_cast<GDBusProxyFlags>(G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES |
                                                         G_DBUS_PROXY_FLAGS_DO_NOT_AUTO_START_AT_CONSTRUCTION),
                            kName, kPath, m_life.get(), OnProxy, this);
}

void Login::Detach()
{
    if (m_life) {
        g_cancellable_cancel(m_life.get());
        m_life.reset();
    }
    if (m_proxy) {
        g_signal_handlers_disconnect_by_data(m_proxy.get(), this);
        m_proxy.reset();
    }
    m_delay.Drop();
    m_block.Drop();
}

void Login::OnProxy(GObject*, GAsyncResult* result, gpointer self)
{
    GError* failure = nullptr;
    bus::ObjectPtr<LoginManager> proxy(login_manager_proxy_new_finish(result, &failure));
    const bus::ErrorPtr error(failure);
    if (!proxy) {
        if (!g_error_matches(failure, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
            PLATFORM_LOG(DLOG_ERROR, "logind cannot be watched: %s", error->message);
        }
        return;
    }
    auto& login = *static_cast<Login*>(self);
    login.m_proxy = std::move(proxy);
    LoginManager* manager = login.m_proxy.get();
    g_signal_connect(manager, "prepare-for-sleep", G_CALLBACK(OnPrepareForSleep), self);
    g_signal_connect(manager, "prepare-for-shutdown", G_CALLBACK(OnPrepareForShutdown), self);
    g_signal_connect(manager, "notify::g-name-owner", G_CALLBACK(OnOwner), self);
    login.OwnerChanged();
}

bool Login::IsThere() const
{
    if (!m_proxy) {
        return false;
    }
    const bus::TextPtr owner(g_dbus_proxy_get_name_owner(G_DBUS_PROXY(m_proxy.get())));
    return owner != nullptr;
}

void Login::OnOwner(GObject*, GParamSpec*, gpointer self)
{
    static_cast<Login*>(self)->OwnerChanged();
}

/// A logind that was started anew knows of none of its predecessor's holds.
void Login::OwnerChanged()
{
    m_delay.Drop();
    m_block.Drop();
    if (!IsThere()) {
        PLATFORM_LOG(DLOG_WARN, "logind is not there: the box can neither suspend nor switch off");
        return;
    }
    Delay(m_delays);
    Block(m_blocks);
}

void Login::Delay(bool on)
{
    m_delays = on;
    if (!on) {
        m_delay.Drop();
    } else if (IsThere()) {
        m_delay.Take(m_proxy.get());
    }
}

void Login::Block(bool on)
{
    m_blocks = on;
    if (!on) {
        m_block.Drop();
    } else if (IsThere()) {
        m_block.Take(m_proxy.get());
    }
}

void Login::Ask(Request request, std::function<void()> failed)
{
    if (!IsThere()) {
        PLATFORM_LOG(DLOG_ERROR, "no %s: logind is not there", WordOf(request));
        failed();
        return;
    }
    auto question = std::make_unique<Question>(Question{request, std::move(failed)});
    LoginManager* manager = m_proxy.get();
    switch (request) {
    case Request::Suspend:
        login_manager_call_suspend(manager, FALSE, G_DBUS_CALL_FLAGS_NONE, -1, m_life.get(), OnAnswer,
                                   question.release());
        break;
    case Request::PowerOff:
        login_manager_call_power_off(manager, FALSE, G_DBUS_CALL_FLAGS_NONE, -1, m_life.get(), OnAnswer,
                                     question.release());
        break;
    case Request::Reboot:
        login_manager_call_reboot(manager, FALSE, G_DBUS_CALL_FLAGS_NONE, -1, m_life.get(), OnAnswer,
                                  question.release());
        break;
    }
}

void Login::OnAnswer(GObject* proxy, GAsyncResult* result, gpointer data)
{
    const std::unique_ptr<Question> question(static_cast<Question*>(data));
    GError* failure = nullptr;
    // The three answers are alike: empty, or an error.
    const bus::VariantPtr answer(g_dbus_proxy_call_finish(G_DBUS_PROXY(proxy), result, &failure));
    const bus::ErrorPtr error(failure);
    if (error && !g_error_matches(failure, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
        PLATFORM_LOG(DLOG_ERROR, "no %s: %s", WordOf(question->request), error->message);
        question->failed();
    }
}

void Login::OnPrepareForSleep(LoginManager*, gboolean start, gpointer self)
{
    Listener& listener = static_cast<Login*>(self)->m_listener;
    start != FALSE ? listener.SleepComes() : listener.SleepEnded();
}

void Login::OnPrepareForShutdown(LoginManager*, gboolean start, gpointer self)
{
    Listener& listener = static_cast<Login*>(self)->m_listener;
    start != FALSE ? listener.ShutdownComes() : listener.ShutdownCancelled();
}

} // namespace power
