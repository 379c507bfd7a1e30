#include "Set.h"

#include "events.h"

#include <bt_audio.h>
#include <bt_avrcp.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_gatt.h>
#include <bt_hid.h>
#include <device_power.h>
#include <system_info.h>

#include <cstring>
#include <string>

namespace {

// Whom the service named for an event.
template <typename Callback>
struct Receiver
{
    Callback callback = nullptr;
    void* userData = nullptr;

    int Is(Callback newCallback, void* newUserData)
    {
        callback = newCallback;
        userData = newUserData;
        return BT_ERROR_NONE;
    }

    template <typename... Arguments>
    bool Hears(Arguments... arguments) const
    {
        if (callback == nullptr) {
            return false;
        }
        callback(arguments..., userData);
        return true;
    }
};

Receiver<bt_hid_battery_status_received_cb> battery;
Receiver<device_power_state_changed_cb> power;
Receiver<bt_audio_connection_state_changed_cb> audio;
Receiver<bt_device_connection_state_changed_cb> linkState;
Receiver<bt_hid_host_connection_state_changed_cb> inputDevice;
Receiver<bt_gatt_connection_state_changed_cb> lowEnergy;
Receiver<bt_avrcp_absolute_volume_changed_cb> volume;
Receiver<bt_hid_smart_rc_connection_cb> remote;
Receiver<bt_device_rssi_strength_cb> strength;

// Records are given as the platform gives them: texts that may be written to.
std::string remoteAddress = bench::kRemote;
std::string remoteName = "Smart Remote";
std::string speakerAddress = bench::kSpeaker;

} // namespace

namespace bench {

bool ReportBattery(unsigned char status)
{
    bt_hid_battery_status_info_s info = {status, remoteAddress.data()};
    return battery.Hears(&info);
}

bool ChangePower(int previous, int next)
{
    device_power_state_info info = {
        0, 0, previous, next, DEVICE_POWER_AMBIENT_MODE_NONE, DEVICE_POWER_AMBIENT_MODE_NONE};
    return power.Hears(&info);
}

bool ConnectSpeaker(bool connected)
{
    return audio.Hears(static_cast<int>(BT_ERROR_NONE), connected, kSpeaker,
                       static_cast<bt_audio_profile_type_e>(BT_AUDIO_PROFILE_A2DP_SOURCE));
}

bool LoseLink(int reason)
{
    bt_device_connection_info_s info = {remoteAddress.data(), BT_DEVICE_LINK_LE, reason};
    return linkState.Hears(false, &info);
}

bool ConnectInputDevice(bool connected)
{
    return inputDevice.Hears(static_cast<int>(BT_ERROR_NONE), connected, kSpeaker);
}

bool ConnectLowEnergy(bool connected)
{
    return lowEnergy.Hears(static_cast<int>(BT_ERROR_NONE), connected, kSpeaker);
}

bool ChangeVolume(unsigned int newVolume)
{
    return volume.Hears(kSpeaker, newVolume);
}

bool ConnectRemote(bool connected)
{
    bt_device_info_s info = {remoteAddress.data(), remoteName.data(), {}, true, connected};
    return remote.Hears(connected, &info);
}

bool AnswerStrength(int newStrength)
{
    const Receiver<bt_device_rssi_strength_cb> asker = strength;
    strength = {};
    return asker.Hears(speakerAddress.data(), static_cast<int>(BT_DEVICE_LINK_ANY), newStrength);
}

} // namespace bench

int bt_hid_set_battery_status_received_cb(bt_hid_battery_status_received_cb callback, void* user_data)
{
    return battery.Is(callback, user_data);
}

int bt_hid_host_initialize(bt_hid_host_connection_state_changed_cb callback, void* user_data)
{
    return inputDevice.Is(callback, user_data);
}

int bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* user_data)
{
    return remote.Is(callback, user_data);
}

int device_power_subscribe_state_changed_event(device_power_state_changed_cb callback, void* user_data)
{
    return power.Is(callback, user_data);
}

int bt_audio_set_connection_state_changed_cb(bt_audio_connection_state_changed_cb callback, void* user_data)
{
    return audio.Is(callback, user_data);
}

int bt_device_set_connection_state_changed_cb(bt_device_connection_state_changed_cb callback, void* user_data)
{
    return linkState.Is(callback, user_data);
}

int bt_gatt_set_connection_state_changed_cb(bt_gatt_connection_state_changed_cb callback, void* user_data)
{
    return lowEnergy.Is(callback, user_data);
}

int bt_avrcp_set_absolute_volume_changed_cb(bt_avrcp_absolute_volume_changed_cb callback, void* user_data)
{
    return volume.Is(callback, user_data);
}

int bt_device_get_rssi_strength(const char* /*address*/, int /*link_type*/, bt_device_rssi_strength_cb callback,
                                void* user_data)
{
    return strength.Is(callback, user_data);
}

int bt_hid_get_smart_rc_address(char** address)
{
    *address = strdup(bench::kRemote);
    return BT_ERROR_NONE;
}

int bt_hid_get_smart_rc_fw_version(const char* /*address*/, unsigned int* version)
{
    *version = bench::kRemoteVersion;
    return BT_ERROR_NONE;
}

int system_info_get_value_string(int /*key*/, char** value)
{
    *value = strdup("TV-55");
    return 0;
}
