#include "orders/Alphabet.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace orders {

namespace {

constexpr std::uint32_t kRemotes = 1;
constexpr std::uint32_t kWheel = 2;
constexpr std::uint32_t kBattery = 4;
constexpr std::uint32_t kDevices = 8;
constexpr std::uint32_t kPower = 16;
constexpr std::uint32_t kAdapter = 32;
constexpr std::uint32_t kUpdates = 64;
constexpr std::uint32_t kReset = 128;
constexpr std::uint32_t kCore = 256; // what happens to each set

constexpr Subject kSubjects[] = {
    {"remotes", kRemotes},
    // A monitor with a wheel: shop mode is the wheel's alone there.
    {"wheel", kWheel, {"feature product.is_game_screen_monitor true"}},
    {"battery", kBattery},
    {"devices", kDevices},
    {"power", kPower},
    {"adapter", kAdapter},
    {"updates", kUpdates},
    {"reset", kReset},
    {"core", kCore},
    {"everything", 0},
};

constexpr const char* kFurniture[] = {
    "furnish",
    "set db/menu/network/devicename/tv_name \"Living Room\"",
    "set db/vyrel/lastSoundRoute 3",
    "set db/factory/factory_reset_count 2",
    "set db/factory/service_reset_count 0",
    "set db/comss/duid D1234",
    "file /opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/factoryResetCount.txt 2",
    "file /opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/serviceResetCount.txt 0",
    "file /tmp/app_ready yes",
    "remote firmware 0x10000001",
    "speaker known",
    "adapter woken-by 5C:51:4F:00:00:01 1",
    "sibling updatemanager answer CHIP (1,)",
    "sibling updatemanager answer SCFW (8,)",
    "sibling updatemanager answer HALVO (0,)",
};

// A battery decides at its level codes 0 and 5, and with its reading at 3 and 4, 15 and 16, 27 and 28. "adc" lines have
// another code.
constexpr Event kAlphabet[] = {
    {"remote-comes", "remote connect", kRemotes | kWheel | kBattery | kAdapter | kReset | kCore},
    {"other-remote-comes", "remote connect 5C:51:4F:00:00:12", kRemotes | kBattery},
    {"remote-leaves", "remote disconnect", kRemotes},
    {"remote-lost", "remote lose 1", kRemotes | kWheel | kBattery | kReset | kCore},
    {"wheel-comes", "wheel connect", kRemotes | kWheel | kBattery | kReset | kCore},
    {"other-wheel-comes", "wheel connect 5C:51:4F:00:00:13", kWheel},
    {"wheel-leaves", "wheel disconnect", kWheel},
    {"wheel-lost", "wheel lose 1", kRemotes | kWheel | kBattery | kCore},
    {"remote-gripped", "remote grip", kRemotes},
    {"grip-sensor-off", "remote sensor off", kRemotes},
    {"grip-sensor-on", "remote sensor on", 0},

    {"remote-empty", "remote battery byte 0", kBattery | kCore},
    {"remote-low", "remote battery byte 5", kBattery | kCore},
    {"remote-adc-3", "remote battery adc 3", kBattery | kCore},
    {"remote-adc-4", "remote battery adc 4", kBattery | kCore},
    {"remote-adc-15", "remote battery adc 15", kBattery | kCore},
    {"remote-adc-16", "remote battery adc 16", kBattery | kCore},
    {"remote-adc-27", "remote battery adc 27", kBattery | kCore},
    {"remote-adc-28", "remote battery adc 28", kBattery | kCore},
    {"remote-charges", "remote charge 6 20", kBattery | kCore},
    {"wheel-empty", "wheel battery byte 0", kBattery},
    {"wheel-adc-3", "wheel battery adc 3", kBattery},
    {"wheel-adc-15", "wheel battery adc 15", kBattery},
    {"wheel-adc-28", "wheel battery adc 28", kBattery},
    {"wheel-charges", "wheel charge 7 20", 0},

    {"speaker-asks", "speaker ask 18", kDevices | kCore},
    {"speaker-pairs", "speaker pair 123456", 0},
    {"speaker-comes", "speaker connect", kDevices | kAdapter | kCore},
    {"speaker-lost", "speaker lose 1", kDevices | kCore},
    {"speaker-unbonds", "speaker unbond", kDevices},
    {"speaker-volume", "speaker volume 40", 0},
    {"phone-asks", "phone pair", kDevices | kCore},
    {"phone-bonds", "phone bond", kDevices},
    {"phone-comes", "phone connect", kDevices | kCore},
    {"phone-lost", "phone lose 1", kDevices | kCore},

    {"normal", "power normal", kRemotes | kDevices | kPower | kAdapter | kUpdates | kCore},
    {"picture-off", "power picture-off", kPower | kCore},
    {"standby", "power standby", kPower | kAdapter | kUpdates | kReset | kCore},
    {"suspend", "power suspend", kPower | kCore},
    {"low-power-picture", "power ambient", kPower | kAdapter | kCore},
    {"suspend-in-low-power-mode", "power state 4 2", kPower | kAdapter},
    {"low-power-off", "power leave", kPower | kAdapter},
    {"standby-announced", "power announce", 0},
    {"off-announced", "power announce suspend-off", kPower | kUpdates},
    {"off-announced-whatever-holds", "power announce 1610612736", kUpdates},
    {"reset-announced", "power announce reset", kUpdates | kReset},
    {"suspended", "power down", kPower},
    {"powered-off", "power down suspend-off", kPower | kUpdates | kAdapter | kCore},
    {"powered-off-with-reset", "power down reset", kReset | kCore},
    {"powered-off-with-other-reset", "power down reset-alt", kReset | kCore},
    {"switched-off", "power off suspend-off", kUpdates},
    {"wakes-up", "power wake", kPower | kCore},
    {"wakes-up-again", "power wake 94", kPower},

    {"key-51", "key 51", kAdapter | kReset | kCore},
    {"key-52", "key 52", kAdapter | kReset | kCore},
    {"adapter-off", "adapter off", kPower | kAdapter | kUpdates | kReset | kCore},
    {"adapter-on", "adapter on", kPower | kAdapter | kReset | kCore},

    {"name-of-the-set", "set db/menu/network/devicename/tv_name Kitchen", kAdapter | kCore},
    {"shop-mode", "set db/menu/support/use_mode 1", kRemotes | kWheel | kCore},
    {"home-mode", "set db/menu/support/use_mode 0", kRemotes | kWheel},
    {"first-screen", "set memory/volt/firstscreen_state 1", kRemotes | kWheel | kCore},
    {"wizard", "set memory/wizard/wizard_mode PNP_SETUP", kRemotes | kCore},
    {"wizard-ends", "set memory/wizard/wizard_mode OFF", kRemotes},
    {"unique-id", "set db/comss/duid D5678", kRemotes | kCore},
    {"paired-at-the-factory", "set db/vyrel/oob_status 5", kCore},
    {"factory-mode", "set memory/factoryapp/factory_mode 1", kWheel | kCore},
    {"service-reset", "set db/notification-service/reset 0", kCore},
    {"touch-on", "set memory/touch_interactive/touch_interactive_running 1", kCore},
    {"touch-off", "set memory/touch_interactive/touch_interactive_running 0", 0},
    {"several-speakers", "set db/vyrel/audio_multi_output_on_off 1", kDevices | kCore},
    {"shift-control", "set memory/iot/thing/accessory/operation on", kCore},
    {"last-speaker-connects", "set memory/vyrel/last_btspk_connecting_status 1", kCore},
    {"sound-to-a-speaker", "set db/vyrel/lastSoundRoute 3", kPower},

    {"next-timer", "next timer",
     kRemotes | kWheel | kBattery | kDevices | kPower | kAdapter | kUpdates | kReset | kCore},
    {"half-a-second", "wait 500ms", kRemotes | kWheel | kPower | kAdapter | kUpdates | kReset},

    {"manager-hangs", "sibling connectionmanager hang", kDevices | kCore},
    {"manager-gone", "sibling connectionmanager absent", kDevices | kCore},
    {"manager-back", "sibling connectionmanager answers", kDevices | kCore},
    {"shift-hangs", "sibling connectionshift hang", 0},
    {"agent-hangs", "sibling hfpAgent hang", 0},
    {"updates-hang", "sibling updatemanager hang", kUpdates},
    {"updates-gone", "sibling updatemanager absent", kUpdates},
    {"updates-fail", "sibling updatemanager error", kUpdates},
    {"updates-back", "sibling updatemanager answers", kUpdates},

    {"commands-fail", "fail bt_hid_send_device_command OPERATION_FAILED", kRemotes | kWheel | kReset | kCore},
    {"commands-work", "recover bt_hid_send_device_command", kReset},
    {"no-latency-fails", "fail bt_hid_set_conn_no_latency OPERATION_FAILED 13", kWheel},
    {"headless-fails", "fail bt_adapter_set_headless_mode OPERATION_FAILED", kPower},
    {"headless-works", "recover bt_adapter_set_headless_mode", 0},
    {"lock-fails", "fail device_power_lock_state -1 1", kPower | kUpdates},
    {"query-fails", "fail bt_hid_get_smart_rc_address OPERATION_FAILED 1", kBattery},
    {"setting-fails", "fail vconf_set_int -1 1", 0},
};

} // namespace

std::span<const Event> Alphabet()
{
    return kAlphabet;
}

std::span<const Subject> Subjects()
{
    return kSubjects;
}

std::span<const char* const> Furniture()
{
    return kFurniture;
}

std::optional<std::size_t> EventNamed(std::string_view name)
{
    const auto* found = std::ranges::find(kAlphabet, name, &Event::name);
    return found != std::end(kAlphabet) ? std::optional(static_cast<std::size_t>(found - kAlphabet)) : std::nullopt;
}

} // namespace orders
