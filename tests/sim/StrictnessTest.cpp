#include "sim/Adapter.h"
#include "sim/Audio.h"
#include "sim/Devices.h"
#include "sim/Failures.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Television.h"
#include "support/MainLoop.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <bt_audio.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_hid.h>
#include <device_power.h>
#include <vconf.h>

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

TEST(Strictness, AFunctionFailsAsOftenAsItWasTold)
{
    sim::Television tv;
    tv.Fails("bt_adapter_enable", BT_ERROR_OPERATION_FAILED, 2);

    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);
}

TEST(Strictness, AFunctionThatFailsForeverCanRecover)
{
    sim::Television tv;
    tv.Fails("device_power_request_reboot", -1);
    EXPECT_EQ(device_power_request_reboot(34), -1);
    EXPECT_EQ(device_power_request_reboot(34), -1);
    tv.Recovers("device_power_request_reboot");
    EXPECT_EQ(device_power_request_reboot(34), 0);
}

TEST(Strictness, AJudgeIsAskedOfEachCallAndComesBeforeWhatWasToldToFail)
{
    sim::Television tv;
    std::vector<std::string> asked;
    tv.Fails("bt_adapter_enable", BT_ERROR_OPERATION_FAILED);
    tv.failures.SetJudge([&](std::string_view function) {
        asked.emplace_back(function);
        return asked.size() == 2 ? std::optional<int>(BT_ERROR_RESOURCE_BUSY) : std::nullopt;
    });
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_RESOURCE_BUSY);
    EXPECT_EQ(device_power_request_reboot(34), 0);
    EXPECT_THAT(asked, ElementsAre("bt_adapter_enable", "bt_adapter_enable", "device_power_request_reboot"));
    tv.failures.SetJudge({});
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(asked.size(), 3U);
}

TEST(Strictness, AFailingFunctionLeavesItsOutputAlone)
{
    sim::Television tv;
    tv.smartRemote.IsConnected("AA:BB:CC:DD:EE:FF");
    tv.Fails("bt_hid_get_smart_rc_grip_sensor_state", BT_ERROR_OPERATION_FAILED);
    bt_hid_sc_grip_sensor_state_e state = BT_SC_GRIP_SENSOR_NOT_AVAILABLE;
    EXPECT_EQ(bt_hid_get_smart_rc_grip_sensor_state(&state), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(state, BT_SC_GRIP_SENSOR_NOT_AVAILABLE);
}

TEST(Strictness, AFailingTextIsNull)
{
    sim::Television tv;
    tv.settings.Writes("db/a", "text");
    tv.Fails("vconf_get_str", -1, 1);
    EXPECT_EQ(vconf_get_str("db/a"), nullptr);
    char* text = vconf_get_str("db/a");
    EXPECT_STREQ(text, "text");
    std::free(text);
}

TEST(Strictness, ASettingOfAnotherTypeIsNotRead)
{
    sim::Television tv;
    tv.settings.Writes("db/a", true);
    int value = 7;
    EXPECT_EQ(vconf_get_int("db/a", &value), VCONF_ERROR_WRONG_TYPE);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(vconf_get_str("db/a"), nullptr);
}

TEST(Strictness, AVisibilityWithoutANameIsRefused)
{
    sim::Television tv;
    EXPECT_EQ(bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE, 0), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_set_visibility(2, 0), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_set_visibility(-1, 0), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(tv.adapter.visibility, BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE);
    EXPECT_EQ(bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE, 0), BT_ERROR_NONE);
}

TEST(Strictness, ANameIsUtf8OfAtMost248Bytes)
{
    sim::Television tv;
    const std::string longest = std::string(246, 'a') + "\xC3\xA9"; // 248 bytes, 247 characters
    EXPECT_EQ(bt_adapter_set_name(longest.c_str()), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_set_name(("a" + longest).c_str()), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_set_name("\xFF"), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(tv.adapter.name, longest);
    EXPECT_EQ(bt_adapter_set_name(""), BT_ERROR_NONE);
    EXPECT_EQ(tv.adapter.name, "");
}

TEST(Strictness, AHeadlessDeviceHasAnAddress)
{
    sim::Television tv;
    for (const char* address :
         {"", "AA:BB:CC:DD:EE:F", "AA:BB:CC:DD:EE:FF0", "AA:BB:CC:DD:EE:FG", "AA-BB-CC-DD-EE-FF"}) {
        EXPECT_EQ(bt_adapter_register_headless_device(address), BT_ERROR_INVALID_PARAMETER) << address;
        EXPECT_EQ(bt_adapter_unregister_headless_device(address), BT_ERROR_INVALID_PARAMETER) << address;
    }
    EXPECT_THAT(tv.adapter.headlessDevices, IsEmpty());
    EXPECT_EQ(bt_adapter_register_headless_device("aa:BB:cc:DD:09:FF"), BT_ERROR_NONE);
    EXPECT_THAT(tv.adapter.headlessDevices, ElementsAre("aa:BB:cc:DD:09:FF"));
    EXPECT_EQ(bt_adapter_unregister_headless_device("aa:BB:cc:DD:09:FF"), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_unregister_headless_device("aa:BB:cc:DD:09:FF"), BT_ERROR_REMOTE_DEVICE_NOT_FOUND);
}

TEST(StrictnessDeathTest, ASecondTelevisionLeavesNoFolder)
{
    const support::TempDir folders;
    ::setenv("TMPDIR", folders.Path().c_str(), 1);
    {
        const sim::Television tv;
        EXPECT_DEATH(const sim::Television second, "there is a television already");
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folders.Path()), {}), 1);
    }
    EXPECT_TRUE(std::filesystem::is_empty(folders.Path()));
}

TEST(StrictnessDeathTest, ATelevisionThatAbortsLeavesNoFolder)
{
    const support::TempDir folders;
    ::setenv("TMPDIR", folders.Path().c_str(), 1);
    EXPECT_DEATH(
        {
            sim::Television tv;
            tv.devices.Knows({.address = "AA:BB:CC:DD:EE:FF"});
            bt_device_info_s* info = nullptr;
            bt_adapter_get_bonded_device_info("AA:BB:CC:DD:EE:FF", &info);
        },
        "never freed");
    EXPECT_TRUE(std::filesystem::is_empty(folders.Path()));
}

using StrictnessDeath = ::testing::Test;

TEST(StrictnessDeathTest, NobodyElsesFunctionCanFail)
{
    sim::Television tv;
    EXPECT_DEATH(tv.Fails("bt_adapter_enabel", -1), "no platform function that could fail");
}

TEST(StrictnessDeathTest, WithoutATelevisionThereIsNoPlatform)
{
    EXPECT_DEATH(bt_adapter_enable(), "there is no television");
}

TEST(StrictnessDeathTest, ThereIsOneTelevisionAtATime)
{
    sim::Television tv;
    EXPECT_DEATH(sim::Television second, "there is a television already");
}

TEST(StrictnessDeathTest, ARecordIsFreedOnce)
{
    sim::Television tv;
    tv.devices.Knows({.address = "AA:BB:CC:DD:EE:FF"});
    bt_device_info_s* info = nullptr;
    ASSERT_EQ(bt_adapter_get_bonded_device_info("AA:BB:CC:DD:EE:FF", &info), 0);
    bt_adapter_free_device_info(info);
    EXPECT_DEATH(bt_adapter_free_device_info(info), "twice");
    EXPECT_EQ(bt_adapter_free_device_info(nullptr), 0);
}

TEST(StrictnessDeathTest, ARecordThatIsNeverFreedIsFound)
{
    EXPECT_DEATH(
        {
            sim::Television tv;
            tv.audio.IsConnected("AA:BB:CC:DD:EE:FF", 2);
            bt_audio_connected_info_s* info = nullptr;
            bt_audio_get_connected_info(2, &info);
        },
        "never freed");
}

TEST(Strictness, AnEventOnItsWayIsDroppedWithItsCallback)
{
    sim::Television tv;
    int told = 0;
    device_power_subscribe_wakeup([](int, void* count) { return ++*static_cast<int*>(count), 0; }, &told);
    tv.power.WakesUp(94);
    support::DrainMainLoop();
    EXPECT_EQ(told, 1);

    tv.power.WakesUp(94);
    tv.ServiceHasStopped();
    support::DrainMainLoop();
    EXPECT_EQ(told, 1);
}

TEST(Strictness, OnlyTheSubscribedFunctionEndsASubscription)
{
    sim::Television tv;
    int told = 0;
    device_power_subscribe_wakeup([](int, void* count) { return ++*static_cast<int*>(count), 0; }, &told);
    EXPECT_EQ(device_power_unsubscribe_wakeup([](int, void*) { return 0; }), -1);
    tv.power.WakesUp(94);
    support::DrainMainLoop();
    EXPECT_EQ(told, 1);
}

TEST(Strictness, AWatchIsToldOfEveryWriteAlsoOfTheServicesOwn)
{
    sim::Television tv;
    std::vector<int> values;
    vconf_notify_key_changed(
        "db/a",
        [](keynode_t* node, void* list) {
            static_cast<std::vector<int>*>(list)->push_back(vconf_keynode_get_int(node));
        },
        &values);
    tv.settings.Writes("db/a", 1);
    tv.settings.Writes("db/a", 1);
    vconf_set_int("db/a", 2);
    support::DrainMainLoop();
    EXPECT_THAT(values, ElementsAre(1, 1, 2));
}

TEST(Strictness, AMissingNodeGivesNoNumberAndAnEmptyText)
{
    sim::Television tv;
    EXPECT_EQ(vconf_keynode_get_int(nullptr), 0);
    EXPECT_STREQ(vconf_keynode_get_str(nullptr), "");
}

} // namespace
