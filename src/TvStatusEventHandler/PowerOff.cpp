// The notices of a power-off, from standby to the last step, and of the wake-up that follows.

#include "CommonUtil.h"
#include "DbusClient/DbusClient.h"
#include "Guard.h"
#include "KernelLog.h"
#include "LiteDebug.h"
#include "TvStatusEventHandler/PowerOffOption.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "TvStatusUtil.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <glib.h>

#include <bt_adapter.h>
#include <bt_error.h>
#include <device_power.h>

#include <memory>
#include <string>

namespace {

constexpr const char* kOwnPackage = "org.vantor.vyrel";

constexpr int kUpdateLockMs = 15000;
constexpr int kRebootForRecovery = 34;

constexpr int kMostHeadlessRetries = 35;
constexpr unsigned long kHeadlessRetryUs = 100'000;
constexpr unsigned long kHeadlessSettlingUs = 10'000;

} // namespace

int CTvStatusEventHandler::OnPowerStandbyCb(int option)
{
    LOGE("<Not error> enter OnPowerStandbyCb");
    const bool isSuspendOff = PowerOffOption::IsSuspendOff(option);
    const bool ignoresLock = PowerOffOption::IgnoresLock(option);
    LOGI("Poweroff option(suspend off = %d, ignoreLock = %d)", isSuspendOff, ignoresLock);
    if (isSuspendOff && !ignoresLock) {
        LOGI("normal power off case, proceed bt update");
        Util::TvStatusUtil::SetStandbyPowerLock(kUpdateLockMs);
        if (m_dbusClient) {
            m_dbusClient->RequestBTChipUpdate();
        } else {
            Util::TvStatusUtil::UnSetStandbyPowerLock(); // as the end of the updates does otherwise
        }
    } else if (PowerOffOption::IsReset(option)) {
        LOGE("<Not error> Reset : %d", option);
        // When the adapter comes up the next time, the first flag has the pairings removed and is cleared
        // (CBluetoothEventHandler::removeAllPairedDeviceToReset). The second one is for a sibling.
        Util::VconfUtil::SetVconfAsync(VconfKey::DB_VYREL_RESET, 1);
        Util::VconfUtil::SetVconfAsync(VconfKey::DB_COM_QUORIX_TV_BT_MDEMANAGER_BTINFOSYNC_FACTORY_RESET_FLAG, 1);
        SendResetCommand();
    }
    LOGE("<Not error> exit OnPowerStandbyCb");
    return 0;
}

int CTvStatusEventHandler::OnPowerOffEvent(device_poweroff_info* info)
{
    RETURN_IF_NULL(info, "info is NULL", 0);
    LOGE("<Not error> enter OnPowerOffEvent");
    const int option = info->option;
    if (PowerOffOption::IsReset(option)) {
        LOGE("<Not Error> : Reset start, OnPowerOffEvent");
        DoBluetoothReset(option);
        LOGE("<Not Error> : Reset done, OnPowerOffEvent");
    } else if (PowerOffOption::IsSuspendOff(option)) {
        if (NeedColdBootToReset()) {
            LOGE("adapter is not enabled in power off event, set cold boot vconf");
            __print_kernel_log("VYREL", __func__, "in standby, need reboot for recovery");
            Util::VconfUtil::SetVconf(VconfKey::MEMORY_BOOT_COLD_POWEROFF_REQUEST_PKG, std::string(kOwnPackage));
        } else {
            bt_adapter_set_connectable(false);
            LOGI("Set bt adapter connectable false");
        }
    } else {
        bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE, 0);
        LOGI("Set adapter visibility BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE");
    }
    LOGE("<Not error> exit OnPowerOffEvent");
    return 0;
}

int CTvStatusEventHandler::OnPostPowerOffEvent(device_poweroff_info* info) const
{
    LOGE("<Not error> enter OnPostPowerOffEvent");
    if (info != nullptr && PowerOffOption::IsReset(info->option)) {
        LOGE("<Not Error> : Reset case do not handle post power off callback");
        return 0;
    }
    LOGI("Before Set adapter headless true");
    bt_adapter_set_headless_mode(true);
    LOGI("After Set adapter headless true");
    LOGE("<Not error> exit OnPostPowerOffEvent");
    return 0;
}

int CTvStatusEventHandler::OnAmbientPowerOff(device_poweroff_info*) const
{
    LOGE("<Not Error> OnAmbientPowerOff");
    if (NeedColdBootToReset()) {
        LOGE("adapter is not enabled in ambient off event, call device_power_request_reboot");
        __print_kernel_log("VYREL", __func__, "in lpm, need reboot for recovery");
        device_power_request_reboot(kRebootForRecovery);
        LOGE("<Not error> exit OnAmbientPowerOff");
        return 0;
    }
    int retryCount = 0;
    int result = bt_adapter_set_headless_mode(true);
    if (result != BT_ERROR_NONE) {
        while (result != BT_ERROR_NONE && retryCount < kMostHeadlessRetries) {
            ++retryCount;
            g_usleep(kHeadlessRetryUs);
            result = bt_adapter_set_headless_mode(true);
        }
        g_usleep(kHeadlessSettlingUs);
    }
    LOGE("<Not Error> Exit m_AmbientPowerOffCb, result of bt_adapter_set_headless_mode(true) : %d, retry count : %d",
         result, retryCount);
    return 0;
}

int CTvStatusEventHandler::OnWakeUp(int) const
{
    const int result = bt_adapter_set_headless_mode(false);
    LOGE("<Not Error> bt_adapter_set_headless_mode[false], ret = [%s]", Util::CommonUtil::ERR_STR(result));
    return 0;
}

bool CTvStatusEventHandler::NeedColdBootToReset()
{
    // The set was restarted to cure this already. Another restart would not help, and the set might restart for ever.
    if (device_power_get_wakeup_reason() == DEVICE_POWER_WAKEUP_STANDBY_REBOOT) {
        LOGI("wake up reason is POWER_WAKEUP_REASON_STANDBY_REBOOT, do not cold boot for recovery");
        return false;
    }
    bt_adapter_state_e state = BT_ADAPTER_DISABLED;
    return bt_adapter_get_state(&state) == BT_ERROR_NONE && state != BT_ADAPTER_ENABLED;
}
