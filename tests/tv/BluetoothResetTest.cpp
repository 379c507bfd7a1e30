// A reset of the set, from the first notice to the settings that are cleared after the next start.

#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "sim/Adapter.h"
#include "sim/Features.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "tv/PowerFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_error.h>
#include <device_power.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const char* kAutomationTestFlag = "/tmp/FACTORY_PRODCUTION";
constexpr const char* kResetSmartRemote = R"(bt_hid_send_device_command("AA:BB:CC:DD:EE:01", 0x11, 0x05) = )";
constexpr const char* kResetWheel = R"(bt_hid_send_device_command("AA:BB:CC:DD:EE:02", 0x11, 0x05) = )";
constexpr const char* kFails = "-29359868";
constexpr const char* kSleep50 = "sleep 50 ms";
constexpr const char* kSleepLine = "I sleep 50ms for retry sending reset command";
constexpr const char* kSmartRemoteDone = "<Not Error> Send reset cmd to Smart rc is success";

class BluetoothReset : public PowerLife
{
protected:
    void AnnounceReset(int option = 13)
    {
        tv.power.AnnouncesStandby(option);
        Settle();
    }

    void PowerOff(int option = 13)
    {
        const device_poweroff_info info = {option};
        tv.power.TellsPowerOff(&info);
        Settle();
    }

    /// What reached the accessories, and the sleeps between.
    [[nodiscard]] std::vector<std::string> Commands() const
    {
        std::vector<std::string> commands;
        for (const sim::Entry& entry : tv.tape.Entries()) {
            if (entry.kind == sim::Kind::Sleep || entry.text.starts_with("bt_hid_send_")) {
                commands.push_back(entry.text);
            }
        }
        return commands;
    }

    [[nodiscard]] std::vector<std::string> RetryLog() const
    {
        std::vector<std::string> lines;
        for (const std::string& line : tv.tape.Messages()) {
            if (line.starts_with("I sleep 50ms") || line.starts_with("I retry result")) {
                lines.push_back(line);
            }
        }
        return lines;
    }
};

// --- The accessories ---

TEST_F(BluetoothReset, TheStandIsToldBeforeTheSmartRemoteAndTheWheel)
{
    tv.features.Has("product.rotation_accessory_support");
    tv.stand.connected = true;
    RemotesConnect();

    AnnounceReset();

    EXPECT_THAT(Commands(), ElementsAre("bt_hid_send_rotator_bt_command(16, 255) = 0",
                                        std::string(kResetSmartRemote) + "0", std::string(kResetWheel) + "0"));
    EXPECT_THAT(LogOf({"IsRotatorConnected"}), ElementsAre("I rotator connection state = 1 ret = ERROR_NONE"));
    EXPECT_THAT(LogOf({"SendResetCommandToRotator"}), ElementsAre("I result = ERROR_NONE"));
    EXPECT_THAT(LogOf({"ResetRotator"}), IsEmpty());
}

TEST_F(BluetoothReset, AStandThatTheProductDoesNotHaveIsNotAskedFor)
{
    tv.stand.connected = true;
    handler->ResetRotator();

    EXPECT_THAT(LogOf({"ResetRotator", "IsRotatorConnected"}),
                ElementsAre("I Not Support rotator so do not send reset command"));
    EXPECT_THAT(tv.tape.Calls({"bt_hid_"}), IsEmpty());
}

TEST_F(BluetoothReset, AStandThatIsAwayIsNotTold)
{
    tv.features.Has("product.rotation_accessory_support");
    handler->ResetRotator();

    EXPECT_THAT(LogOf({"ResetRotator"}), ElementsAre("I Rotator is not connected so do not send reset command"));
    EXPECT_THAT(LogOf({"IsRotatorConnected"}), ElementsAre("I rotator connection state = 0 ret = ERROR_NONE"));
    EXPECT_THAT(Commands(), IsEmpty());
}

TEST_F(BluetoothReset, AStandThatCannotBeAskedCountsAsAway)
{
    tv.features.Has("product.rotation_accessory_support");
    tv.stand.connected = true;
    tv.Fails("bt_hid_get_rotator_connection_state", BT_ERROR_NOT_ENABLED);
    handler->ResetRotator();

    EXPECT_THAT(LogOf({"IsRotatorConnected", "ResetRotator"}),
                ElementsAre("I rotator connection state = 0 ret = NOT_ENABLED",
                            "I Rotator is not connected so do not send reset command"));
    EXPECT_THAT(Commands(), IsEmpty());
}

TEST_F(BluetoothReset, AStandThatRefusesIsLoggedAndNotToldAgain)
{
    tv.features.Has("product.rotation_accessory_support");
    tv.stand.connected = true;
    tv.Fails("bt_hid_send_rotator_bt_command", BT_ERROR_TIMED_OUT);
    handler->ResetRotator();

    EXPECT_THAT(LogOf({"SendResetCommandToRotator"}), ElementsAre("I result = TIMED_OUT"));
    EXPECT_EQ(Commands().size(), 1U);
}

TEST_F(BluetoothReset, RemotesThatAreAwayCostNoRetry)
{
    AnnounceReset();

    EXPECT_THAT(Commands(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), Contains("I SmartRc is not connected so don't need to send reset cmd"));
    EXPECT_THAT(tv.tape.Messages(), Contains("I halvowheel is not connected so don't need to send reset cmd"));
}

TEST_F(BluetoothReset, ASmartRemoteThatIsBusyIsToldAgainAfterFiftyMilliseconds)
{
    RemotesConnect();
    tv.Fails("bt_hid_send_device_command", BT_ERROR_OPERATION_FAILED, 2);

    AnnounceReset();

    const std::string fails = std::string(kResetSmartRemote) + kFails;
    EXPECT_THAT(Commands(), ElementsAre(fails, kSleep50, fails, kSleep50, std::string(kResetSmartRemote) + "0",
                                        std::string(kResetWheel) + "0"));
    // The truth value goes through the names of error codes as it stands.
    EXPECT_THAT(RetryLog(), ElementsAre(kSleepLine, "I retry result = ERROR_NONE retry count = 1", kSleepLine,
                                        "I retry result = None retry count = 2"));
}

TEST_F(BluetoothReset, TheLogTellsOfARetryBeforeItsSleep)
{
    RemotesConnect();
    tv.Fails("bt_hid_send_device_command", BT_ERROR_OPERATION_FAILED, 2);

    AnnounceReset();

    std::vector<std::string> before;
    for (std::string last; const sim::Entry& entry : tv.tape.Entries()) {
        if (entry.text == kSleep50) {
            before.push_back(last);
        }
        last = entry.message;
    }
    EXPECT_THAT(before, ElementsAre("sleep 50ms for retry sending reset command",
                                    "sleep 50ms for retry sending reset command"));
}

TEST_F(BluetoothReset, ASmartRemoteThatNeverAnswersUsesUpTheRetriesOfTheWheelToo)
{
    RemotesConnect();
    tv.Fails("bt_hid_send_device_command", BT_ERROR_OPERATION_FAILED);

    AnnounceReset();

    std::vector<std::string> expected = {std::string(kResetSmartRemote) + kFails};
    for (int retry = 0; retry < 10; ++retry) {
        expected.emplace_back(kSleep50);
        expected.push_back(std::string(kResetSmartRemote) + kFails);
    }
    expected.push_back(std::string(kResetWheel) + kFails);
    EXPECT_EQ(Commands(), expected);
    EXPECT_EQ(RetryLog().size(), 20U);
    EXPECT_EQ(RetryLog().back(), "I retry result = ERROR_NONE retry count = 10");

    tv.tape.Clear();
    PowerOff();
    EXPECT_THAT(tv.tape.Sleeps(), ElementsAre("sleep 1000 ms"));
    EXPECT_THAT(LogOf({"GetSleepTimeForReset"}), ElementsAre("I smart Rc reset retry count = 10 sleep time = 1000"));
}

TEST_F(BluetoothReset, BothRemotesShareOneCountOfRetries)
{
    RemotesConnect();
    tv.Fails("bt_hid_send_device_command", BT_ERROR_OPERATION_FAILED, 2);
    tv.tape.SetSink([this](const sim::Entry& entry) {
        if (entry.message == kSmartRemoteDone) {
            tv.Fails("bt_hid_send_device_command", BT_ERROR_OPERATION_FAILED, 3);
        }
    });

    AnnounceReset();

    EXPECT_EQ(std::ranges::count(Commands(), kSleep50), 5);
    EXPECT_EQ(Commands().back(), std::string(kResetWheel) + "0");
    EXPECT_EQ(RetryLog().back(), "I retry result = None retry count = 5");
    tv.tape.Clear();
    PowerOff();
    EXPECT_THAT(tv.tape.Sleeps(), ElementsAre("sleep 1250 ms"));
    EXPECT_THAT(LogOf({"GetSleepTimeForReset"}), ElementsAre("I smart Rc reset retry count = 5 sleep time = 1250"));
}

TEST_F(BluetoothReset, TheWheelGetsTheRetriesThatAreLeft)
{
    RemotesConnect();
    tv.Fails("bt_hid_send_device_command", BT_ERROR_OPERATION_FAILED, 9);
    tv.tape.SetSink([this](const sim::Entry& entry) {
        if (entry.message == kSmartRemoteDone) {
            tv.Fails("bt_hid_send_device_command", BT_ERROR_OPERATION_FAILED);
        }
    });

    AnnounceReset();

    EXPECT_EQ(std::ranges::count(Commands(), kSleep50), 10);
    EXPECT_EQ(std::ranges::count(Commands(), std::string(kResetWheel) + kFails), 2);
}

TEST_F(BluetoothReset, WithoutRemotesNothingIsSentAndTheWholeWaitIsKept)
{
    RemotesConnect();
    handler = std::make_unique<CTvStatusEventHandler>();
    handler->Init(dbus, nullptr);
    tv.tape.Clear();

    AnnounceReset();
    EXPECT_THAT(Commands(), IsEmpty());
    PowerOff();
    EXPECT_THAT(tv.tape.Sleeps(), ElementsAre("sleep 1500 ms"));
}

// --- The stack ---

TEST_F(BluetoothReset, TheStackIsResetAndTheRemotesAreGivenTimeToErase)
{
    for (const int option : {13, 14}) {
        tv.tape.Clear();
        handler->DoBluetoothReset(option);

        EXPECT_THAT(Deeds(), ElementsAre("bt_adapter_reset() = 0", "sleep 1500 ms"));
        EXPECT_THAT(tv.tape.Messages(),
                    ElementsAre("E <Not error> Bluetooth Factory Reset done",
                                "I waiting for eeprom erasing for 1.5 sec",
                                "I smart Rc reset retry count = 0 sleep time = 1500", "I sleep done"));
    }
}

TEST_F(BluetoothReset, TheRetriesAreForgottenAfterTheWait)
{
    RemotesConnect();
    tv.Fails("bt_hid_send_device_command", BT_ERROR_OPERATION_FAILED, 4);
    AnnounceReset();
    tv.tape.Clear();

    PowerOff();
    EXPECT_THAT(tv.tape.Sleeps(), ElementsAre("sleep 1300 ms"));
    tv.tape.Clear();
    PowerOff();
    EXPECT_THAT(tv.tape.Sleeps(), ElementsAre("sleep 1500 ms"));
    EXPECT_EQ(handler->GetSleepTimeForReset(), 1'500'000);
}

TEST_F(BluetoothReset, AStackThatCannotBeResetChangesNothingElse)
{
    tv.Fails("bt_adapter_reset", BT_ERROR_NOT_ENABLED);
    handler->DoBluetoothReset(13);

    EXPECT_THAT(Deeds(), ElementsAre("bt_adapter_reset() = -29359870", "sleep 1500 ms"));
    EXPECT_THAT(tv.tape.Messages(), Contains("E <Not error> Bluetooth Factory Reset done"));
}

TEST_F(BluetoothReset, AnyOtherOptionResetsTheStackWithoutWaiting)
{
    for (const int option : {0, 12, 15, 0x4000000D}) {
        tv.tape.Clear();
        handler->DoBluetoothReset(option);
        EXPECT_THAT(Deeds(), ElementsAre("bt_adapter_reset() = 0"));
    }
}

TEST_F(BluetoothReset, TheFactoryLineDoesNotWaitAndKeepsTheRetries)
{
    RemotesConnect();
    tv.Fails("bt_hid_send_device_command", BT_ERROR_OPERATION_FAILED, 4);
    AnnounceReset();
    tv.MakesFile(kAutomationTestFlag);
    tv.tape.Clear();

    PowerOff();
    EXPECT_THAT(Deeds(), ElementsAre("bt_adapter_reset() = 0"));
    EXPECT_THAT(LogOf({"IsAutomationTestMode", "DoBluetoothReset", "GetSleepTimeForReset"}),
                ElementsAre("I Automation Test Mode"));

    tv.RemovesFile(kAutomationTestFlag);
    tv.tape.Clear();
    PowerOff();
    EXPECT_THAT(tv.tape.Sleeps(), ElementsAre("sleep 1300 ms"));
}

TEST_F(BluetoothReset, OnlyTheMisspeltFileMeansTheFactoryLine)
{
    tv.MakesFile("/tmp/FACTORY_PRODUCTION");
    EXPECT_FALSE(CTvStatusEventHandler::IsAutomationTestMode());
    EXPECT_THAT(LogOf({"IsAutomationTestMode"}), IsEmpty());

    tv.MakesFile(kAutomationTestFlag);
    EXPECT_TRUE(CTvStatusEventHandler::IsAutomationTestMode());
}

TEST_F(BluetoothReset, AFolderInPlaceOfTheFactoryFileIsNone)
{
    std::filesystem::create_directories(tv.PathOf(kAutomationTestFlag));
    EXPECT_FALSE(CTvStatusEventHandler::IsAutomationTestMode());
}

TEST_F(BluetoothReset, AWholeResetGoesThroughItsThreeNotices)
{
    RemotesConnect();
    AnnounceReset(14);
    tv.power.PowersOff(14);
    Settle();

    EXPECT_THAT(
        Deeds(),
        ElementsAre(R"(vconf_set_int_async("db/vyrel/reset", 1) = 0)",
                    R"(vconf_set_int_async("db/com.quorix.tv.bt-mdemanager/btinfosync/factory_reset_flag", 1) = 0)",
                    std::string(kResetSmartRemote) + "0", std::string(kResetWheel) + "0", "bt_adapter_reset() = 0",
                    "sleep 1500 ms"));
}

// --- After the next start ---

TEST_F(BluetoothReset, TheBluetoothSettingsAreClearedInOrderBetweenTwoKernelLines)
{
    CTvStatusEventHandler::ResetVconfKeys();

    EXPECT_THAT(Deeds(), ElementsAre("[VYREL][ResetVconfKeys]START, reset vconfkeys",
                                     R"(vconf_set_int("db/vyrel/lastSoundRoute", 0) = 0)",
                                     R"(vconf_set_str("db/vyrel/last_btspk_name", "") = 0)",
                                     R"(vconf_set_str("db/vyrel/last_btspk_addr", "") = 0)",
                                     R"(vconf_set_int("db/menu/sound/speakersettings/soundmirroring", 0) = 0)",
                                     R"(vconf_set_str("db/vyrel/musictv_paired1", "") = 0)",
                                     R"(vconf_set_str("db/vyrel/auto_connect_mobile_list", "") = 0)",
                                     R"(vconf_set_str("db/vyrel/allowedSSDeviceList", "") = 0)",
                                     R"(vconf_set_str("db/vyrel/musictv_paired4", "") = 0)",
                                     R"(vconf_set_int("db/vyrel/smartrc_adc_flag", 0) = 0)",
                                     R"(vconf_set_str("db/com.quorix.tv.bt-mdemanager/btinfosync/devices", "") = 0)",
                                     R"(vconf_set_str("db/vyrel/last_btspk_list", "") = 0)",
                                     R"(vconf_set_str("db/bluetooth_smartrc/rotation_stand_address", "") = 0)",
                                     R"(vconf_set_str("db/vyrel/pairing_blocekd_devices", "") = 0)",
                                     R"(vconf_set_str("db/vyrel/soundsharedevice/address_list", "") = 0)",
                                     R"(vconf_set_bool("db/vyrel/quorix_audio_compatibility", false) = 0)",
                                     R"(vconf_set_bool("db/vyrel/last_audio_auto_connection", false) = 0)",
                                     "[VYREL][ResetVconfKeys]END reset vconfkeys"));
}

TEST_F(BluetoothReset, SettingsThatAreNotBluetoothsSurvive)
{
    for (const char* key : {"db/vyrel/RC_PairCount", "db/vyrel/RC_ReConnectCount", "db/vyrel/RC_RSSIValue",
                            "db/vyrel/RC_ModuleResetCount", "db/vyrel/halvowheel_adc_flag", "db/vyrel/reset",
                            "db/vyrel/ambient_mode_full_power_off_event"}) {
        tv.settings.Writes(key, 7);
    }
    tv.settings.Writes("memory/boot/cold_poweroff_request_pkg", "org.vantor.vyrel");

    CTvStatusEventHandler::ResetVconfKeys();

    for (const char* key : {"db/vyrel/RC_PairCount", "db/vyrel/RC_ReConnectCount", "db/vyrel/RC_RSSIValue",
                            "db/vyrel/RC_ModuleResetCount", "db/vyrel/halvowheel_adc_flag", "db/vyrel/reset",
                            "db/vyrel/ambient_mode_full_power_off_event"}) {
        EXPECT_EQ(tv.settings.Int(key), 7) << key;
    }
    EXPECT_EQ(tv.settings.Text("memory/boot/cold_poweroff_request_pkg"), "org.vantor.vyrel");
}

TEST_F(BluetoothReset, ASettingThatCannotBeClearedDoesNotKeepTheOthers)
{
    tv.Fails("vconf_set_str", -1, 1);
    CTvStatusEventHandler::ResetVconfKeys();

    EXPECT_EQ(tv.tape.Calls({"vconf_set_"}).size(), 16U);
    EXPECT_THAT(tv.tape.Messages(), Contains("E fail to vconfkey db/vyrel/last_btspk_name[2]"));
    EXPECT_EQ(tv.tape.Kernel().size(), 2U);
}

TEST_F(BluetoothReset, TheNextStartFindsTheResetOnce)
{
    tv.settings.Writes(kFactoryCountKey, 1);
    tv.settings.Writes("db/vyrel/last_btspk_name", "Speaker");
    tv.ServiceHasStopped();
    tv.tape.Clear();

    CTvStatusEventHandler next;
    next.Init(dbus, remotes);
    EXPECT_THAT(LogOf({"Init"}), ElementsAre("I Register Tv Status Event callbacks", "E <<Not Error>> Reset Case"));
    EXPECT_EQ(tv.settings.Text("db/vyrel/last_btspk_name"), "");
    EXPECT_EQ(tv.ReadFile(kFactoryCountFile), "1");
    // The counters follow when all is cleared.
    const std::vector<std::string> messages = tv.tape.All();
    const auto cleared = std::ranges::find(messages, "[VYREL][ResetVconfKeys]END reset vconfkeys");
    const auto synchronized = std::ranges::find_if(
        messages, [](const std::string& text) { return text.ends_with("> <<Not Error>> sync factory count"); });
    ASSERT_NE(synchronized, messages.end());
    EXPECT_LT(cleared - messages.begin(), synchronized - messages.begin());

    tv.ServiceHasStopped();
    tv.settings.Writes("db/vyrel/last_btspk_name", "Speaker");
    tv.tape.Clear();
    CTvStatusEventHandler afterThat;
    afterThat.Init(dbus, remotes);
    EXPECT_THAT(LogOf({"Init"}), ElementsAre("I Register Tv Status Event callbacks"));
    EXPECT_THAT(tv.tape.Kernel(), IsEmpty());
    EXPECT_EQ(tv.settings.Text("db/vyrel/last_btspk_name"), "Speaker");
    tv.ServiceHasStopped();
}

// --- Headless devices ---

TEST_F(BluetoothReset, AllHeadlessDevicesCanBeRemoved)
{
    tv.adapter.headlessDevices = {"AA:BB:CC:DD:EE:01", "AA:BB:CC:DD:EE:02"};
    CTvStatusEventHandler::RemoveAllHeadlessDevice();

    EXPECT_THAT(tv.tape.Calls(), ElementsAre("bt_adapter_foreach_headless_device_info() = 0",
                                             R"(bt_adapter_unregister_headless_device("AA:BB:CC:DD:EE:01") = 0)",
                                             R"(bt_adapter_unregister_headless_device("AA:BB:CC:DD:EE:02") = 0)"));
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I bt_adapter_foreach_headless_device_info successful"));
    EXPECT_THAT(tv.adapter.headlessDevices, IsEmpty());
}

TEST_F(BluetoothReset, AHeadlessDeviceThatStaysDoesNotKeepTheOthers)
{
    tv.adapter.headlessDevices = {"AA:BB:CC:DD:EE:01", "AA:BB:CC:DD:EE:02"};
    tv.Fails("bt_adapter_unregister_headless_device", BT_ERROR_OPERATION_FAILED, 1);
    CTvStatusEventHandler::RemoveAllHeadlessDevice();

    EXPECT_THAT(tv.adapter.headlessDevices, ElementsAre("AA:BB:CC:DD:EE:01"));
    EXPECT_THAT(tv.tape.Messages(),
                ElementsAre("E failed bt_adapter_foreach_headless_device_info with [OPERATION_FAILED]",
                            "I bt_adapter_foreach_headless_device_info successful"));
}

TEST_F(BluetoothReset, HeadlessDevicesThatCannotBeListedStay)
{
    tv.adapter.headlessDevices = {"AA:BB:CC:DD:EE:01"};
    tv.Fails("bt_adapter_foreach_headless_device_info", BT_ERROR_NOT_ENABLED);
    CTvStatusEventHandler::RemoveAllHeadlessDevice();

    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E failed bt_adapter_foreach_headless_device_info with [0xfe400102]"));
    EXPECT_THAT(tv.adapter.headlessDevices, ElementsAre("AA:BB:CC:DD:EE:01"));
}

TEST_F(BluetoothReset, HeadlessRecordsWithoutAnAddressArePassedOver)
{
    tv.adapter.headlessDevices = {"AA:BB:CC:DD:EE:01"};
    tv.adapter.listsNullRecords = true;
    CTvStatusEventHandler::RemoveAllHeadlessDevice();

    EXPECT_THAT(tv.adapter.headlessDevices, IsEmpty());
    EXPECT_EQ(tv.tape.Calls({"bt_adapter_unregister"}).size(), 1U);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I bt_adapter_foreach_headless_device_info successful"));
}

} // namespace
