// The no-latency mode: the smart remote first, then the wheel.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
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

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::chrono_literals;

namespace {

constexpr const char* kCall = "bt_hid_set_conn_no_latency";
constexpr int kBusy = BT_ERROR_NOW_IN_PROGRESS;

class NoLatencyTest : public RemotesTest
{
protected:
    void StartsWith(bool remote, bool wheel)
    {
        Starts();
        if (remote) {
            RemoteConnects();
        }
        if (wheel) {
            WheelConnects();
        }
        Passes(12s); // the IR key code is through
        tv.tape.Clear();
    }
    std::vector<std::string> Sent()
    {
        return Deeds(kCall);
    }
    static std::string TryAgain(int count)
    {
        return "W Fail to set bt_hid_set_no latency, so try again, try count: " + std::to_string(count);
    }
};

TEST_F(NoLatencyTest, BothAreServedTheSmartRemoteFirst)
{
    StartsWith(true, true);
    remotes->SendNoLatencyCommand();
    EXPECT_THAT(Sent(), ElementsAre(NoLatency(kRemote), NoLatency(kWheel)));
    EXPECT_THAT(Said("SetNoLatency"), ElementsAre(std::string("I success to set no latency ") + kRemote,
                                                  std::string("I success to set no latency ") + kWheel));
    Passes(10s);
    EXPECT_THAT(Sent(), SizeIs(2));
}

TEST_F(NoLatencyTest, WithoutASmartRemoteTheWheelIsServedAtOnce)
{
    StartsWith(false, true);
    remotes->SendNoLatencyCommand();
    EXPECT_THAT(Sent(), ElementsAre(NoLatency(kWheel)));
}

TEST_F(NoLatencyTest, WithNothingConnectedNothingIsSent)
{
    StartsWith(false, false);
    remotes->SendNoLatencyToSmartRC();
    EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(NoLatencyTest, OnAlreadyIsASuccess)
{
    StartsWith(true, true);
    tv.Fails(kCall, BT_ERROR_ALREADY_DONE);
    EXPECT_TRUE(remotes->SetNoLatency(kRemote));
    EXPECT_TRUE(HasSaid(std::string("I success to set no latency ") + kRemote));
    tv.tape.Clear();
    remotes->SendNoLatencyCommand();
    Passes(10s);
    EXPECT_THAT(Sent(), SizeIs(2));
    for (const int code :
         std::initializer_list<int>{BT_ERROR_NOW_IN_PROGRESS, BT_ERROR_OPERATION_FAILED, BT_ERROR_NOT_ENABLED, 1, -1}) {
        tv.Fails(kCall, code);
        tv.tape.Clear();
        EXPECT_FALSE(remotes->SetNoLatency(kRemote)) << code;
        EXPECT_THAT(tv.tape.Messages(), ElementsAre("W Now in progress or operation failed, retry"));
    }
}

TEST_F(NoLatencyTest, ABusySmartRemoteIsTriedAgainAndTheWheelWaits)
{
    StartsWith(true, true);
    tv.Fails(kCall, kBusy, 3);
    remotes->SendNoLatencyCommand();
    EXPECT_THAT(Sent(), SizeIs(1));
    EXPECT_THAT(tv.tape.Timers(), ElementsAre(testing::EndsWith(": 400 ms")));
    Passes(5s);
    EXPECT_TRUE(HasSaid(TryAgain(1)));
    EXPECT_THAT(Sent(), ElementsAre(NoLatency(kRemote, kBusy), NoLatency(kRemote, kBusy), NoLatency(kRemote, kBusy),
                                    NoLatency(kRemote), NoLatency(kWheel)));
    EXPECT_TRUE(HasSaid("I success to bt_hid_set_no_latency"));
    EXPECT_FALSE(HasSaid(TryAgain(3)));
}

TEST_F(NoLatencyTest, ASmartRemoteThatStaysBusyIsSentTwelveAndThenTheWheelIsServed)
{
    StartsWith(true, true);
    tv.Fails(kCall, kBusy, 12);
    remotes->SendNoLatencyCommand();
    Passes(10s);
    std::vector<std::string> expected(12, NoLatency(kRemote, kBusy));
    expected.push_back(NoLatency(kWheel));
    EXPECT_EQ(Sent(), expected);
    EXPECT_TRUE(HasSaid(TryAgain(10)));
    EXPECT_FALSE(HasSaid(TryAgain(11)));
    EXPECT_EQ(TimesSaid("E fail to bt_hid_set_no_latency"), 1);
}

TEST_F(NoLatencyTest, TheRetriesOfTheSmartRemoteComeBackWhenItIsDone)
{
    StartsWith(true, false);
    for (const int failures : {12, 3, 12}) { // gives up, succeeds, gives up
        tv.tape.Clear();
        tv.Fails(kCall, kBusy, failures);
        remotes->SendNoLatencyCommand();
        Passes(10s);
        EXPECT_THAT(Sent(), SizeIs(failures == 12 ? 12 : failures + 1));
    }
}

TEST_F(NoLatencyTest, AWheelThatStaysBusyIsSentTwelve)
{
    StartsWith(false, true);
    for (int time = 0; time < 2; ++time) {
        tv.tape.Clear();
        tv.Fails(kCall, kBusy);
        remotes->SendNoLatencyCommand();
        Passes(10s);
        EXPECT_EQ(Sent(), std::vector<std::string>(12, NoLatency(kWheel, kBusy)));
        EXPECT_TRUE(HasSaid(TryAgain(10)));
        EXPECT_FALSE(HasSaid(TryAgain(11)));
        EXPECT_EQ(TimesSaid("E fail to bt_hid_set_no_latency"), 1);
    }
}

TEST_F(NoLatencyTest, ABusyWheelIsTriedAgainUntilItTakesIt)
{
    StartsWith(false, true);
    for (const int end : {0, static_cast<int>(BT_ERROR_ALREADY_DONE)}) { // the second time it is on already
        tv.tape.Clear();
        tv.Fails(kCall, kBusy, 4);
        remotes->SendNoLatencyCommand();
        EXPECT_THAT(tv.tape.Timers(), ElementsAre(testing::EndsWith(": 400 ms")));
        Passes(5s);
        EXPECT_THAT(Sent(), SizeIs(5));
        EXPECT_EQ(Sent().back(), NoLatency(kWheel, end));
        EXPECT_EQ(tv.tape.Messages().back(), std::string("I success to set no latency ") + kWheel);
    }
}

TEST_F(NoLatencyTest, AWheelThatGoesIsNotTriedAgain)
{
    StartsWith(false, true);
    tv.Fails(kCall, kBusy);
    remotes->SendNoLatencyCommand();
    Passes(900ms);
    WheelGoes();
    tv.tape.Clear();
    Passes(10s);
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_EQ(TimesSaid("E failed to get halvo address do not retry"), 1);
}

TEST_F(NoLatencyTest, ARetryGoesToTheWheelThatIsThereByThen)
{
    StartsWith(false, true);
    tv.Fails(kCall, kBusy, 1);
    remotes->SendNoLatencyCommand();
    WheelGoes();
    WheelConnects(kOtherWheel);
    tv.tape.Clear();
    Passes(1s);
    EXPECT_THAT(Sent(), ElementsAre(NoLatency(kOtherWheel)));
}

TEST_F(NoLatencyTest, AWheelWhoseAddressIsUnknownIsNotTriedAgain)
{
    StartsWith(false, true);
    tv.Fails("bt_hid_get_halvo_switch_address", BT_ERROR_OPERATION_FAILED);
    tv.Fails(kCall, BT_ERROR_INVALID_PARAMETER);
    remotes->SendNoLatencyToHalvoWheel();
    Passes(10s);
    EXPECT_THAT(Sent(), ElementsAre(NoLatency("", BT_ERROR_INVALID_PARAMETER)));
}

TEST_F(NoLatencyTest, RetriesCanBeAskedFor)
{
    StartsWith(true, true);
    remotes->RetrySetNoLatencyToSmartRc();
    EXPECT_THAT(Sent(), IsEmpty());
    Passes(2s);
    EXPECT_THAT(Sent(), ElementsAre(NoLatency(kRemote), NoLatency(kWheel)));
    tv.tape.Clear();
    remotes->RetrySetNoLatencyToHalvoWheel("");
    Passes(2s);
    EXPECT_THAT(Sent(), IsEmpty());
    remotes->RetrySetNoLatencyToHalvoWheel(kWheel);
    Passes(2s);
    EXPECT_THAT(Sent(), ElementsAre(NoLatency(kWheel, BT_ERROR_ALREADY_DONE)));
}

} // namespace
