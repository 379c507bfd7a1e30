#include "power/Inhibitor.h"

#include "Log.h"

#include <gio/gunixfdlist.h>

#include <unistd.h>

namespace power {

namespace {

constexpr const char* kWho = "vyrel-lite";

} // namespace

Inhibitor::~Inhibitor()
{
    Drop();
}

void Inhibitor::Take(LoginManager* login)
{
    if (IsHeld() || m_asking) {
        return;
    }
    m_asking.reset(g_cancellable_new());
    login_manager_call_inhibit(login, m_what, kWho, m_why, m_mode, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, m_asking.get(),
                               OnAnswer, this);
}

void Inhibitor::Drop()
{
    if (m_asking) {
        g_cancellable_cancel(m_asking.get());
        m_asking.reset();
    }
    if (IsHeld()) {
        ::close(m_descriptor);
        m_descriptor = -1;
    }
}

void Inhibitor::OnAnswer(GObject* login, GAsyncResult* result, gpointer self)
{
    GVariant* handle = nullptr;
    GUnixFDList* descriptors = nullptr;
    GError* failure = nullptr;
    login_manager_call_inhibit_finish(reinterpret_cast<LoginManager*>(login), &handle, &descriptors, result, &failure);
    const bus::VariantPtr ownedHandle(handle);
    const bus::ObjectPtr<GUnixFDList> ownedDescriptors(descriptors);
    const bus::ErrorPtr error(failure);
    if (error && g_error_matches(failure, G_IO_ERROR, G_IO_ERROR_CANCELLED)) {
        return; // dropped meanwhile, and perhaps its owner with it
    }
    auto& inhibitor = *static_cast<Inhibitor*>(self);
    inhibitor.m_asking.reset();
    if (!error && descriptors != nullptr) {
        inhibitor.m_descriptor = g_unix_fd_list_get(descriptors, g_variant_get_handle(handle), nullptr);
    }
    if (!inhibitor.IsHeld()) {
        PLATFORM_LOG(DLOG_WARN, "logind gives no \"%s\" hold: %s", inhibitor.m_mode,
                     error ? error->message : "no descriptor came");
    }
}

} // namespace power
