// Shop mode, reset, and the device information query.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/Remotes.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_error.h>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

namespace {

constexpr int kBusy = BT_ERROR_RESOURCE_BUSY;

class CommandsTest : public RemotesTest
{
protected:
    void StartsWithBoth()
    {
        Starts();
        RemoteConnects();
        WheelConnects();
        tv.tape.Clear();
    }
    std::vector<std::string> Sent()
    {
        return Deeds("bt_hid_send_device_command");
    }
};

// --- Shop mode ---

TEST_F(CommandsTest, OnlyUseModeOneIsShopMode)
{
    StartsWithBoth();
    remotes->SendShopModeToSmartRC(1);
    remotes->SendShopModeToHalvo(1);
    EXPECT_THAT(Sent(), ElementsAre(Command(kRemote, 0x11, 0x06), Command(kWheel, 0x11, 0x06)));
    for (const int mode : {0, 2, -1, 257}) {
        tv.tape.Clear();
        remotes->SendShopModeToSmartRC(mode);
        remotes->SendShopModeToHalvo(mode);
        EXPECT_THAT(Sent(), ElementsAre(Command(kRemote, 0x11, 0x07), Command(kWheel, 0x11, 0x07))) << mode;
        EXPECT_EQ(TimesSaid("I Shop mode is " + std::to_string(mode)), 2);
    }
}

TEST_F(CommandsTest, ShopModeIsLoggedAndTheRequestEndsWithItsSuccess)
{
    StartsWithBoth();
    remotes->SendShopModeToSmartRC(1);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I Send shopmode to smartRC", "I Shop mode is 1",
                                                std::string("I Send Shop mode :") + kRemote + ", 0x11, 0x06",
                                                "I destructor of ShopModeData"));
    tv.tape.Clear();
    remotes->SendShopModeToHalvo(0);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I Send shopmode to HALVO_WHELL", "I Shop mode is 0",
                                                std::string("I Send Shop mode :") + kWheel + ", 0x11, 0x07",
                                                "I destructor of ShopModeData"));
}

TEST_F(CommandsTest, WithoutARemoteNoShopModeIsSent)
{
    Starts();
    remotes->SendShopModeToSmartRC(1);
    remotes->SendShopModeToHalvo(1);
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), IsEmpty());
}

TEST_F(CommandsTest, ADeviceTypeThatCannotBeReadIsZero)
{
    StartsWithBoth();
    tv.Fails("bt_hid_get_smart_rc_device_type", BT_ERROR_OPERATION_FAILED);
    remotes->SendShopModeToSmartRC(1);
    remotes->SendShopModeToHalvo(1);
    EXPECT_THAT(Sent(), ElementsAre(Command(kRemote, 0, 0x06), Command(kWheel, 0, 0x06)));
    EXPECT_TRUE(HasSaid(std::string("I Send Shop mode :") + kRemote + ", 0x00, 0x06"));
}

TEST_F(CommandsTest, ABusyLinkIsTriedAgainEveryFifthOfASecond)
{
    StartsWithBoth();
    tv.Fails("bt_hid_send_device_command", kBusy, 2);
    remotes->SendShopModeToSmartRC(1);
    EXPECT_THAT(Sent(), SizeIs(1));
    EXPECT_EQ(tv.tape.Messages().back(), "E Sending shop mode command failed = RESOURCE_BUSY");
    EXPECT_THAT(tv.tape.Timers(), ElementsAre(testing::EndsWith(": 200 ms")));
    Passes(5s);
    EXPECT_THAT(Sent(), ElementsAre(Command(kRemote, 0x11, 0x06, kBusy), Command(kRemote, 0x11, 0x06, kBusy),
                                    Command(kRemote, 0x11, 0x06)));
    EXPECT_THAT(Said("RetryTimerSendShopMode"),
                ElementsAre("W bt_hid_send_device_command failed try again, try count: 1",
                            std::string("I Sent Shop mode :") + kRemote + ", 0x11, 0x06"));
    EXPECT_FALSE(HasSaid("I destructor of ShopModeData")); // the timer has no such deleter
}

TEST_F(CommandsTest, ALinkThatStaysBusyIsSentSevenInAll)
{
    StartsWithBoth();
    tv.Fails("bt_hid_send_device_command", kBusy);
    remotes->SendShopModeToSmartRC(1);
    Passes(5s);
    EXPECT_THAT(Sent(), SizeIs(1 + 6));
    EXPECT_THAT(Sent(), Each(Command(kRemote, 0x11, 0x06, kBusy)));
    EXPECT_TRUE(HasSaid("W bt_hid_send_device_command failed try again, try count: 5"));
    EXPECT_FALSE(HasSaid("W bt_hid_send_device_command failed try again, try count: 6"));
    EXPECT_EQ(tv.tape.Messages().back(), std::string("I Sent Shop mode :") + kRemote + ", 0x11, 0x06");
}

TEST_F(CommandsTest, TheRetriesOfShopModeAreSharedAndNeverComeBack)
{
    StartsWithBoth();
    tv.Fails("bt_hid_send_device_command", kBusy, 3);
    remotes->SendShopModeToSmartRC(1);
    Passes(5s);
    EXPECT_THAT(Sent(), SizeIs(4)); // two retries used, then a success
    tv.tape.Clear();
    tv.Fails("bt_hid_send_device_command", kBusy);
    remotes->SendShopModeToHalvo(1);
    Passes(5s);
    EXPECT_THAT(Sent(), SizeIs(1 + 4)); // three left, and the one that gives up
    tv.tape.Clear();
    remotes->SendShopModeToSmartRC(0);
    Passes(5s);
    EXPECT_THAT(Sent(), ElementsAre(Command(kRemote, 0x11, 0x07, kBusy), Command(kRemote, 0x11, 0x07, kBusy)));
    EXPECT_EQ(Said("RetryTimerSendShopMode").back(), std::string("I Sent Shop mode :") + kRemote + ", 0x11, 0x07");
}

TEST_F(CommandsTest, SeveralRequestsMayBePendingAtOnce)
{
    StartsWithBoth();
    tv.Fails("bt_hid_send_device_command", kBusy, 4);
    remotes->SendShopModeToSmartRC(1);
    remotes->SendShopModeToHalvo(0);
    Passes(5s);
    EXPECT_THAT(Sent(), ElementsAre(Command(kRemote, 0x11, 0x06, kBusy), Command(kWheel, 0x11, 0x07, kBusy),
                                    Command(kRemote, 0x11, 0x06, kBusy), Command(kWheel, 0x11, 0x07, kBusy),
                                    Command(kRemote, 0x11, 0x06), Command(kWheel, 0x11, 0x07)));
}

TEST_F(CommandsTest, APendingRequestGoesToItsAddressAlsoWhenTheRemoteHasGone)
{
    StartsWithBoth();
    tv.Fails("bt_hid_send_device_command", kBusy, 1);
    remotes->SendShopModeToSmartRC(1);
    RemoteGoes();
    tv.tape.Clear();
    Passes(1s);
    EXPECT_THAT(Sent(), Each(testing::StartsWith(std::string("bt_hid_send_device_command(\"") + kRemote)));
    EXPECT_THAT(Sent(), testing::Not(IsEmpty()));
}

TEST_F(CommandsTest, ARequestThatIsNoneIsDropped)
{
    StartsWithBoth();
    remotes->SendShopMode(nullptr);
    EXPECT_EQ(CSmartRcEventHandler::RetryTimerSendShopMode(nullptr), 0);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E shopModeData is nullptr", "E userData is NULL"));
    EXPECT_THAT(Sent(), IsEmpty());
}

// --- Reset ---

TEST_F(CommandsTest, AResetGoesToBoth)
{
    StartsWithBoth();
    EXPECT_TRUE(remotes->SendResetCommand());
    EXPECT_TRUE(remotes->SendResetCommandToHalvoWheel());
    EXPECT_THAT(Sent(), ElementsAre(Command(kRemote, 0x11, 0x05), Command(kWheel, 0x11, 0x05)));
    EXPECT_EQ(TimesSaid("E <Not Error> Send reset cmd to Smart rc is success"), 1);
    EXPECT_EQ(TimesSaid("E <Not Error> Send reset cmd to halvowheel is success"), 1);
}

TEST_F(CommandsTest, AResetThatFailsSaysSo)
{
    StartsWithBoth();
    tv.Fails("bt_hid_send_device_command", kBusy);
    EXPECT_FALSE(remotes->SendResetCommand());
    EXPECT_FALSE(remotes->SendResetCommandToHalvoWheel());
    EXPECT_EQ(TimesSaid("E Sending Reset command failed = RESOURCE_BUSY"), 2);
    EXPECT_THAT(Sent(), SizeIs(2)); // no retry here
    Passes(5s);
    EXPECT_THAT(Sent(), SizeIs(2));
}

TEST_F(CommandsTest, WhereNothingIsConnectedThereIsNothingToReset)
{
    Starts();
    EXPECT_TRUE(remotes->SendResetCommand());
    EXPECT_TRUE(remotes->SendResetCommandToHalvoWheel());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I SmartRc is not connected so don't need to send reset cmd",
                                                "I halvowheel is not connected so don't need to send reset cmd"));
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    RemoteConnects();
    WheelConnects();
    tv.smartRemote.connected = false; // the platform knows already, the service does not yet
    tv.wheel.connected = false;
    tv.tape.Clear();
    EXPECT_TRUE(remotes->SendResetCommand());
    EXPECT_TRUE(remotes->SendResetCommandToHalvoWheel());
    EXPECT_EQ(TimesSaid("I SmartRc is not connected so don't need to send reset cmd"), 1);
    EXPECT_EQ(TimesSaid("I halvowheel is not connected so don't need to send reset cmd"), 1);
    EXPECT_THAT(Sent(), IsEmpty());
}

// --- Device information ---

TEST_F(CommandsTest, TheQueryAsksEachRemote)
{
    StartsWithBoth();
    remotes->SendDeviceInfoQuery(SmartRc);
    remotes->SendDeviceInfoQuery(HalvoWheel);
    EXPECT_THAT(Deeds("bt_hid_send_rc_command"),
                ElementsAre(RcCommand(kRemote, "01 00 00"), RcCommand(kWheel, "01 00 00")));
    EXPECT_TRUE(HasSaid(std::string("I send device info query to ") + kRemote + " : 0"));
    EXPECT_TRUE(HasSaid(std::string("I send device info query to ") + kWheel + " : 0"));
}

TEST_F(CommandsTest, AQueryThatFailsIsNotRepeated)
{
    StartsWithBoth();
    tv.Fails("bt_hid_send_rc_command", -16);
    remotes->SendDeviceInfoQuery(HalvoWheel);
    EXPECT_TRUE(HasSaid(std::string("I send device info query to ") + kWheel + " : -16"));
    Passes(5s);
    EXPECT_THAT(Deeds("bt_hid_send_rc_command"), SizeIs(1));
}

TEST_F(CommandsTest, AQueryWithoutAnAddressIsNotSent)
{
    StartsWithBoth();
    tv.Fails("bt_hid_get_smart_rc_address", BT_ERROR_OPERATION_FAILED);
    tv.Fails("bt_hid_get_halvo_switch_address", BT_ERROR_OPERATION_FAILED);
    remotes->SendDeviceInfoQuery(SmartRc);
    remotes->SendDeviceInfoQuery(HalvoWheel);
    remotes->SendDeviceInfoQuery(static_cast<Remote_Control_Device_Type>(2));
    EXPECT_EQ(TimesSaid("E failed to get device address"), 3);
    EXPECT_THAT(Deeds("bt_hid_send_rc_command"), IsEmpty());
}

TEST_F(CommandsTest, TheWheelIsAskedOnceALittleLater)
{
    StartsWithBoth();
    remotes->AddTimerSendDeviceInfoQueryToHalvoWheel();
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I add timer for seng device info query"));
    EXPECT_THAT(tv.tape.Timers(), ElementsAre(testing::EndsWith(": 150 ms")));
    EXPECT_THAT(Deeds("bt_hid_send_rc_command"), IsEmpty());
    Passes(1s);
    EXPECT_THAT(Deeds("bt_hid_send_rc_command"), ElementsAre(RcCommand(kWheel, "01 00 00")));
    Passes(2s);
    EXPECT_THAT(Deeds("bt_hid_send_rc_command"), SizeIs(1));
}

} // namespace
