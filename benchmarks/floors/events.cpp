#include "events.h"

#include "calls.h"

#include <glib.h>

#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_device.h>
#include <bt_hid.h>
#include <device_power.h>
#include <kpi_logger.h>
#include <system_info.h>
#include <vconf.h>

#include <cstdlib>

namespace bench {
namespace {

constexpr const char* kManager = "com.quorix.tv.bt.connectionmanager";
constexpr const char* kManagerPath = "/com/quorix/tv/bt/connectionmanager";
constexpr const char* kShift = "com.quorix.tv.bt.connectionshift";
constexpr const char* kShiftPath = "/com/quorix/tv/bt/connectionshift";
constexpr int kTimeout = 5000;

void OnStrength(char* /*address*/, int /*linkType*/, int /*strength*/, void* /*userData*/) {}

bool Release(GVariant* answer)
{
    if (answer == nullptr) {
        return false;
    }
    g_variant_unref(answer);
    return true;
}

} // namespace

void FloorBatteryReport(GDBusConnection* connection)
{
    char* connected = nullptr;
    bt_hid_get_smart_rc_address(&connected);
    std::free(connected);
    vconf_set_int("memory/sp-kpi/batlev", kLowBattery);
    char* model = nullptr;
    system_info_get_value_string(SYSTEM_INFO_MODEL_NAME, &model);
    std::free(model);
    KPILogFramework::CLogger::GetInstance()->AddEventLogAsync("25_remocon", "BATTERY", "EV005",
                                                              "{product=TV-55;batlev=5}", nullptr, nullptr);
    unsigned int version = 0;
    bt_hid_get_smart_rc_fw_version(kRemote, &version);
    floor_call(connection, kManager, kManagerPath, kManager, "SmartRcBatteryNotify",
               g_variant_new("(ssi)", "5", kRemote, static_cast<int>(kRemoteVersion)));
}

void FloorStandby(GDBusConnection* connection)
{
    vconf_set_int("db/vyrel/ambient_mode_full_power_off_event", DEVICE_POWER_AMBIENT_MODE_NONE);
    bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE, 0);
    floor_signal(connection, kManager, kManagerPath, kManager, "StandbyPowerStatefromNormal", nullptr);
    int route = 0;
    vconf_get_int("db/vyrel/lastSoundRoute", &route);
    floor_signal(connection, kManager, kManagerPath, kManager, "PowerStateChanged",
                 g_variant_new("(iiiiii)", 0, 0, DEVICE_POWER_STATE_NORMAL, DEVICE_POWER_STATE_STANDBY, 0, 0));
}

bool FloorA2dpConnection(GDBusConnection* connection)
{
    const bool managerAnswered =
        Release(floor_call_sync(connection, kManager, kManagerPath, kManager, "AudioConnectionStateChanged",
                                g_variant_new("(siii)", kSpeaker, BT_AUDIO_PROFILE_A2DP_SOURCE, 0, 1), kTimeout));
    const bool shiftAnswered =
        Release(floor_call_sync(connection, kShift, kShiftPath, kShift, "UpdateConnectedDeviceList",
                                g_variant_new("(bs)", TRUE, kSpeaker), kTimeout));
    bt_device_get_rssi_strength(kSpeaker, BT_DEVICE_LINK_ANY, OnStrength, nullptr);
    return managerAnswered && shiftAnswered;
}

} // namespace bench
