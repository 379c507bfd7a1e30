#include "sim/Adapter.h"

#include "Bluetooth/BluetoothEventHandler.h"
#include "TvStatusUtil.h"
#include "bluetooth/BluetoothTest.h"
#include "sim/Features.h"
#include "sim/Power.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

constexpr int kOutOfMemory = -12;

constexpr const char* kCompatibilityFeature = "bluetooth.quorix_audio_compatibility_support";
constexpr const char* kCompatibilitySetting = "db/vyrel/quorix_audio_compatibility";
constexpr const char* kDiscoverable = "bluetooth.discoverable";

constexpr const char* kOffSetting = "db/low-power-support/bt-disable";
constexpr const char* kNameSetting = "db/menu/network/devicename/tv_name";
constexpr const char* kResetSetting = "db/vyrel/reset";
constexpr const char* kRemoteAddress = "db/bluetooth_smartrc/conn_dev_addr";

/// The registrations of the subscriber on a set without hands-free.
const std::vector<std::string> kSubscriberSteps = {"bt_audio_initialize",
                                                   "bt_adapter_set_authentication_req_cb",
                                                   "bt_adapter_set_ssp_consent_request_cb",
                                                   "bt_device_set_auth_event_cb",
                                                   "bt_device_set_bond_created_cb",
                                                   "bt_device_set_bond_destroyed_cb",
                                                   "bt_device_set_connection_state_changed_cb",
                                                   "bt_gatt_set_connection_state_changed_cb",
                                                   "bt_audio_set_connection_state_changed_cb",
                                                   "bt_hid_host_initialize",
                                                   "bt_avrcp_control_initialize",
                                                   "bt_avrcp_target_initialize",
                                                   "bt_avrcp_set_interim_volume_notify_cb",
                                                   "bt_avrcp_set_absolute_volume_changed_cb",
                                                   "bt_adapter_set_max_device_connected_cb"};

std::vector<std::string> Joined(std::vector<std::string> first, const std::vector<std::string>& second,
                                const std::vector<std::string>& third)
{
    first.insert(first.end(), second.begin(), second.end());
    first.insert(first.end(), third.begin(), third.end());
    return first;
}

using Adapter = BluetoothTest;

} // namespace

TEST_F(Adapter, InitDoesItsStepsInOrder)
{
    Starts();

    EXPECT_THAT(Steps(), ElementsAreArray(Joined({"bt_product_init", "bt_adapter_set_state_changed_cb",
                                                  "bt_adapter_enable", "vconf_set_bool", "bt_adapter_set_name"},
                                                 kSubscriberSteps,
                                                 {"vconf_set_int", "vconf_set_int", "vconf_set_str", "vconf_set_str",
                                                  "vconf_set_int", "vconf_set_int", "vconf_notify_key_changed",
                                                  "bt_adapter_set_eir_manufacturer_data", "bt_socket_create_rfcomm",
                                                  "bt_socket_listen_and_accept_rfcomm", "bt_audio_get_connected_info",
                                                  "bt_audio_get_connected_info", "bt_adapter_set_app_ready"})));
    EXPECT_THAT(Calls("bt_adapter_set_app_ready"), ElementsAre("bt_adapter_set_app_ready(1) = 0"));
}

TEST_F(Adapter, InitWritesItsSettingsInOrder)
{
    Starts();

    EXPECT_THAT(
        Calls("vconf_set_"),
        ElementsAre("vconf_set_bool(\"db/low-power-support/bt-disable\", false) = 0",
                    "vconf_set_int(\"db/vyrel/micomReset\", 0) = 0",
                    "vconf_set_int(\"db/vyrel/soundsharedevice/ss_use\", 1) = 0",
                    "vconf_set_str(\"memory/org.vantor.vyrel/ext_bt_spk_name\", \" \") = 0",
                    "vconf_set_str(\"memory/org.vantor.vyrel/input_window_id\", \" \") = 0",
                    "vconf_set_int(\"db/menu/sound/speakersettings/soundsharesettings/audio_multi_output\", 0) = 0",
                    "vconf_set_int(\"db/menu/sound/speakersettings/soundmirroring\", 0) = 0"));
}

TEST_F(Adapter, AnAppReadyThatFailsAtInitIsNotLookedAt)
{
    tv.Fails("bt_adapter_set_app_ready", kOutOfMemory);
    Starts();

    EXPECT_THAT(Logs(), Not(Contains("E service app exit")));
}

TEST_F(Adapter, WithoutTheSettingItIsSwitchedOn)
{
    Starts();

    EXPECT_THAT(Calls("bt_adapter_enable"), SizeIs(1));
    EXPECT_THAT(Calls("bt_adapter_disable"), IsEmpty());
    EXPECT_THAT(Logs(), Contains("E <Not Error> bt_adapter_enable, ret = [ERROR_NONE]"));
    EXPECT_THAT(Logs(), Not(Contains(HasSubstr("bt_adapter_enable is failed"))));
    EXPECT_EQ(Bool(kOffSetting), 0);
}

TEST_F(Adapter, WithTheSettingFalseItIsSwitchedOn)
{
    tv.settings.Writes(kOffSetting, false);
    Starts();

    EXPECT_THAT(Calls("bt_adapter_enable"), SizeIs(1));
    EXPECT_EQ(Bool(kOffSetting), 0);
}

TEST_F(Adapter, WithTheSettingTrueItIsSwitchedOffAndNoIdentityFollows)
{
    tv.settings.Writes(kOffSetting, true);
    AdapterIsOn();
    Starts();
    tv.tape.Clear();
    Settles();

    EXPECT_EQ(Bool(kOffSetting), 1);
    EXPECT_THAT(Calls("bt_adapter_set_visibility"), IsEmpty());
    EXPECT_THAT(Calls("bt_adapter_set_eir_manufacturer_data"), IsEmpty());
}

TEST_F(Adapter, SwitchingOffWritesTheSettingBeforeItJudgesTheResult)
{
    tv.settings.Writes(kOffSetting, true);
    Starts(); // the adapter is off already

    EXPECT_THAT(FirstSteps(5), ElementsAre("bt_product_init", "bt_adapter_set_state_changed_cb", "bt_adapter_disable",
                                           "vconf_set_bool", "bt_adapter_set_name"));
    EXPECT_THAT(Calls("vconf_set_bool"), ElementsAre("vconf_set_bool(\"db/low-power-support/bt-disable\", true) = 0"));
    EXPECT_THAT(Between("E <Not Error> bt_adapter_disable, ret = [NOT_ENABLED]",
                        "E bt_adapter_disable() failed: [NOT_ENABLED]"),
                Contains(HasSubstr("vconf_set_bool")));
}

TEST_F(Adapter, SwitchingOffWithSuccessLogsNoFailure)
{
    tv.settings.Writes(kOffSetting, true);
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Logs(), Contains("E <Not Error> bt_adapter_disable, ret = [ERROR_NONE]"));
    EXPECT_THAT(Logs(), Not(Contains(HasSubstr("failed: ["))));
}

TEST_F(Adapter, AnAdapterThatIsOnGetsVisibilityAndThenThePairingResetAtOnce)
{
    AdapterIsOn();
    tv.settings.Writes(kResetSetting, 1);
    Starts();

    EXPECT_THAT(FirstSteps(9), ElementsAre("bt_product_init", "bt_adapter_set_state_changed_cb", "bt_adapter_enable",
                                           "vconf_set_bool", "device_power_get_state", "bt_adapter_set_visibility",
                                           "vconf_set_int", "bt_adapter_foreach_bonded_device", "bt_adapter_set_name"));
    EXPECT_THAT(Calls("bt_adapter_set_visibility"), ElementsAre("bt_adapter_set_visibility(1, 0) = 0"));
    EXPECT_EQ(Int(kResetSetting), 0);
    EXPECT_THAT(Logs(), Contains("E <Not Error> bt_adapter_enable, ret = [ALREADY_DONE]"));
    EXPECT_THAT(Logs(), Not(Contains(HasSubstr("bt_adapter_enable is failed"))));

    tv.tape.Clear();
    Settles();
    EXPECT_THAT(Calls("bt_adapter_"), IsEmpty()) << "no change is reported, so nothing comes a second time";
}

TEST_F(Adapter, AnotherFailureToSwitchOnIsLoggedAndTheRestGoesOn)
{
    tv.Fails("bt_adapter_enable", kOutOfMemory);
    Starts();

    EXPECT_THAT(Between("E <Not Error> bt_adapter_enable, ret = [OUT_OF_MEMORY]",
                        "E bt_adapter_enable is failed: [OUT_OF_MEMORY]"),
                Contains(HasSubstr("vconf_set_bool")));
    EXPECT_EQ(Bool(kOffSetting), 0);
    EXPECT_THAT(Calls("bt_adapter_set_visibility"), IsEmpty());
    EXPECT_THAT(Steps(), Contains("bt_adapter_set_app_ready"));
}

TEST_F(Adapter, WithoutAStateCallbackTheAdapterIsLeftAloneAndTheRestGoesOn)
{
    tv.Fails("bt_adapter_set_state_changed_cb", kOutOfMemory);
    Starts();

    EXPECT_THAT(FirstSteps(4), ElementsAre("bt_product_init", "bt_adapter_set_state_changed_cb", "bt_product_deinit",
                                           "bt_adapter_set_name"));
    EXPECT_THAT(Logs(), Contains("E bt_adapter_set_state_changed_cb is failed: [OUT_OF_MEMORY]"));
    EXPECT_THAT(Calls("bt_adapter_enable"), IsEmpty());
    EXPECT_THAT(Calls("bt_adapter_disable"), IsEmpty());
    EXPECT_THAT(Calls("vconf_set_bool"), IsEmpty());
    EXPECT_THAT(Steps(), Contains("bt_adapter_set_app_ready"));

    handler->Deinit();
    EXPECT_THAT(Calls("bt_product_deinit"), SizeIs(2));
}

TEST_F(Adapter, ComingUpAppliesItsIdentityInOrder)
{
    Starts();
    tv.tape.Clear();
    Settles(); // the adapter comes up

    EXPECT_THAT(Steps(),
                ElementsAre("device_power_get_state", "bt_adapter_set_eir_manufacturer_data", "bt_socket_create_rfcomm",
                            "bt_socket_listen_and_accept_rfcomm", "device_power_get_state", "bt_adapter_set_visibility",
                            "bt_adapter_set_app_ready", "device_power_get_wakeup_reason"));
    EXPECT_THAT(Logs(), Contains("I Adapter state is changed = 1"));
    EXPECT_THAT(Logs(), Contains("E <Not error> Not reset case."));
    EXPECT_THAT(Calls("bt_adapter_set_name"), IsEmpty()) << "the name does not change with the adapter";
}

TEST_F(Adapter, ComingUpRemovesThePairingsBeforeItsIdentityIsApplied)
{
    tv.settings.Writes(kResetSetting, 1);
    Starts();
    tv.tape.Clear();
    Settles();

    EXPECT_THAT(FirstSteps(4), ElementsAre("device_power_get_state", "vconf_set_int",
                                           "bt_adapter_foreach_bonded_device", "bt_adapter_set_eir_manufacturer_data"));
}

TEST_F(Adapter, ComingUpAgainAppliesItsIdentityAgain)
{
    StartsAndSettles();
    tv.tape.Clear();
    AdapterReports(0, 1);
    AdapterReports(0, 1);

    EXPECT_THAT(Calls("bt_adapter_set_eir_manufacturer_data"), SizeIs(2));
    EXPECT_THAT(Calls("bt_socket_create_rfcomm"), SizeIs(2));
    EXPECT_THAT(Calls("bt_adapter_set_visibility"), SizeIs(2));
}

TEST_F(Adapter, ComingUpInStandbyGivesTheStandbyLockBack)
{
    tv.power.state = 2;
    StartsAndSettles();
    tv.tape.Clear();
    AdapterReports(0, 1);

    EXPECT_THAT(Logs(), Contains("E <Not Error> unlock standby power state"));
    EXPECT_THAT(Calls("device_power_unlock_state"), SizeIs(1));
    EXPECT_THAT(Calls("device_power_unlock_state").front(), HasSubstr("device_power_unlock_state(2)"));
    EXPECT_THAT(KernelLog(), ElementsAre("[VYREL][handleAdapterEnable]adapter enabled, request standby unlock"));
    EXPECT_THAT(Logs(), Not(Contains("E <Not Error> unlock LPM state")));
    EXPECT_THAT(Between("unlock standby power state", "[VYREL][handleAdapterEnable]"), SizeIs(2));
    EXPECT_THAT(Between("[VYREL][handleAdapterEnable]", "device_power_unlock_state(2)"), SizeIs(2));
}

TEST_F(Adapter, ComingUpInLowPowerModeGivesTheLowPowerLockBack)
{
    StartsAndSettles();
    tv.power.state = 4;
    tv.power.ambientMode = 2;
    Util::TvStatusUtil::LockLpmPowerState(60000);
    tv.tape.Clear();
    AdapterReports(0, 1);

    EXPECT_THAT(Logs(), Contains("E <Not Error> unlock LPM state"));
    EXPECT_THAT(KernelLog(), ElementsAre("[VYREL][handleAdapterEnable]adapter enabled, request lpm unlock"));
    EXPECT_THAT(Calls("screen_manager_"), ElementsAre("screen_manager_set_ambient_lock(0, 0) = 0"));
    EXPECT_THAT(Calls("device_power_unlock_state"), IsEmpty());
    EXPECT_THAT(Between("unlock LPM state", "[VYREL][handleAdapterEnable]"), SizeIs(2));
    EXPECT_THAT(Between("[VYREL][handleAdapterEnable]", "screen_manager_set_ambient_lock"), Not(IsEmpty()));
}

TEST_F(Adapter, ComingUpInAnyOtherStateGivesNoLockBack)
{
    StartsAndSettles();
    for (const int state : {0, 1, 3, 5}) {
        tv.power.state = state;
        tv.tape.Clear();
        AdapterReports(0, 1);
        EXPECT_THAT(Logs(), Not(Contains(HasSubstr("unlock")))) << state;
        EXPECT_THAT(KernelLog(), IsEmpty()) << state;
        EXPECT_THAT(Calls("device_power_unlock_state"), IsEmpty()) << state;
    }
}

TEST_F(Adapter, ComingUpWithApplicationsThatAreNotReadySkipsTheWakeUp)
{
    WokenByBluetooth(94, 0, kSpeaker, 1);
    StartsAndSettles();
    Forget();
    tv.Fails("bt_adapter_set_app_ready", kOutOfMemory);
    AdapterReports(0, 1);

    EXPECT_THAT(Logs(), Contains("E service app exit"));
    EXPECT_THAT(Calls("device_power_get_wakeup_reason"), IsEmpty());
    EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(Adapter, ComingUpAfterABluetoothWakeUpSwitchesTheSpeakerOn)
{
    WokenByBluetooth(94, 0, kSpeaker, 1);
    StartsAndSettles();
    Forget();
    AdapterReports(0, 1);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.A2dpPowerOn (s) ('AA:00:00:00:00:01',)"));
}

TEST_F(Adapter, ComingUpWithoutABluetoothWakeUpSendsNothing)
{
    StartsAndSettles();
    Forget();
    AdapterReports(0, 1);

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Calls("bt_adapter_get_power_on_reason"), IsEmpty());
}

TEST_F(Adapter, ComingUpAfterAnotherDevicesWakeUpSendsNothing)
{
    WokenByBluetooth(94, 0, kSpeaker, 2);
    StartsAndSettles();
    Forget();
    AdapterReports(0, 1);

    EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(Adapter, GoingDownTellsTheConnectionManagerAndReportsTheRemoteLost)
{
    tv.settings.Writes(kRemoteAddress, kRemote);
    StartsAndSettles();
    Forget();
    AdapterReports(0, 0);

    EXPECT_THAT(Logs(), Contains("I Adapter state is changed = 0"));
    EXPECT_THAT(Received(), ElementsAre("connectionmanager.AdapterDisabled"));
    ASSERT_THAT(Events(), SizeIs(1));
    EXPECT_THAT(Events().front(), HasSubstr("25_remocon BTCONNECT EV006 "));
    EXPECT_THAT(Events().front(), HasSubstr("scmac=AA:00:00:00:00:03;"));
    EXPECT_THAT(Events().front(), HasSubstr(";btresetcnt=1;"));
    EXPECT_THAT(Events().front(), HasSubstr(";scdisconrsn=2;rssi=0}"));
}

TEST_F(Adapter, GoingDownRecordsTheLossOfTheConnectedRemoteAfterTheCall)
{
    StartsAndSettles();
    RemoteIsConnected();
    Forget();
    AdapterReports(0, 0);

    EXPECT_EQ(Text("memory/org.vantor.vyrel/hsm_remocon_disconnected_address"), kRemote);
    EXPECT_EQ(Text("memory/org.vantor.vyrel/hsm_remocon_disconnect_reason"), "Reset");
    EXPECT_THAT(Between("I name = com.quorix.tv.bt.connectionmanager, path = /com/quorix/tv/bt/connectionmanager, "
                        "interface = com.quorix.tv.bt.connectionmanager, method = AdapterDisabled",
                        "25_remocon BTCONNECT EV006"),
                Contains(HasSubstr("hsm_remocon_disconnect_reason")));
}

TEST_F(Adapter, EveryStateButOneIsDownWhateverTheResult)
{
    StartsAndSettles();
    for (const int state : {0, 2, -1, 255}) {
        Forget();
        AdapterReports(0, state);
        EXPECT_THAT(Received(), ElementsAre("connectionmanager.AdapterDisabled")) << state;
    }
    Forget();
    AdapterReports(kOutOfMemory, 0);
    EXPECT_THAT(Received(), ElementsAre("connectionmanager.AdapterDisabled"));
}

TEST_F(Adapter, AFailedChangeToOnIsStillOn)
{
    StartsAndSettles();
    Forget();
    AdapterReports(kOutOfMemory, 1);

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Calls("bt_adapter_set_visibility"), SizeIs(1));
}

TEST_F(Adapter, IsVisibleWhileTheSetIsOn)
{
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Calls("bt_adapter_set_visibility"), ElementsAre("bt_adapter_set_visibility(1, 0) = 0"));
    EXPECT_THAT(Logs(), Contains("I Power state : [0]"));
    EXPECT_THAT(Logs(), Contains("I Need to set visibility to BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE"));
}

TEST_F(Adapter, IsInvisibleInEveryOtherPowerState)
{
    for (const int state : {1, 2, 3, 4}) {
        tv.tape.Clear();
        tv.power.state = state;
        CBluetoothEventHandler().setAdapterVisibility();
        EXPECT_THAT(Calls("bt_adapter_set_visibility"), ElementsAre("bt_adapter_set_visibility(0, 0) = 0")) << state;
        EXPECT_THAT(Logs(), Contains("I Power state : [" + std::to_string(state) + "]"));
        EXPECT_THAT(Logs(), Not(Contains(HasSubstr("Need to set visibility"))));
        EXPECT_THAT(Logs(), Not(Contains(HasSubstr("Discoverable off"))));
    }
}

TEST_F(Adapter, IsInvisibleOnAProductThatMayNotBeFound)
{
    tv.features.Has(kDiscoverable, false);
    AdapterIsOn();
    Starts();

    EXPECT_THAT(Calls("bt_adapter_set_visibility"), ElementsAre("bt_adapter_set_visibility(0, 0) = 0"));
    EXPECT_THAT(Logs(), Contains("W Discoverable off"));
}

TEST_F(Adapter, AVisibilityThatFailsIsNotLookedAt)
{
    AdapterIsOn();
    tv.Fails("bt_adapter_set_visibility", kOutOfMemory);
    Starts();

    EXPECT_THAT(Logs(), Not(Contains(HasSubstr("OUT_OF_MEMORY"))));
    EXPECT_THAT(Steps(), Contains("bt_adapter_set_app_ready"));
}

TEST_F(Adapter, TakesTheNameOfTheSet)
{
    tv.settings.Writes(kNameSetting, "Living Room");
    Starts();

    EXPECT_THAT(Calls("bt_adapter_set_name"), ElementsAre("bt_adapter_set_name(\"Living Room\") = 0"));
    EXPECT_THAT(Logs(), Contains("I bt_adapter_set_name : Living Room"));
}

TEST_F(Adapter, TakesAnEmptyNameWhenTheSetHasNone)
{
    Starts();

    EXPECT_THAT(Calls("bt_adapter_set_name"), ElementsAre("bt_adapter_set_name(\"\") = 0"));
}

TEST_F(Adapter, MarksItsNameForCompatibleAudio)
{
    tv.features.Has(kCompatibilityFeature, true);
    tv.settings.Writes(kCompatibilitySetting, true);
    tv.settings.Writes(kNameSetting, "Living Room");
    Starts();

    EXPECT_THAT(Calls("bt_adapter_set_name"), ElementsAre("bt_adapter_set_name(\"[TV] Living Room\") = 0"));
    EXPECT_THAT(Logs(), Contains("I bt_adapter_set_name : [TV] Living Room"));
}

TEST_F(Adapter, MarksAnEmptyNameWithASingleBlank)
{
    tv.features.Has(kCompatibilityFeature, true);
    tv.settings.Writes(kCompatibilitySetting, true);
    Starts();

    EXPECT_THAT(Calls("bt_adapter_set_name"), ElementsAre("bt_adapter_set_name(\"[TV] \") = 0"));
}

TEST_F(Adapter, DoesNotMarkItsNameWhenTheUserDoesNotWantIt)
{
    tv.features.Has(kCompatibilityFeature, true);
    tv.settings.Writes(kNameSetting, "Living Room");
    Starts();

    EXPECT_THAT(Calls("bt_adapter_set_name"), ElementsAre("bt_adapter_set_name(\"Living Room\") = 0"));
}

TEST_F(Adapter, FollowsTheNameOfTheSet)
{
    StartsAndSettles();
    tv.tape.Clear();
    tv.settings.Writes(kNameSetting, "Kitchen");
    Settles();
    EXPECT_THAT(Calls("bt_adapter_set_name"), ElementsAre("bt_adapter_set_name(\"Kitchen\") = 0"));

    tv.tape.Clear();
    handler->Deinit();
    tv.settings.Writes(kNameSetting, "Cellar");
    Settles();
    EXPECT_THAT(Calls("bt_adapter_set_name"), IsEmpty());
}

TEST_F(Adapter, WatchesTheNameOfTheSetByItsKey)
{
    Starts();
    handler->Deinit();

    EXPECT_THAT(Calls("vconf_notify_key_changed"),
                ElementsAre(HasSubstr("vconf_notify_key_changed(\"db/menu/network/devicename/tv_name\"")));
    EXPECT_THAT(Calls("vconf_ignore_key_changed"),
                ElementsAre(HasSubstr("vconf_ignore_key_changed(\"db/menu/network/devicename/tv_name\"")));
    EXPECT_THAT(tv.tape.Messages(true), Not(Contains(HasSubstr("vconf key callback")))) << "a watch is not logged";
}

TEST_F(Adapter, ANameThatFailsIsNotLookedAt)
{
    tv.Fails("bt_adapter_set_name", kOutOfMemory);
    Starts();

    EXPECT_THAT(Logs(), Not(Contains(HasSubstr("OUT_OF_MEMORY"))));
    EXPECT_THAT(Steps(), Contains("bt_adapter_set_app_ready"));
}

TEST_F(Adapter, TellsItsKindInTheInquiryResponse)
{
    tv.features.HasNumber("devicename.device_type_index", 0x1FE);
    tv.features.HasNumber("devicename.icon_index", -1);
    Starts();

    EXPECT_EQ(ManufacturerData(),
              "[75 00 00 09 01 00 00 00 fe ff 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00], 30");
}

TEST_F(Adapter, TellsTheDefaultKindWhenTheProductDoesNotSay)
{
    Starts();

    EXPECT_EQ(ManufacturerData(),
              "[75 00 00 09 01 00 00 00 01 06 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 "
              "00 00], 30");
}

TEST_F(Adapter, AnInquiryResponseThatFailsIsLoggedAndNotRetried)
{
    tv.Fails("bt_adapter_set_eir_manufacturer_data", kOutOfMemory);
    Starts();

    EXPECT_THAT(Logs(), Contains("E Setting EIR manufacturer data is failed : OUT_OF_MEMORY"));
    EXPECT_THAT(Calls("bt_adapter_set_eir_manufacturer_data"), SizeIs(1));
    EXPECT_THAT(Steps(), Contains("bt_socket_create_rfcomm"));
}

TEST_F(Adapter, AdvertisesItsServiceOnASocketThatStaysOpen)
{
    Starts();

    EXPECT_THAT(Calls("bt_socket_create_rfcomm"),
                ElementsAre(HasSubstr("bt_socket_create_rfcomm(\"DFC3AFAA-6FF9-4A05-B68C-A0B725F90005\"")));
    ASSERT_THAT(Calls("bt_socket_listen_and_accept_rfcomm"), SizeIs(1));
    EXPECT_THAT(Calls("bt_socket_listen_and_accept_rfcomm").front(), HasSubstr(", 10) = 0"));
    EXPECT_THAT(Calls("bt_socket_destroy_rfcomm"), IsEmpty());
    EXPECT_EQ(tv.adapter.ListeningSockets("DFC3AFAA-6FF9-4A05-B68C-A0B725F90005"), 1);
    Settles();
    EXPECT_EQ(tv.adapter.ListeningSockets("DFC3AFAA-6FF9-4A05-B68C-A0B725F90005"), 2)
        << "one more when the adapter came up";
    AdapterReports(0, 1);
    EXPECT_EQ(tv.adapter.ListeningSockets("DFC3AFAA-6FF9-4A05-B68C-A0B725F90005"), 3);
}

TEST_F(Adapter, ASocketThatCannotBeMadeIsLogged)
{
    tv.Fails("bt_socket_create_rfcomm", kOutOfMemory);
    Starts();

    EXPECT_THAT(Logs(), Contains("E failed to bt_socket_create_rfcomm"));
    EXPECT_THAT(Calls("bt_socket_listen"), IsEmpty());
    EXPECT_THAT(Calls("bt_socket_destroy"), IsEmpty());
}

TEST_F(Adapter, ASocketThatCannotListenIsClosed)
{
    tv.Fails("bt_socket_listen_and_accept_rfcomm", kOutOfMemory);
    Starts();

    EXPECT_THAT(Logs(), Contains("E failed to bt_socket_listen_and_accept_rfcomm"));
    EXPECT_THAT(Calls("bt_socket_destroy_rfcomm"), SizeIs(1));
    EXPECT_EQ(tv.adapter.ListeningSockets("DFC3AFAA-6FF9-4A05-B68C-A0B725F90005"), 0);
}

TEST_F(Adapter, DeinitDoesItsStepsInOrder)
{
    StartsAndSettles();
    tv.tape.Clear();
    handler->Deinit();

    EXPECT_THAT(Steps(),
                ElementsAre("vconf_ignore_key_changed", "bt_adapter_unset_authentication_req_cb",
                            "bt_adapter_unset_ssp_consent_request_cb", "bt_device_unset_auth_event_cb",
                            "bt_adapter_unset_max_device_connected_cb", "bt_device_unset_bond_created_cb",
                            "bt_device_unset_bond_destroyed_cb", "bt_device_unset_connection_state_changed_cb",
                            "bt_hid_host_deinitialize", "bt_gatt_unset_connection_state_changed_cb",
                            "bt_adapter_unset_max_device_connected_cb", "bt_audio_unset_connection_state_changed_cb",
                            "bt_audio_deinitialize", "bt_adapter_unset_state_changed_cb", "bt_product_deinit"));
    EXPECT_EQ(dbus.use_count(), 1) << "the shared pointers are given back";
    EXPECT_EQ(smartRc.use_count(), 1);
}

TEST_F(Adapter, WhatTheAdapterSaysDuringDeinitFindsNeitherBusNorRemotes)
{
    StartsAndSettles();
    std::vector<long> users;
    tv.tape.SetSink([&](const sim::Entry& entry) {
        if (entry.text.starts_with("bt_adapter_unset_state_changed_cb")) {
            users = {dbus.use_count(), smartRc.use_count()};
        }
    });
    handler->Deinit();

    EXPECT_THAT(users, ElementsAre(1, 1));
}

TEST_F(Adapter, DeinitLeavesTheAdapterOn)
{
    StartsAndSettles();
    handler->Deinit();

    EXPECT_THAT(Calls("bt_adapter_disable"), IsEmpty());
}

TEST_F(Adapter, DeinitWithoutInitIsNoError)
{
    handler->Deinit();

    EXPECT_THAT(Steps(),
                ElementsAre("vconf_ignore_key_changed", "bt_adapter_unset_state_changed_cb", "bt_product_deinit"));
}

TEST_F(Adapter, InitKeepsACopyOfBothSharedPointers)
{
    Starts();

    EXPECT_GE(dbus.use_count(), 2);
    EXPECT_EQ(smartRc.use_count(), 2);
}
