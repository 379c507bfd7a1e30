// A reset of the set: the remotes and the stand are told, the stack forgets, and after the next start the settings do.

#include "CommonUtil.h"
#include "KernelLog.h"
#include "LiteDebug.h"
#include "ResetChecker/ResetChecker.h"
#include "SafeFile.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "SystemConfigUtil.h"
#include "TvStatusEventHandler/PowerOffOption.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "VconfKeyId.h"
#include "VconfUtil.h"

#include <glib.h>

#include <bt_adapter.h>
#include <bt_error.h>
#include <bt_hid.h>

#include <memory>
#include <string>

namespace {

constexpr const char* kAutomationTestFlag = "/tmp/FACTORY_PRODCUTION";

constexpr int kMostRetries = 10;
constexpr int kUsPerMs = 1000;
constexpr int kEraseMs = 1500;
constexpr int kRetryMs = 50;
constexpr unsigned long kRetryUs = 1000UL * kRetryMs;

using SendCommand = bool (CSmartRcEventHandler::*)() const;

/// Sends until the remote takes the command or the retries, which both remotes share, are used up.
void SendWithRetries(const CSmartRcEventHandler& remotes, SendCommand send, int& retryCount)
{
    bool isSent = (remotes.*send)();
    while (!isSent && retryCount < kMostRetries) {
        ++retryCount;
        LOGI("sleep 50ms for retry sending reset command");
        g_usleep(kRetryUs);
        isSent = (remotes.*send)();
        // Readers of the log know the bool by the name of the error code of its number: "None" means that it was sent.
        LOGI("retry result = %s retry count = %d", Util::CommonUtil::ERR_STR(static_cast<int>(isSent)), retryCount);
    }
}

bool RemoveAllHeadlessDeviceCb(bt_adapter_headless_dev_info_s* info, void*)
{
    if (info == nullptr || info->address == nullptr) {
        return true;
    }
    const int result = bt_adapter_unregister_headless_device(info->address);
    if (result != BT_ERROR_NONE) {
        LOGE("failed bt_adapter_foreach_headless_device_info with [%s]", Util::CommonUtil::ERR_STR(result));
    }
    return true;
}

} // namespace

void CTvStatusEventHandler::SendResetCommand()
{
    ResetRotator();
    SendResetCommandToSmartRc();
    SendResetCommandToHalvoWheel();
}

void CTvStatusEventHandler::ResetRotator() const
{
    if (!Util::SystemConfigUtil::IsSupportRotator()) {
        LOGI("Not Support rotator so do not send reset command");
        return;
    }
    if (!IsRotatorConnected()) {
        LOGI("Rotator is not connected so do not send reset command");
        return;
    }
    SendResetCommandToRotator();
}

bool CTvStatusEventHandler::IsRotatorConnected()
{
    bool connected = false;
    const int result = bt_hid_get_rotator_connection_state(&connected);
    LOGI("rotator connection state = %d ret = %s", connected, Util::CommonUtil::ERR_STR(result));
    return connected;
}

void CTvStatusEventHandler::SendResetCommandToRotator()
{
    const int result = bt_hid_send_rotator_bt_command(BT_HID_ROTATOR_COMMAND_RESET, BT_HID_ROTATOR_RESET_ARGUMENT);
    LOGI("result = %s", Util::CommonUtil::ERR_STR(result));
}

void CTvStatusEventHandler::SendResetCommandToSmartRc()
{
    if (m_smartRcHandler) {
        SendWithRetries(*m_smartRcHandler, &CSmartRcEventHandler::SendResetCommand, m_resetRetryCount);
    }
}

void CTvStatusEventHandler::SendResetCommandToHalvoWheel()
{
    if (m_smartRcHandler) {
        SendWithRetries(*m_smartRcHandler, &CSmartRcEventHandler::SendResetCommandToHalvoWheel, m_resetRetryCount);
    }
}

void CTvStatusEventHandler::DoBluetoothReset(int option)
{
    FactoryReset();
    if (IsAutomationTestMode() || !PowerOffOption::IsReset(option)) {
        return;
    }
    LOGI("waiting for eeprom erasing for 1.5 sec");
    g_usleep(static_cast<unsigned long>(GetSleepTimeForReset()));
    LOGI("sleep done");
    m_resetRetryCount = 0;
}

void CTvStatusEventHandler::FactoryReset()
{
    bt_adapter_reset();
    LOGE("<Not error> Bluetooth Factory Reset done");
}

bool CTvStatusEventHandler::IsAutomationTestMode()
{
    if (!Util::SafeFile::CanBeRead(kAutomationTestFlag)) {
        return false;
    }
    LOGI("Automation Test Mode");
    return true;
}

int CTvStatusEventHandler::GetSleepTimeForReset() const
{
    // The remotes have been erasing since the first command, so the time of the retries is part of the 1.5 s.
    const int sleepMs = kEraseMs - kRetryMs * m_resetRetryCount;
    LOGI("smart Rc reset retry count = %d sleep time = %d", m_resetRetryCount, sleepMs);
    return sleepMs * kUsPerMs;
}

bool CTvStatusEventHandler::WasReset()
{
    return ResetChecker().isReset();
}

void CTvStatusEventHandler::FinishReset()
{
    // The counters follow last: when the power fails before, the next start clears the settings again.
    ResetVconfKeys();
    ResetChecker().syncResetCount();
}

void CTvStatusEventHandler::ResetVconfKeys()
{
    using Util::VconfUtil;
    const std::string empty;
    __print_kernel_log("VYREL", __func__, "START, reset vconfkeys");
    VconfUtil::SetVconf(VconfKey::DB_VYREL_LASTSOUNDROUTE, 0);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_LAST_BTSPK_NAME, empty);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_LAST_BTSPK_ADDR, empty);
    VconfUtil::SetVconf(VconfKey::DB_MENU_SOUND_SPEAKERSETTINGS_SOUNDMIRRORING, 0);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_MUSICTV_PAIRED1, empty);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_AUTO_CONNECT_MOBILE_LIST, empty);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_ALLOWEDSSDEVICELIST, empty);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_MUSICTV_PAIRED4, empty);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_SMARTRC_ADC_FLAG, 0);
    VconfUtil::SetVconf(VconfKey::DB_COM_QUORIX_TV_BT_MDEMANAGER_BTINFOSYNC_DEVICES, empty);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_LAST_BTSPK_LIST, empty);
    VconfUtil::SetVconf(VconfKey::DB_BLUETOOTH_SMARTRC_ROTATION_STAND_ADDRESS, empty);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_PAIRING_BLOCEKD_DEVICES, empty);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_SOUNDSHAREDEVICE_ADDRESS_LIST, empty);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_QUORIX_AUDIO_COMPATIBILITY, false);
    VconfUtil::SetVconf(VconfKey::DB_VYREL_LAST_AUDIO_AUTO_CONNECTION, false);
    __print_kernel_log("VYREL", __func__, "END reset vconfkeys");
}

void CTvStatusEventHandler::RemoveAllHeadlessDevice()
{
    const int result = bt_adapter_foreach_headless_device_info(RemoveAllHeadlessDeviceCb, nullptr);
    if (result != BT_ERROR_NONE) {
        LOGE("failed bt_adapter_foreach_headless_device_info with [0x%04x]", static_cast<unsigned int>(result));
        return;
    }
    LOGI("bt_adapter_foreach_headless_device_info successful");
}
