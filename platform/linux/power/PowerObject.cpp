#include "power/PowerObject.h"

#include "Log.h"
#include "bus/SystemBus.h"
#include "power/PowerManager.h"
#include "power/StateFile.h"
#include "power/Wake.h"

#include <glib-object.h>

#include <device_power.h>

#include <array>
#include <deque>
#include <string>

namespace power {

namespace {

using Outcome = PowerManager::Outcome;
using Call = GDBusMethodInvocation;

constexpr const char* kBusy = "org.vantor.platform.Error.Busy";
constexpr const char* kNotHeld = "org.vantor.platform.Error.NotHeld";

/// Ends a call whose answer is empty.
gboolean Answer(Call* call, Outcome outcome)
{
    switch (outcome) {
    case Outcome::Done:
        g_dbus_method_invocation_return_value(call, nullptr);
        break;
    case Outcome::Invalid:
        g_dbus_method_invocation_return_error_literal(call, G_DBUS_ERROR, G_DBUS_ERROR_INVALID_ARGS,
                                                      "a value is out of its range");
        break;
    case Outcome::Busy:
        g_dbus_method_invocation_return_dbus_error(call, kBusy, "the box is on its way out");
        break;
    case Outcome::NotHeld:
        g_dbus_method_invocation_return_dbus_error(call, kNotHeld, "there is no such lock");
        break;
    case Outcome::NotSupported:
        g_dbus_method_invocation_return_error_literal(call, G_DBUS_ERROR, G_DBUS_ERROR_NOT_SUPPORTED,
                                                      "only standby can be locked");
        break;
    }
    return TRUE;
}

gboolean OnSetState(VantorPower1*, Call* call, gint state, gint, gpointer manager)
{
    return Answer(call, static_cast<PowerManager*>(manager)->SetState(state));
}

gboolean OnRequestPowerOff(VantorPower1*, Call* call, gint option, gpointer manager)
{
    return Answer(call, static_cast<PowerManager*>(manager)->RequestPowerOff(option));
}

gboolean OnRequestReboot(VantorPower1*, Call* call, gint reason, gpointer manager)
{
    return Answer(call, static_cast<PowerManager*>(manager)->RequestReboot(reason));
}

gboolean OnSetAmbient(VantorPower1*, Call* call, gint mode, gint type, gpointer manager)
{
    return Answer(call, static_cast<PowerManager*>(manager)->SetAmbient(mode, type));
}

gboolean OnSetAmbientLock(VantorPower1*, Call* call, gint on, guint milliseconds, gpointer manager)
{
    return Answer(call, static_cast<PowerManager*>(manager)->SetAmbientLock(on != 0, milliseconds));
}

gboolean OnLock(VantorPower1*, Call* call, gint state, guint milliseconds, gpointer manager)
{
    return Answer(call, static_cast<PowerManager*>(manager)->Lock(state, milliseconds));
}

gboolean OnUnlock(VantorPower1*, Call* call, gint state, gpointer manager)
{
    return Answer(call, static_cast<PowerManager*>(manager)->Unlock(state));
}

gboolean OnSetWakeupReason(VantorPower1*, Call* call, gint reason, gpointer manager)
{
    static_cast<PowerManager*>(manager)->SetWakeupReason(reason);
    return Answer(call, Outcome::Done);
}

GVariant* WakesAsVariant()
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a(sxiii)"));
    for (const WakeRecord& record : Wakes::OfProcess().Records()) {
        const std::array<int, 3>& passed = record.milliseconds;
        g_variant_builder_add(&builder, "(sxiii)", record.cause.c_str(), record.time, passed[0], passed[1], passed[2]);
    }
    return g_variant_builder_end(&builder);
}

} // namespace

PowerObject::PowerObject(PowerManager& manager) : m_manager(manager) {}

PowerObject::~PowerObject()
{
    Withdraw();
}

void PowerObject::Export(GDBusConnection* connection)
{
    m_skeleton.reset(vantor_power1_skeleton_new());
    VantorPower1* object = m_skeleton.get();
    PowerManager* manager = &m_manager;
    g_signal_connect(object, "handle-set-state", G_CALLBACK(OnSetState), manager);
    g_signal_connect(object, "handle-request-power-off", G_CALLBACK(OnRequestPowerOff), manager);
    g_signal_connect(object, "handle-request-reboot", G_CALLBACK(OnRequestReboot), manager);
    g_signal_connect(object, "handle-set-ambient", G_CALLBACK(OnSetAmbient), manager);
    g_signal_connect(object, "handle-set-ambient-lock", G_CALLBACK(OnSetAmbientLock), manager);
    g_signal_connect(object, "handle-lock", G_CALLBACK(OnLock), manager);
    g_signal_connect(object, "handle-unlock", G_CALLBACK(OnUnlock), manager);
    g_signal_connect(object, "handle-set-wakeup-reason", G_CALLBACK(OnSetWakeupReason), manager);
    Refresh();
    GError* failure = nullptr;
    if (g_dbus_interface_skeleton_export(G_DBUS_INTERFACE_SKELETON(object), connection, bus::kOwnPath, &failure) ==
        FALSE) {
        const bus::ErrorPtr error(failure);
        PLATFORM_LOG(DLOG_ERROR, "power is not on the bus: %s", error->message);
        m_skeleton.reset();
    }
}

void PowerObject::Withdraw()
{
    if (m_skeleton) {
        g_dbus_interface_skeleton_unexport(G_DBUS_INTERFACE_SKELETON(m_skeleton.get()));
        g_signal_handlers_disconnect_by_data(m_skeleton.get(), &m_manager);
        m_skeleton.reset();
    }
}

void PowerObject::TellChange(const device_power_state_info& info) const
{
    if (m_skeleton) {
        vantor_power1_emit_state_changed(m_skeleton.get(),
                                         g_variant_new("(iiiiii)", info.f0, info.f1, info.prev_state, info.new_state,
                                                       info.prev_ambient_mode, info.new_ambient_mode));
    }
}

void PowerObject::Refresh() const
{
    if (!m_skeleton) {
        return;
    }
    VantorPower1* object = m_skeleton.get();
    const Remembered& now = m_manager.Now();
    vantor_power1_set_state(object, now.state);
    vantor_power1_set_ambient_mode(object, now.ambientMode);
    vantor_power1_set_ambient_type(object, now.ambientType);
    vantor_power1_set_wakeup_reason(object, now.wakeupReason);
    vantor_power1_set_locked(object, m_manager.IsLocked());
    vantor_power1_set_wakes(object, WakesAsVariant());
}

} // namespace power
