// The set's unique id.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_error.h>

#include <chrono>
#include <cstddef>
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

constexpr int kBusy = BT_ERROR_NOW_IN_PROGRESS;

class DuidTest : public RemotesTest
{
protected:
    void StartsWithRemote(unsigned int version = kTwoMicrophoneVersion)
    {
        tv.smartRemote.fwVersion = version;
        Starts();
        RemoteConnects();
        Passes(12s); // the IR key code is through
        tv.tape.Clear();
    }
    std::vector<std::string> Sent()
    {
        return Deeds("bt_hid_send_duid");
    }
};

TEST_F(DuidTest, ANewIdIsSentHalfASecondLater)
{
    StartsWithRemote();
    Writes(kDuid, "DUID-1");
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_THAT(tv.tape.Timers(), ElementsAre(testing::EndsWith(": 500 ms")));
    Passes(1s);
    EXPECT_THAT(Sent(), ElementsAre(DuidSent(kRemote, "DUID-1")));
    EXPECT_EQ(tv.tape.Messages().back(), "I Success to bt_hid_send_duid");
    Passes(10s);
    EXPECT_THAT(Sent(), SizeIs(1));
    EXPECT_EQ(tv.smartRemote.duid, "DUID-1");
}

TEST_F(DuidTest, WithoutARemoteThereIsNoTimer)
{
    Starts();
    Writes(kDuid, "DUID-1");
    tv.tape.Clear();
    Passes(5s);
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), IsEmpty());
}

TEST_F(DuidTest, TheIdOfTheMomentIsSent)
{
    StartsWithRemote();
    Writes(kDuid, "DUID-1");
    tv.settings.Writes(kDuid, "DUID-2");
    Passes(600ms);
    EXPECT_THAT(Sent(), testing::Contains(DuidSent(kRemote, "DUID-2")));
    EXPECT_THAT(Sent(), testing::Not(testing::Contains(DuidSent(kRemote, "DUID-1"))));
}

TEST_F(DuidTest, IdsOfAnyLengthGoOut)
{
    StartsWithRemote();
    for (const std::size_t length : {std::size_t{1}, std::size_t{64}, std::size_t{4096}, std::size_t{100000}}) {
        tv.tape.Clear();
        const std::string duid(length, 'd');
        Writes(kDuid, duid.c_str());
        Passes(600ms);
        EXPECT_THAT(Sent(), SizeIs(1));
        EXPECT_EQ(tv.smartRemote.duid, duid);
    }
}

TEST_F(DuidTest, ABusyRemoteIsSentSixInAll)
{
    StartsWithRemote();
    tv.Fails("bt_hid_send_duid", kBusy);
    for (int time = 0; time < 2; ++time) { // the count starts anew
        tv.tape.Clear();
        Writes(kDuid, "D");
        Passes(10s);
        EXPECT_THAT(Sent(), SizeIs(6));
        EXPECT_THAT(Sent(), Each(DuidSent(kRemote, "D", kBusy)));
        EXPECT_THAT(tv.tape.Messages(), ElementsAre("I retry : 1", "I retry : 2", "I retry : 3", "I retry : 4",
                                                    "I retry : 5", "E fail to bt_hid_send_duid : TIMED_OUT"));
    }
}

TEST_F(DuidTest, ABusyRemoteThatTakesItEndsTheRetries)
{
    StartsWithRemote();
    for (int time = 0; time < 3; ++time) {
        tv.tape.Clear();
        tv.Fails("bt_hid_send_duid", kBusy, 5);
        Writes(kDuid, "D");
        Passes(10s);
        EXPECT_THAT(Sent(), SizeIs(6));
        EXPECT_EQ(tv.tape.Messages().back(), "I Success to bt_hid_send_duid");
    }
}

TEST_F(DuidTest, AnyOtherFailureEndsIt)
{
    StartsWithRemote();
    for (const int code :
         std::initializer_list<int>{BT_ERROR_OPERATION_FAILED, BT_ERROR_ALREADY_DONE, BT_ERROR_TIMED_OUT, -95, 1}) {
        tv.tape.Clear();
        tv.Fails("bt_hid_send_duid", code);
        Writes(kDuid, "D");
        Passes(10s);
        EXPECT_THAT(Sent(), SizeIs(1)) << code;
        EXPECT_THAT(tv.tape.Messages().back(), testing::StartsWith("E fail to bt_hid_send_duid : "));
    }
}

TEST_F(DuidTest, AnotherFailureAfterABusyRemoteEndsTheCountToo)
{
    StartsWithRemote();
    tv.Fails("bt_hid_send_duid", kBusy);
    tv.tape.SetSink([this, sent = 0](const sim::Entry& entry) mutable {
        if (entry.text.starts_with("bt_hid_send_duid") && ++sent == 3) {
            tv.Fails("bt_hid_send_duid", BT_ERROR_OPERATION_FAILED);
        }
    });
    Writes(kDuid, "D");
    Passes(10s);
    EXPECT_THAT(Sent(), SizeIs(4));
    tv.tape.SetSink({});
    tv.Fails("bt_hid_send_duid", kBusy);
    tv.tape.Clear();
    Writes(kDuid, "D");
    Passes(10s);
    EXPECT_THAT(Sent(), SizeIs(6));
}

TEST_F(DuidTest, ARemoteWithOneMicrophoneIsNotSent)
{
    StartsWithRemote(0xA0000000U);
    Writes(kDuid, "D");
    Passes(5s);
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_EQ(TimesSaid("I Not 2mic SmartRC"), 1);
    EXPECT_EQ(TimesSaid("E Not a 2mic SmartRc"), 1);
}

TEST_F(DuidTest, AnEmptyIdIsNotSent)
{
    StartsWithRemote();
    Writes(kDuid, "");
    Passes(5s);
    Writes(kDuid, 7); // of another type
    Passes(5s);
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_EQ(TimesSaid("E duid or address is NULL"), 2);
}

TEST_F(DuidTest, ARemoteThatGoesInTheMeantimeIsNotSent)
{
    StartsWithRemote();
    Writes(kDuid, "D");
    RemoteGoes();
    Passes(5s);
    EXPECT_THAT(Sent(), IsEmpty());
    EXPECT_EQ(TimesSaid("E duid or address is NULL"), 1);
}

TEST_F(DuidTest, ATimerWithoutUserDataStops)
{
    EXPECT_EQ(CSmartRcEventHandler::RetryTimerSetDuid(nullptr), 0);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E userData is NULL"));
}

TEST_F(DuidTest, APairingThatIsDoneSendsTheIdToo)
{
    tv.settings.Writes(kDuid, "D");
    StartsWithRemote();
    for (const int status : {0, 1, 4, 6, -5}) {
        Writes(kOobStatus, status);
    }
    Writes(kOobStatus, "5");
    Passes(5s);
    EXPECT_THAT(Sent(), IsEmpty());
    tv.tape.Clear();
    Writes(kOobStatus, 5);
    EXPECT_THAT(tv.tape.Timers(), ElementsAre(testing::EndsWith(": 500 ms")));
    Passes(1s);
    EXPECT_THAT(Sent(), ElementsAre(DuidSent(kRemote, "D")));
}

TEST_F(DuidTest, APairingThatIsDoneWithoutARemoteDoesNothing)
{
    tv.settings.Writes(kDuid, "D");
    Starts();
    WheelConnects();
    tv.tape.Clear();
    Writes(kOobStatus, 5);
    Passes(5s);
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    remotes->OnOobStateChanged(nullptr);
    EXPECT_TRUE(HasSaid("E keyNode is null"));
}

} // namespace
