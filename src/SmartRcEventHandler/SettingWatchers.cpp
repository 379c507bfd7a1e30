// Settings that others write and the remotes hear of.

#include "Guard.h"
#include "LiteDebug.h"
#include "Living.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "SystemConfigUtil.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <glib.h>

#include <bt_adapter.h>
#include <vconf.h>

#include <array>
#include <string>

namespace {

constexpr const char* kFirstScreenKey = "memory/volt/firstscreen_state";
constexpr int kFirstScreenShown = 1;
constexpr int kOobDone = 5;
constexpr int kFactoryModeOn = 1;
constexpr int kServiceResetStarted = 0;
constexpr unsigned int kUseModeDelaySeconds = 5;

template <auto Handler>
void Forward(keynode_t* keyNode, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    (static_cast<CSmartRcEventHandler*>(userData)->*Handler)(keyNode);
}

/// For handlers that one value alone concerns. A missing node holds none, least of all the 0 that starts a service
/// reset.
template <auto Handler, int Value>
void ForwardValue(keynode_t* keyNode, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    RETURN_IF_NULL(keyNode, "keyNode is null");
    if (vconf_keynode_get_int(keyNode) == Value) {
        (static_cast<CSmartRcEventHandler*>(userData)->*Handler)(keyNode);
    }
}

void ForwardWizardMode(keynode_t*, void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL");
    static_cast<CSmartRcEventHandler*>(userData)->SetGripSensorOnOff();
}

struct Watch
{
    const char* key;
    vconf_callback_fn forwarder;
};

constexpr std::array<Watch, 7> kWatches = {{
    {"db/menu/support/use_mode", Forward<&CSmartRcEventHandler::OnUseModeChanged>},
    {"db/vyrel/oob_status", Forward<&CSmartRcEventHandler::OnOobStateChanged>},
    {"db/comss/duid", Forward<&CSmartRcEventHandler::OnDuidChanged>},
    {"memory/factoryapp/factory_mode", ForwardValue<&CSmartRcEventHandler::OnFactoryLaunched, kFactoryModeOn>},
    {"db/notification-service/reset", ForwardValue<&CSmartRcEventHandler::OnServiceReset, kServiceResetStarted>},
    {"memory/wizard/wizard_mode", ForwardWizardMode},
    {"memory/touch_interactive/touch_interactive_running", Forward<&CSmartRcEventHandler::OnTouchIrModeChanged>},
}};

/// This watch is never ended, so a write may come when the handler is gone.
void ForwardFirstScreen(keynode_t* keyNode, void* userData)
{
    auto* handler = Living<CSmartRcEventHandler>::Find(userData);
    RETURN_IF_NULL(handler, "userData is NULL");
    handler->OnFirstScreenStateChagned(keyNode);
}

/// Named to end the watch on the first screen. It is not the one that watches, so the watch stays: the next remote
/// needs it too, and names it once more when it connects.
void NeverWatched(keynode_t*, void*) {}

} // namespace

int CSmartRcEventHandler::OnUseModeTimer(void* userData)
{
    RETURN_IF_NULL(userData, "userData is NULL", G_SOURCE_REMOVE);
    auto* handler = static_cast<CSmartRcEventHandler*>(userData);
    handler->m_useModeTimerId = 0;
    if (!handler->m_smartRcAddress.empty()) {
        handler->SendShopModeToSmartRC(0);
    }
    return G_SOURCE_REMOVE;
}

void CSmartRcEventHandler::InitVconfKeyCallbacks()
{
    for (const Watch& watch : kWatches) {
        vconf_notify_key_changed(watch.key, watch.forwarder, this);
    }
}

void CSmartRcEventHandler::DeInitVconfKeyCallbacks()
{
    for (const Watch& watch : kWatches) {
        vconf_ignore_key_changed(watch.key, watch.forwarder);
    }
}

void CSmartRcEventHandler::OnUseModeChanged(keynode_t* keyNode)
{
    RETURN_IF_NULL(keyNode, "keyNode is null");
    const int useMode = vconf_keynode_get_int(keyNode);
    if (!Util::SystemConfigUtil::IsHalvo()) {
        LOGI("Normal TV");
        if (!m_smartRcAddress.empty()) {
            SendShopModeToSmartRC(useMode);
        }
        if (useMode != 0) {
            bt_adapter_register_headless_device(m_smartRcAddress.c_str());
        }
        return;
    }
    LOGI("PellionHalvo");
    if (!m_halvoWheelAddress.empty()) {
        SendShopModeToHalvo(useMode);
    }
    if (m_useModeTimerId != 0) {
        g_source_remove(m_useModeTimerId);
    }
    m_useModeTimerId = g_timeout_add_seconds(kUseModeDelaySeconds, OnUseModeTimer, this);
}

void CSmartRcEventHandler::OnOobStateChanged(keynode_t* keyNode)
{
    RETURN_IF_NULL(keyNode, "keyNode is null");
    if (vconf_keynode_get_int(keyNode) == kOobDone) {
        OnDuidChanged(keyNode);
    }
}

void CSmartRcEventHandler::OnFactoryLaunched(keynode_t*)
{
    LOGI("factory launch case");
    SendNoLatencyToSmartRC();
}

void CSmartRcEventHandler::OnServiceReset(keynode_t*)
{
    LOGI("service reset case");
    SendNoLatencyToSmartRC();
}

bool CSmartRcEventHandler::IsShopMode() const
{
    int useMode = 0;
    Util::VconfUtil::GetVconf(VconfKey::DB_MENU_SUPPORT_USE_MODE, useMode);
    return useMode != 0;
}

void CSmartRcEventHandler::SetFirstScreenCallback()
{
    vconf_notify_key_changed(kFirstScreenKey, ForwardFirstScreen, this);
}

void CSmartRcEventHandler::UnSetFirstScreenCallback() const
{
    if (!m_smartRcAddress.empty() || !m_halvoWheelAddress.empty()) {
        LOGI("Connected remote device is exist");
        return;
    }
    vconf_ignore_key_changed(kFirstScreenKey, NeverWatched);
}

void CSmartRcEventHandler::OnFirstScreenStateChagned(keynode_t* keyNode)
{
    RETURN_IF_NULL(keyNode, "keyNode is null");
    if (vconf_keynode_get_int(keyNode) != kFirstScreenShown) {
        return;
    }
    const bool wheelConnected = IsHalvoWheelConnected();
    const bool smartRcConnected = IsSmartRcConnected();
    if (wheelConnected && smartRcConnected) {
        LOGI("Both device connected");
        SendDeviceInfoQuery(SmartRc);
        AddTimerSendDeviceInfoQueryToHalvoWheel();
    } else if (wheelConnected) {
        LOGI("only halvo wheel connected");
        SendDeviceInfoQuery(HalvoWheel);
    } else if (smartRcConnected) {
        LOGI("only smart rc connected");
        SendDeviceInfoQuery(SmartRc);
    }
}
