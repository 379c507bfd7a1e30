// Remotes come and go.

#include "bluez/Modalias.h"
#include "hid/HidId.h"
#include "hid/Protocol.h"
#include "hid/Transport.h"
#include "linux/BluezTest.h"
#include "linux/FakeBluez.h"
#include "linux/FakeRemotes.h"
#include "linux/PlatformLog.h"
#include "linux/RemotesTest.h"
#include "linux/Root.h"
#include "power/Wake.h"
#include "support/MainLoop.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bluez_dbus.h>
#include <bt_error.h>
#include <bt_hid.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <deque>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace linux_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kKeyFile = "/etc/vyrel-lite/features.d/10-box.conf";

class RemoteConnectionTest : public RemotesTest
{
protected:
    static bool IsConnected(int (*query)(bool*))
    {
        bool connected = false;
        EXPECT_EQ(query(&connected), BT_ERROR_NONE);
        return connected;
    }

    /// Or the code of the failure.
    static std::string Address(int (*query)(char**))
    {
        char* address = nullptr;
        const int result = query(&address);
        const std::string text = result == BT_ERROR_NONE ? address : std::to_string(result);
        std::free(address);
        return text;
    }

    static const std::string kNotConnected;
};

const std::string RemoteConnectionTest::kNotConnected = std::to_string(BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);

TEST_F(RemoteConnectionTest, ARemoteIsToldToItsReceiverAndTheHosts)
{
    ListensToRemotes();
    EXPECT_FALSE(IsConnected(bt_hid_get_smart_remote_conn_status));
    EXPECT_EQ(Address(bt_hid_get_smart_rc_address), kNotConnected);
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    EXPECT_TRUE(IsConnected(bt_hid_get_smart_remote_conn_status));
    EXPECT_EQ(Address(bt_hid_get_smart_rc_address), kRemote);
    EXPECT_THAT(record, IsEmpty()); // not from within
    ASSERT_TRUE(Told(std::string("host 0 up ") + kRemote));
    remotes.Unplugs();
    EXPECT_FALSE(IsConnected(bt_hid_get_smart_remote_conn_status));
    EXPECT_EQ(Address(bt_hid_get_smart_rc_address), kNotConnected);
    ASSERT_TRUE(Told(std::string("host 0 down ") + kRemote));
    EXPECT_THAT(record,
                ElementsAre(std::string("smart remote up ") + kRemote + " ?", std::string("host 0 up ") + kRemote,
                            std::string("smart remote down ") + kRemote + " ?", std::string("host 0 down ") + kRemote));
}

TEST_F(RemoteConnectionTest, TheWheelHasAReceiverOfItsOwn)
{
    ListensToRemotes();
    hid::Node node = FakeRemotes::SmartRemote(kWheel);
    node.product = 0x2084;
    remotes.Plugs(node);
    ASSERT_TRUE(Told(std::string("host 0 up ") + kWheel));
    EXPECT_THAT(record, ElementsAre(std::string("wheel up ") + kWheel + " ?", std::string("host 0 up ") + kWheel));
    EXPECT_TRUE(IsConnected(bt_hid_get_halvo_switch_connection_state));
    EXPECT_FALSE(IsConnected(bt_hid_get_smart_remote_conn_status));
    EXPECT_EQ(Address(bt_hid_get_halvo_switch_address), kWheel);
    EXPECT_EQ(Address(bt_hid_get_smart_rc_address), kNotConnected);
}

TEST_F(RemoteConnectionTest, AKeyboardIsToldToTheHostOnlyAndNotOpened)
{
    ListensToRemotes();
    remotes.Plugs({kNode, kPhone, 0x1234, 0x5678, FakeRemotes::RemoteDescriptor()});
    ASSERT_TRUE(Told(std::string("host 0 up ") + kPhone));
    remotes.Unplugs();
    ASSERT_TRUE(Told(std::string("host 0 down ") + kPhone));
    EXPECT_THAT(record, ElementsAre(std::string("host 0 up ") + kPhone, std::string("host 0 down ") + kPhone));
    EXPECT_EQ(remotes.opened, 0);
}

TEST_F(RemoteConnectionTest, WhatIsThereAtTheStartIsKnownAndNotTold)
{
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    EXPECT_TRUE(IsConnected(bt_hid_get_smart_remote_conn_status)); // also before the host is opened
    ListensToRemotes();
    EXPECT_EQ(Address(bt_hid_get_smart_rc_address), kRemote);
    EXPECT_TRUE(support::IterateUntil([&] { return remotes.asked() == 2; }));
    Passes(std::chrono::milliseconds(50));
    EXPECT_THAT(record, IsEmpty());
    remotes.Unplugs();
    EXPECT_TRUE(Told(std::string("host 0 down ") + kRemote));
}

TEST_F(RemoteConnectionTest, TheDaemonsNameOfItIsTold)
{
    daemon.AddAdapter(true);
    daemon.AddDevice(kRemote, [](BluezDevice1* device) {
        bluez_device1_set_name(device, "Remote");
        bluez_device1_set_connected(device, TRUE);
    });
    Starts();
    ListensToRemotes();
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    EXPECT_TRUE(Told(std::string("smart remote up ") + kRemote + " Remote"));
}

TEST_F(RemoteConnectionTest, ALinkThatEndsIsALossAlsoWhereTheNodeStays)
{
    daemon.AddAdapter(true);
    const std::string path = daemon.AddDevice(kRemote);
    Starts();
    ListensToRemotes();
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    EXPECT_FALSE(IsConnected(bt_hid_get_smart_remote_conn_status));
    const auto connects = [&](bool connected) {
        daemon.SetDevice(path, [=](BluezDevice1* device) { bluez_device1_set_connected(device, connected); });
    };
    record.clear();
    connects(true);
    ASSERT_TRUE(Told(std::string("smart remote up ") + kRemote + " ?"));
    record.clear();
    connects(false);
    ASSERT_TRUE(Told(std::string("smart remote down ") + kRemote + " ?"));
    EXPECT_FALSE(IsConnected(bt_hid_get_smart_remote_conn_status));
    record.clear();
    connects(true);
    ASSERT_TRUE(Told(std::string("smart remote up ") + kRemote + " ?"));
    EXPECT_EQ(remotes.asked(), 4); // it may be another one inside
    EXPECT_EQ(remotes.opened, 1);
}

TEST_F(RemoteConnectionTest, ADaemonThatDiesDoesNotTakeARemoteWithIt)
{
    daemon.AddAdapter(true);
    daemon.AddDevice(kRemote, [](BluezDevice1* device) { bluez_device1_set_connected(device, TRUE); });
    Starts();
    HasRemote();
    daemon.Dies();
    ASSERT_TRUE(support::IterateUntil([] { return LogLinesWith("the Bluetooth daemon is gone") == 1; }));
    EXPECT_TRUE(IsConnected(bt_hid_get_smart_remote_conn_status));
}

TEST_F(RemoteConnectionTest, SeveralNodesAreOneDevice)
{
    ListensToRemotes();
    remotes.Plugs({kNode, kRemote, 0x04E8, 0x2075, FakeRemotes::KeyboardDescriptor()});
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote, "/dev/hidraw1"));
    ASSERT_TRUE(Told(std::string("host 0 up ") + kRemote));
    EXPECT_TRUE(support::IterateUntil([&] { return remotes.asked() == 2; }));
    EXPECT_EQ(bt_hid_send_device_command(kRemote, 17, BT_HID_COMMAND_RESET), BT_ERROR_NONE);
    EXPECT_TRUE(WasSent(1));
    remotes.Unplugs(kNode);
    Passes(std::chrono::milliseconds(20));
    EXPECT_THAT(record,
                ElementsAre(std::string("smart remote up ") + kRemote + " ?", std::string("host 0 up ") + kRemote));
    remotes.Unplugs("/dev/hidraw1");
    EXPECT_TRUE(Told(std::string("host 0 down ") + kRemote));
}

TEST_F(RemoteConnectionTest, NoNodeOutlivesItsAdapter)
{
    daemon.AddAdapter(true);
    const auto connected = [](BluezDevice1* device) { bluez_device1_set_connected(device, TRUE); };
    daemon.AddDevice(kRemote, connected);
    Starts();
    HasRemote();
    daemon.PullAdapter();
    ASSERT_TRUE(Told(std::string("host 0 down ") + kRemote));
    daemon.AddAdapter(true);
    daemon.AddDevice(kRemote, connected);
    Passes(std::chrono::milliseconds(1500)); // longer than a remote has for its answers
    EXPECT_FALSE(IsConnected(bt_hid_get_smart_remote_conn_status)) << "its node was left behind";
    EXPECT_EQ(remotes.opened, 1);
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote, "/dev/hidraw1"));
    EXPECT_TRUE(Told(std::string("smart remote up ") + kRemote + " ?"));
    EXPECT_EQ(remotes.openedNode, "/dev/hidraw1");
}

TEST_F(RemoteConnectionTest, ANodeOfAnotherAdapterStays)
{
    daemon.AddAdapter(true);
    Starts();
    ListensToRemotes();
    for (const char* adapter : {"00:11:22:33:44:66", ""}) {
        hid::Node node = FakeRemotes::SmartRemote(kRemote);
        node.adapter = adapter;
        remotes.Plugs(node);
        ASSERT_TRUE(Told(std::string("host 0 up ") + kRemote));
        record.clear();
        daemon.PullAdapter();
        ASSERT_TRUE(Told("state 0 0"));
        Passes(std::chrono::milliseconds(20));
        EXPECT_TRUE(IsConnected(bt_hid_get_smart_remote_conn_status)) << adapter;
        EXPECT_THAT(record, ElementsAre("state 0 0"));
        remotes.Unplugs(kNode);
        ASSERT_TRUE(Told(std::string("host 0 down ") + kRemote));
        record.clear();
        daemon.AddAdapter(true);
        ASSERT_TRUE(Told("state 0 1"));
    }
}

TEST_F(RemoteConnectionTest, ALaterNodeOfARemoteTakesThePlaceOfOneThatWasLeftBehind)
{
    HasRemote();
    remotes.acknowledges = false;
    EXPECT_EQ(bt_hid_send_device_command(kRemote, 17, BT_HID_COMMAND_SHOP_MODE_OFF), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(1));
    remotes.acknowledges = true;
    const int asked = remotes.asked();
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote, "/dev/hidraw1"));
    EXPECT_EQ(remotes.openedNode, "/dev/hidraw1");
    EXPECT_TRUE(WasSent(2));
    EXPECT_EQ(remotes.sent.at(1), remotes.sent.at(0));
    EXPECT_TRUE(support::IterateUntil([&] { return remotes.asked() == asked + 2; })) << "another one may be inside";
    remotes.Reports({hid::kBattery, 0xF4, 0});
    EXPECT_TRUE(Told(std::string("battery 244 ") + kRemote));
    remotes.Unplugs(kNode);
    Passes(std::chrono::milliseconds(20));
    EXPECT_THAT(record, ElementsAre(std::string("battery 244 ") + kRemote)) << "it was connected all the time";
    EXPECT_EQ(remotes.opened, 2);
    EXPECT_EQ(remotes.sent.size(), 2U);
}

TEST_F(RemoteConnectionTest, ANodeThatIsToldTwiceIsOne)
{
    HasRemote();
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    Passes(std::chrono::milliseconds(20));
    EXPECT_EQ(remotes.opened, 1);
    EXPECT_EQ(remotes.asked(), 2);
    EXPECT_THAT(record, IsEmpty());
}

TEST_F(RemoteConnectionTest, NothingIsToldThatWasUnset)
{
    ListensToRemotes();
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    EXPECT_EQ(bt_hid_unset_smart_rc_connection_cb(), BT_ERROR_NONE);
    EXPECT_TRUE(Told(std::string("host 0 up ") + kRemote));
    EXPECT_THAT(record, ElementsAre(std::string("host 0 up ") + kRemote));
}

TEST_F(RemoteConnectionTest, NothingIsToldAfterTheHostWasClosed)
{
    HasRemote();
    remotes.Unplugs();
    EXPECT_EQ(bt_hid_host_deinitialize(), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_host_deinitialize(), BT_ERROR_NOT_INITIALIZED);
    Passes(std::chrono::milliseconds(20));
    EXPECT_THAT(record, IsEmpty());
}

TEST_F(RemoteConnectionTest, AHostThatIsOpenedAgainKnowsWhatIsThere)
{
    HasRemote();
    EXPECT_EQ(bt_hid_host_deinitialize(), BT_ERROR_NONE);
    EXPECT_FALSE(IsConnected(bt_hid_get_smart_remote_conn_status));
    ListensToRemotes();
    EXPECT_TRUE(IsConnected(bt_hid_get_smart_remote_conn_status));
}

TEST_F(RemoteConnectionTest, ReceiversAreUnsetOnce)
{
    ListensToRemotes();
    for (int (*unset)() :
         {bt_hid_unset_smart_rc_connection_cb, bt_hid_unset_halvo_switch_connection_state_changed_cb,
          bt_hid_unset_battery_status_received_cb, bt_hid_unset_smart_rc_charging_status_received_cb,
          bt_hid_unset_halvo_switch_charging_status_received_cb, bt_hid_unset_smart_rc_grip_sensor_detected_cb,
          bt_hid_unset_smart_rc_grip_sensor_state_changed_cb}) {
        EXPECT_EQ(unset(), BT_ERROR_NONE);
        EXPECT_EQ(unset(), BT_ERROR_NOT_INITIALIZED);
    }
}

TEST_F(RemoteConnectionTest, NullIsRefused)
{
    EXPECT_EQ(bt_hid_host_initialize(nullptr, this), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_set_smart_rc_connection_cb(nullptr, this), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_set_halvo_switch_connection_state_changed_cb(nullptr, this), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_set_battery_status_received_cb(nullptr, this), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_set_smart_rc_charging_status_received_cb(nullptr, this), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_set_halvo_switch_charging_status_received_cb(nullptr, this), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_set_smart_rc_grip_sensor_detected_cb(nullptr, this), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_set_smart_rc_grip_sensor_state_changed_cb(nullptr, this), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_smart_remote_conn_status(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_halvo_switch_connection_state(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_rotator_connection_state(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_smart_rc_address(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_halvo_switch_address(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_smart_rc_device_type(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_smart_rc_fw_version(kRemote, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_smart_rc_battery_status(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_halvo_switch_battery_status(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_get_smart_rc_grip_sensor_state(nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_send_device_command(nullptr, 0, 0), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_send_rc_command(kRemote, nullptr, 1), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_send_duid(kRemote, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_set_conn_no_latency(nullptr, true), BT_ERROR_INVALID_PARAMETER);
}

TEST_F(RemoteConnectionTest, TheKeyFileSaysWhichDevicesAreRemotes)
{
    WriteFile(kKeyFile, "[platform]\nremote.smart=1234:5678 abcd:EF01\nremote.wheel=04E8:2075\n");
    ListensToRemotes();
    remotes.Plugs({kNode, kRemote, 0xABCD, 0xEF01, FakeRemotes::KeyboardDescriptor()});
    remotes.Plugs(FakeRemotes::SmartRemote(kWheel, "/dev/hidraw1"));
    EXPECT_EQ(Address(bt_hid_get_smart_rc_address), kRemote);
    EXPECT_EQ(Address(bt_hid_get_halvo_switch_address), kWheel);
}

TEST_F(RemoteConnectionTest, NonsenseInTheKeyFileLeavesTheUsualOnes)
{
    WriteFile(kKeyFile, "[platform]\nremote.smart=remote\n");
    HasRemote();
    EXPECT_THAT(LogLines(), Contains("[platform] remote.smart: not a list of pairs like 04E8:2075"));
}

TEST_F(RemoteConnectionTest, TheFirstRemoteAfterAWakeIsNoted)
{
    ListensToRemotes();
    constexpr auto kRemoteIndex = static_cast<std::size_t>(power::Milestone::FirstRemote);
    const power::WakeRecord& wake = power::Wakes::OfProcess().Records().front();
    remotes.Plugs({kNode, kPhone, 0x1234, 0x5678, FakeRemotes::KeyboardDescriptor()});
    EXPECT_EQ(wake.milliseconds.at(kRemoteIndex), power::WakeRecord::kNotYet);
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote, "/dev/hidraw1"));
    EXPECT_NE(wake.milliseconds.at(kRemoteIndex), power::WakeRecord::kNotYet);
}

TEST_F(RemoteConnectionTest, ANodeThatMayNotBeOpenedIsABareConnection)
{
    remotes.CannotBeOpened(EACCES);
    ListensToRemotes();
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    EXPECT_TRUE(Told(std::string("smart remote up ") + kRemote + " ?"));
    EXPECT_EQ(LogLinesWith("cannot open /dev/hidraw0 of remote AA:BB:CC:DD:EE:10: Permission denied"), 1);
    EXPECT_EQ(bt_hid_send_device_command(kRemote, 17, BT_HID_COMMAND_RESET), BT_ERROR_OPERATION_FAILED);
    unsigned char type = 7;
    EXPECT_EQ(bt_hid_get_smart_rc_device_type(&type), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(type, 7);
    // The rule was mended.
    remotes.CannotBeOpened(0);
    EXPECT_EQ(bt_hid_send_device_command(kRemote, 17, BT_HID_COMMAND_RESET), BT_ERROR_NONE);
    EXPECT_TRUE(WasSent(1));
}

TEST(HidIdTest, OnlyBluetoothCounts)
{
    const auto id = hid::BluetoothIdIn("0005:000004E8:00002075");
    ASSERT_TRUE(id);
    EXPECT_EQ(id->vendor, 0x04E8U);
    EXPECT_EQ(id->product, 0x2075U);
    for (const char* text : {"0003:000004E8:00002075", "", "0005", "0005:", "0005:04E8", "0005:x:2075", "0005:04E8:20x",
                             "0005:000004E8:00002075:", "0005:-4E8:2075"}) {
        EXPECT_FALSE(hid::BluetoothIdIn(text)) << text;
    }
}

TEST(HidIdTest, PairsHaveFourDigits)
{
    EXPECT_EQ(hid::PairsIn("04E8:2075  1234:abcd ")->size(), 2U);
    for (const char* text :
         {"", " ", "4E8:2075", "04E8:20750", "04E8", "04E8-2075", "04E8:2075,1234:5678", "04E8:207x"}) {
        EXPECT_FALSE(hid::PairsIn(text)) << text;
    }
}

} // namespace
} // namespace linux_test
