// What holds for every platform function, whatever it does: how it fails, and what it says to a null pointer.

#include "sim/FunctionNames.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_avrcp.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_gatt.h>
#include <bt_hid.h>
#include <bt_product.h>
#include <bt_socket.h>
#include <device_power.h>
#include <dlog.h>
#include <kpi_logger.h>
#include <lwipc.h>
#include <ppi_ecs.h>
#include <screen_manager.h>
#include <sound_manager.h>
#include <system_info.h>
#include <vconf.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

namespace {

constexpr int kFailure = -7777;

/// Room for any output, filled so that a write is seen.
class Output
{
public:
    Output()
    {
        m_bytes.fill(kFill);
    }
    void* Get()
    {
        return m_bytes.data();
    }
    [[nodiscard]] bool IsUntouched() const
    {
        return std::ranges::all_of(m_bytes, [](unsigned char byte) { return byte == kFill; });
    }

private:
    static constexpr unsigned char kFill = 0xA5;
    alignas(std::max_align_t) std::array<unsigned char, 64> m_bytes = {};
};

/// An argument that the function could work with: a text, an output that is watched, a small number.
template <typename Argument>
Argument Usable(std::list<Output>& outputs)
{
    if constexpr (std::is_same_v<Argument, const char*>) {
        return "AA:BB:CC:DD:EE:FF";
    } else if constexpr (std::is_same_v<Argument, const unsigned char*>) {
        return reinterpret_cast<const unsigned char*>("bytes");
    } else if constexpr (std::is_pointer_v<Argument> && !std::is_same_v<Argument, void*> &&
                         !std::is_function_v<std::remove_pointer_t<Argument>>) {
        return reinterpret_cast<Argument>(outputs.emplace_back().Get());
    } else {
        return Argument();
    }
}

template <typename Argument>
constexpr bool kIsNeeded = std::is_pointer_v<Argument> && !std::is_same_v<Argument, void*>;

/// What a function is told, in contrast to where it answers.
template <typename Argument>
constexpr bool kIsInput = kIsNeeded<Argument> && (std::is_const_v<std::remove_pointer_t<Argument>> ||
                                                  std::is_function_v<std::remove_pointer_t<Argument>>);

/// Usable if it is an output, null if it is another pointer.
template <typename Argument>
Argument WithoutInput(std::list<Output>& outputs)
{
    if constexpr (kIsInput<Argument>) {
        return nullptr;
    } else {
        return Usable<Argument>(outputs);
    }
}

/// A function whose arguments are filled in.
struct Probe
{
    template <typename Result, typename... Arguments>
    Probe(std::string_view functionName, Result (*function)(Arguments...))
        : name(functionName),
          takesPointers((kIsNeeded<Arguments> || ...)),
          takesInput((kIsInput<Arguments> || ...)),
          call([function](std::list<Output>& outputs) { return ToInt(function(Usable<Arguments>(outputs)...)); }),
          callWithNothing([function](std::list<Output>&) { return ToInt(function(Arguments()...)); }),
          callWithoutInput(
              [function](std::list<Output>& outputs) { return ToInt(function(WithoutInput<Arguments>(outputs)...)); })
    {}

    static int ToInt(int result)
    {
        return result;
    }
    /// A text that fails is null, whatever the code.
    static int ToInt(const char* text)
    {
        return text == nullptr ? kFailure : 0;
    }

    std::string_view name;
    bool takesPointers;
    bool takesInput;
    std::function<int(std::list<Output>&)> call;
    std::function<int(std::list<Output>&)> callWithNothing;
    std::function<int(std::list<Output>&)> callWithoutInput;
};

#define PROBE(function) Probe(#function, function)

const Probe kProbes[] = {
    PROBE(LwipcIsDone),
    PROBE(bt_adapter_disable),
    PROBE(bt_adapter_enable),
    PROBE(bt_adapter_foreach_bonded_device),
    PROBE(bt_adapter_foreach_headless_device_info),
    PROBE(bt_adapter_free_device_info),
    PROBE(bt_adapter_get_bonded_device_info),
    PROBE(bt_adapter_get_chip_version),
    PROBE(bt_adapter_get_power_on_reason),
    PROBE(bt_adapter_get_state),
    PROBE(bt_adapter_register_headless_device),
    PROBE(bt_adapter_reset),
    PROBE(bt_adapter_set_app_ready),
    PROBE(bt_adapter_set_authentication_req_cb),
    PROBE(bt_adapter_set_connectable),
    PROBE(bt_adapter_set_eir_manufacturer_data),
    PROBE(bt_adapter_set_headless_mode),
    PROBE(bt_adapter_set_max_device_connected_cb),
    PROBE(bt_adapter_set_name),
    PROBE(bt_adapter_set_ssp_consent_request_cb),
    PROBE(bt_adapter_set_state_changed_cb),
    PROBE(bt_adapter_set_visibility),
    PROBE(bt_adapter_unregister_headless_device),
    PROBE(bt_adapter_unset_authentication_req_cb),
    PROBE(bt_adapter_unset_max_device_connected_cb),
    PROBE(bt_adapter_unset_ssp_consent_request_cb),
    PROBE(bt_adapter_unset_state_changed_cb),
    PROBE(bt_audio_deinitialize),
    PROBE(bt_audio_disconnect),
    PROBE(bt_audio_free_connected_info),
    PROBE(bt_audio_get_connected_info),
    PROBE(bt_audio_initialize),
    PROBE(bt_audio_set_connection_state_changed_cb),
    PROBE(bt_audio_set_slc_state_changed_cb),
    PROBE(bt_audio_unset_connection_state_changed_cb),
    PROBE(bt_audio_unset_slc_state_changed_cb),
    PROBE(bt_avrcp_control_initialize),
    PROBE(bt_avrcp_set_absolute_volume_changed_cb),
    PROBE(bt_avrcp_set_interim_volume_notify_cb),
    PROBE(bt_avrcp_target_initialize),
    PROBE(bt_device_destroy_bond),
    PROBE(bt_device_get_remote_vid_pid),
    PROBE(bt_device_get_rssi_strength),
    PROBE(bt_device_reject_authorization),
    PROBE(bt_device_set_auth_event_cb),
    PROBE(bt_device_set_bond_created_cb),
    PROBE(bt_device_set_bond_destroyed_cb),
    PROBE(bt_device_set_connection_state_changed_cb),
    PROBE(bt_device_unset_auth_event_cb),
    PROBE(bt_device_unset_bond_created_cb),
    PROBE(bt_device_unset_bond_destroyed_cb),
    PROBE(bt_device_unset_connection_state_changed_cb),
    PROBE(bt_gatt_set_connection_state_changed_cb),
    PROBE(bt_gatt_unset_connection_state_changed_cb),
    PROBE(bt_hid_get_halvo_switch_address),
    PROBE(bt_hid_get_halvo_switch_battery_status),
    PROBE(bt_hid_get_halvo_switch_connection_state),
    PROBE(bt_hid_get_rotator_connection_state),
    PROBE(bt_hid_get_smart_rc_address),
    PROBE(bt_hid_get_smart_rc_battery_status),
    PROBE(bt_hid_get_smart_rc_device_type),
    PROBE(bt_hid_get_smart_rc_fw_version),
    PROBE(bt_hid_get_smart_rc_grip_sensor_state),
    PROBE(bt_hid_get_smart_remote_conn_status),
    PROBE(bt_hid_host_deinitialize),
    PROBE(bt_hid_host_initialize),
    PROBE(bt_hid_send_device_command),
    PROBE(bt_hid_send_duid),
    PROBE(bt_hid_send_rc_command),
    PROBE(bt_hid_send_rotator_bt_command),
    PROBE(bt_hid_set_battery_status_received_cb),
    PROBE(bt_hid_set_conn_no_latency),
    PROBE(bt_hid_set_halvo_switch_charging_status_received_cb),
    PROBE(bt_hid_set_halvo_switch_connection_state_changed_cb),
    PROBE(bt_hid_set_smart_rc_charging_status_received_cb),
    PROBE(bt_hid_set_smart_rc_connection_cb),
    PROBE(bt_hid_set_smart_rc_grip_sensor_detected_cb),
    PROBE(bt_hid_set_smart_rc_grip_sensor_state_changed_cb),
    PROBE(bt_hid_unset_battery_status_received_cb),
    PROBE(bt_hid_unset_halvo_switch_charging_status_received_cb),
    PROBE(bt_hid_unset_halvo_switch_connection_state_changed_cb),
    PROBE(bt_hid_unset_smart_rc_charging_status_received_cb),
    PROBE(bt_hid_unset_smart_rc_connection_cb),
    PROBE(bt_hid_unset_smart_rc_grip_sensor_detected_cb),
    PROBE(bt_hid_unset_smart_rc_grip_sensor_state_changed_cb),
    PROBE(bt_product_deinit),
    PROBE(bt_product_init),
    PROBE(bt_socket_create_rfcomm),
    PROBE(bt_socket_destroy_rfcomm),
    PROBE(bt_socket_listen_and_accept_rfcomm),
    PROBE(device_power_get_ambient_mode),
    PROBE(device_power_get_ambient_type),
    PROBE(device_power_get_state),
    PROBE(device_power_get_wakeup_reason),
    PROBE(device_power_lock_state),
    PROBE(device_power_request_poweroff),
    PROBE(device_power_request_reboot),
    PROBE(device_power_set_state),
    PROBE(device_power_set_wakeup_reason),
    PROBE(device_power_subscribe_ambient_poweroff),
    PROBE(device_power_subscribe_post_poweroff_event),
    PROBE(device_power_subscribe_poweroff_event),
    PROBE(device_power_subscribe_standby),
    PROBE(device_power_subscribe_state_changed_event),
    PROBE(device_power_subscribe_wakeup),
    PROBE(device_power_unlock_state),
    PROBE(device_power_unsubscribe_ambient_poweroff),
    PROBE(device_power_unsubscribe_post_poweroff_event),
    PROBE(device_power_unsubscribe_poweroff_event),
    PROBE(device_power_unsubscribe_standby),
    PROBE(device_power_unsubscribe_state_changed_event),
    PROBE(device_power_unsubscribe_wakeup),
    PROBE(ppi_ecs_get_colorsensor_info),
    PROBE(screen_manager_set_ambient_lock),
    PROBE(screen_manager_set_ambient_mode),
    PROBE(sound_manager_get_device_mute),
    PROBE(sound_manager_set_device_mute),
    PROBE(sound_manager_set_tv_master_mute),
    PROBE(system_info_get_custom_bool),
    PROBE(system_info_get_custom_int),
    PROBE(system_info_get_value_int),
    PROBE(system_info_get_value_string),
    PROBE(vconf_get_bool),
    PROBE(vconf_get_int),
    PROBE(vconf_get_str),
    PROBE(vconf_ignore_key_changed),
    PROBE(vconf_keynode_get_int),
    PROBE(vconf_keynode_get_str),
    PROBE(vconf_notify_key_changed),
    PROBE(vconf_set_bool),
    PROBE(vconf_set_bool_async),
    PROBE(vconf_set_int),
    PROBE(vconf_set_int_async),
    PROBE(vconf_set_str),
    PROBE(vconf_set_str_async),
};

#undef PROBE

TEST(EveryFunction, IsProbedHere)
{
    std::vector<std::string_view> names;
    for (const Probe& probe : kProbes) {
        names.push_back(probe.name);
    }
    names.emplace_back("AddEventLogAsync");
    names.emplace_back("__dlog_print");
    std::ranges::sort(names);
    EXPECT_THAT(names, ElementsAreArray(sim::kFunctionNames));
}

TEST(EveryFunction, FailsWithTheCodeItWasGivenAndTouchesNoOutput)
{
    for (const Probe& probe : kProbes) {
        SCOPED_TRACE(probe.name);
        sim::Television tv;
        tv.Fails(probe.name, kFailure, 1);
        std::list<Output> outputs;
        EXPECT_EQ(probe.call(outputs), kFailure);
        EXPECT_TRUE(std::ranges::all_of(outputs, &Output::IsUntouched));
    }
}

/// The result of a function that was given a null pointer where it needs a value.
int Refusal(std::string_view function)
{
    // Nothing to release is no failure; who asks for no flag, or reads a notice that isn't there, gets a plain answer.
    constexpr std::array<std::string_view, 5> kTakeNull = {"LwipcIsDone", "bt_adapter_free_device_info",
                                                           "bt_audio_free_connected_info", "vconf_keynode_get_int",
                                                           "vconf_keynode_get_str"};
    if (std::ranges::find(kTakeNull, function) != kTakeNull.end()) {
        return 0;
    }
    if (function == "vconf_get_str") {
        return kFailure;
    }
    return function.starts_with("bt_") ? static_cast<int>(BT_ERROR_INVALID_PARAMETER) : -1;
}

TEST(EveryFunction, RefusesNullPointers)
{
    sim::Television tv;
    for (const Probe& probe : kProbes) {
        if (probe.takesPointers) {
            std::list<Output> none;
            EXPECT_EQ(probe.callWithNothing(none), Refusal(probe.name)) << probe.name;
        }
    }
}

TEST(EveryFunction, RefusesANullInputAndTouchesNoOutput)
{
    sim::Television tv;
    for (const Probe& probe : kProbes) {
        if (probe.takesInput) {
            std::list<Output> outputs;
            EXPECT_EQ(probe.callWithoutInput(outputs), Refusal(probe.name)) << probe.name;
            EXPECT_TRUE(std::ranges::all_of(outputs, &Output::IsUntouched)) << probe.name;
        }
    }
}

TEST(EveryFunction, OfTheCollectorAndTheLogFailsToo)
{
    sim::Television tv;
    tv.Fails("AddEventLogAsync", kFailure, 1);
    tv.Fails("__dlog_print", kFailure, 1);
    EXPECT_EQ(KPILogFramework::CLogger::GetInstance()->AddEventLogAsync("a", "b", "c", "d", nullptr, nullptr),
              kFailure);
    EXPECT_EQ(__dlog_print(LOG_ID_MAIN, DLOG_INFO, "TAG", "%s", "lost"), kFailure);
    EXPECT_THAT(tv.tape.All(), IsEmpty());
    EXPECT_EQ(__dlog_print(LOG_ID_MAIN, DLOG_INFO, "TAG", "%s", "kept"), 0);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I kept"));
}

TEST(EveryFunction, OfTheLogRefusesANullTag)
{
    sim::Television tv;
    EXPECT_EQ(__dlog_print(LOG_ID_MAIN, DLOG_INFO, nullptr, "text"), -1);
    EXPECT_THAT(tv.tape.All(), IsEmpty());
}

TEST(EveryFunction, KeepsItsReceiverWhenItIsOfferedNone)
{
    sim::Television tv;
    const auto ignore = [](int, bt_adapter_state_e, void*) {};
    bt_adapter_set_state_changed_cb(ignore, nullptr);
    EXPECT_EQ(bt_adapter_set_state_changed_cb(nullptr, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_unset_state_changed_cb(), BT_ERROR_NONE);
}

} // namespace
