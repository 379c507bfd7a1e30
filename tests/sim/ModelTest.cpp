#include "sim/Adapter.h"
#include "sim/Devices.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/ScreenAndSound.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_hid.h>
#include <bt_socket.h>
#include <device_power.h>
#include <lwipc.h>
#include <screen_manager.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const char* kRemote = "AA:BB:CC:DD:EE:01";
constexpr const char* kSpeaker = "AA:BB:CC:DD:EE:02";

using Events = std::vector<std::string>;

void RecordAdapter(int result, bt_adapter_state_e state, void* events)
{
    static_cast<Events*>(events)->push_back("adapter " + std::to_string(state) + " " + std::to_string(result));
}

TEST(Adapter, ComesUpAfterItsDelayAndTellsOnce)
{
    sim::VirtualClock clock;
    sim::Television tv;
    tv.adapter.delay = 800ms;
    Events events;
    bt_adapter_set_state_changed_cb(RecordAdapter, &events);

    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_NONE);
    clock.Advance(700ms);
    EXPECT_THAT(events, IsEmpty());
    EXPECT_EQ(tv.adapter.state, BT_ADAPTER_DISABLED);
    clock.Advance(200ms);
    EXPECT_THAT(events, ElementsAre("adapter 1 0"));
    EXPECT_EQ(bt_adapter_enable(), BT_ERROR_ALREADY_DONE);
    clock.Advance(1s);
    EXPECT_THAT(events, ElementsAre("adapter 1 0"));
}

TEST(Adapter, AResetForgetsAllPairingsAndTellsOfEach)
{
    sim::Television tv;
    tv.devices.Knows({.address = kRemote});
    tv.devices.Knows({.address = kSpeaker});
    Events events;
    bt_device_set_bond_destroyed_cb(
        [](int, char* address, void* list) { static_cast<Events*>(list)->push_back(address); }, &events);
    EXPECT_EQ(bt_adapter_reset(), BT_ERROR_NONE);
    EXPECT_THAT(tv.devices.Bonded(), IsEmpty());
    EXPECT_THAT(events, IsEmpty());
    support::DrainMainLoop();
    EXPECT_THAT(events, ElementsAre(kRemote, kSpeaker));
}

TEST(Adapter, CountsListeningSocketsByTheirUuid)
{
    sim::Television tv;
    int socket = 0;
    bt_socket_create_rfcomm("U", &socket);
    EXPECT_EQ(tv.adapter.ListeningSockets("U"), 0);
    bt_socket_listen_and_accept_rfcomm(socket, 10);
    EXPECT_EQ(tv.adapter.ListeningSockets("U"), 1);
    bt_socket_destroy_rfcomm(socket);
    EXPECT_EQ(tv.adapter.ListeningSockets("U"), 0);
}

TEST(Devices, BondsMayBeRemovedWhileTheyAreListed)
{
    sim::Television tv;
    for (const char* address : {"AA:BB:CC:DD:EE:01", "AA:BB:CC:DD:EE:02", "AA:BB:CC:DD:EE:03"}) {
        tv.devices.Knows({.address = address});
    }
    int seen = 0;
    bt_adapter_foreach_bonded_device(
        [](bt_device_info_s* info, void* count) {
            ++*static_cast<int*>(count);
            bt_device_destroy_bond(info->remote_address);
            return true;
        },
        &seen);
    EXPECT_EQ(seen, 3);
    EXPECT_THAT(tv.devices.Bonded(), IsEmpty());
}

TEST(Devices, AStrangerThatConnectsIsNotBonded)
{
    sim::Television tv;
    tv.devices.Connects(kSpeaker);
    unsigned int vendor = 7;
    unsigned int product = 8;
    EXPECT_EQ(bt_device_get_remote_vid_pid(kSpeaker, &vendor, &product), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
    EXPECT_EQ(vendor, 7U);
    EXPECT_EQ(product, 8U);
    EXPECT_THAT(tv.devices.Bonded(), IsEmpty());

    tv.devices.Bonds({.address = kSpeaker});
    ASSERT_TRUE(tv.devices.IsBonded(kSpeaker));
    EXPECT_TRUE(tv.devices.Find(kSpeaker)->connected);
}

TEST(Devices, ABondThatIsGoneDoesNotComeBackWithTheEndOfTheLink)
{
    sim::Television tv;
    tv.devices.Knows({.address = kSpeaker});
    tv.devices.Connects(kSpeaker);
    EXPECT_EQ(bt_device_destroy_bond(kSpeaker), BT_ERROR_NONE);
    tv.devices.Disconnects(kSpeaker);
    EXPECT_FALSE(tv.devices.IsBonded(kSpeaker));
    EXPECT_EQ(bt_device_destroy_bond(kSpeaker), BT_ERROR_REMOTE_DEVICE_NOT_BONDED);
}

TEST(Devices, AStrangersSignalStrengthIsKnownWhileItIsConnected)
{
    sim::Television tv;
    static int answers = 0;
    const auto count = [](char*, int, int, void*) { ++answers; };
    EXPECT_EQ(bt_device_get_rssi_strength(kSpeaker, 0xFF, count, nullptr), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    tv.devices.Connects(kSpeaker);
    EXPECT_EQ(bt_device_get_rssi_strength(kSpeaker, 0xFF, count, nullptr), BT_ERROR_NONE);
    support::DrainMainLoop();
    EXPECT_EQ(answers, 1);
    tv.devices.Disconnects(kSpeaker);
    EXPECT_EQ(bt_device_get_rssi_strength(kSpeaker, 0xFF, count, nullptr), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    support::DrainMainLoop();
    EXPECT_EQ(answers, 1);
}

TEST(Devices, SignalStrengthComesLaterOrNever)
{
    sim::Television tv;
    tv.devices.Knows({.address = kSpeaker, .rssi = -47});
    tv.devices.Knows({.address = kRemote, .rssi = std::nullopt});
    static std::vector<int> answers;
    const auto record = [](char*, int, int rssi, void*) { answers.push_back(rssi); };

    EXPECT_EQ(bt_device_get_rssi_strength(kSpeaker, 0xFF, record, nullptr), 0);
    EXPECT_THAT(answers, IsEmpty());
    support::DrainMainLoop();
    EXPECT_THAT(answers, ElementsAre(-47));
    EXPECT_EQ(bt_device_get_rssi_strength(kRemote, 0xFF, record, nullptr), 0);
    support::DrainMainLoop();
    EXPECT_THAT(answers, ElementsAre(-47));
}

TEST(Devices, ARequestIsRejectedOnce)
{
    sim::Television tv;
    tv.devices.AsksForAuthorization(kSpeaker, "Speaker", 18);
    EXPECT_EQ(bt_device_reject_authorization(kSpeaker, 18), BT_ERROR_NONE);
    EXPECT_EQ(bt_device_reject_authorization(kSpeaker, 18), BT_ERROR_NOT_IN_PROGRESS);
}

Events LinkEvents(const std::function<void(sim::Television&)>& happening)
{
    sim::Television tv;
    tv.smartRemote.IsConnected(kRemote);
    Events events;
    bt_device_set_connection_state_changed_cb(
        [](bool connected, bt_device_connection_info_s* info, void* list) {
            static_cast<Events*>(list)->push_back("link " + std::to_string(connected) + " " +
                                                  std::to_string(info->disconnect_reason));
        },
        &events);
    bt_hid_set_smart_rc_connection_cb(
        [](bool connected, bt_device_info_s* info, void* list) {
            static_cast<Events*>(list)->push_back("remote " + std::to_string(connected) + " " + info->remote_address);
        },
        &events);
    happening(tv);
    support::DrainMainLoop();
    return events;
}

TEST(SmartRemote, ALostLinkIsToldBeforeTheRemoteItself)
{
    EXPECT_THAT(LinkEvents([](sim::Television& tv) { tv.smartRemote.LosesLink(1); }),
                ElementsAre("link 0 1", std::string("remote 0 ") + kRemote));
}

TEST(SmartRemote, AnOrderlyDisconnectIsToldByTheRemoteFirst)
{
    EXPECT_THAT(LinkEvents([](sim::Television& tv) { tv.smartRemote.Disconnects(2); }),
                ElementsAre(std::string("remote 0 ") + kRemote, "link 0 2"));
}

TEST(SmartRemote, TakesCommandsOnlyWhileItIsConnected)
{
    sim::Television tv;
    EXPECT_EQ(bt_hid_send_device_command(kRemote, 0x11, 0x06), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    tv.smartRemote.IsConnected(kRemote);
    EXPECT_EQ(bt_hid_send_device_command(kRemote, 0x11, 0x06), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, true), BT_ERROR_NONE);
    EXPECT_EQ(bt_hid_set_conn_no_latency(kRemote, true), BT_ERROR_ALREADY_DONE);
    EXPECT_EQ(tv.tape.Actions().front(), R"(bt_hid_send_device_command("AA:BB:CC:DD:EE:01", 0x11, 0x06) = -29359861)");
}

TEST(Power, ALockRunsOutAndASecondOneReplacesItsTime)
{
    sim::VirtualClock clock;
    sim::Television tv;
    device_power_lock_state(2, 15'000);
    clock.Advance(10s);
    device_power_lock_state(2, 15'000);
    clock.Advance(10s);
    EXPECT_TRUE(tv.power.IsLocked(2));
    clock.Advance(6s);
    EXPECT_FALSE(tv.power.IsLocked(2));
    EXPECT_EQ(device_power_unlock_state(2), -1);
}

TEST(Screen, TheLowPowerLockRunsOutAndASecondOneReplacesItsTime)
{
    sim::VirtualClock clock;
    sim::Television tv;
    EXPECT_EQ(screen_manager_set_ambient_lock(1, 60'000), 0);
    clock.Advance(40s);
    EXPECT_EQ(screen_manager_set_ambient_lock(1, 60'000), 0);
    clock.Advance(40s);
    EXPECT_TRUE(tv.screen.IsAmbientLocked());
    clock.Advance(21s);
    EXPECT_FALSE(tv.screen.IsAmbientLocked());
    EXPECT_EQ(tv.tape.All().back(), "the lock of the low-power picture runs out");
}

TEST(Screen, ALowPowerLockThatWasGivenFreeDoesNotRunOut)
{
    sim::VirtualClock clock;
    sim::Television tv;
    screen_manager_set_ambient_lock(1, 60'000);
    EXPECT_TRUE(tv.screen.IsAmbientLocked());
    EXPECT_EQ(screen_manager_set_ambient_lock(0, 0), 0);
    EXPECT_FALSE(tv.screen.IsAmbientLocked());
    clock.Advance(61s);
    EXPECT_EQ(tv.tape.All().back(), "screen_manager_set_ambient_lock(0, 0) = 0");
}

TEST(Power, APowerOffIsToldInItsTwoNotices)
{
    sim::Television tv;
    Events events;
    device_power_subscribe_poweroff_event(
        [](device_poweroff_info* info, void* list) {
            static_cast<Events*>(list)->push_back("off " + std::to_string(info->option));
            return 0;
        },
        &events);
    device_power_subscribe_post_poweroff_event(
        [](device_poweroff_info* info, void* list) {
            static_cast<Events*>(list)->push_back("post " + std::to_string(info->option));
            return 0;
        },
        &events);
    tv.power.PowersOff(13);
    support::DrainMainLoop();
    EXPECT_THAT(events, ElementsAre("off 13", "post 13"));
}

TEST(Flags, ArePostedOrNot)
{
    sim::Television tv;
    EXPECT_LT(LwipcIsDone("/tmp/.bt_irmonitor"), 1);
    tv.PostsFlag("/tmp/.bt_irmonitor");
    EXPECT_GE(LwipcIsDone("/tmp/.bt_irmonitor"), 1);
}

} // namespace
