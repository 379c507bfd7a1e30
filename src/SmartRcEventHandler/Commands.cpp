// Commands that are sent once: the device information query and the reset.

#include "CommonUtil.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "Living.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"

#include <glib.h>

#include <bt_error.h>
#include <bt_hid.h>

#include <array>
#include <string>

namespace {

constexpr std::array<unsigned char, 3> kDeviceInfoQuery = {0x01, 0x00, 0x00};
constexpr unsigned int kWheelQueryDelayMs = 150;

gboolean OnWheelQueryTimer(gpointer userData)
{
    auto* handler = Living<CSmartRcEventHandler>::Find(userData);
    RETURN_IF_NULL(handler, "userData is NULL", G_SOURCE_REMOVE);
    handler->SendDeviceInfoQuery(HalvoWheel);
    return G_SOURCE_REMOVE;
}

/// \return the platform's result
int SendReset(const std::string& address, int deviceType)
{
    const int result =
        bt_hid_send_device_command(address.c_str(), static_cast<unsigned char>(deviceType), BT_HID_COMMAND_RESET);
    if (result != BT_ERROR_NONE) {
        LOGE("Sending Reset command failed = %s", Util::CommonUtil::ERR_STR(result));
    }
    return result;
}

} // namespace

void CSmartRcEventHandler::SendDeviceInfoQuery(Remote_Control_Device_Type type) const
{
    std::string address;
    if (!GetDeviceAddress(address, type)) {
        LOGE("failed to get device address");
        return;
    }
    const int result =
        bt_hid_send_rc_command(address.c_str(), kDeviceInfoQuery.data(), static_cast<int>(kDeviceInfoQuery.size()));
    LOGI("send device info query to %s : %d", address.c_str(), result);
}

void CSmartRcEventHandler::AddTimerSendDeviceInfoQueryToHalvoWheel()
{
    LOGI("add timer for seng device info query");
    g_timeout_add(kWheelQueryDelayMs, OnWheelQueryTimer, this);
}

bool CSmartRcEventHandler::SendResetCommand() const
{
    if (m_smartRcAddress.empty() || !IsSmartRcConnected()) {
        LOGI("SmartRc is not connected so don't need to send reset cmd");
        return true;
    }
    if (SendReset(m_smartRcAddress, GetSmartRcDeviceType()) != BT_ERROR_NONE) {
        return false;
    }
    LOGE("<Not Error> Send reset cmd to Smart rc is success");
    return true;
}

bool CSmartRcEventHandler::SendResetCommandToHalvoWheel() const
{
    if (m_halvoWheelAddress.empty() || !IsHalvoWheelConnected()) {
        LOGI("halvowheel is not connected so don't need to send reset cmd");
        return true;
    }
    if (SendReset(m_halvoWheelAddress, GetSmartRcDeviceType()) != BT_ERROR_NONE) {
        return false;
    }
    LOGE("<Not Error> Send reset cmd to halvowheel is success");
    return true;
}
