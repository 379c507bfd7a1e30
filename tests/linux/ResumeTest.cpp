#include "linux/Logind.h"
#include "linux/PlatformLog.h"
#include "linux/PowerFixture.h"
#include "power/PowerManager.h"
#include "support/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <device_power.h>
#include <screen_manager.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using linux_test::LogLinesWith;
using linux_test::PowerTest;
using power::PowerManager;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ResumeTest : public PowerTest
{
protected:
    /// The box went to sleep by itself, and logind has said so.
    void Sleeps()
    {
        Starts();
        device_power_request_poweroff(4);
        ASSERT_TRUE(Until("logind: Suspend"));
        logind.PreparesForSleep(true);
        ASSERT_TRUE(logind.WaitForHolds({}));
        Rests();
        Forgets();
    }
};

TEST_F(ResumeTest, APersonAtTheBoxTurnsItOn)
{
    Sleeps();
    logind.PreparesForSleep(false);
    Passes(PowerManager::kControllerMs * 1ms);
    ASSERT_TRUE(Until("state 4->0 ambient 0->0 by 0"));
    EXPECT_THAT(Happened(), ElementsAre("wake-up 0", "state 4->0 ambient 0->0 by 0"));
    EXPECT_EQ(device_power_get_wakeup_reason(), 0);
    EXPECT_TRUE(logind.WaitForHolds({kDelay}));
}

TEST_F(ResumeTest, ARemoteTurnsItOn)
{
    Sleeps();
    PowerManager::OfProcess().ControllerResumed(true, false);
    logind.PreparesForSleep(false);
    ASSERT_TRUE(Until("state 4->0 ambient 0->0 by 95"));
    EXPECT_THAT(Happened(), ElementsAre("wake-up 95", "state 4->0 ambient 0->0 by 95"));
    EXPECT_EQ(device_power_get_wakeup_reason(), 95);
}

TEST_F(ResumeTest, ARemoteTurnsItOnAlsoWhenTheControllerSpeaksLater)
{
    Sleeps();
    logind.PreparesForSleep(false);
    Rests();
    EXPECT_THAT(Happened(), IsEmpty());
    PowerManager::OfProcess().ControllerResumed(true, false);
    EXPECT_TRUE(Until("state 4->0 ambient 0->0 by 95"));
    Passes(10s);
    EXPECT_EQ(Happened().size(), 2U);
}

TEST_F(ResumeTest, ASpeakerThatLooksForItsBoxDoesNotLightUpTheRoom)
{
    Sleeps();
    PowerManager::OfProcess().ControllerResumed(true, true);
    logind.PreparesForSleep(false);
    ASSERT_TRUE(Until("state 4->2 ambient 0->0 by 95"));
    EXPECT_THAT(Happened(), ElementsAre("wake-up 95", "state 4->2 ambient 0->0 by 95"));
}

TEST_F(ResumeTest, AControllerThatResumedForAnotherReasonIsNoRemote)
{
    Sleeps();
    PowerManager::OfProcess().ControllerResumed(false, false);
    logind.PreparesForSleep(false);
    EXPECT_TRUE(Until("state 4->0 ambient 0->0 by 0"));
}

TEST_F(ResumeTest, WhatTheControllerSaidBeforeTheSleepCountsForNothing)
{
    Starts();
    PowerManager::OfProcess().ControllerResumed(true, false);
    device_power_request_poweroff(4);
    ASSERT_TRUE(Until("logind: Suspend"));
    logind.PreparesForSleep(false);
    Passes(PowerManager::kControllerMs * 1ms);
    EXPECT_TRUE(Until("state 4->0 ambient 0->0 by 0"));
}

TEST_F(ResumeTest, SomebodyElsesSuspendIsToldInTheSameOrderWhileLogindWaits)
{
    Starts();
    logind.PreparesForSleep(true);
    ASSERT_TRUE(Until("state 2->4 ambient 0->0 by 0"));
    EXPECT_THAT(Happened(), ElementsAre("state 0->2 ambient 0->0 by 0", "standby 0", "power-off 0", "post-power-off 0",
                                        "state 2->4 ambient 0->0 by 0"));
    EXPECT_TRUE(logind.WaitForHolds({}));
    Forgets();
    logind.PreparesForSleep(false);
    Passes(PowerManager::kControllerMs * 1ms);
    EXPECT_TRUE(Until("state 4->0 ambient 0->0 by 0"));
    EXPECT_TRUE(logind.WaitForHolds({kDelay}));
}

TEST_F(ResumeTest, SomebodyElsesSuspendDoesNotWaitForLocks)
{
    Starts();
    reactions = {{"standby", [] { device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000); }}};
    logind.PreparesForSleep(true);
    EXPECT_TRUE(Until("state 2->4 ambient 0->0 by 0"));
}

TEST_F(ResumeTest, SomebodyElsesSuspendTakesOverAWayOutThatWaits)
{
    Starts();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000);
    device_power_request_poweroff(4);
    ASSERT_TRUE(Until("standby 4"));
    logind.PreparesForSleep(true);
    EXPECT_TRUE(Until("state 2->4 ambient 0->0 by 4"));
    EXPECT_TRUE(logind.WaitForHolds({}));
}

TEST_F(ResumeTest, ASleepThatOvertookTheNoticesEndsThem)
{
    Starts();
    // logind's patience is over while standby is being told.
    reactions = {{"standby", [&] { logind.PreparesForSleep(false); }}};
    logind.PreparesForSleep(true);
    ASSERT_TRUE(Until("state 2->4 ambient 0->0 by 0"));
    Passes(PowerManager::kControllerMs * 1ms);
    EXPECT_TRUE(Until("state 4->0 ambient 0->0 by 0"));
}

TEST_F(ResumeTest, SomebodyElsesShutdownIsToldAsAPowerOffThatWaitsForNothing)
{
    Starts();
    logind.PreparesForShutdown(true);
    ASSERT_TRUE(Until("state 2->3 ambient 0->0 by 1610612736"));
    EXPECT_THAT(Happened(),
                ElementsAre("state 0->2 ambient 0->0 by 1610612736", "standby 1610612736", "power-off 1610612736",
                            "post-power-off 1610612736", "state 2->3 ambient 0->0 by 1610612736"));
    EXPECT_TRUE(logind.WaitForHolds({}));
}

TEST_F(ResumeTest, AShutdownThatIsCancelledBringsTheBoxBack)
{
    Starts();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    logind.PreparesForShutdown(true);
    ASSERT_TRUE(Until("state 2->3 ambient 0->0 by 1610612736"));
    Rests();
    Forgets();
    logind.PreparesForShutdown(false);
    ASSERT_TRUE(Until("state 3->1 ambient 0->0 by 0"));
    EXPECT_THAT(Happened(), ElementsAre("wake-up 0", "state 3->1 ambient 0->0 by 0"));
    EXPECT_TRUE(logind.WaitForHolds({kDelay}));
}

TEST_F(ResumeTest, ALogindThatWasRestartedIsHeldBackAgain)
{
    Starts();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000);
    ASSERT_TRUE(logind.WaitForHolds({kDelay, kBlock}));
    logind.Goes();
    logind.ComesBack();
    EXPECT_TRUE(support::IterateUntil([&] { return logind.Holds().size() == 2; }));
    device_power_unlock_state(DEVICE_POWER_STATE_STANDBY);
    EXPECT_TRUE(logind.WaitForHolds({kDelay}));
}

TEST_F(ResumeTest, ALogindThatComesLaterIsHeldBackThen)
{
    logind.Goes();
    Subscribes();
    ASSERT_TRUE(support::IterateUntil([] { return LogLinesWith("logind is not there") == 1; }));
    logind.ComesBack();
    EXPECT_TRUE(logind.WaitForHolds({kDelay}));
}

} // namespace
