#include "bt_adapter.h"
#include "bt_audio.h"
#include "bt_device.h"
#include "bt_error.h"
#include "bt_hid.h"
#include "bt_socket.h"
#include "device_power.h"
#include "dlog.h"
#include "kpi_logger.h"
#include "lwipc.h"
#include "platform_root.h"
#include "ppi_ecs.h"
#include "sound_manager.h"
#include "system_info.h"
#include "vconf.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace {

constexpr auto kAddress = "AA:BB:CC:DD:EE:FF";

TEST(Skeleton, TheAdapterIsOffAndStaysOff)
{
    bt_adapter_state_e state = BT_ADAPTER_ENABLED;
    EXPECT_EQ(bt_adapter_get_state(&state), BT_ERROR_NONE);
    EXPECT_EQ(state, BT_ADAPTER_DISABLED);

    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);

    state = BT_ADAPTER_ENABLED;
    EXPECT_EQ(bt_adapter_get_state(&state), BT_ERROR_NONE);
    EXPECT_EQ(state, BT_ADAPTER_DISABLED);
}

TEST(Skeleton, StatesAreNeutral)
{
    bool mute = true;
    EXPECT_EQ(sound_manager_get_device_mute(SOUND_DEVICE_TV_SPEAKER, &mute), 0);
    EXPECT_FALSE(mute);
    int version = 7;
    EXPECT_EQ(bt_adapter_get_chip_version(&version), BT_ERROR_NONE);
    EXPECT_EQ(version, 0);
    int socket = 7;
    EXPECT_EQ(bt_socket_create_rfcomm("00001101-0000-1000-8000-00805F9B34FB", &socket), BT_ERROR_NONE);
    EXPECT_EQ(socket, 0);
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_NORMAL);
    EXPECT_EQ(device_power_get_wakeup_reason(), 0);
    EXPECT_EQ(device_power_get_ambient_mode(), 0);
    EXPECT_EQ(device_power_get_ambient_type(), 0);
    EXPECT_LT(LwipcIsDone("/tmp/.bt_irmonitor"), 1);
}

TEST(Skeleton, NoAccessoryIsConnected)
{
    for (auto* query : {bt_hid_get_smart_remote_conn_status, bt_hid_get_halvo_switch_connection_state,
                        bt_hid_get_rotator_connection_state}) {
        bool connected = true;
        EXPECT_EQ(query(&connected), BT_ERROR_NONE);
        EXPECT_FALSE(connected);
    }
}

TEST(Skeleton, AnAccessorysPropertiesFailAndKeepTheDefault)
{
    char text[] = "default";
    for (auto* query : {bt_hid_get_smart_rc_address, bt_hid_get_halvo_switch_address}) {
        char* address = text;
        EXPECT_EQ(query(&address), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
        EXPECT_EQ(address, text);
    }
    for (auto* query : {bt_hid_get_smart_rc_device_type, bt_hid_get_smart_rc_battery_status,
                        bt_hid_get_halvo_switch_battery_status}) {
        unsigned char byte = 7;
        EXPECT_EQ(query(&byte), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
        EXPECT_EQ(byte, 7);
    }
    unsigned int version = 7;
    EXPECT_EQ(bt_hid_get_smart_rc_fw_version(kAddress, &version), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(version, 7U);
    bt_hid_sc_grip_sensor_state_e grip = BT_SC_GRIP_SENSOR_ON;
    EXPECT_EQ(bt_hid_get_smart_rc_grip_sensor_state(&grip), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(grip, BT_SC_GRIP_SENSOR_ON);
}

TEST(Skeleton, NoDeviceIsBondedOrConnected)
{
    bt_device_info_s record{};
    auto* bonded = &record;
    EXPECT_EQ(bt_adapter_get_bonded_device_info(kAddress, &bonded), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(bonded, &record);
    unsigned int vid = 7;
    unsigned int pid = 8;
    EXPECT_EQ(bt_device_get_remote_vid_pid(kAddress, &vid, &pid), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(vid, 7U);
    EXPECT_EQ(pid, 8U);
    EXPECT_EQ(bt_device_destroy_bond(kAddress), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    bt_audio_connected_info_s audio{};
    auto* connected = &audio;
    EXPECT_EQ(bt_audio_get_connected_info(BT_AUDIO_PROFILE_A2DP_SOURCE, &connected),
              BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(connected, &audio);
    EXPECT_EQ(bt_audio_disconnect(kAddress, BT_AUDIO_PROFILE_A2DP_SOURCE), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(bt_device_get_rssi_strength(
                  kAddress, BT_DEVICE_LINK_ANY, [](char*, int, int, void*) {}, nullptr),
              BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(bt_device_reject_authorization(kAddress, BT_PROFILE_SERVICE_AUDIO), BT_ERROR_NOT_IN_PROGRESS);
}

TEST(Skeleton, ListingsAreEmpty)
{
    int listed = 0;
    EXPECT_EQ(bt_adapter_foreach_bonded_device(
                  [](bt_device_info_s*, void* count) { return ++*static_cast<int*>(count) > 0; }, &listed),
              BT_ERROR_NONE);
    EXPECT_EQ(
        bt_adapter_foreach_headless_device_info(
            [](bt_adapter_headless_dev_info_s*, void* count) { return ++*static_cast<int*>(count) > 0; }, &listed),
        BT_ERROR_NONE);
    EXPECT_EQ(listed, 0);
}

TEST(Skeleton, NothingButTheUserSwitchedTheTelevisionOn)
{
    char text[] = "default";
    char* address = text;
    int reason = 7;
    EXPECT_EQ(bt_adapter_get_power_on_reason(&address, &reason), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(address, text);
    EXPECT_EQ(reason, 7);
}

TEST(Skeleton, SettingsAreMissingAlsoAfterAWrite)
{
    EXPECT_EQ(vconf_set_int("db/vyrel/lastSoundRoute", 3), VCONF_OK);
    EXPECT_EQ(vconf_set_bool("db/vyrel/lastSoundRoute", 1), VCONF_OK);
    EXPECT_EQ(vconf_set_str("db/vyrel/lastSoundRoute", "3"), VCONF_OK);

    int value = 7;
    EXPECT_EQ(vconf_get_int("db/vyrel/lastSoundRoute", &value), VCONF_ERROR_NOT_FOUND);
    EXPECT_EQ(vconf_get_bool("db/vyrel/lastSoundRoute", &value), VCONF_ERROR_NOT_FOUND);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(vconf_get_str("db/vyrel/lastSoundRoute"), nullptr);
    EXPECT_EQ(vconf_keynode_get_int(nullptr), 0);
    EXPECT_STREQ(vconf_keynode_get_str(nullptr), "");
}

TEST(Skeleton, FeaturesAndTheSensorAreMissing)
{
    bool feature = true;
    int number = 7;
    char text[] = "default";
    char* model = text;
    EXPECT_EQ(system_info_get_custom_bool("com.quorix/featureconf/vellon_tv", &feature), -2);
    EXPECT_EQ(system_info_get_custom_int("com.quorix/featureconf/ble_support", &number), -2);
    EXPECT_EQ(system_info_get_value_int(SYSTEM_INFO_IR_KEY_CODE, &number), -2);
    EXPECT_EQ(system_info_get_value_string(SYSTEM_INFO_MODEL_NAME, &model), -2);
    EXPECT_TRUE(feature);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(model, text);
    ppi_ecs_colorsensor_info reading{};
    reading.illuminance = 7;
    EXPECT_NE(ppi_ecs_get_colorsensor_info(&reading), 0);
    EXPECT_EQ(reading.illuminance, 7U);
}

TEST(Skeleton, ANullOutputIsRefused)
{
    EXPECT_EQ(bt_adapter_get_state(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_get_chip_version(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_socket_create_rfcomm("", nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_smart_remote_conn_status(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_halvo_switch_connection_state(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_rotator_connection_state(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(sound_manager_get_device_mute(SOUND_DEVICE_TV_SPEAKER, nullptr), -1);
}

TEST(Skeleton, RecordsThatAreNoneCanBeReleased)
{
    EXPECT_EQ(bt_adapter_free_device_info(nullptr), BT_ERROR_NONE);
    EXPECT_EQ(bt_audio_free_connected_info(nullptr), BT_ERROR_NONE);
}

TEST(Skeleton, LogsAndUsageEventsAreDropped)
{
    EXPECT_EQ(__dlog_print(LOG_ID_MAIN, DLOG_INFO, "TAG", "%s", "text"), 0);
    auto* collector = KPILogFramework::CLogger::GetInstance();
    ASSERT_NE(collector, nullptr);
    EXPECT_EQ(KPILogFramework::CLogger::GetInstance(), collector);
    EXPECT_EQ(collector->AddEventLogAsync("category", "NAME", "EV001", "text", nullptr, nullptr), 0);
}

TEST(Skeleton, ThePathsOfTheServiceAreUsedAsTheyAre)
{
    EXPECT_STREQ(platform_root(), "");
}

} // namespace
