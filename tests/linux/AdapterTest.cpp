#include "linux/BluezTest.h"
#include "linux/FakeBluez.h"
#include "linux/FakeKernel.h"
#include "linux/PlatformLog.h"
#include "linux/Root.h"
#include "mgmt/Protocol.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bluez_dbus.h>
#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_product.h>
#include <vconf.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace linux_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class AdapterTest : public BluezTest
{
protected:
    void SwitchedOutside(bool on)
    {
        daemon.SetAdapter([&](BluezAdapter1* adapter) { bluez_adapter1_set_powered(adapter, on ? TRUE : FALSE); });
    }
};

TEST_F(AdapterTest, ABoxThatNobodyHasPreparedBeginsToCountItsResets)
{
    vconf_set_int("db/factory/service_reset_count", 3);
    ASSERT_EQ(bt_product_init(), BT_ERROR_NONE);
    int count = -1;
    EXPECT_EQ(vconf_get_int("db/factory/factory_reset_count", &count), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(vconf_get_int("db/factory/service_reset_count", &count), 0);
    EXPECT_EQ(count, 3);
}

TEST_F(AdapterTest, WithoutADaemonNothingCanBeDoneAndNothingBreaks)
{
    Listens();
    EXPECT_EQ(bt_product_init(), BT_ERROR_NONE);

    bt_adapter_state_e state = 7;
    int version = 7;
    char* address = nullptr;
    int reason = 7;
    bt_device_info_s* info = nullptr;
    EXPECT_EQ(bt_adapter_get_state(&state), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(state, 7);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_disable(), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_reset(), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_set_app_ready(1), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_set_name("TV"), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_set_connectable(true), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_set_eir_manufacturer_data("\x75\0\1", 3), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_set_headless_mode(true), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_get_chip_version(&version), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(version, 7);
    EXPECT_EQ(bt_adapter_get_power_on_reason(&address, &reason), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(reason, 7);
    EXPECT_EQ(bt_adapter_get_bonded_device_info(kPhone, &info), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(info, nullptr);
    EXPECT_EQ(bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE, 0), BT_ERROR_NONE);
    EXPECT_EQ(bt_product_init(), BT_ERROR_NONE);
    EXPECT_THAT(record, IsEmpty());
}

TEST_F(AdapterTest, NullPointersAndImpossibleValuesAreRefused)
{
    Starts();

    EXPECT_EQ(bt_adapter_set_state_changed_cb(nullptr, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_get_state(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_set_name(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE, -1),
              BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_set_eir_manufacturer_data(nullptr, 3), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_set_eir_manufacturer_data("\x75", 1), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_set_eir_manufacturer_data("\x75", 239), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_register_headless_device(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_register_headless_device(""), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_unregister_headless_device("AA:BB:CC:DD:EE"), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_foreach_headless_device_info(nullptr, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_foreach_bonded_device(nullptr, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_get_bonded_device_info(nullptr, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_get_chip_version(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_get_power_on_reason(nullptr, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_free_device_info(nullptr), BT_ERROR_NONE);
}

TEST_F(AdapterTest, UnsettingWhatIsNotSetIsHarmless)
{
    EXPECT_EQ(bt_adapter_unset_state_changed_cb(), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_unset_authentication_req_cb(), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_unset_ssp_consent_request_cb(), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_adapter_unset_max_device_connected_cb(), BT_ERROR_NOT_INITIALIZED);
    Listens();
    EXPECT_EQ(bt_adapter_unset_max_device_connected_cb(), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_unset_max_device_connected_cb(), BT_ERROR_NOT_INITIALIZED);
}

TEST_F(AdapterTest, TheStateThatIsFoundIsNotTold)
{
    Starts(true);
    Settles();

    bt_adapter_state_e state = BT_ADAPTER_DISABLED;
    EXPECT_EQ(bt_adapter_get_state(&state), BT_ERROR_NONE);
    EXPECT_EQ(state, BT_ADAPTER_ENABLED);
    EXPECT_THAT(record, IsEmpty());
}

TEST_F(AdapterTest, SwitchingOnIsToldFromTheLoopAndOnce)
{
    Starts(false);

    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);
    EXPECT_THAT(record, IsEmpty());

    EXPECT_TRUE(Told("state 0 1"));
    Settles();
    EXPECT_THAT(record, ElementsAre("state 0 1"));
    EXPECT_EQ(daemon.CallsOf("Set Powered true"), 1);
}

TEST_F(AdapterTest, SwitchingOnWhatIsOnIsDoneAlready)
{
    Starts(true);

    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_ALREADY_DONE);

    Settles();
    EXPECT_THAT(record, IsEmpty());
    EXPECT_EQ(daemon.CallsOf("Set Powered true"), 0);
}

TEST_F(AdapterTest, WhatWentOnUnnoticedIsDoneAlreadyAndNotToldAgain)
{
    Starts(false);
    SwitchedOutside(true);

    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_ALREADY_DONE);

    Settles();
    EXPECT_THAT(record, IsEmpty());
}

TEST_F(AdapterTest, SwitchingOffIsToldAndOnlyOnce)
{
    Starts(true);

    EXPECT_EQ(bt_adapter_disable(), BT_ERROR_NONE);

    EXPECT_TRUE(Told("state 0 0"));
    EXPECT_EQ(bt_adapter_disable(), BT_ERROR_NOT_ENABLED);
    Settles();
    EXPECT_THAT(record, ElementsAre("state 0 0"));
}

TEST_F(AdapterTest, ARefusalIsToldAsAFailedTransition)
{
    Starts(false);
    daemon.AnswersWithError("Set Powered", "org.bluez.Error.Failed");

    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);

    EXPECT_TRUE(Told("state " + std::to_string(BT_ERROR_OPERATION_FAILED) + " 0"));
    daemon.Behaves();
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);
    EXPECT_TRUE(Told("state 0 1"));
}

TEST_F(AdapterTest, ABusyDaemonIsWaitedFor)
{
    Starts(false);
    daemon.AnswersWithError("Set Powered", "org.bluez.Error.Busy");

    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);
    ASSERT_TRUE(WaitForCall("Set Powered true"));
    Settles();
    SwitchedOutside(true);

    EXPECT_TRUE(Told("state 0 1"));
    EXPECT_THAT(record, ElementsAre("state 0 1"));
}

TEST_F(AdapterTest, SomebodyElsesSwitchIsTold)
{
    Starts(false);

    SwitchedOutside(true);
    EXPECT_TRUE(Told("state 0 1"));
    SwitchedOutside(false);
    EXPECT_TRUE(Told("state 0 0"));
}

TEST_F(AdapterTest, NothingIsToldAfterTheCallbackWasTakenOut)
{
    Starts(false);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);

    EXPECT_EQ(bt_adapter_unset_state_changed_cb(), BT_ERROR_NONE);

    ASSERT_TRUE(WaitForCall("Set Powered true"));
    Settles();
    EXPECT_THAT(record, IsEmpty());
}

TEST_F(AdapterTest, ADaemonThatDoesNotAnswerIsWaitedForForASecondAtMost)
{
    Starts(false);
    daemon.Stalls("Get");
    daemon.Stalls("Set Alias");
    bt_adapter_state_e state = 7;

    for (const auto& call : std::vector<std::function<int()>>{[&] { return bt_adapter_get_state(&state); },
                                                              [] { return bt_adapter_enable(); },
                                                              [] { return bt_adapter_set_name("TV"); }}) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(call(), BT_ERROR_TIMED_OUT);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1300));
    }
    EXPECT_EQ(state, 7);
}

TEST_F(AdapterTest, ADaemonThatDiesInMidCallIsAFailureAndItsReturnIsUsed)
{
    Starts(true);
    daemon.DiesOn("Get");
    bt_adapter_state_e state = 7;

    EXPECT_NE(bt_adapter_get_state(&state), BT_ERROR_NONE);

    EXPECT_TRUE(Told("state 0 0"));
    daemon.Behaves();
    daemon.AddAdapter(true);
    daemon.Starts();
    EXPECT_TRUE(Told("state 0 1"));
    EXPECT_EQ(bt_adapter_get_state(&state), BT_ERROR_NONE);
    EXPECT_EQ(state, BT_ADAPTER_ENABLED);
}

TEST_F(AdapterTest, WhatIsAbsentAtTheStartMayComeLater)
{
    Listens();
    ASSERT_EQ(bt_product_init(), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NOT_INITIALIZED);

    daemon.Starts();
    ASSERT_TRUE(WaitForCall("RequestDefaultAgent /org/vantor/platform/agent"));
    daemon.AddAdapter(false);

    EXPECT_TRUE(Told("state 0 1"));
    EXPECT_EQ(daemon.CallsOf("Set Powered true"), 1);
}

TEST_F(AdapterTest, ADaemonStartedAnewGetsAgentNameVisibilityAndPowerAgain)
{
    Starts(true);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_ALREADY_DONE);
    EXPECT_EQ(bt_adapter_set_name("[TV] Sofa"), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE, 0), BT_ERROR_NONE);
    // A daemon that ends switches its adapters off first.
    SwitchedOutside(false);
    ASSERT_TRUE(Told("state 0 0"));
    daemon.Dies();
    daemon.ForgetCalls();
    record.clear();

    daemon.AddAdapter(false);
    daemon.Starts();

    EXPECT_TRUE(Told("state 0 1"));
    EXPECT_TRUE(WaitForCall("Set Discoverable true"));
    EXPECT_TRUE(WaitForCall("RegisterAgent /org/vantor/platform/agent DisplayYesNo"));
    EXPECT_TRUE(WaitForCall("RequestDefaultAgent /org/vantor/platform/agent"));
    EXPECT_EQ(daemon.CallsOf("Set Alias [TV] Sofa"), 1);
    EXPECT_EQ(daemon.CallsOf("RegisterAgent /org/vantor/platform/agent DisplayYesNo"), 1);
    EXPECT_THAT(record, ElementsAre("state 0 1"));
}

TEST_F(AdapterTest, ADaemonThatTakesLongToEndGetsThePowerAgainToo)
{
    Starts(true);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_ALREADY_DONE);
    sim::VirtualClock clock;
    SwitchedOutside(false);
    ASSERT_TRUE(Told("state 0 0"));
    daemon.Stalls("Get");
    clock.Advance(std::chrono::milliseconds(4500));
    daemon.Dies();
    record.clear();

    daemon.AddAdapter(false);
    daemon.Starts();

    EXPECT_TRUE(Told("state 0 1"));
}

TEST_F(AdapterTest, WhatSomebodyElseSwitchedOffStaysOffWhenTheDaemonIsStartedAnewLater)
{
    Starts(true);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_ALREADY_DONE);
    sim::VirtualClock clock;
    SwitchedOutside(false);
    ASSERT_TRUE(Told("state 0 0"));
    clock.Advance(std::chrono::milliseconds(3100));
    Settles();
    daemon.Dies();
    daemon.ForgetCalls();

    daemon.AddAdapter(false);
    daemon.Starts();

    EXPECT_TRUE(WaitForCall("RequestDefaultAgent /org/vantor/platform/agent"));
    Settles();
    EXPECT_EQ(daemon.CallsOf("Set Powered true"), 0);
}

TEST_F(AdapterTest, WhoWasSwitchedOffByAPersonStaysOff)
{
    Starts(true);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_ALREADY_DONE);
    EXPECT_EQ(bt_adapter_disable(), BT_ERROR_NONE);
    ASSERT_TRUE(Told("state 0 0"));
    daemon.PullAdapter();
    Passes(std::chrono::milliseconds(50));
    daemon.ForgetCalls();

    daemon.AddAdapter(false);

    Settles();
    EXPECT_EQ(daemon.CallsOf("Set Powered true"), 0);
}

TEST_F(AdapterTest, APulledAdapterIsOffAndOnAgainWhenItIsBack)
{
    Starts(true);
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_ALREADY_DONE);

    daemon.PullAdapter();
    EXPECT_TRUE(Told("state 0 0"));
    bt_adapter_state_e state = 7;
    EXPECT_EQ(bt_adapter_get_state(&state), BT_ERROR_NOT_INITIALIZED);
    daemon.AddAdapter(false);

    EXPECT_TRUE(Told("state 0 1"));
}

TEST_F(AdapterTest, OfSeveralAdaptersTheFirstIsUsed)
{
    daemon.AddAdapter(true, "/org/bluez/hci1");
    Starts(false);

    bt_adapter_state_e state = BT_ADAPTER_ENABLED;
    EXPECT_EQ(bt_adapter_get_state(&state), BT_ERROR_NONE);
    EXPECT_EQ(state, BT_ADAPTER_DISABLED);
}

TEST_F(AdapterTest, TheOwnerOfABoxMayNameAnother)
{
    vconf_set_str("db/platform/adapter", "hci1");
    daemon.AddAdapter(true, "/org/bluez/hci1");
    Starts(false);

    bt_adapter_state_e state = BT_ADAPTER_DISABLED;
    EXPECT_EQ(bt_adapter_get_state(&state), BT_ERROR_NONE);
    EXPECT_EQ(state, BT_ADAPTER_ENABLED);
}

TEST_F(AdapterTest, ABlockIsTakenAwayBeforeItIsSwitchedOn)
{
    WriteFile("/dev/rfkill", "");
    Starts(false);

    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);

    EXPECT_EQ(ReadFile("/dev/rfkill"), std::string("\0\0\0\0\2\3\0\0", 8));
}

TEST_F(AdapterTest, ANameOf248BytesIsTheLongest)
{
    Starts();

    EXPECT_EQ(bt_adapter_set_name(std::string(248, 'n').c_str()), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_set_name(std::string(249, 'n').c_str()), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_set_name("\xff\xfe"), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_adapter_set_name(""), BT_ERROR_NONE);
    EXPECT_THAT(daemon.Calls(), Contains("Set Alias " + std::string(248, 'n')));
}

TEST_F(AdapterTest, VisibilityWaitsForThePower)
{
    Starts(false);

    EXPECT_EQ(bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE, 0), BT_ERROR_NONE);
    Settles();
    EXPECT_EQ(daemon.CallsOf("Set Discoverable true"), 0);
    SwitchedOutside(true);

    EXPECT_TRUE(WaitForCall("Set Discoverable true"));
    EXPECT_EQ(daemon.CallsOf("Set DiscoverableTimeout 0"), 1);
}

TEST_F(AdapterTest, VisibilityIsSetAtOnceWhileItIsOn)
{
    Starts(true);

    EXPECT_EQ(bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE, 180), BT_ERROR_NONE);
    EXPECT_EQ(daemon.CallsOf("Set DiscoverableTimeout 180"), 1);
    EXPECT_EQ(daemon.CallsOf("Set Discoverable true"), 1);
    daemon.AnswersWithError("Set Discoverable", "org.bluez.Error.Failed");
    EXPECT_EQ(bt_adapter_set_visibility(BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE, 0), BT_ERROR_OPERATION_FAILED);
}

TEST_F(AdapterTest, ConnectableGoesToTheKernel)
{
    Starts();
    kernel.Answers(mgmt::Command::SetConnectable, mgmt::kSuccess, {1, 0, 0, 0});

    EXPECT_EQ(bt_adapter_set_connectable(false), BT_ERROR_NONE);

    EXPECT_THAT(kernel.Commands(), Contains("mgmt 0007 00"));
    kernel.Answers(mgmt::Command::SetConnectable, mgmt::kNotPowered);
    EXPECT_EQ(bt_adapter_set_connectable(true), BT_ERROR_OPERATION_FAILED);
    kernel.Ignores(mgmt::Command::SetConnectable);
    EXPECT_EQ(bt_adapter_set_connectable(true), BT_ERROR_TIMED_OUT);
}

TEST_F(AdapterTest, ConnectableWithoutTheRightIsNotSupportedAndSaysSoOnce)
{
    Starts();

    EXPECT_EQ(bt_adapter_set_connectable(false), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(bt_adapter_set_connectable(true), BT_ERROR_NOT_SUPPORTED);

    EXPECT_EQ(LogLinesWith("bt_adapter_set_connectable is not supported"), 1);
}

TEST_F(AdapterTest, TheChipVersionComesFromTheController)
{
    Starts();
    // Version, revision 0x1234, version, maker, subversion 0xABCD.
    kernel.AnswersRaw(0x1001, 0, {0x0C, 0x34, 0x12, 0x0C, 0x02, 0x00, 0xCD, 0xAB});

    int version = 0;
    EXPECT_EQ(bt_adapter_get_chip_version(&version), BT_ERROR_NONE);

    EXPECT_EQ(static_cast<unsigned>(version), 0x1234ABCDU);
}

TEST_F(AdapterTest, TheKernelKnowsAVersionWhereTheControllerCannotBeAsked)
{
    kernel.HasNoRaw();
    kernel.Answers(mgmt::Command::ReadControllerInformation, mgmt::kSuccess, {1, 2, 3, 4, 5, 6, 0x0A, 0, 0});
    Starts();

    int version = 0;
    EXPECT_EQ(bt_adapter_get_chip_version(&version), BT_ERROR_NONE);
    EXPECT_EQ(version, 10);
    kernel.Answers(mgmt::Command::ReadControllerInformation, mgmt::kSuccess, {1, 2, 3});
    EXPECT_EQ(bt_adapter_get_chip_version(&version), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(version, 10);
}

TEST_F(AdapterTest, WithNeitherTheVersionIsNotSupported)
{
    kernel.HasNoRaw();
    kernel.HasNoControl();
    Starts();

    int version = 7;
    EXPECT_EQ(bt_adapter_get_chip_version(&version), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(version, 7);
}

TEST_F(AdapterTest, AControllerThatDoesNotTellItsVersionIsNotSaidToBeOneThatCannot)
{
    kernel.Ignores(mgmt::Command::ReadControllerInformation);
    Starts();

    int version = 7;
    EXPECT_EQ(bt_adapter_get_chip_version(&version), BT_ERROR_TIMED_OUT);
    EXPECT_EQ(version, 7);
    EXPECT_EQ(LogLinesWith("bt_adapter_get_chip_version is not supported"), 0);
}

TEST_F(AdapterTest, TheDeviceThatWokeTheBoxIsRemembered)
{
    Starts();
    daemon.AddDevice(kSpeaker, [](BluezDevice1* device) { bluez_device1_set_class(device, 0x240414); });
    Settles();
    kernel.Tells(mgmt::Event::ControllerResume, [] {
        Bytes bytes = {2};
        const Bytes address = AddressAnd(kSpeaker, mgmt::kBrEdr);
        bytes.insert(bytes.end(), address.begin(), address.end());
        return bytes;
    }());

    char* address = nullptr;
    int reason = 0;
    EXPECT_TRUE(
        support::IterateUntil([&] { return bt_adapter_get_power_on_reason(&address, &reason) == BT_ERROR_NONE; }));
    EXPECT_STREQ(address, kSpeaker);
    EXPECT_EQ(reason, BT_ADAPTER_POWER_ON_REASON_A2DP);
    std::free(address);

    kernel.Tells(mgmt::Event::ControllerResume, {0, 0, 0, 0, 0, 0, 0, 0});
    char* none = nullptr;
    EXPECT_TRUE(support::IterateUntil([&] {
        const int result = bt_adapter_get_power_on_reason(&none, &reason);
        std::free(std::exchange(none, nullptr));
        return result == BT_ERROR_OPERATION_FAILED;
    }));
}

TEST_F(AdapterTest, AResetForgetsDevicesNameAndVisibility)
{
    Starts();
    const std::string phone = daemon.AddDevice(kPhone, [](BluezDevice1* d) { bluez_device1_set_bonded(d, TRUE); });
    const std::string speaker = daemon.AddDevice(kSpeaker);
    EXPECT_EQ(bt_adapter_register_headless_device(kPhone), BT_ERROR_NONE);
    Settles();

    EXPECT_EQ(bt_adapter_reset(), BT_ERROR_NONE);

    EXPECT_EQ(daemon.CallsOf("RemoveDevice " + phone), 1);
    EXPECT_EQ(daemon.CallsOf("RemoveDevice " + speaker), 1);
    EXPECT_EQ(daemon.CallsOf("Set Alias "), 1);
    EXPECT_EQ(daemon.CallsOf("Set Discoverable false"), 1);
    EXPECT_EQ(daemon.CallsOf("Set Pairable true"), 1);
    EXPECT_EQ(bt_adapter_unregister_headless_device(kPhone), BT_ERROR_REMOTE_DEVICE_NOT_FOUND);
    EXPECT_TRUE(Told(std::string("unbond ") + kPhone));
}

TEST_F(AdapterTest, AResetThatTakesTooLongEndsAfterASecond)
{
    Starts();
    daemon.AddDevice(kPhone);
    Settles();
    daemon.Stalls("RemoveDevice");

    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(bt_adapter_reset(), BT_ERROR_TIMED_OUT);

    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1400));
}

bool Collect(bt_adapter_headless_dev_info_s* info, void* list)
{
    static_cast<std::vector<std::string>*>(list)->push_back(info->address);
    return true;
}

bool CollectAndRemove(bt_adapter_headless_dev_info_s* info, void* list)
{
    bt_adapter_unregister_headless_device(info->address);
    return Collect(info, list);
}

TEST_F(AdapterTest, HeadlessDevicesAreKeptAndListedFromACopy)
{
    Starts();
    EXPECT_EQ(bt_adapter_register_headless_device("aa:bb:cc:dd:ee:01"), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_register_headless_device(kSpeaker), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_register_headless_device(kPhone), BT_ERROR_NONE);

    std::vector<std::string> listed;
    EXPECT_EQ(bt_adapter_foreach_headless_device_info(CollectAndRemove, &listed), BT_ERROR_NONE);
    EXPECT_THAT(listed, ElementsAre(kPhone, kSpeaker));
    listed.clear();
    EXPECT_EQ(bt_adapter_foreach_headless_device_info(Collect, &listed), BT_ERROR_NONE);
    EXPECT_THAT(listed, IsEmpty());
    EXPECT_EQ(bt_adapter_unregister_headless_device(kPhone), BT_ERROR_REMOTE_DEVICE_NOT_FOUND);
}

TEST_F(AdapterTest, NonsenseInTheStoredListIsPassedOver)
{
    vconf_set_str("db/platform/headless_devices", "x aa:bb:cc:dd:ee:01  12 \n\xff");
    Starts();

    std::vector<std::string> listed;
    EXPECT_EQ(bt_adapter_foreach_headless_device_info(Collect, &listed), BT_ERROR_NONE);

    EXPECT_THAT(listed, ElementsAre(kPhone));
}

TEST_F(AdapterTest, HeadlessModeServesOnlyTheListedDevices)
{
    Starts();
    const std::string phone = daemon.AddDevice(kPhone, [](BluezDevice1* d) { bluez_device1_set_connected(d, TRUE); });
    const std::string speaker =
        daemon.AddDevice(kSpeaker, [](BluezDevice1* d) { bluez_device1_set_connected(d, TRUE); });
    ASSERT_TRUE(Told(std::string("link up ") + kSpeaker + " 0 0"));
    EXPECT_EQ(bt_adapter_register_headless_device(kSpeaker), BT_ERROR_NONE);
    Settles();

    EXPECT_EQ(bt_adapter_set_headless_mode(true), BT_ERROR_NONE);

    EXPECT_EQ(daemon.CallsOf("Set Pairable false"), 1);
    EXPECT_TRUE(WaitForCall("Disconnect"));
    EXPECT_EQ(daemon.CallsOf("Disconnect"), 1);
    EXPECT_GE(daemon.CallsOf("Set WakeAllowed true"), 1);
    EXPECT_EQ(bt_adapter_set_headless_mode(false), BT_ERROR_NONE);
    EXPECT_EQ(daemon.CallsOf("Set Pairable true"), 1);
    EXPECT_EQ(bt_adapter_disable(), BT_ERROR_NONE);
    ASSERT_TRUE(Told("state 0 0"));
    EXPECT_EQ(bt_adapter_set_headless_mode(true), BT_ERROR_NOT_ENABLED);
}

class InquiryResponseTest : public AdapterTest
{
protected:
    InquiryResponseTest()
    {
        // What the kernel has built: the name "box" and somebody's manufacturer data.
        Bytes response = {0, 4, 0x09, 'b', 'o', 'x', 3, 0xFF, 1, 2};
        response.resize(241);
        kernel.AnswersRaw(0x0C51, 0, response);
        kernel.AnswersRaw(0x0C52, 0);
    }

    /// Not protected against errors, name, our data in the place of the other, and zeros up to the end.
    static std::string Written()
    {
        std::string command = "hci 0c52 00 04 09 62 6f 78 04 ff 75 00 2a";
        for (int i = 10; i < 240; ++i) {
            command += " 00";
        }
        return command;
    }
};

TEST_F(InquiryResponseTest, ManufacturerDataEntersTheResponseAndAnAdvertisement)
{
    Starts();

    EXPECT_EQ(bt_adapter_set_eir_manufacturer_data("\x75\0\x2a", 3), BT_ERROR_NONE);

    EXPECT_THAT(kernel.Commands(), Contains(Written()));
    EXPECT_TRUE(WaitForCall("RegisterAdvertisement /org/vantor/platform/advertisement"));
}

TEST_F(InquiryResponseTest, TheResponseIsWrittenAgainWhenTheKernelHasBuiltItAnew)
{
    Starts();
    EXPECT_EQ(bt_adapter_set_eir_manufacturer_data("\x75\0\x2a", 3), BT_ERROR_NONE);
    const auto writes = [&] {
        return std::ranges::count_if(kernel.Commands(), [](const auto& c) { return c.starts_with("hci 0c52"); });
    };
    ASSERT_EQ(writes(), 1);

    kernel.Tells(mgmt::Event::LocalNameChanged, {});
    kernel.Tells(mgmt::Event::ClassOfDeviceChanged, {0, 0, 0});

    EXPECT_TRUE(support::IterateUntil([&] { return writes() == 2; }));
    Passes(std::chrono::milliseconds(400));
    EXPECT_EQ(writes(), 2);
}

TEST_F(InquiryResponseTest, DataSetWhileOffIsAppliedWhenItIsOn)
{
    Starts(false);

    EXPECT_EQ(bt_adapter_set_eir_manufacturer_data("\x75\0\x2a", 3), BT_ERROR_NONE);
    EXPECT_THAT(kernel.Commands(), Not(Contains(::testing::StartsWith("hci 0c52"))));
    SwitchedOutside(true);

    EXPECT_TRUE(WaitForCall("RegisterAdvertisement /org/vantor/platform/advertisement"));
    EXPECT_TRUE(support::IterateUntil([&] {
        return std::ranges::any_of(kernel.Commands(), [](const auto& c) { return c.starts_with("hci 0c52"); });
    }));
}

} // namespace
} // namespace linux_test
