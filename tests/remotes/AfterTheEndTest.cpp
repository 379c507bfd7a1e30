// What comes when the handler is gone: timers that nobody keeps, and a watch that is never ended.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Timers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <utility>

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::chrono_literals;

namespace {

class AfterTheEndTest : public RemotesTest
{
protected:
    void StartsWithBoth()
    {
        Starts();
        RemoteConnects();
        WheelConnects();
    }
    /// The handler is gone. The fixture gets another, made beforehand so that it does not lie at the place of the
    /// first.
    void HandlerGoes()
    {
        auto other = std::make_shared<CSmartRcEventHandler>();
        remotes->Deinit();
        remotes = std::move(other);
        tv.tape.Clear();
    }
};

TEST_F(AfterTheEndTest, NoTimerDoesAnything)
{
    StartsWithBoth(); // the timers of the light and of the IR key code run
    remotes->OnDuidChanged(nullptr);
    remotes->RetrySetNoLatencyToSmartRc();
    remotes->RetrySetNoLatencyToHalvoWheel(kWheel);
    remotes->AddTimerSendDeviceInfoQueryToHalvoWheel();
    HandlerGoes();
    Passes(3h);
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_EQ(TimesSaid("E userData is NULL"), 5);
    EXPECT_EQ(TimesSaid("E userData is nullptr"), 1); // the IR key code has a text of its own
    for (const char* interval : {"3600000 ms", "10 s", "500 ms", "400 ms", "150 ms"}) {
        EXPECT_EQ(sim::PendingTimers(interval), 0) << interval;
    }
}

TEST_F(AfterTheEndTest, TheWatchOnTheFirstScreenDoesNothing)
{
    StartsWithBoth();
    HandlerGoes();
    Writes(kFirstScreen, 1);
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E userData is NULL"));
}

TEST_F(AfterTheEndTest, OtherWatchesHaveEnded)
{
    StartsWithBoth();
    HandlerGoes();
    for (const char* key : {kUseMode, kFactoryMode, kServiceReset, kTouchIr}) {
        Writes(key, 1);
        Writes(key, 0);
    }
    Writes(kOobStatus, 5);
    Writes(kDuid, "D");
    Writes(kWizardMode, "OFF");
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), IsEmpty());
}

} // namespace
