#include "Evening.h"

#include "demo/Narrator.h"
#include "demo/Stage.h"
#include "sim/Adapter.h"
#include "sim/Audio.h"
#include "sim/Devices.h"
#include "sim/Features.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Television.h"
#include "support/Siblings.h"

#include <glib.h>

#include <device_power.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>

namespace demo {

namespace {

using namespace std::chrono_literals;

constexpr const char* kSpeaker = "5C:51:4F:00:00:01";
constexpr const char* kRemote = "5C:51:4F:00:00:02";
constexpr const char* kData = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/";

constexpr int kSuspendOff = DEVICE_POWEROFF_OPTION_SUSPEND_OFF;
constexpr int kReset = DEVICE_POWEROFF_OPTION_RESET;
constexpr int kArtLight = 2; // the ambient mode of the low-power picture

void ComesUp(Stage& stage)
{
    stage.Passes(1s);
    stage.narrator.ShouldHaveSeen({"bt_adapter_enable() = 0", R"(bt_adapter_set_name("Living Room"))",
                                   "bt_adapter_set_app_ready(1)", "<Not error> Not reset case.",
                                   "bt_adapter_set_visibility(1, 0)", "bt_adapter_set_app_ready(1)"},
                                  {"ResetVconfKeys"});
}

void SpeakerStaysAway(Stage& stage)
{
    stage.narrator.Begins("Ten seconds later the speaker of last time has not come back by itself.");
    stage.Passes(11s);
    stage.narrator.ShouldHaveSeen({R"(vconf_set_int("db/vyrel/lastSoundRoute", 0))",
                                   "call com.quorix.tv.bt.connectionmanager LastConnectedBtSpk"});
}

void SpeakerConnects(Stage& stage)
{
    stage.narrator.Begins("A speaker asks to be let in, and is.");
    stage.tv.devices.Knows({.address = kSpeaker, .name = "Kitchen speaker", .majorClass = 4, .minorClass = 20});
    stage.tv.devices.AsksForAuthorization(kSpeaker, "Kitchen speaker", 18);
    stage.Settles();
    stage.tv.devices.Connects(kSpeaker);
    stage.tv.audio.Connects(kSpeaker, 2);
    stage.tv.audio.InterimVolume(kSpeaker, 40);
    stage.Settles();
    stage.narrator.ShouldHaveSeen({"ask com.quorix.tv.bt.connectionmanager Hello",
                                   "AuthorizationRequest (ssii) ('5C:51:4F:00:00:01', 'Kitchen speaker', 18, 0)",
                                   "AudioConnectionStateChanged (siii) ('5C:51:4F:00:00:01', 2, 0, 1)",
                                   "UpdateConnectedDeviceList (bs) (true, '5C:51:4F:00:00:01')",
                                   "AvrcpInterimReceived (si) ('5C:51:4F:00:00:01', 40)", "25_wireless BT_DEV EV003"});
}

void RemoteConnects(Stage& stage)
{
    stage.narrator.Begins("Somebody takes the smart remote.");
    stage.tv.smartRemote.fwVersion = 0x10000001;
    stage.tv.settings.Writes("db/bluetooth_smartrc/conn_dev_addr", kRemote);
    stage.tv.smartRemote.Connects(kRemote);
    stage.tv.devices.ConnectsHid(kRemote);
    stage.Passes(11s);
    stage.tv.smartRemote.IsGripped(1);
    stage.Settles();
    stage.narrator.ShouldHaveSeen({"bt_hid_send_device_command(\"5C:51:4F:00:00:02\", 0x11, 0x07) = 0",
                                   R"(vconf_set_int("db/vyrel/smartrc_adc_flag", 0))", "25_remocon BTCONNECT EV006",
                                   "bt_hid_send_rc_command(\"5C:51:4F:00:00:02\", [24 07]", "GripSensorDetected",
                                   "25_remocon SOLARCHARGE EV016"});
}

void BatteryGetsLow(Stage& stage)
{
    stage.narrator.Begins("Its battery falls below a half, and nobody is told twice.");
    stage.tv.smartRemote.ReportsBattery((15 << 3) | 3);
    stage.Settles();
    stage.tv.smartRemote.ReportsBattery((14 << 3) | 3);
    stage.Settles();
    stage.narrator.ShouldHaveSeen(
        {"25_remocon BATTERY EV005", "SmartRcBatteryLevel (s) ('48',)", "25_remocon BATTERY EV005"},
        {"SmartRcBatteryLevel (s) ('45',)"});
}

void OthersSpeakUp(Stage& stage)
{
    stage.narrator.Begins("Other programs of the set speak up: a new name, and a service key sequence.");
    stage.AnotherProgramWrites("db/menu/network/devicename/tv_name", "string", "Kitchen");
    stage.KeyRouterReports(51);
    stage.Passes(1s);
    stage.narrator.Claims(stage.AnotherProgramReads("db/low-power-support/bt-disable") == "false",
                          "the mark of the keys is false");
    stage.KeyRouterReports(52);
    stage.Passes(1s);
    stage.narrator.Claims(stage.AnotherProgramReads("db/low-power-support/bt-disable") == "true",
                          "the mark of the keys is true");
    // Whoever switched Bluetooth on again by keys left a mark that would keep it off at the next start.
    stage.AnotherProgramWrites("db/low-power-support/bt-disable", "bool", "false");
    stage.narrator.ShouldHaveSeen(
        {R"(bt_adapter_set_name("Kitchen"))", "bt_adapter_disable() = 0",
         R"(vconf_set_bool("db/low-power-support/bt-disable", false))", "AdapterDisabled", "bt_adapter_enable() = 0",
         R"(vconf_set_bool("db/low-power-support/bt-disable", true))", "bt_adapter_set_visibility(1, 0)"});
}

void HoursPass(Stage& stage)
{
    stage.narrator.Begins("Three hours pass. Once an hour the light in the room is looked at.");
    stage.Passes(3h + 1min);
    stage.narrator.ShouldHaveSeen({"save AmbiLight Kpi Info", "save AmbiLight Kpi Info", "save AmbiLight Kpi Info"});
}

void PictureGoesOff(Stage& stage)
{
    stage.narrator.Begins("The picture is switched off, the sound plays on.");
    stage.tv.power.GoesTo(DEVICE_POWER_STATE_PICTURE_OFF);
    stage.Settles();
    stage.narrator.ShouldHaveSeen({"PowerStateChanged (iiiiii) (0, 0, 0, 1, 0, 0)"}, {"bt_adapter_set_visibility"});
}

void GoesToStandby(Stage& stage)
{
    stage.narrator.Begins("The set goes to standby.");
    stage.tv.power.GoesTo(DEVICE_POWER_STATE_STANDBY);
    stage.Settles();
    stage.narrator.ShouldHaveSeen({R"(vconf_set_int("db/vyrel/ambient_mode_full_power_off_event", 0))",
                                   "bt_adapter_set_visibility(0, 0)",
                                   "signal com.quorix.tv.bt.connectionmanager StandbyPowerStatefromNormal",
                                   "25_remocon AMBILIGHT EV015", "PowerStateChanged (iiiiii) (0, 0, 1, 2, 0, 0)"});
}

void IsSuspended(Stage& stage)
{
    stage.narrator.Begins("A while later it is suspended, and then shows its low-power picture.");
    stage.tv.power.PowersOff(0);
    stage.tv.power.GoesTo(DEVICE_POWER_STATE_SUSPEND);
    stage.Settles();
    stage.tv.power.GoesTo(DEVICE_POWER_STATE_SUSPEND, kArtLight);
    stage.Settles();
    stage.narrator.ShouldHaveSeen({"bt_adapter_set_visibility(0, 0)", "bt_adapter_set_headless_mode(true)",
                                   "PowerStateChanged (iiiiii) (0, 0, 2, 4, 0, 0)",
                                   "[VYREL][GoToLowPowerAmbientMode]request lpm lock",
                                   "screen_manager_set_ambient_lock(1, 60000)", "bt_adapter_set_headless_mode(false)",
                                   "PowerStateChanged (iiiiii) (0, 0, 4, 4, 0, 2)"});
}

void IsWoken(Stage& stage)
{
    stage.narrator.Begins("The remote wakes it.");
    stage.tv.power.WakesUp(1);
    stage.tv.power.GoesTo(DEVICE_POWER_STATE_NORMAL);
    stage.Settles();
    stage.narrator.ShouldHaveSeen({"bt_adapter_set_headless_mode(false)", "bt_adapter_set_visibility(1, 0)", "timer",
                                   "irmonitor Reset", "PowerStateChanged (iiiiii) (0, 0, 4, 0, 2, 0)"});
}

void IsUpdatedAtPowerOff(Stage& stage)
{
    stage.narrator.Begins("It is switched off for the night; the update manager has its chance first.");
    stage.updates.Answers("CHIP", g_variant_new("(i)", 1));
    stage.updates.Answers("SCFW", g_variant_new("(i)", 8));
    stage.updates.Answers("HALVO", g_variant_new("(i)", 0));
    stage.tv.power.AnnouncesStandby(kSuspendOff);
    stage.Settles();
    stage.tv.power.GoesTo(DEVICE_POWER_STATE_STANDBY);
    stage.tv.power.PowersOff(kSuspendOff);
    stage.Settles();
    stage.narrator.ShouldHaveSeen({"device_power_lock_state(2, 15000)", "updatemanager CHIP", "updatemanager SCFW",
                                   "updatemanager HALVO", "updatemanager EXIT", "device_power_unlock_state(2) = 0",
                                   "bt_adapter_set_connectable(false)", "bt_adapter_set_headless_mode(true)"},
                                  {"need reboot for recovery"});
}

void IsReset(Stage& stage)
{
    stage.narrator.Begins("The next day somebody resets the set to how it was delivered.");
    stage.tv.power.WakesUp(1);
    stage.tv.power.GoesTo(DEVICE_POWER_STATE_NORMAL);
    stage.Settles();
    stage.tv.Fails("bt_hid_send_device_command", -29359868, 2); // the link is busy at first
    stage.tv.power.AnnouncesStandby(kReset);
    stage.Settles();
    stage.tv.power.GoesTo(DEVICE_POWER_STATE_STANDBY);
    stage.tv.power.PowersOff(kReset);
    stage.Settles();
    stage.tv.settings.Writes("db/factory/factory_reset_count", 3);
    stage.narrator.ShouldHaveSeen({R"(vconf_set_int_async("db/vyrel/reset", 1))",
                                   "bt_hid_send_rotator_bt_command(16, 255) = 0", "0x05) = -29359868", "sleep 50 ms",
                                   "0x05) = -29359868", "sleep 50 ms", "0x05) = 0", "bt_adapter_reset()",
                                   "sleep 1400 ms"},
                                  {});
}

} // namespace

void PlugsTheSetIn(Stage& stage)
{
    sim::Television& tv = stage.tv;
    for (const char* feature : {"bluetooth.audio_support", "bluetooth.hfp_support", "bluetooth.discoverable",
                                "bluetooth.always_classic_discoverable", "setting.menuitem.remote_grib_support",
                                "product.rotation_accessory_support"}) {
        tv.features.Has(feature);
    }
    tv.features.HasNumber("ble_support", 1);
    tv.adapter.delay = 400ms;
    tv.stand.connected = true;
    tv.PostsFlag("/tmp/.bt_irmonitor");
}

void FurnishesTheSet(Stage& stage)
{
    PlugsTheSetIn(stage);
    sim::Television& tv = stage.tv;
    tv.settings.Writes("db/menu/network/devicename/tv_name", "Living Room");
    tv.settings.Writes("db/vyrel/lastSoundRoute", 3);
    tv.settings.Writes("db/factory/factory_reset_count", 2);
    tv.settings.Writes("db/factory/service_reset_count", 0);
    tv.MakesFile(std::string(kData) + "factoryResetCount.txt", "2");
    tv.MakesFile(std::string(kData) + "serviceResetCount.txt", "0");
}

void PlaysTheEvening(Stage& stage)
{
    for (const auto scene :
         {ComesUp, SpeakerStaysAway, SpeakerConnects, RemoteConnects, BatteryGetsLow, OthersSpeakUp, HoursPass,
          PictureGoesOff, GoesToStandby, IsSuspended, IsWoken, IsUpdatedAtPowerOff, IsReset}) {
        scene(stage);
    }
}

void PlaysTheNextStart(Stage& stage)
{
    stage.Passes(1s);
    stage.narrator.ShouldHaveSeen({"<<Not Error>> Reset Case", "[VYREL][ResetVconfKeys]START, reset vconfkeys",
                                   R"(vconf_set_str("db/vyrel/last_btspk_name", ""))",
                                   R"(vconf_set_bool("db/vyrel/last_audio_auto_connection", false))",
                                   "[VYREL][ResetVconfKeys]END reset vconfkeys",
                                   R"(vconf_set_int("db/vyrel/reset", 0))", "connectionmanager DeleteDatabase"});
    stage.narrator.Claims(stage.tv.ReadFile(std::string(kData) + "factoryResetCount.txt") == "3",
                          "the service has counted the reset");
}

void PlaysTheStart(Stage& stage)
{
    ComesUp(stage);
    std::printf("\nThe television stays on. In another terminal:\n\n"
                "   export DBUS_SYSTEM_BUS_ADDRESS='%s'\n"
                "   gdbus emit --system --object-path /com/tarnwick/dbus/ping \\\n"
                "       --signal keyrouter.dbus.Signal.KEY_COMBINATION 51\n"
                "   %s --root %s set db/menu/network/devicename/tv_name --string Kitchen\n\n"
                "Ctrl-C ends it.\n",
                std::getenv("DBUS_SYSTEM_BUS_ADDRESS"), VYREL_SETTINGS, stage.tv.Root().c_str());
    std::fflush(stdout);
}

} // namespace demo
