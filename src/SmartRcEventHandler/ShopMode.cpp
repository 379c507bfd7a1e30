// Shop mode: the remotes of a set on display behave differently, so they are told, again where the link is busy.

#include "CommonUtil.h"
#include "LiteDebug.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"

#include <bt_error.h>

#include <utility>

namespace {

constexpr unsigned char kCommandShopModeOn = 0x06;
constexpr unsigned char kCommandShopModeOff = 0x07;
constexpr int kUseModeShop = 1;
constexpr unsigned int kRetryPeriodMs = 200;
constexpr int kMaxRetries = 5;

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

void CSmartRcEventHandler::SendShopModeToSmartRC(int useMode)
{
    if (m_smartRcAddress.empty()) {
        return;
    }
    LOGI("Send shopmode to smartRC");
    HandleShopMode(m_smartRcAddress, GetSmartRcDeviceType(), useMode);
}

void CSmartRcEventHandler::SendShopModeToHalvo(int useMode)
{
    if (m_halvoWheelAddress.empty()) {
        return;
    }
    LOGI("Send shopmode to HALVO_WHELL");
    // The wheel goes by the smart remote's type; the platform knows no other.
    HandleShopMode(m_halvoWheelAddress, GetSmartRcDeviceType(), useMode);
}

void CSmartRcEventHandler::HandleShopMode(const std::string& address, int deviceType, int useMode)
{
    LOGI("Shop mode is %d", useMode);
    const unsigned char command = useMode == kUseModeShop ? kCommandShopModeOn : kCommandShopModeOff;
    SendShopMode({std::make_unique<ShopModeData>(address, deviceType, command).release(), Destroy});
}

void CSmartRcEventHandler::SendShopMode(
    std::unique_ptr<std::tuple<std::string, int, unsigned char>,
                    std::function<void(std::tuple<std::string, int, unsigned char>*)>>
        shopModeData)
{
    if (!shopModeData) {
        LOGE("shopModeData is nullptr");
        return;
    }
    const int result = Send(*shopModeData);
    if (result != BT_ERROR_NONE) {
        LOGE("Sending shop mode command failed = %s", Util::CommonUtil::ERR_STR(result));
        g_timeout_add(kRetryPeriodMs, RetryTimerSendShopMode, shopModeData.release());
        return;
    }
    const auto& [address, deviceType, command] = *shopModeData;
    LOGI("Send Shop mode :%s, 0x%02x, 0x%02x", address.c_str(), static_cast<unsigned int>(deviceType), command);
}

int CSmartRcEventHandler::RetryTimerSendShopMode(void* userData)
{
    // One budget for all requests of the process's life: a remote that never answers is not asked for ever.
    static int cnt = 0;
    if (userData == nullptr) {
        LOGE("userData is NULL");
        return G_SOURCE_REMOVE;
    }
    auto* data = static_cast<ShopModeData*>(userData);
    if (Send(*data) != BT_ERROR_NONE && cnt < kMaxRetries) {
        ++cnt;
        LOGW("bt_hid_send_device_command failed try again, try count: %d", cnt);
        return G_SOURCE_CONTINUE;
    }
    const std::unique_ptr<ShopModeData> owned(data);
    const auto& [address, deviceType, command] = *owned;
    LOGI("Sent Shop mode :%s, 0x%02x, 0x%02x", address.c_str(), static_cast<unsigned int>(deviceType), command);
    return G_SOURCE_REMOVE;
}
