// What a remote and the box say to each other.

#include "hid/Protocol.h"
#include "hid/Transport.h"
#include "linux/FakeBluez.h"
#include "linux/FakeKernel.h"
#include "linux/FakeRemotes.h"
#include "linux/PlatformLog.h"
#include "linux/RemotesTest.h"
#include "mgmt/Protocol.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bluez_dbus.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_hid.h>
#include <vconf.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <list>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace linux_test {
namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr const char* kStandSetting = "db/bluetooth_smartrc/rotation_stand_address";
constexpr auto kInstant = 100ms;

class RemoteProtocolTest : public RemotesTest
{
protected:
    /// What the function gives, or the code of its failure, which must have left the output alone.
    template <typename Value>
    static int ValueOf(int (*query)(Value*))
    {
        constexpr auto kUntouched = static_cast<Value>(0x5A);
        Value value = kUntouched;
        const int result = query(&value);
        EXPECT_TRUE(result == BT_ERROR_NONE || value == kUntouched);
        return result == BT_ERROR_NONE ? static_cast<int>(value) : result;
    }

    static int Firmware(const char* address)
    {
        static const char* asked = nullptr;
        asked = address;
        return ValueOf<unsigned>([](unsigned* version) { return bt_hid_get_smart_rc_fw_version(asked, version); });
    }

    static int Reset()
    {
        return bt_hid_send_device_command(kRemote, 17, BT_HID_COMMAND_RESET);
    }

    static int SendRc(const hid::Bytes& bytes)
    {
        return bt_hid_send_rc_command(kRemote, bytes.data(), static_cast<int>(bytes.size()));
    }

    /// The daemon knows the battery of the remote in percent.
    void DaemonTellsBattery(const std::string& path, guint8 percent)
    {
        GVariantBuilder interfaces;
        g_variant_builder_init(&interfaces, G_VARIANT_TYPE("a{sa{sv}}"));
        g_variant_builder_add_parsed(&interfaces, "{'org.bluez.Battery1', {'Percentage': <%y>}}", percent);
        daemon.Emits("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded",
                     g_variant_new("(oa{sa{sv}})", path.c_str(), &interfaces));
    }

    template <typename Function>
    static std::chrono::milliseconds TimeOf(Function function)
    {
        const auto began = std::chrono::steady_clock::now();
        function();
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began);
    }
};

TEST_F(RemoteProtocolTest, ARemoteSaysWhatItIs)
{
    HasRemote();
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_device_type), 17);
    EXPECT_EQ(static_cast<unsigned>(Firmware("aa:bb:cc:dd:ee:10")), 0xB2345678U);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_battery_status), 0xF4);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_grip_sensor_state), BT_SC_GRIP_SENSOR_ON);
}

TEST_F(RemoteProtocolTest, WhoAsksAtTheStartWaitsForTheAnswer)
{
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_device_type), 17);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_battery_status), 0xF4);
}

TEST_F(RemoteProtocolTest, NoRemoteSaysNothing)
{
    ListensToRemotes();
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_device_type), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_battery_status), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(ValueOf(bt_hid_get_halvo_switch_battery_status), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_grip_sensor_state), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(Firmware(kRemote), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(Firmware("remote"), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Reset(), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(SendRc({1}), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(bt_hid_send_duid(kRemote, "id"), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(bt_hid_send_device_command("", 0, 0), BT_ERROR_INVALID_PARAMETER);
}

TEST_F(RemoteProtocolTest, ABasicRemoteIsConnectedAndThatIsAll)
{
    HasBasicRemote();
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_device_type), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_device_type), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_grip_sensor_state), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(Firmware(kRemote), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(Reset(), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(SendRc({1}), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(bt_hid_send_duid(kRemote, "id"), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_battery_status), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(LogLinesWith("bt_hid_get_smart_rc_device_type is not supported: the remote does not speak the protocol"),
              1);
    EXPECT_EQ(remotes.opened, 0);
    EXPECT_EQ(remotes.asked(), 0);
}

TEST_F(RemoteProtocolTest, TheDaemonKnowsABasicRemotesBatteryAndVersion)
{
    daemon.AddAdapter(true);
    const std::string path = daemon.AddDevice(kRemote, [](BluezDevice1* device) {
        bluez_device1_set_connected(device, TRUE);
        bluez_device1_set_modalias(device, "usb:v04E8p2075d0123");
    });
    Starts();
    HasBasicRemote();
    EXPECT_EQ(Firmware(kRemote), 0x0123);
    DaemonTellsBattery(path, 100);
    EXPECT_TRUE(Told("battery 252 AA:BB:CC:DD:EE:10")); // reading 31, level 4
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_battery_status), 252);
    DaemonTellsBattery(path, 0);
    EXPECT_TRUE(Told("battery 1 AA:BB:CC:DD:EE:10"));
    DaemonTellsBattery(path, 50);
    EXPECT_TRUE(Told("battery 123 AA:BB:CC:DD:EE:10")); // reading 15, level 3
    DaemonTellsBattery(path, 255);
    EXPECT_TRUE(
        support::IterateUntil([&] { return std::ranges::count(record, "battery 252 AA:BB:CC:DD:EE:10") == 2; }));
}

TEST_F(RemoteProtocolTest, ARemoteWithoutGripSensorHasNone)
{
    remotes.Answers(hid::kIdentity, {hid::kIdentity, 1, 17, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
    HasRemote();
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_grip_sensor_state), BT_SC_GRIP_SENSOR_NOT_AVAILABLE);
}

TEST_F(RemoteProtocolTest, ARemoteThatDoesNotAnswerIsToldAfterASecondAndStopsNobody)
{
    remotes.Dawdles();
    ListensToRemotes();
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    unsigned char type = 0;
    EXPECT_LT(TimeOf([&] { EXPECT_EQ(bt_hid_get_smart_rc_device_type(&type), BT_ERROR_OPERATION_FAILED); }), 1200ms);
    EXPECT_LT(TimeOf([&] { EXPECT_EQ(bt_hid_get_smart_rc_device_type(&type), BT_ERROR_OPERATION_FAILED); }), kInstant);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_battery_status), BT_ERROR_OPERATION_FAILED);
    EXPECT_TRUE(Told(std::string("smart remote up ") + kRemote + " ?"));
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_TRUE(WasSent(1));
    // It is asked again, which nobody waits for, and then known.
    EXPECT_TRUE(support::IterateUntil([&] { return remotes.asked() == 3; }));
    EXPECT_LT(TimeOf([&] { EXPECT_EQ(bt_hid_get_smart_rc_device_type(&type), BT_ERROR_OPERATION_FAILED); }), kInstant);
    remotes.Hurries();
    EXPECT_TRUE(support::IterateUntil([&] { return bt_hid_get_smart_rc_device_type(&type) == BT_ERROR_NONE; }));
    EXPECT_EQ(type, 17);
}

TEST_F(RemoteProtocolTest, ARemoteThatNeverSaysWhatItIsIsAskedFiveTimes)
{
    remotes.KnowsNothing();
    const sim::VirtualClock clock;
    ListensToRemotes();
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    ASSERT_TRUE(support::IterateUntil([] { return LogLinesWith("does not say what it is") == 1; }, 20s));
    EXPECT_EQ(remotes.asked(), 10);
    EXPECT_THAT(record, SizeIs(2));
}

TEST_F(RemoteProtocolTest, AnswersThatAreShortOrOfAnotherReportAreNone)
{
    remotes.Answers(hid::kIdentity, {hid::kIdentity, 1, 17, 0, 0, 0, 0, 0}); // half of the capabilities is missing
    remotes.Answers(hid::kStatus, {hid::kIdentity, 1, 17, 0, 0, 0, 0, 0, 0});
    ListensToRemotes();
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_device_type), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_battery_status), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_grip_sensor_state), BT_ERROR_OPERATION_FAILED);
}

TEST_F(RemoteProtocolTest, ReportsAreTold)
{
    HasRemote();
    remotes.Reports({hid::kBattery, 0x85, 0});
    remotes.Reports({hid::kCharging, 6, 30, 0});
    remotes.Reports({hid::kGripped, 12, 0});
    remotes.Reports({hid::kGripState, 0xFF, 0});
    ASSERT_TRUE(Told("grip -1"));
    EXPECT_THAT(record, ElementsAre("battery 133 AA:BB:CC:DD:EE:10", "charging 6 30", "gripped 12", "grip -1"));
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_battery_status), 0x85);
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_grip_sensor_state), -1);
}

TEST_F(RemoteProtocolTest, TheWheelReportsItsBatteryAndChargingAndHasNoGrip)
{
    ListensToRemotes();
    hid::Node node = FakeRemotes::SmartRemote(kWheel);
    node.product = 0x2084;
    remotes.Plugs(node);
    ASSERT_TRUE(Told(std::string("host 0 up ") + kWheel));
    record.clear();
    remotes.Reports({hid::kGripped, 12, 0});
    remotes.Reports({hid::kGripState, 1, 0});
    remotes.Reports({hid::kBattery, 0x85, 0});
    remotes.Reports({hid::kCharging, 6, 30, 0});
    ASSERT_TRUE(Told("wheel charging 6 30"));
    EXPECT_THAT(record, ElementsAre("battery 133 AA:BB:CC:DD:EE:11", "wheel charging 6 30"));
    EXPECT_EQ(ValueOf(bt_hid_get_halvo_switch_battery_status), 0x85);
    EXPECT_EQ(bt_hid_send_device_command(kWheel, 17, BT_HID_COMMAND_SHOP_MODE_ON), BT_ERROR_NONE);
    EXPECT_TRUE(WasSent(1));
}

TEST_F(RemoteProtocolTest, NothingIsToldOfAReportWhoseReceiverWasUnset)
{
    HasRemote();
    remotes.Reports({hid::kBattery, 0x85, 0});
    remotes.Reports({hid::kGripped, 12, 0});
    bt_hid_unset_battery_status_received_cb();
    EXPECT_TRUE(Told("gripped 12"));
    EXPECT_THAT(record, ElementsAre("gripped 12"));
}

TEST_F(RemoteProtocolTest, ShortAndUnknownReportsAreNamedOnce)
{
    HasRemote();
    for (int i = 0; i < 3; ++i) {
        remotes.Reports({hid::kBattery});
        remotes.Reports({hid::kCharging, 6});
        remotes.Reports({hid::kGripped});
        remotes.Reports({hid::kGripState});
        remotes.Reports({hid::kAcknowledgement, 0x30, 1});
        remotes.Reports({0x2F, 1, 2, 3});
        remotes.Reports({0x01, 0xB0, 0}); // a key
        remotes.Reports({0xFF});
    }
    remotes.Reports(hid::Bytes(1024, hid::kGripped)); // long
    ASSERT_TRUE(Told("gripped 34"));
    EXPECT_THAT(record, SizeIs(1));
    EXPECT_EQ(LogLinesWith("remote AA:BB:CC:DD:EE:10: report 0x20 of 1 bytes is too short: left out"), 1);
    EXPECT_EQ(LogLinesWith("is too short"), 5);
    EXPECT_EQ(LogLinesWith("report 0x2f of 4 bytes is unknown: left out"), 1);
    EXPECT_EQ(LogLinesWith("is unknown"), 1);
}

TEST_F(RemoteProtocolTest, OfAFloodAFewAreToldAndTheLast)
{
    HasRemote();
    constexpr int kReports = 3000;
    int reported = 0;
    std::chrono::milliseconds slowest{0};
    const auto took = TimeOf([&] {
        while (reported < kReports) {
            while (reported < kReports &&
                   remotes.TriesToReport({hid::kBattery, static_cast<std::uint8_t>(reported % 250), 0})) {
                ++reported;
            }
            slowest = std::max(slowest, TimeOf([] { g_main_context_iteration(nullptr, FALSE); }));
        }
    });
    remotes.Reports({hid::kBattery, 255, 0});
    remotes.Reports({hid::kGripped, 1, 0}); // something else is not held up
    ASSERT_TRUE(Told("gripped 1"));
    EXPECT_EQ(ValueOf(bt_hid_get_smart_rc_battery_status), 255);
    ASSERT_TRUE(Told("battery 255 AA:BB:CC:DD:EE:10"));
    const auto periods = static_cast<std::size_t>(took.count() / 1000 + 2);
    EXPECT_LE(record.size(), 11 * periods + 2);
    EXPECT_GE(record.size(), 12U);
    EXPECT_LT(slowest, 500ms);
    EXPECT_EQ(LogLinesWith("more than 10 times in a second"), 1);
}

TEST_F(RemoteProtocolTest, ADeviceCommandHasTypeCommandAndASequenceNumber)
{
    HasRemote();
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_send_device_command("aa:bb:cc:dd:ee:10", 33, BT_HID_COMMAND_GRIP_SENSOR_OFF), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(2));
    EXPECT_EQ(Body(0), "301105");
    EXPECT_EQ(Body(1), "302131");
    EXPECT_NE(Sequence(0), Sequence(1));
}

TEST_F(RemoteProtocolTest, AnRcCommandHoldsSeventeenBytesAtMost)
{
    HasRemote();
    EXPECT_EQ(SendRc({}), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(SendRc(hid::Bytes(18, 1)), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(SendRc({0x24, 0x07}), BT_ERROR_NONE);
    EXPECT_EQ(SendRc(hid::Bytes(17, 0xAB)), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(2));
    EXPECT_EQ(Body(0), "31022407" + std::string(30, '0'));
    EXPECT_EQ(Body(1), "3111" + std::string("abababababababababababababababab") + "ab");
}

TEST_F(RemoteProtocolTest, AnIdGoesInPiecesAndOneAtATime)
{
    HasRemote();
    EXPECT_EQ(bt_hid_send_duid(kRemote, ""), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_send_duid(kRemote, std::string(241, 'x').c_str()), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_hid_send_duid(kRemote, "0123456789abcdefXYZ"), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_send_duid(kRemote, "other"), BT_ERROR_NOW_IN_PROGRESS);
    ASSERT_TRUE(WasSent(2));
    EXPECT_EQ(Body(0), "320210" + std::string("30313233343536373839616263646566"));
    EXPECT_EQ(Body(1), "321203" + std::string("58595a") + std::string(26, '0'));
    EXPECT_TRUE(support::IterateUntil([] { return bt_hid_send_duid(kRemote, "other") == BT_ERROR_NONE; }));
    EXPECT_TRUE(WasSent(3));
    EXPECT_TRUE(support::IterateUntil(
        [] { return bt_hid_send_duid(kRemote, std::string(240, 'x').c_str()) == BT_ERROR_NONE; }));
    EXPECT_TRUE(WasSent(18));
}

TEST_F(RemoteProtocolTest, ABusyRemoteIsSentTheSameAgain)
{
    HasRemote();
    remotes.results = {hid::kBusy, hid::kBusy};
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(SendRc({1}), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(4));
    EXPECT_EQ(remotes.sent[0], remotes.sent[1]);
    EXPECT_EQ(remotes.sent[0], remotes.sent[2]);
    EXPECT_EQ(Body(3).substr(0, 6), "310101"); // in order
}

TEST_F(RemoteProtocolTest, WhatARemoteRefusesIsLostAndNamed)
{
    HasRemote();
    remotes.results = {hid::kRefused, hid::kDone, 77};
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(SendRc({1}), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_send_duid(kRemote, std::string(40, 'x').c_str()), BT_ERROR_NONE);
    EXPECT_EQ(SendRc({2}), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(4));
    Passes(20ms);
    EXPECT_EQ(Body(3).substr(0, 6), "310102"); // an id that lacks its first part is none
    EXPECT_THAT(remotes.sent, SizeIs(4));
    EXPECT_EQ(LogLinesWith("remote AA:BB:CC:DD:EE:10: report 0x30 is lost: refused"), 1);
    EXPECT_EQ(LogLinesWith("remote AA:BB:CC:DD:EE:10: report 0x32 is lost: refused"), 1);
}

TEST_F(RemoteProtocolTest, WhatARemoteDoesNotAcknowledgeIsSentThreeTimesAndTheRestOnce)
{
    HasRemote();
    remotes.acknowledges = false;
    const sim::VirtualClock clock;
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(SendRc({1}), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_send_duid(kRemote, "id"), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(5));
    EXPECT_EQ(remotes.sent[0], remotes.sent[1]);
    EXPECT_EQ(remotes.sent[0], remotes.sent[2]);
    EXPECT_EQ(Body(3).substr(0, 6), "310101");
    EXPECT_EQ(Body(4).substr(0, 4), "3201");
    EXPECT_EQ(LogLinesWith("does not acknowledge report 0x30"), 1);
    // Nothing waits from now on.
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_send_duid(kRemote, "id"), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_send_duid(kRemote, "id"), BT_ERROR_NONE);
    EXPECT_TRUE(support::IterateUntil([&] { return remotes.sent.size() == 8; }, 300ms));
    Passes(700ms);
    EXPECT_THAT(remotes.sent, SizeIs(8));
}

TEST_F(RemoteProtocolTest, AWriteThatFailsIsMadeAgain)
{
    HasRemote();
    remotes.CannotBeWritten(2, EIO);
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(SendRc({1}), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(2));
    EXPECT_EQ(Body(0), "301105");
    EXPECT_EQ(LogLinesWith("is lost"), 0);
}

TEST_F(RemoteProtocolTest, AWriteThatAlwaysFailsIsGivenUpAndNamed)
{
    HasRemote();
    remotes.CannotBeWritten(26, EIO);
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(SendRc({1}), BT_ERROR_NONE);
    sim::VirtualClock clock;
    clock.Advance(6s);
    ASSERT_TRUE(WasSent(1));
    EXPECT_EQ(Body(0).substr(0, 6), "310101");
    EXPECT_EQ(LogLinesWith("report 0x30 is lost: Input/output error"), 1);
}

TEST_F(RemoteProtocolTest, ALinkThatComesBackBringsTheCommand)
{
    HasRemote();
    remotes.acknowledges = false;
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(SendRc({1}), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(1)); // into the void
    remotes.HangsUp();
    Passes(20ms);
    EXPECT_EQ(SendRc({2}), BT_ERROR_NONE); // nobody has noticed yet
    remotes.Unplugs();
    EXPECT_EQ(SendRc({3}), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    remotes.acknowledges = true;
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote, "/dev/hidraw5"));
    ASSERT_TRUE(WasSent(4));
    EXPECT_EQ(remotes.sent[0], remotes.sent[1]);
    EXPECT_EQ(Body(2).substr(0, 6), "310101");
    EXPECT_EQ(Body(3).substr(0, 6), "310102");
}

TEST_F(RemoteProtocolTest, ARemoteThatStaysAwayLosesItsCommands)
{
    HasRemote();
    remotes.acknowledges = false;
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(SendRc({1}), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(1));
    remotes.Unplugs();
    sim::VirtualClock clock;
    clock.Advance(9900ms);
    EXPECT_EQ(LogLinesWith("does not come back"), 0);
    clock.Advance(200ms);
    EXPECT_EQ(LogLinesWith("remote AA:BB:CC:DD:EE:10 does not come back: 2 commands to it are lost"), 1);
    remotes.Plugs(FakeRemotes::SmartRemote(kRemote));
    EXPECT_TRUE(Told(std::string("smart remote up ") + kRemote + " ?"));
    EXPECT_THAT(remotes.sent, SizeIs(1));
}

TEST_F(RemoteProtocolTest, NotMoreThanThirtyTwoAreOnTheirWay)
{
    HasRemote();
    remotes.acknowledges = false;
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(Reset(), BT_ERROR_NONE);
    }
    EXPECT_EQ(Reset(), BT_ERROR_RESOURCE_BUSY);
    EXPECT_EQ(bt_hid_send_duid(kRemote, "id"), BT_ERROR_RESOURCE_BUSY);
}

TEST_F(RemoteProtocolTest, AcknowledgementsOfNothingAreNoHarm)
{
    HasRemote();
    remotes.Reports({hid::kAcknowledgement, 0x30, 1, 0, 0});
    support::DrainMainLoop(); // or it might meet the very number that it guesses
    remotes.acknowledges = false;
    EXPECT_EQ(Reset(), BT_ERROR_NONE);
    EXPECT_EQ(SendRc({1}), BT_ERROR_NONE);
    ASSERT_TRUE(WasSent(1));
    const auto sequence = static_cast<std::uint8_t>(std::stoi(Sequence(0), nullptr, 16));
    remotes.Reports({hid::kAcknowledgement, 0x31, sequence, 0, 0});
    remotes.Reports({hid::kAcknowledgement, 0x30, static_cast<std::uint8_t>(sequence + 1), 0, 0});
    Passes(50ms);
    EXPECT_THAT(remotes.sent, SizeIs(1));
    remotes.Reports({hid::kAcknowledgement, 0x30, sequence, 0}); // a later protocol may leave the reserved byte out
    EXPECT_TRUE(WasSent(2));
}

TEST_F(RemoteProtocolTest, TheStandIsTheOneInTheSettings)
{
    ListensToRemotes();
    bool connected = true;
    EXPECT_EQ(bt_hid_get_rotator_connection_state(&connected), BT_ERROR_NONE);
    EXPECT_FALSE(connected);
    EXPECT_EQ(bt_hid_send_rotator_bt_command(16, 255), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    vconf_set_str(kStandSetting, "aa:bb:cc:dd:ee:12");
    remotes.Plugs({kNode, kStand, 0x1234, 0x5678, FakeRemotes::StandDescriptor()});
    EXPECT_EQ(bt_hid_get_rotator_connection_state(&connected), BT_ERROR_NONE);
    EXPECT_TRUE(connected);
    EXPECT_EQ(bt_hid_send_rotator_bt_command(16, 255), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_send_rotator_bt_command(0, 0), BT_ERROR_NONE);
    EXPECT_TRUE(WasSent(2));
    EXPECT_THAT(remotes.sent, ElementsAre("3310ff", "330000"));
    for (const auto& [command, argument] : {std::pair(256, 0), std::pair(-1, 0), std::pair(0, 256), std::pair(0, -1)}) {
        EXPECT_EQ(bt_hid_send_rotator_bt_command(command, argument), BT_ERROR_INVALID_PARAMETER);
    }
    remotes.Unplugs();
    EXPECT_EQ(bt_hid_send_rotator_bt_command(16, 255), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
}

TEST_F(RemoteProtocolTest, ALaterNodeOfTheStandTakesThePlaceOfOneThatWasLeftBehind)
{
    ListensToRemotes();
    vconf_set_str(kStandSetting, kStand);
    remotes.Plugs({kNode, kStand, 0x1234, 0x5678, FakeRemotes::StandDescriptor()});
    EXPECT_EQ(bt_hid_send_rotator_bt_command(16, 255), BT_ERROR_NONE);
    EXPECT_TRUE(WasSent(1));
    EXPECT_EQ(remotes.openedNode, kNode);
    remotes.Plugs({"/dev/hidraw1", kStand, 0x1234, 0x5678, FakeRemotes::StandDescriptor()});
    EXPECT_EQ(bt_hid_send_rotator_bt_command(16, 0), BT_ERROR_NONE);
    EXPECT_TRUE(WasSent(2));
    EXPECT_EQ(remotes.openedNode, "/dev/hidraw1");
    remotes.Unplugs(kNode);
    EXPECT_EQ(bt_hid_send_rotator_bt_command(0, 0), BT_ERROR_NONE) << "the one left behind went, not the stand";
    EXPECT_TRUE(WasSent(3));
    EXPECT_EQ(remotes.opened, 2);
}

TEST_F(RemoteProtocolTest, AStandOffTheShelfTakesNoCommands)
{
    ListensToRemotes();
    vconf_set_str(kStandSetting, kStand);
    remotes.Plugs({kNode, kStand, 0x1234, 0x5678, FakeRemotes::KeyboardDescriptor()});
    EXPECT_EQ(bt_hid_send_rotator_bt_command(16, 255), BT_ERROR_NOT_SUPPORTED);
}

TEST_F(RemoteProtocolTest, NonsenseForAnAddressIsNoStand)
{
    vconf_set_str(kStandSetting, "the stand");
    bool connected = true;
    EXPECT_EQ(bt_hid_get_rotator_connection_state(&connected), BT_ERROR_NONE);
    EXPECT_FALSE(connected);
}

TEST_F(RemoteProtocolTest, NoLatencyIsAskedForOnce)
{
    kernel.Answers(mgmt::Command::GetConnections, mgmt::kSuccess, {0, 0});
    kernel.HasHandle(0x0040);
    kernel.AnswersRaw(0x2013, 0);
    Starts();
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, true), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(bt_hid_set_conn_no_latency("remote", true), BT_ERROR_INVALID_PARAMETER);
    const auto connects = [&] {
        kernel.Tells(mgmt::Event::DeviceConnected, AddressAnd(kRemote, mgmt::kLePublic, {0, 0, 0, 0, 0, 0}));
        ASSERT_TRUE(Told(std::string("link up ") + kRemote + " 1 0"));
    };
    connects();
    EXPECT_EQ(bt_hid_set_conn_no_latency("aa:bb:cc:dd:ee:10", true), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, true), BT_ERROR_ALREADY_DONE);
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, false), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, true), BT_ERROR_NONE);
    // Another link knows nothing of it.
    kernel.Tells(mgmt::Event::DeviceDisconnected, AddressAnd(kRemote, mgmt::kLePublic, {1}));
    ASSERT_TRUE(Told(std::string("link down ") + kRemote + " 1 1"));
    record.clear();
    connects();
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, true), BT_ERROR_NONE);
    EXPECT_THAT(kernel.Commands(), Contains("hci 2013 40 00 06 00 0c 00 00 00 2c 01 00 00 00 00").Times(3));
}

TEST_F(RemoteProtocolTest, NoLatencyThatTheControllerRefusesFails)
{
    kernel.Answers(mgmt::Command::GetConnections, mgmt::kSuccess, {0, 0});
    kernel.HasHandle(0x0040);
    kernel.AnswersRaw(0x2013, 0x0C);
    Starts();
    kernel.Tells(mgmt::Event::DeviceConnected, AddressAnd(kRemote, mgmt::kLePublic, {0, 0, 0, 0, 0, 0}));
    ASSERT_TRUE(Told(std::string("link up ") + kRemote + " 1 0"));
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, true), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, true), BT_ERROR_OPERATION_FAILED);
}

TEST_F(RemoteProtocolTest, WithoutTheRawChannelNoLatencyIsNotSupported)
{
    kernel.Answers(mgmt::Command::GetConnections, mgmt::kSuccess, {0, 0});
    kernel.HasNoRaw();
    Starts();
    kernel.Tells(mgmt::Event::DeviceConnected, AddressAnd(kRemote, mgmt::kLePublic, {0, 0, 0, 0, 0, 0}));
    ASSERT_TRUE(Told(std::string("link up ") + kRemote + " 1 0"));
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, true), BT_ERROR_NOT_SUPPORTED);
}

/// The bytes of the blocks that hold nothing else.
std::vector<hid::Bytes> BlocksOfBytes()
{
    std::ifstream document(VYREL_REMOTE_PROTOCOL);
    std::vector<hid::Bytes> blocks;
    std::optional<hid::Bytes> block;
    for (std::string line; std::getline(document, line);) {
        if (line.starts_with("```")) {
            if (block && !block->empty()) {
                blocks.push_back(*block);
            }
            block = block ? std::nullopt : std::optional(hid::Bytes());
        } else if (block && line.find_first_not_of("0123456789ABCDEF ") == std::string::npos) {
            std::istringstream bytes(line);
            for (unsigned byte = 0; bytes >> std::hex >> byte;) {
                block->push_back(static_cast<std::uint8_t>(byte));
            }
        }
    }
    return blocks;
}

TEST(RemoteDescriptorTest, TheDocumentsAreThoseThatAreTestedHere)
{
    EXPECT_THAT(BlocksOfBytes(), ElementsAre(FakeRemotes::RemoteDescriptor(), FakeRemotes::StandDescriptor()));
}

/// What a report that is built here has, and what is asked for, is as long as the descriptor says.
TEST(RemoteDescriptorTest, ReportsAreAsLongAsDeclared)
{
    const hid::Bytes descriptor = FakeRemotes::RemoteDescriptor();
    const auto declared = [&](std::uint8_t id) -> std::size_t {
        for (std::size_t i = 0; i + 6 < descriptor.size(); ++i) {
            if (descriptor[i] == 0x85 && descriptor[i + 1] == id && descriptor[i + 4] == 0x95) {
                return 1U + descriptor[i + 5];
            }
        }
        return 0;
    };
    EXPECT_EQ(hid::DeviceCommand(0, 0).size(), declared(hid::kDeviceCommand));
    EXPECT_EQ(hid::RcCommand(hid::Bytes{1}).size(), declared(hid::kRcCommand));
    EXPECT_EQ(hid::DuidChunks(hid::Bytes{1}).front().size(), declared(hid::kDuidChunk));
    EXPECT_EQ(hid::kIdentitySize, declared(hid::kIdentity));
    EXPECT_EQ(hid::kStatusSize, declared(hid::kStatus));
}

TEST(RemoteDescriptorTest, OnlyTheVendorsPageCounts)
{
    EXPECT_TRUE(hid::AbilitiesIn(FakeRemotes::RemoteDescriptor()).isRemote);
    EXPECT_FALSE(hid::AbilitiesIn(FakeRemotes::RemoteDescriptor()).isStand);
    EXPECT_TRUE(hid::AbilitiesIn(FakeRemotes::StandDescriptor()).isStand);
    EXPECT_FALSE(hid::AbilitiesIn(FakeRemotes::KeyboardDescriptor()).isRemote); // has a report of that number, too
}

TEST(RemoteDescriptorTest, WhatIsPushedComesBack)
{
    const hid::Bytes pushed = {0x06, 0x60, 0xFF, 0x85, 0x40, 0xA4, 0x05, 0x0C, 0x85, 0x01, 0xB4, 0xB1, 0x02};
    EXPECT_TRUE(hid::AbilitiesIn(pushed).isRemote);
    const hid::Bytes notPopped = {0x06, 0x60, 0xFF, 0x85, 0x40, 0xA4, 0x05, 0x0C, 0x85, 0x01, 0xB1, 0x02};
    EXPECT_FALSE(hid::AbilitiesIn(notPopped).isRemote);
    const hid::Bytes popped = {0xB4, 0xB4, 0x06, 0x60, 0xFF, 0x85, 0x40, 0xB1, 0x02};
    EXPECT_TRUE(hid::AbilitiesIn(popped).isRemote);
}

TEST(RemoteDescriptorTest, ADescriptorMayEndAnywhere)
{
    const hid::Bytes whole = FakeRemotes::RemoteDescriptor();
    constexpr std::size_t kAfterIdentity = 9; // the bytes from the next report to the end
    for (std::size_t size = 0; size < whole.size() - kAfterIdentity; ++size) {
        EXPECT_FALSE(hid::AbilitiesIn(hid::ByteSpan(whole).first(size)).isRemote) << size;
    }
    hid::AbilitiesIn(hid::Bytes{0xFE});
    hid::AbilitiesIn(hid::Bytes{0xFE, 0xFF, 0x01});
    hid::AbilitiesIn(hid::Bytes(4096, 0xA4)); // pushes and pushes
    const hid::Bytes afterLongItem = {0xFE, 0x02, 0x00, 0xB1, 0x02, 0x06, 0x60, 0xFF, 0x85, 0x40, 0xB1, 0x02};
    EXPECT_TRUE(hid::AbilitiesIn(afterLongItem).isRemote);
}

} // namespace
} // namespace linux_test
