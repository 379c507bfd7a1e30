// The IR key code, ten seconds after the remote has come.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/Features.h"
#include "sim/Power.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_error.h>
#include <device_power.h>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

namespace {

constexpr int kBusy = BT_ERROR_RESOURCE_BUSY;

class IrKeyCodeTest : public RemotesTest
{
protected:
    void StartsWithRemote()
    {
        Starts();
        RemoteConnects();
        tv.tape.Clear();
    }
    /// Key codes sent since the tape was cleared.
    std::vector<std::string> Sent()
    {
        return Deeds("bt_hid_send_rc_command");
    }
};

TEST_F(IrKeyCodeTest, TheKeyCodeIsSentOnceTenSecondsAfterTheConnection)
{
    StartsWithRemote();
    Passes(8s); // timers in seconds may come a little early, or up to a second late
    EXPECT_THAT(Sent(), IsEmpty());
    Passes(3s);
    EXPECT_THAT(Sent(), ElementsAre(RcCommand(kRemote, "24 07"))); // the low byte of the factory's number
    EXPECT_THAT(Said("SendIrKeyCodeCommand"), ElementsAre("I bt_hid_send_rc_command(0x24, 0x7) : [0]", "I success"));
    Passes(60s);
    EXPECT_THAT(Sent(), SizeIs(1));
}

TEST_F(IrKeyCodeTest, ARemoteThatKeepsFailingIsSentFourTenSecondsApart)
{
    StartsWithRemote();
    tv.Fails("bt_hid_send_rc_command", kBusy);
    for (int sends = 1; sends <= 4; ++sends) {
        Passes(sends == 1 ? 11s : 10s);
        EXPECT_THAT(Sent(), SizeIs(sends));
    }
    EXPECT_THAT(Sent(), Each(RcCommand(kRemote, "24 07", kBusy)));
    Passes(120s);
    EXPECT_THAT(Sent(), SizeIs(4));
    EXPECT_THAT(Said("SendIrKeyCodeCommand").back(), "I retry count : 3");
    EXPECT_FALSE(HasSaid("I success"));
}

TEST_F(IrKeyCodeTest, ASuccessEndsTheRetriesAndTheCount)
{
    StartsWithRemote();
    tv.Fails("bt_hid_send_rc_command", kBusy, 2);
    Passes(62s);
    EXPECT_THAT(Sent(), SizeIs(3));
    EXPECT_TRUE(HasSaid("I success"));
    RemoteConnects();
    tv.Fails("bt_hid_send_rc_command", kBusy);
    tv.tape.Clear();
    Passes(120s);
    EXPECT_THAT(Sent(), SizeIs(4));
}

TEST_F(IrKeyCodeTest, TheFourthSendEndsItEvenWhenItSucceeds)
{
    StartsWithRemote();
    tv.Fails("bt_hid_send_rc_command", kBusy, 3);
    Passes(120s);
    EXPECT_THAT(Sent(), SizeIs(4));
    EXPECT_EQ(Sent().back(), RcCommand(kRemote, "24 07"));
    EXPECT_TRUE(HasSaid("I retry count : 3"));
    EXPECT_FALSE(HasSaid("I success"));
}

TEST_F(IrKeyCodeTest, ARemoteThatGoesIsNotSentTheKeyCode)
{
    StartsWithRemote();
    RemoteGoes();
    Passes(60s);
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(IrKeyCodeTest, TheCountOutlivesTheRemote)
{
    StartsWithRemote();
    tv.Fails("bt_hid_send_rc_command", kBusy);
    Passes(21s);
    EXPECT_THAT(Sent(), SizeIs(2));
    RemoteGoes();
    RemoteConnects(kOtherRemote);
    tv.tape.Clear();
    Passes(120s);
    EXPECT_THAT(Sent(), SizeIs(2));
}

TEST_F(IrKeyCodeTest, EveryConnectionStartsTheTenSecondsAnew)
{
    StartsWithRemote();
    Passes(8s);
    tv.tape.Clear();
    RemoteConnects();
    EXPECT_TRUE(HasSaid("I Remove IR Key code timer"));
    EXPECT_TRUE(HasSaid("I Add IR Key code timer"));
    Passes(8s);
    EXPECT_THAT(Sent(), IsEmpty());
    Passes(60s);
    EXPECT_THAT(Sent(), SizeIs(1));
}

TEST_F(IrKeyCodeTest, AConnectionAfterTheSendStartsWithoutAnOldTimer)
{
    StartsWithRemote();
    Passes(12s);
    tv.tape.Clear();
    RemoteConnects(); // an id that is over must not be removed again: GLib would complain
    EXPECT_FALSE(HasSaid("I Remove IR Key code timer"));
    RemoteGoes();
    EXPECT_TRUE(HasSaid("I Remove IR Key code timer"));
    RemoteGoes();
}

TEST_F(IrKeyCodeTest, OnlyInNormalPowerIsItSent)
{
    StartsWithRemote();
    for (const power_state_e state : {1, 2, 3, 4}) {
        tv.power.state = state;
        tv.tape.Clear();
        EXPECT_FALSE(remotes->SendIrKeyCodeCommand());
        EXPECT_TRUE(HasSaid("I power state is not normal. Do not send year information"));
        EXPECT_THAT(Sent(), IsEmpty());
    }
    tv.power.state = 0;
    EXPECT_FALSE(remotes->SendIrKeyCodeCommand());
    EXPECT_THAT(Sent(), SizeIs(1));
}

TEST_F(IrKeyCodeTest, ARemoteThatThePlatformDoesNotHaveIsNotSent)
{
    StartsWithRemote();
    tv.Fails("bt_hid_get_smart_remote_conn_status", BT_ERROR_OPERATION_FAILED);
    Passes(30s);
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(Said("SendIrKeyCodeCommand"), IsEmpty());
    EXPECT_EQ(TimesSaid("E get remote conn status is failed OPERATION_FAILED"), 1) << "and not tried again";
}

TEST_F(IrKeyCodeTest, ASetWithoutAKeyCodeSendsNone)
{
    tv.features.irKeyCode.reset();
    StartsWithRemote();
    Passes(30s);
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_EQ(TimesSaid("E Getting Ir key code form factory is failed"), 1);
}

/// What the platform throws on the way of the key code.
class ThrowingPlatformTest : public IrKeyCodeTest
{
protected:
    template <typename Thrown>
    void Throws(Thrown thrown)
    {
        tv.tape.SetSink([thrown](const sim::Entry& entry) {
            if (entry.text.starts_with("bt_hid_send_rc_command")) {
                throw thrown;
            }
        });
    }
};

TEST_F(ThrowingPlatformTest, ATextThatIsThrownEndsItAndTheCount)
{
    StartsWithRemote();
    tv.Fails("bt_hid_send_rc_command", kBusy);
    Passes(21s);
    EXPECT_THAT(Sent(), SizeIs(2));
    Throws(std::runtime_error("out of order"));
    Passes(60s);
    EXPECT_THAT(Sent(), SizeIs(3));
    EXPECT_EQ(tv.tape.Messages().back(), "E exception : out of order");
    tv.tape.SetSink({});
    RemoteConnects();
    tv.tape.Clear();
    Passes(120s);
    EXPECT_THAT(Sent(), SizeIs(4));
}

TEST_F(ThrowingPlatformTest, TextsOfAllKindsAreCaught)
{
    StartsWithRemote();
    Throws(std::string("a text"));
    EXPECT_FALSE(remotes->SendIrKeyCodeCommand());
    Throws("a literal");
    EXPECT_FALSE(remotes->SendIrKeyCodeCommand());
    EXPECT_EQ(TimesSaid("E exception : a text"), 1);
    EXPECT_EQ(TimesSaid("E exception : a literal"), 1);
    Throws(42);
    EXPECT_THROW(remotes->SendIrKeyCodeCommand(), int);
    tv.tape.SetSink({});
}

} // namespace
