// Settings that others write and the remotes hear of.

#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "SystemConfigUtil.h"
#include "VconfUtil.h"

#include <bt_adapter.h>

#include <array>

namespace {

constexpr const char* kFirstScreenKey = "memory/volt/firstscreen_state";
constexpr int kFirstScreenShown = 1;
constexpr int kOobDone = 5;
constexpr int kFactoryModeOn = 1;
constexpr int kServiceResetStarted = 0;
constexpr unsigned int kUseModeDelaySeconds = 5;

/// Whether this value was written. A missing node holds none, least of all the 0 that starts a service reset.
bool Holds(keynode_t* keyNode, int value)
{
    if (keyNode == nullptr) {
        LOGE("keyNode is null");
        return false;
    }
    return vconf_keynode_get_int(keyNode) == value;
}

/// The handler that a watch was registered with, null if there is none.
CSmartRcEventHandler* HandlerOf(void* userData)
{
    if (userData == nullptr) {
        LOGE("userData is NULL");
    }
    return static_cast<CSmartRcEventHandler*>(userData);
}

void OnUseMode(keynode_t* keyNode, void* userData)
{
    if (CSmartRcEventHandler* handler = HandlerOf(userData)) {
        handler->OnUseModeChanged(keyNode);
    }
}

void OnOobState(keynode_t* keyNode, void* userData)
{
    if (CSmartRcEventHandler* handler = HandlerOf(userData)) {
        handler->OnOobStateChanged(keyNode);
    }
}

void OnDuid(keynode_t* keyNode, void* userData)
{
    if (CSmartRcEventHandler* handler = HandlerOf(userData)) {
        handler->OnDuidChanged(keyNode);
    }
}

void OnFactoryMode(keynode_t* keyNode, void* userData)
{
    CSmartRcEventHandler* handler = HandlerOf(userData);
    if (handler != nullptr && Holds(keyNode, kFactoryModeOn)) {
        handler->OnFactoryLaunched(keyNode);
    }
}

void OnReset(keynode_t* keyNode, void* userData)
{
    CSmartRcEventHandler* handler = HandlerOf(userData);
    if (handler != nullptr && Holds(keyNode, kServiceResetStarted)) {
        handler->OnServiceReset(keyNode);
    }
}

void OnWizardMode(keynode_t*, void* userData)
{
    if (CSmartRcEventHandler* handler = HandlerOf(userData)) {
        handler->SetGripSensorOnOff();
    }
}

void OnTouchIrMode(keynode_t* keyNode, void* userData)
{
    if (CSmartRcEventHandler* handler = HandlerOf(userData)) {
        handler->OnTouchIrModeChanged(keyNode);
    }
}

void OnFirstScreen(keynode_t* keyNode, void* userData)
{
    if (CSmartRcEventHandler* handler = HandlerOf(userData)) {
        handler->OnFirstScreenStateChagned(keyNode);
    }
}

/// Only ever named to end a watch. It is not the one that watches, so the watch stays: the first screen is of interest
/// to the next remote too.
void OnFirstScreenUnwatched(keynode_t* keyNode, void* userData)
{
    OnFirstScreen(keyNode, userData);
}

struct Watch
{
    const char* key;
    vconf_callback_fn callback;
};
constexpr std::array<Watch, 7> kWatches = {{
    {"db/menu/support/use_mode", OnUseMode},
    {"db/vyrel/oob_status", OnOobState},
    {"db/comss/duid", OnDuid},
    {"memory/factoryapp/factory_mode", OnFactoryMode},
    {"db/notification-service/reset", OnReset},
    {"memory/wizard/wizard_mode", OnWizardMode},
    {"memory/touch_interactive/touch_interactive_running", OnTouchIrMode},
}};

} // namespace

int CSmartRcEventHandler::OnUseModeTimer(void* userData)
{
    CSmartRcEventHandler* handler = HandlerOf(userData);
    if (handler == nullptr) {
        return G_SOURCE_REMOVE;
    }
    handler->m_useModeTimerId = 0;
    if (!handler->m_smartRcAddress.empty()) {
        handler->SendShopModeToSmartRC(0);
    }
    return G_SOURCE_REMOVE;
}

void CSmartRcEventHandler::InitVconfKeyCallbacks()
{
    for (const Watch& watch : kWatches) {
        vconf_notify_key_changed(watch.key, watch.callback, this);
    }
}

void CSmartRcEventHandler::DeInitVconfKeyCallbacks()
{
    for (const Watch& watch : kWatches) {
        vconf_ignore_key_changed(watch.key, watch.callback);
    }
}

void CSmartRcEventHandler::OnUseModeChanged(keynode_t* keyNode)
{
    if (keyNode == nullptr) {
        LOGE("keyNode is null");
        return;
    }
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
    if (keyNode == nullptr) {
        LOGE("keyNode is null");
        return;
    }
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

bool CSmartRcEventHandler::IsShopMode()
{
    int useMode = 0;
    Util::VconfUtil::GetVconf(VconfKey::DB_MENU_SUPPORT_USE_MODE, useMode);
    return useMode != 0;
}

void CSmartRcEventHandler::SetFirstScreenCallback()
{
    vconf_notify_key_changed(kFirstScreenKey, OnFirstScreen, this);
}

void CSmartRcEventHandler::UnSetFirstScreenCallback()
{
    if (!m_smartRcAddress.empty() || !m_halvoWheelAddress.empty()) {
        LOGI("Connected remote device is exist");
        return;
    }
    vconf_ignore_key_changed(kFirstScreenKey, OnFirstScreenUnwatched);
}

void CSmartRcEventHandler::OnFirstScreenStateChagned(keynode_t* keyNode)
{
    if (keyNode == nullptr) {
        LOGE("keyNode is null");
        return;
    }
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
