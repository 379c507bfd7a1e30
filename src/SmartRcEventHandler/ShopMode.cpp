// Shop mode: the remotes of a set on display behave differently, so they are told, again where the link is busy.

#include "CommonUtil.h"
#include "Guard.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"

#include <glib.h>

#include <bt_error.h>
#include <bt_hid.h>

#include <memory>
#include <string>
#include <utility>

namespace {

constexpr int kUseModeShop = 1;
constexpr unsigned int kShopModeRetryPeriodMs = 200;
constexpr int kMaxShopModeRetries = 5;

void Destroy(ShopModeData* data)
{
    LOGI("destructor of ShopModeData");
    const std::unique_ptr<ShopModeData> owned(data);
}

/// \return the platform's result
int Send(const ShopModeData& data)
{
    const auto& [address, deviceType, command] = data;
    return bt_hid_send_device_command(address.c_str(), static_cast<unsigned char>(deviceType), command);
}

} // namespace

void CSmartRcEventHandler::SendShopModeToSmartRC(int useMode) const
{
    if (m_smartRcAddress.empty()) {
        return;
    }
    LOGI("Send shopmode to smartRC");
    HandleShopMode(m_smartRcAddress, GetSmartRcDeviceType(), useMode);
}

void CSmartRcEventHandler::SendShopModeToHalvo(int useMode) const
{
    if (m_halvoWheelAddress.empty()) {
        return;
    }
    LOGI("Send shopmode to HALVO_WHELL");
    // The wheel goes by the smart remote's type; the platform knows no other.
    HandleShopMode(m_halvoWheelAddress, GetSmartRcDeviceType(), useMode);
}

void CSmartRcEventHandler::HandleShopMode(const std::string& address, int deviceType, int useMode) const
{
    LOGI("Shop mode is %d", useMode);
    const unsigned char command = useMode == kUseModeShop ? BT_HID_COMMAND_SHOP_MODE_ON : BT_HID_COMMAND_SHOP_MODE_OFF;
    SendShopMode({std::make_unique<ShopModeData>(address, deviceType, command).release(), Destroy});
}

void CSmartRcEventHandler::SendShopMode(ShopModeDataPtr shopModeData) const
{
    if (!shopModeData) {
        LOGE("shopModeData is nullptr");
        return;
    }
    const int result = Send(*shopModeData);
    if (result != BT_ERROR_NONE) {
        LOGE("Sending shop mode command failed = %s", Util::CommonUtil::ERR_STR(result));
        g_timeout_add(kShopModeRetryPeriodMs, RetryTimerSendShopMode, shopModeData.release());
        return;
    }
    const auto& [address, deviceType, command] = *shopModeData;
    LOGI("Send Shop mode :%s, 0x%02x, 0x%02x", address.c_str(), static_cast<unsigned int>(deviceType), command);
}

int CSmartRcEventHandler::RetryTimerSendShopMode(void* userData)
{
    // Never set back: all requests of the process's life share these retries. Once they are used up, a request that
    // fails is tried once more and then dropped.
    static int cnt = 0;
    RETURN_IF_NULL(userData, "userData is NULL", G_SOURCE_REMOVE);
    auto* data = static_cast<ShopModeData*>(userData);
    if (Send(*data) != BT_ERROR_NONE && cnt < kMaxShopModeRetries) {
        ++cnt;
        LOGW("bt_hid_send_device_command failed try again, try count: %d", cnt);
        return G_SOURCE_CONTINUE;
    }
    const std::unique_ptr<ShopModeData> owned(data);
    const auto& [address, deviceType, command] = *owned;
    LOGI("Sent Shop mode :%s, 0x%02x, 0x%02x", address.c_str(), static_cast<unsigned int>(deviceType), command);
    return G_SOURCE_REMOVE;
}
