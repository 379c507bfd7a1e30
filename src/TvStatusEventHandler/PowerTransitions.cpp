// What each change of the power state does to the Bluetooth side.

#include "DbusClient/DbusClient.h"
#include "DbusClient/Sibling.h"
#include "GlibPointers.h"
#include "KernelLog.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "SystemConfigUtil.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "TvStatusUtil.h"
#include "VconfUtil.h"

#include <gio/gio.h>

#include <bt_adapter.h>
#include <vconf.h>

#include <algorithm>
#include <array>

namespace {

constexpr const char* kGripPopupCountKey = "memory/vyrel/count_display_grip_sensor_popup";

constexpr unsigned int kSpeakerDelayMs = 10000;
constexpr int kLockMs = 60000;
constexpr int kLowPowerAmbientMode = 2;

struct Transition
{
    int newState;
    void (CTvStatusEventHandler::*handler)(device_power_state_info*);
};

constexpr std::array<Transition, 5> kTransitions = {{
    {DEVICE_POWER_STATE_NORMAL, &CTvStatusEventHandler::GoToNormalPowerState},
    {DEVICE_POWER_STATE_PICTURE_OFF, &CTvStatusEventHandler::GoToNormalPictureoff},
    {DEVICE_POWER_STATE_STANDBY, &CTvStatusEventHandler::GoToStandbyPowerState},
    {DEVICE_POWER_STATE_OFF, &CTvStatusEventHandler::GoToOffPowerState},
    {DEVICE_POWER_STATE_SUSPEND, &CTvStatusEventHandler::GoToSuspendPowerState},
}};

/// The sound routes after which a speaker is called back.
constexpr bool IsSpeakerRoute(int route)
{
    return route == 3 || route == 5;
}

/// The ambient modes from which the set enters low power with its adapter in headless mode.
constexpr bool LeavesHeadlessMode(int previousAmbientMode)
{
    return previousAmbientMode == 0 || previousAmbientMode == 3;
}

bool IsMissing(const device_power_state_info* info)
{
    if (info == nullptr) {
        LOGE("info is NULL");
    }
    return info == nullptr;
}

void TellConnectionManager(CDbusClient* client, const char* signal, GVariant* body)
{
    const Util::VariantPtr owned = Util::TakeBody(body);
    if (client != nullptr) {
        client->SendDbusSignal(kConnectionManager.name, kConnectionManager.path, kConnectionManager.interface, signal,
                               owned.get());
    }
}

} // namespace

int CTvStatusEventHandler::HandlePowerStateChanged(device_power_state_info* info)
{
    if (IsMissing(info)) {
        return 0;
    }
    LOGI("power state is changed from %d to %d", info->prev_state, info->new_state);
    const auto* transition = std::find_if(kTransitions.begin(), kTransitions.end(),
                                          [info](const Transition& row) { return row.newState == info->new_state; });
    if (transition != kTransitions.end()) {
        (this->*transition->handler)(info);
    }

    int lastSoundRoute = 0;
    Util::VconfUtil::GetVconf(VconfKey::DB_VYREL_LASTSOUNDROUTE, lastSoundRoute);
    const bool isSwitchedOn =
        info->new_state == DEVICE_POWER_STATE_NORMAL && info->prev_state != DEVICE_POWER_STATE_NORMAL;
    if (IsSpeakerRoute(lastSoundRoute) && isSwitchedOn) {
        g_timeout_add(kSpeakerDelayMs, HandleLastConnectedSpk, this);
        LOGI("last Soundoutput is bt spk timer added");
    }

    // Last, so that whoever hears it finds the adapter as the new state wants it.
    TellConnectionManager(m_dbusClient.get(), "PowerStateChanged",
                          g_variant_new("(iiiiii)", info->f0, info->f1, info->prev_state, info->new_state,
                                        info->prev_ambient_mode, info->new_ambient_mode));
    return 0;
}

int CTvStatusEventHandler::HandleLastConnectedSpk(void* self)
{
    if (self == nullptr) {
        LOGE("userData is NULL");
        return G_SOURCE_REMOVE;
    }
    const std::shared_ptr<CDbusClient>& client = static_cast<CTvStatusEventHandler*>(self)->m_dbusClient;
    if (client) {
        client->SendDbusMethod(kConnectionManager.name, kConnectionManager.path, kConnectionManager.interface,
                               "LastConnectedBtSpk", nullptr);
    }
    return G_SOURCE_REMOVE;
}

void CTvStatusEventHandler::GoToNormalPowerState(device_power_state_info* info)
{
    if (IsMissing(info)) {
        return;
    }
    if (info->prev_state != DEVICE_POWER_STATE_PICTURE_OFF) {
        vconf_set_int(kGripPopupCountKey, 0);
    }
    bt_adapter_set_visibility(Util::SystemConfigUtil::IsBluetoothDiscoverable()
                                  ? BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE
                                  : BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE,
                              0);
    LOGI("Set adapter visibility to BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE");
    if (m_smartRcHandler) {
        m_smartRcHandler->StartAmbiLightTimer();
    }
    Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_AMBIENT_MODE_FULL_POWER_OFF_EVENT, info->new_ambient_mode);
    if (m_dbusClient) {
        m_dbusClient->SendToTouchIrMonitor("Reset");
    }
}

void CTvStatusEventHandler::GoToNormalPictureoff(device_power_state_info*)
{
    LOGD("Do nothing");
}

void CTvStatusEventHandler::GoToStandbyPowerState(device_power_state_info* info)
{
    if (IsMissing(info)) {
        return;
    }
    const int previous = info->prev_state;
    if (previous == DEVICE_POWER_STATE_NORMAL || previous == DEVICE_POWER_STATE_PICTURE_OFF) {
        Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_AMBIENT_MODE_FULL_POWER_OFF_EVENT, info->prev_ambient_mode);
        bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE, 0);
        LOGI("Set adapter visibility BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE");
        TellConnectionManager(m_dbusClient.get(), "StandbyPowerStatefromNormal", nullptr);
        if (m_smartRcHandler) {
            m_smartRcHandler->SendAmbiLightKpi();
        }
    } else if (previous == DEVICE_POWER_STATE_SUSPEND && info->prev_ambient_mode != kLowPowerAmbientMode) {
        LOGE("<NOT ERROR> power state form suspend(except LPM). Lock standby power state for 60sec to wait for bt hw "
             "ready");
        __print_kernel_log("VYREL", __func__, "request standby lock");
        Util::TvStatusUtil::SetStandbyPowerLock(kLockMs);
    }
}

void CTvStatusEventHandler::GoToOffPowerState(device_power_state_info*)
{
    LOGD("Do nothing");
}

void CTvStatusEventHandler::GoToSuspendPowerState(device_power_state_info* info)
{
    if (IsMissing(info)) {
        return;
    }
    if (info->prev_state == DEVICE_POWER_STATE_SUSPEND && info->new_ambient_mode == kLowPowerAmbientMode) {
        GoToLowPowerAmbientMode(info->prev_ambient_mode);
    }
}

void CTvStatusEventHandler::GoToLowPowerAmbientMode(int previousAmbientMode)
{
    LOGI("previous ambient mode : %d", previousAmbientMode);
    if (!LeavesHeadlessMode(previousAmbientMode)) {
        return;
    }
    __print_kernel_log("VYREL", __func__, "request lpm lock");
    Util::TvStatusUtil::LockLpmPowerState(kLockMs);
    bt_adapter_set_headless_mode(false);
    LOGI("set adapter headless false");
}
