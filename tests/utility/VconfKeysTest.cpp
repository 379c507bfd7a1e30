#include "VconfKeyId.h"
#include "VconfKeyRegistry.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <set>
#include <string>

namespace {

// Written down once more, by hand as it were: a key that moves or changes is lost to every other program of the set.
constexpr const char* kExpected[] = {
    "db/vyrel/lastSoundRoute",
    "db/vyrel/allowedSSDeviceList",
    "db/vyrel/last_btspk_name",
    "db/vyrel/last_btspk_addr",
    "db/vyrel/soundsharedevice/ss_use",
    "db/vyrel/soundsharedevice/dev_one_addr",
    "db/vyrel/musictv_paired1",
    "db/vyrel/mde_supported_dev_list",
    "db/vyrel/lpm_mbr",
    "db/vyrel/oob_status",
    "db/vyrel/cur_spk_vol_level",
    "db/vyrel/bt_pcm_gain",
    "db/vyrel/musictv_paired3",
    "db/vyrel/auto_connect_mobile_list",
    "db/vyrel/micomReset",
    "db/vyrel/audio_multi_output_on_off",
    "memory/bt_keyboard/UGRunning",
    "db/bluetooth_smartrc/conn_dev_addr",
    "db/BT/device/status_uevent",
    "db/menu/sound/speakersettings/soundmirroring",
    "db/menu/sound/speakersettings/soundsharesettings/audio_multi_output",
    "db/menu/support/use_mode",
    "db/menu_widget/language",
    "db/menu/network/devicemanager/accessnoti",
    "db/boot/need_setup_wizard",
    "db/menu/voice/assistant_farfield",
    "db/low-power-support/bt-disable",
    "db/voice-app/voice_app_status",
    "db/comss/duid",
    "db/org.vantor.bt-settings-external-controller/volume_level_optical",
    "db/org.vantor.bleapp/added_mobile_keylist",
    "db/setting/accessibility/tts",
    "memory/org.vantor.vyrel/musictvconnected",
    "memory/org.vantor.vyrel/musictvname",
    "memory/org.vantor.vyrel/musictvtry",
    "memory/org.vantor.vyrel/musictvsuccess",
    "memory/org.vantor.vyrel/input_window_id",
    "memory/org.vantor.vyrel/ext_bt_spk_name",
    "memory/org.vantor.vyrel/lpm_mbr_bt",
    "memory/org.vantor.vyrel/lpm_mbr_multiroom",
    "memory/org.vantor.vyrel/lpm_mbr_hdmi",
    "memory/org.vantor.vyrel/lpm_mbr_spdif",
    "memory/org.vantor.vyrel/cur_spk_mute_state",
    "memory/org.vantor.vyrel/smartrc_recovery_state",
    "memory/org.vantor.vyrel/rdm_registered_address",
    "memory/org.vantor.vyrel/vyrel_message",
    "memory/org.vantor.vyrel/mdeinfo",
    "memory/bluetooth/dutmode",
    "memory/bluetooth_vyrelui/musictvfail",
    "memory/bluetooth/bt_smart_rc_connected",
    "memory/menu/network/screenmirroring/p2p_type",
    "memory/menu/network/screenmirroring/get_volume_level_hdmi",
    "memory/menu/network/screenmirroring/set_volume_level",
    "memory/menu/network/screenmirroring/volume_support_hdmi",
    "memory/menu/network/screenmirroring/get_volume_level_mlr",
    "memory/menu/network/screenmirroring/volume_support_mlr",
    "memory/menu/network/screenmirroring/get_volume_level_bt",
    "memory/menu/network/screenmirroring/set_volume_mute",
    "memory/menu/network/screenmirroring/get_volume_mute_bt",
    "memory/menu/network/screenmirroring/volume_support_bt",
    "memory/iot/thing/accessory/operation",
    "memory/iot/thing/accessory/reasoncode",
    "memory/iot/thing/accessory/connecteddevices",
    "memory/tv-viewer/ext_volume_tts_play",
    "memory/tv-viewer/ext_volume_tts_play_done",
    "memory/tv-viewer/ext_volume",
    "memory/tv-viewer/show_ext_volume",
    "memory/boot/power_suspend",
    "memory/wizard/wizard_mode",
    "memory/portland/state",
    "memory/mbr/mbr-mode",
    "memory/volume-setting/bt-device",
    "memory/connection_guide/selected_item",
    "memory/org.vantor.bleapp/ambient_operation",
    "memory/org.vantor.emanual-app/active_category",
    "memory/org.vantor.bt-settings-external-controller/ext_bt_spk_addr",
    "memory/sp-kpi/batlev",
    "db/vyrel/last_soundmirroring_dev",
    "memory/multiscreen/info",
    "Not available any more",
    "memory/org.vantor.vyrel/soundoutput_info",
    "memory/private/sound/output/multiview_main",
    "db/multi-assistant/default_assistant_appid",
    "db/multi-assistant/mva_language",
    "db/deviceassistant/popupclosed",
    "memory/org.vantor.vyrel/hsm_remocon_type4",
    "memory/org.vantor.vyrel/hsm_remocon_type5",
    "memory/org.vantor.vyrel/hsm_remocon_disconnected_address",
    "memory/org.vantor.vyrel/hsm_remocon_disconnect_reason",
    "memory/multiscreen/volumeinfo_soundshare",
    "memory/multiscreen/volumeinfo_btheadset",
    "db/vyrel/musictv_paired4",
    "memory/wifi/frequency",
    "db/vyrel/reset",
    "memory/mledmultiview/status",
    "db/menu/network/devicename/tv_name",
    "db/menu/network/devicename/prefix_of_tv_name",
    "memory/private/sound/volume/multiview_sub",
    "db/vyrel/RC_PairCount",
    "db/vyrel/RC_ReConnectCount",
    "db/vyrel/RC_RSSIValue",
    "db/vyrel/RC_ModuleResetCount",
    "db/vyrel/last_smartrc_address",
    "memory/bluetooth_vyrelui/musictvfail",
    "db/vyrel/smartrc_adc_flag",
    "memory/volt/firstscreen_state",
    "memory/appfw/current_fullscreen_appid",
    "db/multi-assistant/aov_normal_off",
    "memory/multiscreen/sound_mixing_off",
    "memory/multiscreen/remove_screen_info",
    "memory/multiscreen/volumeinfo_soundshare_sub",
    "memory/multiscreen/volumeinfo_btheadset_sub",
    "memory/org.vantor.vyrel/sub_audio_zoneid",
    "db/vyrel/ambient_mode_full_power_off_event",
    "memory/org.vantor.vyrel/service_reject_list",
    "db/vyrel/last_btspk_list",
    "memory/vyrel/connected_btspk_addr_list",
    "db/com.quorix.tv.bt-mdemanager/btinfosync/factory_reset_flag",
    "db/com.quorix.tv.bt-mdemanager/btinfosync/devices",
    "db/vyrel/soundsharedevice/address_list",
    "db/bluetooth_smartrc/rotation_stand_address",
    "memory/menu/network/screenmirroring/tim_initiated",
    "db/vyrel/halvowheel_adc_flag",
    "db/vyrel/last_halvo_wheel_address",
    "memory/org.vantor.vyrel/hsm_wheel_disconnected_address",
    "memory/org.vantor.vyrel/hsm_wheel_disconnected_reason",
    "memory/org.vantor.vyrel/halvo_wheel_battery_level",
    "memory/org.vantor.vyrel/pre_speaker_selection",
    "memory/vyrel/pcm_gain_control_flag",
    "db/vyrel/pairing_blocekd_devices",
    "db/vyrel/quorix_audio_compatibility",
    "memory/edgeblending/mode",
    "memory/vyrel/pre_speaker_selection_for_singleview",
    "db/menu/maintenance_mode",
    "memory/boot/cold_poweroff_request_pkg",
    "db/vd-connectivity-data-mgr/BroadcastStatus",
    "memory/vyrel/pemble_connected_launch_on_event",
    "db/factory/factory_reset_count",
    "db/factory/service_reset_count",
    "db/vyrel/last_audio_auto_connection",
    "db/customservice/customhome_playlock",
    "memory/touch_interactive/touch_interactive_running",
    "memory/acm/networkspeaker_status",
    "memory/vyrel/is_connecting_bt_audio_device",
};

TEST(VconfKeys, AreTheseInThisOrder)
{
    ASSERT_EQ(kVconfKeys.size(), 144U);
    ASSERT_EQ(std::size(kExpected), 144U);
    for (std::size_t id = 0; id < kVconfKeys.size(); ++id) {
        EXPECT_STREQ(kVconfKeys[id], kExpected[id]) << id;
    }
}

TEST(VconfKeys, OneKeyHasTwoIdsAndOneIdIsRetired)
{
    const std::set<std::string> different(kVconfKeys.begin(), kVconfKeys.end());
    EXPECT_EQ(different.size(), 143U);
    EXPECT_STREQ(kVconfKeys[48], kVconfKeys[103]);
    EXPECT_STREQ(kVconfKeys[79], "Not available any more");
}

TEST(VconfKeys, IdsAreNamedAfterTheirKeys)
{
    EXPECT_EQ(VconfKey::DB_VYREL_LASTSOUNDROUTE, 0);
    EXPECT_EQ(VconfKey::DB_LOW_POWER_SUPPORT_BT_DISABLE, 26);
    EXPECT_EQ(VconfKey::DB_VYREL_RESET, 93);
    EXPECT_EQ(VconfKey::DB_VYREL_PAIRING_BLOCEKD_DEVICES, 129);
    EXPECT_EQ(VconfKey::MEMORY_VYREL_IS_CONNECTING_BT_AUDIO_DEVICE, 143);
}

} // namespace
