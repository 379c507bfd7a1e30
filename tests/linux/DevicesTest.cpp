#include "bluez/Address.h"
#include "bus/SystemBus.h"
#include "linux/BluezTest.h"
#include "linux/FakeBluez.h"
#include "linux/FakeKernel.h"
#include "linux/PlatformLog.h"
#include "mgmt/Bytes.h"
#include "mgmt/Protocol.h"
#include "support/MainLoop.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bluez_dbus.h>
#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_gatt.h>
#include <bt_product.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace linux_test {
namespace {

using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr const char* kMouse = "AA:BB:CC:DD:EE:03";
constexpr const char* kPrivate = "7A:00:00:00:00:01";

void Bonded(BluezDevice1* device)
{
    bluez_device1_set_bonded(device, TRUE);
}

void Unbonded(BluezDevice1* device)
{
    bluez_device1_set_bonded(device, FALSE);
}

void Connected(BluezDevice1* device)
{
    bluez_device1_set_connected(device, TRUE);
}

void Disconnected(BluezDevice1* device)
{
    bluez_device1_set_connected(device, FALSE);
}

class DevicesTest : public BluezTest
{
protected:
    /// The kernel lets this process manage the controller, which has no links.
    void KernelTells(Bytes connections = {0, 0})
    {
        kernel.Answers(mgmt::Command::GetConnections, mgmt::kSuccess, std::move(connections));
    }

    void Connects(const std::string& address, std::uint8_t type)
    {
        kernel.Tells(mgmt::Event::DeviceConnected, AddressAnd(address, type, {0, 0, 0, 0, 0, 0}));
    }

    void Disconnects(const std::string& address, std::uint8_t type, std::uint8_t reason)
    {
        kernel.Tells(mgmt::Event::DeviceDisconnected, AddressAnd(address, type, {reason}));
    }

    static bool Collect(bt_device_info_s* info, void* list)
    {
        static_cast<std::vector<std::string>*>(list)->push_back(
            std::string(info->remote_address) + " " + (info->remote_name != nullptr ? info->remote_name : "?") + " " +
            std::to_string(info->bt_class.major_device_class) + "/" +
            std::to_string(info->bt_class.minor_device_class) + (info->is_bonded ? " bonded" : "") +
            (info->is_connected ? " connected" : ""));
        return true;
    }

    static bool DestroyEach(bt_device_info_s* info, void* list)
    {
        EXPECT_EQ(bt_device_destroy_bond(info->remote_address), BT_ERROR_NONE);
        return Collect(info, list);
    }

    static bool StopAtOnce(bt_device_info_s* info, void* list)
    {
        Collect(info, list);
        return false;
    }

    static std::vector<std::string> Listed(bt_adapter_bonded_device_cb callback = Collect)
    {
        std::vector<std::string> list;
        EXPECT_EQ(bt_adapter_foreach_bonded_device(callback, &list), BT_ERROR_NONE);
        return list;
    }
};

// Bonded devices.

TEST_F(DevicesTest, BondedDevicesAreListedWithWhatIsKnownOfThem)
{
    daemon.AddDevice(kSpeaker, [](BluezDevice1* device) {
        Bonded(device);
        bluez_device1_set_name(device, "Küche");
        bluez_device1_set_class(device, 0x240418);
        Connected(device);
    });
    daemon.AddDevice("aa:bb:cc:dd:ee:01", Bonded);
    daemon.AddDevice(kMouse);
    Starts();

    EXPECT_THAT(Listed(),
                ElementsAre("AA:BB:CC:DD:EE:02 Küche 4/24 bonded connected", "AA:BB:CC:DD:EE:01 ? 0/0 bonded"));
    EXPECT_THAT(Listed(StopAtOnce), SizeIs(1));
}

TEST_F(DevicesTest, ListingWorksBeforeTheLoopRuns)
{
    daemon.AddDevice(kPhone, Bonded);
    daemon.AddAdapter(true);
    daemon.Starts();
    ASSERT_EQ(bt_product_init(), BT_ERROR_NONE);

    EXPECT_THAT(Listed(), SizeIs(1));
}

TEST_F(DevicesTest, OneBondedDeviceIsDescribed)
{
    daemon.AddDevice(kPhone, Bonded);
    daemon.AddDevice(kMouse);
    Starts();

    bt_device_info_s* info = nullptr;
    EXPECT_EQ(bt_adapter_get_bonded_device_info("aa:bb:cc:dd:ee:01", &info), BT_ERROR_NONE);
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info->remote_address, kPhone);
    EXPECT_EQ(bt_adapter_free_device_info(info), BT_ERROR_NONE);

    bt_device_info_s* untouched = nullptr;
    EXPECT_EQ(bt_adapter_get_bonded_device_info(kMouse, &untouched), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(bt_adapter_get_bonded_device_info(kSpeaker, &untouched), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(bt_adapter_get_bonded_device_info("phone", &untouched), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(untouched, nullptr);
}

TEST_F(DevicesTest, ANameOf248BytesIsHandedOnWhole)
{
    const std::string name(248, 'n');
    daemon.AddDevice(kPhone, [&](BluezDevice1* device) {
        Bonded(device);
        bluez_device1_set_name(device, name.c_str());
    });
    Starts();

    EXPECT_THAT(Listed(), ElementsAre(HasSubstr(name)));
}

TEST_F(DevicesTest, AThousandDevicesAreListed)
{
    for (int i = 0; i < 1000; ++i) {
        std::array<char, 18> address{};
        std::snprintf(address.data(), address.size(), "AA:BB:CC:DD:%02X:%02X", i / 256, i % 256);
        daemon.AddDevice(address.data(), Bonded);
    }
    Starts();

    EXPECT_THAT(Listed(), SizeIs(1000));
}

TEST_F(DevicesTest, UnbondingWithinAListingIsSafeAndToldOnceForEach)
{
    daemon.AddDevice(kPhone, Bonded);
    daemon.AddDevice(kSpeaker, Bonded);
    Starts();

    EXPECT_THAT(Listed(DestroyEach), SizeIs(2));
    EXPECT_THAT(record, IsEmpty());

    EXPECT_TRUE(Told(std::string("unbond ") + kPhone));
    EXPECT_TRUE(Told(std::string("unbond ") + kSpeaker));
    EXPECT_THAT(record, SizeIs(2));
    EXPECT_THAT(Listed(), IsEmpty());
}

TEST_F(DevicesTest, ABondThatIsNotThereCannotBeDestroyed)
{
    daemon.AddDevice(kMouse);
    Starts();

    EXPECT_EQ(bt_device_destroy_bond(kPhone), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(bt_device_destroy_bond(kMouse), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(bt_device_destroy_bond(""), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_device_destroy_bond(nullptr), BT_ERROR_INVALID_PARAMETER);
    daemon.Dies();
    Passes(std::chrono::milliseconds(50));
    EXPECT_EQ(bt_device_destroy_bond(kPhone), BT_ERROR_NOT_INITIALIZED);
}

TEST_F(DevicesTest, ANewBondIsTold)
{
    Starts();
    const std::string phone = daemon.AddDevice(kPhone);

    daemon.SetDevice(phone, Bonded);

    EXPECT_TRUE(Told(std::string("bond 0 ") + kPhone));
    EXPECT_THAT(record, SizeIs(1));
}

TEST_F(DevicesTest, AFailedPairingIsToldWithItsReason)
{
    KernelTells();
    Starts();
    daemon.AddDevice(kPhone);

    kernel.Tells(mgmt::Event::AuthenticationFailed, AddressAnd(kPhone, mgmt::kBrEdr, {mgmt::kAuthenticationFailed}));
    kernel.Tells(mgmt::Event::AuthenticationFailed, AddressAnd(kMouse, mgmt::kLePublic, {mgmt::kRejected}));
    kernel.Tells(mgmt::Event::AuthenticationFailed, AddressAnd(kMouse, mgmt::kLePublic, {mgmt::kTimeout}));

    EXPECT_TRUE(Told("bond " + std::to_string(BT_ERROR_AUTH_FAILED) + " " + kPhone));
    EXPECT_TRUE(Told("bond " + std::to_string(BT_ERROR_AUTH_REJECTED) + " " + kMouse));
    EXPECT_TRUE(Told("bond " + std::to_string(BT_ERROR_TIMED_OUT) + " " + kMouse));
}

TEST_F(DevicesTest, APhoneThatForgotTheBoxPairsAgain)
{
    KernelTells();
    Starts();
    daemon.AddDevice(kPhone, Bonded);
    Settles();

    Bytes key = {1};
    const Bytes address = AddressAnd(kPhone, mgmt::kBrEdr);
    key.insert(key.end(), address.begin(), address.end());
    kernel.Tells(mgmt::Event::NewLinkKey, key);

    EXPECT_TRUE(Told(std::string("bond 0 ") + kPhone));
}

TEST_F(DevicesTest, AKeyThatIsNotKeptIsNoBond)
{
    KernelTells();
    Starts();
    daemon.AddDevice(kPhone, Bonded);
    Settles();

    Bytes key = {0};
    const Bytes address = AddressAnd(kPhone, mgmt::kBrEdr);
    key.insert(key.end(), address.begin(), address.end());
    kernel.Tells(mgmt::Event::NewLinkKey, key);
    Connects(kMouse, mgmt::kBrEdr);

    EXPECT_TRUE(Told(std::string("link up ") + kMouse + " 0 0"));
    EXPECT_THAT(record, SizeIs(1));
}

TEST_F(DevicesTest, ABondThatTheKernelAndTheDaemonReportIsGoneOnce)
{
    KernelTells();
    Starts();
    const std::string phone = daemon.AddDevice(kPhone, Bonded);
    Settles();

    kernel.Tells(mgmt::Event::DeviceUnpaired, AddressAnd(kPhone, mgmt::kBrEdr));
    kernel.Tells(mgmt::Event::DeviceUnpaired, AddressAnd(kPhone, mgmt::kLePublic));
    ASSERT_TRUE(Told(std::string("unbond ") + kPhone));
    daemon.SetDevice(phone, Unbonded);
    daemon.Remove(phone);

    Passes(std::chrono::milliseconds(700));
    EXPECT_THAT(record, ElementsAre(std::string("unbond ") + kPhone));
}

TEST_F(DevicesTest, ABondThatTheDaemonDropsIsGone)
{
    Starts();
    const std::string phone = daemon.AddDevice(kPhone, Bonded);
    Settles();

    daemon.SetDevice(phone, Unbonded);

    EXPECT_TRUE(Told(std::string("unbond ") + kPhone));
}

TEST_F(DevicesTest, APulledAdapterTakesItsDevicesAlongButNotTheirBonds)
{
    Starts();
    daemon.AddDevice(kPhone, [](BluezDevice1* device) {
        Bonded(device);
        Connected(device);
    });
    ASSERT_TRUE(Told(std::string("link up ") + kPhone + " 0 0"));
    record.clear();

    daemon.PullAdapter();
    EXPECT_TRUE(Told("state 0 0"));
    EXPECT_TRUE(Told(std::string("link down ") + kPhone + " 0 0"));
    bt_device_info_s* stale = nullptr;
    EXPECT_EQ(bt_adapter_get_bonded_device_info(kPhone, &stale), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    record.clear();
    daemon.AddAdapter(true);
    EXPECT_TRUE(Told("state 0 1"));
    Passes(std::chrono::milliseconds(700));

    EXPECT_THAT(record, Each(Not(HasSubstr("bond"))));
}

TEST_F(DevicesTest, DevicesThatGoJustBeforeTheirAdapterAreStillBonded)
{
    Starts();
    const std::string phone = daemon.AddDevice(kPhone, Bonded);
    Settles();

    daemon.Remove(phone);
    daemon.PullAdapter();

    EXPECT_TRUE(Told("state 0 0"));
    Passes(std::chrono::milliseconds(700));
    EXPECT_THAT(record, ElementsAre("state 0 0"));
}

TEST_F(DevicesTest, ADaemonStartedAnewHasMadeNoBonds)
{
    Starts();
    daemon.AddDevice(kPhone, Bonded);
    Settles();
    daemon.Dies();
    ASSERT_TRUE(Told("state 0 0"));

    daemon.AddAdapter(true);
    daemon.AddDevice(kPhone, Bonded);
    daemon.Starts();

    EXPECT_TRUE(Told("state 0 1"));
    Passes(std::chrono::milliseconds(700));
    EXPECT_THAT(record, ElementsAre("state 0 0", "state 0 1"));
    EXPECT_THAT(Listed(), SizeIs(1));
}

TEST_F(DevicesTest, VendorAndProductComeFromTheDevicesIdentity)
{
    daemon.AddDevice(kMouse, [](BluezDevice1* device) {
        Bonded(device);
        bluez_device1_set_modalias(device, "usb:v04E8p2075d0100");
    });
    daemon.AddDevice(kPhone, Bonded);
    daemon.AddDevice(kSpeaker, [](BluezDevice1* device) {
        Bonded(device);
        bluez_device1_set_modalias(device, "bluetooth:v00E0p24");
    });
    Starts();

    unsigned vid = 0;
    unsigned pid = 0;
    EXPECT_EQ(bt_device_get_remote_vid_pid(kMouse, &vid, &pid), BT_ERROR_NONE);
    EXPECT_EQ(vid, 0x04E8U);
    EXPECT_EQ(pid, 0x2075U);
    EXPECT_EQ(bt_device_get_remote_vid_pid(kPhone, &vid, &pid), BT_ERROR_SERVICE_SEARCH_FAILED);
    EXPECT_EQ(bt_device_get_remote_vid_pid(kSpeaker, &vid, &pid), BT_ERROR_SERVICE_SEARCH_FAILED);
    EXPECT_EQ(bt_device_get_remote_vid_pid("AA:BB:CC:DD:EE:99", &vid, &pid), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(bt_device_get_remote_vid_pid(kMouse, nullptr, &pid), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(vid, 0x04E8U);
    EXPECT_EQ(pid, 0x2075U);
}

// Links.

TEST_F(DevicesTest, LinksAreToldWithTransportAndReason)
{
    KernelTells();
    Starts();

    Connects(kPhone, mgmt::kBrEdr);
    Connects(kMouse, mgmt::kLeRandom);
    Disconnects(kPhone, mgmt::kBrEdr, 1);
    Disconnects(kMouse, mgmt::kLeRandom, 5);

    EXPECT_TRUE(Told(std::string("gatt down ") + kMouse));
    EXPECT_THAT(record,
                ElementsAre(std::string("link up ") + kPhone + " 0 0", std::string("link up ") + kMouse + " 1 0",
                            std::string("gatt up ") + kMouse, std::string("link down ") + kPhone + " 0 1",
                            std::string("link down ") + kMouse + " 1 5", std::string("gatt down ") + kMouse));
}

TEST_F(DevicesTest, WhatTheDaemonSaysOfALinkThatTheKernelToldIsNoNews)
{
    KernelTells();
    Starts();
    Connects(kPhone, mgmt::kBrEdr);
    ASSERT_TRUE(Told(std::string("link up ") + kPhone + " 0 0"));

    const std::string phone = daemon.AddDevice(kPhone, Connected);
    daemon.SetDevice(phone, Disconnected);
    Settles();
    Disconnects(kPhone, mgmt::kBrEdr, 3);

    EXPECT_TRUE(Told(std::string("link down ") + kPhone + " 0 3"));
    EXPECT_THAT(record, SizeIs(2));
}

TEST_F(DevicesTest, WithoutTheRightTheDaemonsWordIsTaken)
{
    Starts();
    const std::string phone =
        daemon.AddDevice(kPhone, [](BluezDevice1* device) { bluez_device1_set_class(device, 1); });
    const std::string mouse =
        daemon.AddDevice(kMouse, [](BluezDevice1* device) { bluez_device1_set_address_type(device, "random"); });

    daemon.SetDevice(phone, Connected);
    daemon.SetDevice(mouse, Connected);
    daemon.SetDevice(mouse, Disconnected);

    EXPECT_TRUE(Told(std::string("gatt down ") + kMouse));
    EXPECT_THAT(record, ElementsAre(std::string("link up ") + kPhone + " 0 0",
                                    std::string("link up ") + kMouse + " 1 0", std::string("gatt up ") + kMouse,
                                    std::string("link down ") + kMouse + " 1 0", std::string("gatt down ") + kMouse));
    EXPECT_TRUE(support::IterateUntil([] { return LogLinesWith("CAP_NET_ADMIN is missing") == 1; }));
}

TEST_F(DevicesTest, LinksThatAreFoundAreNotTold)
{
    // One of them the daemon knows as well.
    Bytes connections = {2, 0};
    for (const Bytes& link : {AddressAnd(kPhone, mgmt::kBrEdr), AddressAnd(kMouse, mgmt::kLePublic)}) {
        connections.insert(connections.end(), link.begin(), link.end());
    }
    KernelTells(connections);
    daemon.AddDevice(kPhone, Connected);
    Starts();
    Settles();
    EXPECT_THAT(record, IsEmpty());

    Disconnects(kPhone, mgmt::kBrEdr, 2);
    Disconnects(kMouse, mgmt::kLePublic, 3);

    EXPECT_TRUE(Told(std::string("gatt down ") + kMouse));
    EXPECT_THAT(record, ElementsAre(std::string("link down ") + kPhone + " 0 2",
                                    std::string("link down ") + kMouse + " 1 3", std::string("gatt down ") + kMouse));
}

TEST_F(DevicesTest, ALinkGoesOnUnderTheIdentityOfItsDevice)
{
    KernelTells();
    Starts();
    Connects(kPrivate, mgmt::kLeRandom);
    ASSERT_TRUE(Told(std::string("gatt up ") + kPrivate));
    record.clear();

    mgmt::Writer identity;
    identity.Byte(1).Append(bluez::BytesOf(kPrivate)).Append(bluez::BytesOf(kPhone)).Byte(mgmt::kLePublic);
    kernel.Tells(mgmt::Event::NewIdentityResolvingKey, identity.Bytes());
    Disconnects(kPhone, mgmt::kLePublic, 3);

    EXPECT_TRUE(Told(std::string("gatt down ") + kPhone));
    EXPECT_THAT(record, ElementsAre(std::string("link down ") + kPhone + " 1 3", std::string("gatt down ") + kPhone));
}

TEST_F(DevicesTest, LinksEndWithThePowerAndWithTheController)
{
    KernelTells();
    Starts();
    Connects(kPhone, mgmt::kBrEdr);
    ASSERT_TRUE(Told(std::string("link up ") + kPhone + " 0 0"));

    daemon.SetAdapter([](BluezAdapter1* adapter) { bluez_adapter1_set_powered(adapter, FALSE); });
    EXPECT_TRUE(Told(std::string("link down ") + kPhone + " 0 0"));

    record.clear();
    Connects(kPhone, mgmt::kBrEdr);
    kernel.Tells(mgmt::Event::IndexRemoved, {});
    EXPECT_TRUE(Told(std::string("link down ") + kPhone + " 0 0"));
}

TEST_F(DevicesTest, LinksEndAsSoonAsTheKernelSaysThatTheControllerIsOff)
{
    KernelTells();
    Starts();
    Connects(kPhone, mgmt::kBrEdr);
    ASSERT_TRUE(Told(std::string("link up ") + kPhone + " 0 0"));
    record.clear();

    kernel.Tells(mgmt::Event::NewSettings, {0xDB, 0x0A, 0, 0});
    kernel.Tells(mgmt::Event::NewSettings, {0xDA});
    Settles();
    EXPECT_THAT(record, IsEmpty());

    kernel.Tells(mgmt::Event::NewSettings, {0xDA, 0x0A, 0, 0});
    EXPECT_TRUE(Told(std::string("link down ") + kPhone + " 0 0"));
}

TEST_F(DevicesTest, EventsOfAnotherControllerAreNotOurs)
{
    KernelTells();
    Starts();

    kernel.Tells(mgmt::Event::DeviceConnected, AddressAnd(kMouse, mgmt::kBrEdr, {0, 0, 0, 0, 0, 0}), 1);
    Connects(kPhone, mgmt::kBrEdr);

    EXPECT_TRUE(Told(std::string("link up ") + kPhone + " 0 0"));
    EXPECT_THAT(record, SizeIs(1));
}

TEST_F(DevicesTest, EventsThatAreCutOffAreDroppedAtEachLength)
{
    KernelTells();
    Starts();
    const std::vector<std::pair<mgmt::Event, Bytes>> events = {
        {mgmt::Event::DeviceConnected, AddressAnd(kMouse, mgmt::kBrEdr)},
        {mgmt::Event::DeviceDisconnected, AddressAnd(kMouse, mgmt::kBrEdr, {1})},
        {mgmt::Event::ConnectFailed, AddressAnd(kMouse, mgmt::kBrEdr, {mgmt::kNoResources})},
        {mgmt::Event::AuthenticationFailed, AddressAnd(kMouse, mgmt::kBrEdr, {5})},
        {mgmt::Event::DeviceUnpaired, AddressAnd(kMouse, mgmt::kBrEdr)},
        {mgmt::Event::NewIdentityResolvingKey, Bytes(14, 1)},
        {mgmt::Event::NewLinkKey, Bytes(8, 1)},
        {mgmt::Event::ControllerResume, Bytes(7, 2)},
        {mgmt::Event::CommandComplete, {0x15, 0, 0}},
    };
    for (const auto& [event, parameters] : events) {
        const bool isWholeWithoutItsLast = event == mgmt::Event::DeviceUnpaired;
        for (std::size_t length = 0; length + (isWholeWithoutItsLast ? 1 : 0) < parameters.size(); ++length) {
            kernel.Tells(event, Bytes(parameters.begin(), parameters.begin() + static_cast<std::ptrdiff_t>(length)));
        }
    }
    // A header that promises more than there is, and less than a header.
    kernel.Sends({0x0B, 0, 0, 0, 13, 0, 1, 2, 3});
    kernel.Sends({0x0B, 0, 0});
    kernel.Sends({0x0B});
    Connects(kPhone, mgmt::kBrEdr);

    EXPECT_TRUE(Told(std::string("link up ") + kPhone + " 0 0"));
    EXPECT_THAT(record, SizeIs(1));
    EXPECT_EQ(LogLinesWith("is cut off after"), 3);
}

TEST_F(DevicesTest, AChannelThatEndsIsDoneWithoutAndOpenedForTheNextAdapter)
{
    KernelTells();
    Starts();
    Settles();

    kernel.Ends();
    EXPECT_TRUE(support::IterateUntil([] { return LogLinesWith("management channel is at its end") == 1; }));
    EXPECT_EQ(bt_adapter_set_connectable(true), BT_ERROR_NOT_SUPPORTED);
    daemon.PullAdapter();
    ASSERT_TRUE(Told("state 0 0"));
    daemon.AddAdapter(true);
    ASSERT_TRUE(Told("state 0 1"));
    Settles();
    Connects(kPhone, mgmt::kBrEdr);

    EXPECT_TRUE(Told(std::string("link up ") + kPhone + " 0 0"));
}

TEST_F(DevicesTest, ADeviceThatIsTurnedAwayIsTold)
{
    KernelTells();
    Starts();

    kernel.Tells(mgmt::Event::ConnectFailed, AddressAnd(kMouse, mgmt::kBrEdr, {mgmt::kTimeout}));
    kernel.Tells(mgmt::Event::ConnectFailed, AddressAnd(kPhone, mgmt::kBrEdr, {mgmt::kNoResources}));

    EXPECT_TRUE(Told(std::string("too many ") + kPhone));
    EXPECT_THAT(record, SizeIs(1));
}

TEST_F(DevicesTest, NothingIsToldAfterTheCallbacksWereTakenOut)
{
    KernelTells();
    Starts();
    EXPECT_EQ(bt_device_unset_connection_state_changed_cb(), BT_ERROR_NONE);
    EXPECT_EQ(bt_device_unset_connection_state_changed_cb(), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(bt_device_unset_bond_created_cb(), BT_ERROR_NONE);
    EXPECT_EQ(bt_device_unset_bond_destroyed_cb(), BT_ERROR_NONE);
    EXPECT_EQ(bt_device_unset_auth_event_cb(), BT_ERROR_NONE);
    EXPECT_EQ(bt_gatt_unset_connection_state_changed_cb(), BT_ERROR_NONE);

    Connects(kPhone, mgmt::kLePublic);
    const std::string phone = daemon.AddDevice(kPhone);
    daemon.SetDevice(phone, Bonded);
    daemon.SetDevice(phone, Unbonded);
    Settles();

    EXPECT_THAT(record, IsEmpty());
}

// Signal strength.

class SignalStrengthTest : public DevicesTest
{
protected:
    static void OnStrength(char* address, int linkType, int rssi, void* list)
    {
        static_cast<std::vector<std::string>*>(list)->push_back(std::string(address) + " " + std::to_string(linkType) +
                                                                " " + std::to_string(rssi));
    }

    void PhoneIsConnected(std::uint8_t type = mgmt::kBrEdr)
    {
        KernelTells();
        Starts();
        Connects(kPhone, type);
        ASSERT_TRUE(Told(std::string("link up ") + kPhone + (type == mgmt::kBrEdr ? " 0 0" : " 1 0")));
    }

    void StrengthIs(int rssi, std::uint8_t type = mgmt::kBrEdr)
    {
        kernel.Answers(mgmt::Command::GetConnectionInformation, mgmt::kSuccess,
                       AddressAnd(kPhone, type, {static_cast<std::uint8_t>(rssi), 4, 4}));
    }

    std::vector<std::string> strengths;
};

TEST_F(SignalStrengthTest, IsToldLaterForTheLinkThatThereIs)
{
    PhoneIsConnected(mgmt::kLeRandom);
    StrengthIs(-63, mgmt::kLeRandom);

    EXPECT_EQ(bt_device_get_rssi_strength("aa:bb:cc:dd:ee:01", BT_DEVICE_LINK_ANY, OnStrength, &strengths),
              BT_ERROR_NONE);
    EXPECT_THAT(strengths, IsEmpty());

    EXPECT_TRUE(support::IterateUntil([&] { return !strengths.empty(); }));
    EXPECT_THAT(strengths, ElementsAre(std::string(kPhone) + " 255 -63"));
    EXPECT_THAT(kernel.Commands(), Contains("mgmt 0031 01 ee dd cc bb aa 02"));
}

TEST_F(SignalStrengthTest, IsNotToldWhenItIsUnknown)
{
    PhoneIsConnected();
    StrengthIs(127);
    EXPECT_EQ(bt_device_get_rssi_strength(kPhone, BT_DEVICE_LINK_BREDR, OnStrength, &strengths), BT_ERROR_NONE);
    kernel.Answers(mgmt::Command::GetConnectionInformation, mgmt::kNotConnected, AddressAnd(kPhone, mgmt::kBrEdr));
    EXPECT_EQ(bt_device_get_rssi_strength(kPhone, BT_DEVICE_LINK_BREDR, OnStrength, &strengths), BT_ERROR_NONE);
    kernel.Answers(mgmt::Command::GetConnectionInformation, mgmt::kSuccess, {1, 2});
    EXPECT_EQ(bt_device_get_rssi_strength(kPhone, BT_DEVICE_LINK_BREDR, OnStrength, &strengths), BT_ERROR_NONE);
    Connects(kMouse, mgmt::kBrEdr);
    ASSERT_TRUE(Told(std::string("link up ") + kMouse + " 0 0"));

    EXPECT_THAT(strengths, IsEmpty());
}

TEST_F(SignalStrengthTest, IsRefusedForWhatHasNoSuchLink)
{
    PhoneIsConnected();

    EXPECT_EQ(bt_device_get_rssi_strength(kMouse, BT_DEVICE_LINK_ANY, OnStrength, &strengths),
              BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(bt_device_get_rssi_strength(kPhone, BT_DEVICE_LINK_LE, OnStrength, &strengths),
              BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(bt_device_get_rssi_strength(kPhone, 7, OnStrength, &strengths), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_device_get_rssi_strength("", BT_DEVICE_LINK_ANY, OnStrength, &strengths), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_device_get_rssi_strength(kPhone, BT_DEVICE_LINK_ANY, nullptr, nullptr), BT_ERROR_INVALID_PARAMETER);
}

TEST_F(SignalStrengthTest, IsNotSupportedWithoutTheRight)
{
    Starts();

    EXPECT_EQ(bt_device_get_rssi_strength(kPhone, BT_DEVICE_LINK_ANY, OnStrength, &strengths), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(LogLinesWith("bt_device_get_rssi_strength is not supported"), 1);
}

TEST_F(SignalStrengthTest, IsNotToldAfterTheEnd)
{
    PhoneIsConnected();
    StrengthIs(-40);
    EXPECT_EQ(bt_device_get_rssi_strength(kPhone, BT_DEVICE_LINK_ANY, OnStrength, &strengths), BT_ERROR_NONE);

    EXPECT_EQ(bt_product_deinit(), BT_ERROR_NONE);

    Passes(std::chrono::milliseconds(50));
    EXPECT_THAT(strengths, IsEmpty());
}

// A daemon that says strange things.

TEST_F(DevicesTest, ObjectsOfWrongTypesAreLeftOutAndTheRestIsTaken)
{
    Starts();
    const auto properties = [](const char* text) {
        return g_variant_new_parsed(text); // the texts stand below
    };
    daemon.Emits("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded",
                 properties("(@o '/org/bluez/hci0/dev_AA_BB_CC_DD_EE_01', {'org.bluez.Device1': {'Address': <7>, "
                            "'Name': <true>, 'Bonded': <'yes'>, 'Class': <'4'>, 'UUIDs': <[1, 2]>, 'Connected': "
                            "<true>}, 'org.bluez.Battery1': {'Percentage': <'full'>}})"));
    daemon.Emits("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded", properties("('no path', 3)"));
    daemon.Emits("/", "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved", properties("(5,)"));
    daemon.Emits("/org/bluez/hci0", "org.freedesktop.DBus.Properties", "PropertiesChanged",
                 properties("('org.bluez.Adapter1', {'Powered': <'off'>}, @as [])"));
    daemon.Emits("/org/bluez/hci0", "org.freedesktop.DBus.Properties", "PropertiesChanged", properties("(1, 2, 3)"));
    daemon.Emits("/org/bluez/hci9/dev_00", "org.freedesktop.DBus.Properties", "PropertiesChanged",
                 properties("('org.bluez.Device1', {'Bonded': <true>}, @as [])"));
    daemon.Emits("/", "org.freedesktop.DBus.ObjectManager", "InterfacesAdded",
                 properties("(@o '/org/bluez/hci0/nameless', {'org.bluez.Device1': {'Bonded': <true>}})"));
    Settles();

    EXPECT_THAT(record, ElementsAre(std::string("link up ") + kPhone + " 1 0", std::string("gatt up ") + kPhone));
    EXPECT_THAT(Listed(), IsEmpty());
}

TEST_F(DevicesTest, ADaemonThatTellsNothingAtFirstIsAskedAgain)
{
    daemon.AddAdapter(true);
    daemon.Starts();
    daemon.AnswersWithError("GetManagedObjects", "org.freedesktop.DBus.Error.Failed");
    Listens();
    ASSERT_EQ(bt_product_init(), BT_ERROR_NONE);
    EXPECT_EQ(LogLinesWith("does not tell its objects"), 1);

    daemon.Behaves();

    EXPECT_TRUE(Told("state 0 1"));
}

TEST_F(DevicesTest, ADaemonThatAnswersLateIsTakenWhenItComes)
{
    daemon.AddAdapter(true);
    daemon.Starts();
    daemon.Stalls("GetManagedObjects");
    Listens();
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_EQ(bt_product_init(), BT_ERROR_NONE);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1300));
    daemon.Behaves();

    EXPECT_TRUE(Told("state 0 1"));
}

TEST_F(DevicesTest, SignalsOfOthersAreNotTheDaemons)
{
    Starts();
    // Sent straight to us, as anybody can.
    GDBusConnection* stranger = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    const std::string own = g_dbus_connection_get_unique_name(bus::SystemBus::Shared().Connection());
    g_dbus_connection_emit_signal(
        stranger, own.c_str(), "/org/bluez/hci0", "org.freedesktop.DBus.Properties", "PropertiesChanged",
        g_variant_new_parsed("('org.bluez.Adapter1', {'Powered': <false>}, @as [])"), nullptr);
    g_dbus_connection_flush_sync(stranger, nullptr, nullptr);
    g_object_unref(stranger);
    Settles();

    EXPECT_THAT(record, IsEmpty());
}

} // namespace
} // namespace linux_test
