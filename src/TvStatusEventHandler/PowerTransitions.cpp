// What each change of the power state does to the Bluetooth side.

#include "DbusClient/DbusClient.h"
#include "DbusClient/Sibling.h"
#include "Guard.h"
#include "KernelLog.h"
#include "LastSpeaker.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "SystemConfigUtil.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "TvStatusUtil.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <glib.h>

#include <bt_adapter.h>
#include <device_power.h>
#include <vconf.h>

#include <algorithm>
#include <array>
#include <memory>

namespace {

/// How long the set is held while Bluetooth's hardware gets ready. An adapter that is up earlier gives the lock back
/// (CBluetoothEventHandler::handleAdapterEnable).
constexpr int kLockMs = 60000;

struct Transition
{
    int newState;
    void (CTvStatusEventHandler::*handler)(device_power_state_info*) const;
};

constexpr std::array<Transition, 5> kTransitions = {{
    {DEVICE_POWER_STATE_NORMAL, &CTvStatusEventHandler::GoToNormalPowerState},
    {DEVICE_POWER_STATE_PICTURE_OFF, &CTvStatusEventHandler::GoToNormalPictureoff},
    {DEVICE_POWER_STATE_STANDBY, &CTvStatusEventHandler::GoToStandbyPowerState},
    {DEVICE_POWER_STATE_OFF, &CTvStatusEventHandler::GoToOffPowerState},
    {DEVICE_POWER_STATE_SUSPEND, &CTvStatusEventHandler::GoToSuspendPowerState},
}};

/// True for the ambient modes in which the adapter is in headless mode, where the low-power picture cannot use it. A
/// set that shows the art picture or the low-power picture already has its adapter on.
constexpr bool IsAdapterHeadless(int previousAmbientMode)
{
    return previousAmbientMode == DEVICE_POWER_AMBIENT_MODE_NONE ||
           previousAmbientMode == DEVICE_POWER_AMBIENT_MODE_SUSPEND;
}

} // namespace

int CTvStatusEventHandler::HandlePowerStateChanged(device_power_state_info* info)
{
    RETURN_IF_NULL(info, "info is NULL", 0);
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
    if (LastSpeaker::IsRouteTo(lastSoundRoute) && isSwitchedOn) {
        g_timeout_add(LastSpeaker::kCallBackDelay, HandleLastConnectedSpk, this);
        LOGI("last Soundoutput is bt spk timer added");
    }

    // Last, so that whoever hears it finds the adapter as the new state wants it.
    Signal(m_dbusClient.get(), kConnectionManager, "PowerStateChanged",
           g_variant_new("(iiiiii)", info->f0, info->f1, info->prev_state, info->new_state, info->prev_ambient_mode,
                         info->new_ambient_mode));
    return 0;
}

int CTvStatusEventHandler::HandleLastConnectedSpk(void* self)
{
    RETURN_IF_NULL(self, "userData is NULL", G_SOURCE_REMOVE);
    Call(static_cast<CTvStatusEventHandler*>(self)->m_dbusClient.get(), kConnectionManager, "LastConnectedBtSpk");
    return G_SOURCE_REMOVE;
}

void CTvStatusEventHandler::GoToNormalPowerState(device_power_state_info* info) const
{
    RETURN_IF_NULL(info, "info is NULL");
    if (info->prev_state != DEVICE_POWER_STATE_PICTURE_OFF) {
        vconf_set_int(VconfKey::kGripPopupCount, 0);
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

void CTvStatusEventHandler::GoToNormalPictureoff(device_power_state_info*) const
{
    LOGD("Do nothing");
}

void CTvStatusEventHandler::GoToStandbyPowerState(device_power_state_info* info) const
{
    RETURN_IF_NULL(info, "info is NULL");
    const int previous = info->prev_state;
    if (previous == DEVICE_POWER_STATE_NORMAL || previous == DEVICE_POWER_STATE_PICTURE_OFF) {
        Util::VconfUtil::SetVconf(VconfKey::DB_VYREL_AMBIENT_MODE_FULL_POWER_OFF_EVENT, info->prev_ambient_mode);
        bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE, 0);
        LOGI("Set adapter visibility BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE");
        Signal(m_dbusClient.get(), kConnectionManager, "StandbyPowerStatefromNormal");
        if (m_smartRcHandler) {
            m_smartRcHandler->SendAmbiLightKpi();
        }
    } else if (previous == DEVICE_POWER_STATE_SUSPEND &&
               info->prev_ambient_mode != DEVICE_POWER_AMBIENT_MODE_LOW_POWER) {
        LOGE("<NOT ERROR> power state form suspend(except LPM). Lock standby power state for 60sec to wait for bt hw "
             "ready");
        __print_kernel_log("VYREL", __func__, "request standby lock");
        Util::TvStatusUtil::SetStandbyPowerLock(kLockMs);
    }
}

void CTvStatusEventHandler::GoToOffPowerState(device_power_state_info*) const
{
    LOGD("Do nothing");
}

void CTvStatusEventHandler::GoToSuspendPowerState(device_power_state_info* info) const
{
    RETURN_IF_NULL(info, "info is NULL");
    if (info->prev_state == DEVICE_POWER_STATE_SUSPEND &&
        info->new_ambient_mode == DEVICE_POWER_AMBIENT_MODE_LOW_POWER) {
        GoToLowPowerAmbientMode(info->prev_ambient_mode);
    }
}

void CTvStatusEventHandler::GoToLowPowerAmbientMode(int previousAmbientMode) const
{
    LOGI("previous ambient mode : %d", previousAmbientMode);
    if (!IsAdapterHeadless(previousAmbientMode)) {
        return;
    }
    __print_kernel_log("VYREL", __func__, "request lpm lock");
    Util::TvStatusUtil::LockLpmPowerState(kLockMs);
    bt_adapter_set_headless_mode(false);
    LOGI("set adapter headless false");
}
