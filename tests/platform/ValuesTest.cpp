// The numbers and record layouts that other programs of a television share with this one: none of them may move.
#include "bt_adapter.h"
#include "bt_audio.h"
#include "bt_device.h"
#include "bt_error.h"
#include "bt_hid.h"
#include "device_power.h"
#include "dlog.h"
#include "ppi_ecs.h"
#include "sound_manager.h"
#include "system_info.h"
#include "vconf.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace {

TEST(PlatformValues, ResultsHaveTheirCodes)
{
    const std::pair<int, std::uint32_t> kCodes[] = {
        {BT_ERROR_TIMED_OUT, 0xC0000001},
        {BT_ERROR_NOT_INITIALIZED, 0xFE400101},
        {BT_ERROR_NOT_ENABLED, 0xFE400102},
        {BT_ERROR_ALREADY_DONE, 0xFE400103},
        {BT_ERROR_OPERATION_FAILED, 0xFE400104},
        {BT_ERROR_NOT_IN_PROGRESS, 0xFE400105},
        {BT_ERROR_REMOTE_DEVICE_NOT_BONDED, 0xFE400106},
        {BT_ERROR_AUTH_REJECTED, 0xFE400107},
        {BT_ERROR_AUTH_FAILED, 0xFE400108},
        {BT_ERROR_REMOTE_DEVICE_NOT_FOUND, 0xFE400109},
        {BT_ERROR_SERVICE_SEARCH_FAILED, 0xFE40010A},
        {BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED, 0xFE40010B},
    };
    for (const auto& [error, code] : kCodes) {
        EXPECT_EQ(static_cast<std::uint32_t>(error), code);
    }
    EXPECT_EQ(BT_ERROR_NONE, 0);
    EXPECT_EQ(BT_ERROR_CANCELLED, -125);
    EXPECT_EQ(BT_ERROR_INVALID_PARAMETER, -22);
    EXPECT_EQ(BT_ERROR_OUT_OF_MEMORY, -12);
    EXPECT_EQ(BT_ERROR_RESOURCE_BUSY, -16);
    EXPECT_EQ(BT_ERROR_NOW_IN_PROGRESS, -115);
    EXPECT_EQ(BT_ERROR_NOT_SUPPORTED, -95);
    EXPECT_EQ(VCONF_OK, 0);
    EXPECT_EQ(VCONF_ERROR, -1);
    EXPECT_EQ(VCONF_ERROR_NOT_FOUND, -2);
    EXPECT_EQ(VCONF_ERROR_WRONG_TYPE, -3);
}

TEST(PlatformValues, StatesAndKindsHaveTheirNumbers)
{
    EXPECT_EQ(BT_ADAPTER_DISABLED, 0);
    EXPECT_EQ(BT_ADAPTER_ENABLED, 1);
    EXPECT_EQ(BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE, 0);
    EXPECT_EQ(BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE, 1);
    EXPECT_EQ(BT_ADAPTER_POWER_ON_REASON_A2DP, 1);
    EXPECT_EQ(BT_AUTHENTICATION_PIN_ENTRY, 0);
    EXPECT_EQ(BT_AUTHENTICATION_PIN_DISPLAY, 1);
    EXPECT_EQ(BT_AUTHENTICATION_PASSKEY_CONFIRMATION, 2);
    EXPECT_EQ(BT_AUTHENTICATION_PASSKEY_ENTRY, 3);
    EXPECT_EQ(BT_AUTHENTICATION_PASSKEY_DISPLAY, 4);
    EXPECT_EQ(BT_PROFILE_SERVICE_AUDIO, 18);
    EXPECT_EQ(BT_DEVICE_LINK_BREDR, 0);
    EXPECT_EQ(BT_DEVICE_LINK_LE, 1);
    EXPECT_EQ(BT_DEVICE_LINK_ANY, 0xFF);
    EXPECT_EQ(BT_AUDIO_PROFILE_HANDS_FREE, 1);
    EXPECT_EQ(BT_AUDIO_PROFILE_A2DP_SOURCE, 2);
    EXPECT_EQ(BT_AUDIO_PROFILE_A2DP_SINK, 16);
    EXPECT_EQ(BT_SC_GRIP_SENSOR_NOT_AVAILABLE, -1);
    EXPECT_EQ(BT_SC_GRIP_SENSOR_OFF, 0);
    EXPECT_EQ(BT_SC_GRIP_SENSOR_ON, 1);
    EXPECT_EQ(SYSTEM_INFO_MODEL_NAME, 0);
    EXPECT_EQ(SYSTEM_INFO_IR_KEY_CODE, 1200);
    EXPECT_EQ(SOUND_DEVICE_TV_SPEAKER, 0);
    EXPECT_EQ(SOUND_TV_OUTPUT_BLUETOOTH, 3);
    EXPECT_EQ(SOUND_TV_OUTPUT_BLUETOOTH_2, 5);
    EXPECT_EQ(SOUND_TV_OUTPUT_BLUETOOTH_3, 6);
}

TEST(PlatformValues, AccessoriesHaveTheirNumbers)
{
    EXPECT_EQ(BT_MAJOR_DEVICE_CLASS_AUDIO_VIDEO, 4);
    EXPECT_EQ(BT_HID_ACCESSORY_VENDOR_ID, 0x04E8);
    EXPECT_EQ(BT_HID_SMART_RC_PRODUCT_ID, 0x2075);
    EXPECT_EQ(BT_HID_HALVO_SWITCH_PRODUCT_ID, 0x2084);
    EXPECT_EQ(BT_HID_COMMAND_RESET, 0x05);
    EXPECT_EQ(BT_HID_COMMAND_SHOP_MODE_ON, 0x06);
    EXPECT_EQ(BT_HID_COMMAND_SHOP_MODE_OFF, 0x07);
    EXPECT_EQ(BT_HID_COMMAND_GRIP_SENSOR_ON, 0x30);
    EXPECT_EQ(BT_HID_COMMAND_GRIP_SENSOR_OFF, 0x31);
    EXPECT_EQ(BT_HID_ROTATOR_COMMAND_RESET, 16);
    EXPECT_EQ(BT_HID_ROTATOR_RESET_ARGUMENT, 255);
}

// A value without a name may come in; an enumeration of C++ could not hold it.
static_assert(std::is_same_v<bt_adapter_state_e, int>);
static_assert(std::is_same_v<bt_adapter_visibility_mode_e, int>);
static_assert(std::is_same_v<bt_audio_profile_type_e, int>);
static_assert(std::is_same_v<bt_authentication_type_info_e, int>);
static_assert(std::is_same_v<bt_hid_sc_grip_sensor_state_e, int>);
static_assert(std::is_same_v<bt_profile_service_id_e, int>);
static_assert(std::is_same_v<power_state_e, int>);
static_assert(std::is_same_v<sound_tv_output_route_e, int>);

TEST(PlatformValues, PowerHasItsNumbers)
{
    EXPECT_EQ(DEVICE_POWER_STATE_NORMAL, 0);
    EXPECT_EQ(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    EXPECT_EQ(DEVICE_POWER_STATE_STANDBY, 2);
    EXPECT_EQ(DEVICE_POWER_STATE_OFF, 3);
    EXPECT_EQ(DEVICE_POWER_STATE_SUSPEND, 4);
    EXPECT_EQ(DEVICE_POWER_STATE_LOW_POWER, 4);
    EXPECT_EQ(DEVICE_POWER_WAKEUP_STANDBY_REBOOT, 50);
    EXPECT_EQ(DEVICE_POWER_WAKEUP_BLUETOOTH, 94);
    EXPECT_EQ(DEVICE_POWER_WAKEUP_BLUETOOTH_IN_STANDBY, 95);
    EXPECT_EQ(DEVICE_POWER_AMBIENT_MODE_NONE, 0);
    EXPECT_EQ(DEVICE_POWER_AMBIENT_MODE_ART, 1);
    EXPECT_EQ(DEVICE_POWER_AMBIENT_MODE_LOW_POWER, 2);
    EXPECT_EQ(DEVICE_POWER_AMBIENT_MODE_SUSPEND, 3);
    EXPECT_EQ(DEVICE_POWER_AMBIENT_TYPE_ART, 4);
    EXPECT_EQ(DEVICE_POWEROFF_OPTION_RESET, 13);
    EXPECT_EQ(DEVICE_POWEROFF_OPTION_RESET_ALT, 14);
    EXPECT_EQ(DEVICE_POWEROFF_OPTION_IGNORE_LOCK, 0x20000000);
    EXPECT_EQ(DEVICE_POWEROFF_OPTION_SUSPEND_OFF, 0x40000000);
}

TEST(PlatformValues, LogPrioritiesHaveTheirNumbers)
{
    EXPECT_EQ(LOG_ID_MAIN, 0);
    EXPECT_EQ(DLOG_DEBUG, 3);
    EXPECT_EQ(DLOG_INFO, 4);
    EXPECT_EQ(DLOG_WARN, 5);
    EXPECT_EQ(DLOG_ERROR, 6);
}

TEST(PlatformValues, RecordsHaveTheirLayout)
{
    EXPECT_EQ(sizeof(device_power_state_info), 6 * sizeof(std::int32_t));
    EXPECT_EQ(offsetof(device_power_state_info, prev_state), 2 * sizeof(std::int32_t));
    EXPECT_EQ(offsetof(device_power_state_info, new_state), 3 * sizeof(std::int32_t));
    EXPECT_EQ(offsetof(device_power_state_info, prev_ambient_mode), 4 * sizeof(std::int32_t));
    EXPECT_EQ(offsetof(device_power_state_info, new_ambient_mode), 5 * sizeof(std::int32_t));
    EXPECT_EQ(offsetof(device_poweroff_info, option), 0U);
    EXPECT_EQ(offsetof(ppi_ecs_colorsensor_info, illuminance), 5 * sizeof(std::int32_t));
    EXPECT_EQ(offsetof(ppi_ecs_colorsensor_info, color_temperature), 6 * sizeof(std::int32_t));
    EXPECT_EQ(offsetof(bt_hid_battery_status_info_s, status), 0U);
    EXPECT_EQ(offsetof(bt_hid_battery_status_info_s, remote_address), sizeof(char*));
}

} // namespace
