#include "linux/Logind.h"
#include "linux/PlatformLog.h"
#include "linux/PowerFixture.h"
#include "linux/Root.h"
#include "power/PowerManager.h"
#include "settings/Vconf.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <device_power.h>
#include <screen_manager.h>
#include <vconf.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using linux_test::Logind;
using linux_test::LogLinesWith;
using linux_test::PowerTest;
using linux_test::ReadFile;
using linux_test::WriteFile;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr int kForGood = DEVICE_POWEROFF_OPTION_SUSPEND_OFF;

class WayOutTest : public PowerTest
{};

TEST_F(WayOutTest, LeadsThroughStandbyAndBothNoticesToSleep)
{
    Starts();
    EXPECT_EQ(device_power_request_poweroff(4), 0);
    EXPECT_THAT(Happened(), IsEmpty()); // never from within the call
    ASSERT_TRUE(Until("logind: Suspend"));
    EXPECT_THAT(Happened(), ElementsAre("state 0->2 ambient 0->0 by 4", "standby 4", "power-off 4", "post-power-off 4",
                                        "state 2->4 ambient 0->0 by 4", "logind: Suspend"));
    EXPECT_TRUE(logind.WaitForHolds({}));
    EXPECT_THAT(ReadFile("/run/vyrel-lite/power.state"), HasSubstr("state=4\n"));
}

TEST_F(WayOutTest, EndsInOffWhenItIsForGood)
{
    Starts();
    device_power_request_poweroff(kForGood);
    ASSERT_TRUE(Until("logind: PowerOff"));
    EXPECT_THAT(Happened(),
                ElementsAre("state 0->2 ambient 0->0 by 1073741824", "standby 1073741824", "power-off 1073741824",
                            "post-power-off 1073741824", "state 2->3 ambient 0->0 by 1073741824", "logind: PowerOff"));
}

TEST_F(WayOutTest, EndsInARestartAndACountedResetForThoseOptions)
{
    vconf_set_int("db/factory/factory_reset_count", 6);
    Starts();
    device_power_request_poweroff(DEVICE_POWEROFF_OPTION_RESET);
    ASSERT_TRUE(Until("logind: Reboot"));
    int count = 0;
    EXPECT_EQ(vconf_get_int("db/factory/factory_reset_count", &count), 0);
    EXPECT_EQ(count, 7);
    EXPECT_NE(vconf_get_int("db/factory/service_reset_count", &count), 0);
}

TEST_F(WayOutTest, CountsTheOtherResetFromNothing)
{
    Starts();
    device_power_request_poweroff(DEVICE_POWEROFF_OPTION_RESET_ALT);
    ASSERT_TRUE(Until("logind: Reboot"));
    int count = 0;
    EXPECT_EQ(vconf_get_int("db/factory/service_reset_count", &count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_NE(vconf_get_int("db/factory/factory_reset_count", &count), 0);
}

TEST_F(WayOutTest, ARestartOnRequestCountsNoReset)
{
    Starts();
    EXPECT_EQ(device_power_request_reboot(34), 0);
    ASSERT_TRUE(Until("logind: Reboot"));
    int count = 0;
    EXPECT_NE(vconf_get_int("db/factory/factory_reset_count", &count), 0);
    EXPECT_NE(vconf_get_int("db/factory/service_reset_count", &count), 0);
    EXPECT_EQ(LogLinesWith("restart, reason 34"), 1);
}

TEST_F(WayOutTest, WhatAReceiverLeavesToTheMainLoopIsDoneBeforeTheEnd)
{
    Starts();
    bool isDone = false;
    reactions = {{"post-power-off",
                  [&] {
                      g_idle_add(
                          [](gpointer done) {
                              *static_cast<bool*>(done) = true;
                              return G_SOURCE_REMOVE;
                          },
                          &isDone);
                  }},
                 {"state 2->3", [&] { EXPECT_TRUE(isDone); }}};
    device_power_request_poweroff(kForGood);
    ASSERT_TRUE(Until("logind: PowerOff"));
    EXPECT_TRUE(isDone);
}

TEST_F(WayOutTest, WaitsForALockThatAReceiverTakesInStandby)
{
    Starts();
    reactions = {{"standby", [] { EXPECT_EQ(device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000), 0); }}};
    device_power_request_poweroff(kForGood);
    ASSERT_TRUE(Until("standby 1073741824"));
    Passes(5s);
    EXPECT_EQ(Happened().back(), "standby 1073741824");

    EXPECT_EQ(device_power_unlock_state(DEVICE_POWER_STATE_STANDBY), 0);
    EXPECT_TRUE(Until("logind: PowerOff"));
}

TEST_F(WayOutTest, GoesOnWhenTheLockRunsOut)
{
    Starts();
    const auto start = clock.Elapsed();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000);
    device_power_request_poweroff(4);
    ASSERT_TRUE(Until("standby 4"));
    PassesTo(start, 14s);
    EXPECT_EQ(Happened().back(), "standby 4");
    PassesTo(start, 16s);
    EXPECT_TRUE(Until("logind: Suspend"));
}

TEST_F(WayOutTest, WaitsNoLongerThanAMinuteForLocksThatAreRenewed)
{
    Starts();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 100000);
    device_power_request_poweroff(4);
    const auto start = clock.Elapsed();
    ASSERT_TRUE(Until("standby 4"));
    PassesTo(start, 59s);
    EXPECT_EQ(Happened().back(), "standby 4");
    Passes(10s);
    EXPECT_TRUE(Until("logind: Suspend"));
    EXPECT_EQ(LogLinesWith("a lock was held for too long"), 1);
}

TEST_F(WayOutTest, WaitsForNoLockWhenTheOptionIgnoresThem)
{
    Starts();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000);
    device_power_request_poweroff(kForGood | DEVICE_POWEROFF_OPTION_IGNORE_LOCK);
    EXPECT_TRUE(Until("logind: PowerOff"));
    EXPECT_TRUE(logind.WaitForHolds({}));
}

TEST_F(WayOutTest, IsGivenUpWhenSomebodyWantsTheBoxWhileItWaits)
{
    Starts();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000);
    device_power_request_poweroff(4);
    ASSERT_TRUE(Until("standby 4"));
    EXPECT_EQ(device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1), 0);
    ASSERT_TRUE(Until("state 2->0 ambient 0->0 by 0"));
    device_power_unlock_state(DEVICE_POWER_STATE_STANDBY);
    Passes(200s);
    EXPECT_EQ(Happened().back(), "state 2->0 ambient 0->0 by 0");
}

TEST_F(WayOutTest, CannotBeGivenUpOnceThePowerOffIsTold)
{
    Starts();
    int result = 0;
    reactions = {{"power-off", [&] { result = device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1); }}};
    device_power_request_poweroff(4);
    ASSERT_TRUE(Until("logind: Suspend"));
    EXPECT_EQ(result, -1);
}

TEST_F(WayOutTest, ASecondRequestCountsForNothing)
{
    Starts();
    EXPECT_EQ(device_power_request_poweroff(4), 0);
    EXPECT_EQ(device_power_request_poweroff(kForGood), -1);
    EXPECT_TRUE(Until("logind: Suspend"));
}

TEST_F(WayOutTest, OutOfTheLowPowerPictureTellsTheAmbientNoticeInstead)
{
    Starts();
    screen_manager_set_ambient_mode(2, 4);
    Rests();
    Forgets();
    EXPECT_EQ(screen_manager_set_ambient_mode(3, 2), 0);
    ASSERT_TRUE(Until("logind: Suspend"));
    EXPECT_THAT(Happened(), ElementsAre("standby 4", "ambient power-off 4", "post-power-off 4",
                                        "state 4->4 ambient 2->3 by 4", "logind: Suspend"));
}

TEST_F(WayOutTest, BecomesARestartWhenAReceiverFindsThatNeeded)
{
    Starts();
    screen_manager_set_ambient_mode(2, 4);
    Rests();
    reactions = {{"ambient power-off", [] { EXPECT_EQ(device_power_request_reboot(34), 0); }}};
    screen_manager_set_ambient_mode(3, 2);
    EXPECT_TRUE(Until("logind: Reboot"));
}

TEST_F(WayOutTest, AReceiverThatWasUnsubscribedMeanwhileIsNotTold)
{
    Starts();
    reactions = {{"power-off", [] { Unsubscribes(); }}};
    device_power_request_poweroff(4);
    ASSERT_TRUE(Until("logind: Suspend"));
    EXPECT_THAT(Happened(), ElementsAre("state 0->2 ambient 0->0 by 4", "standby 4", "power-off 4", "logind: Suspend"));
}

TEST_F(WayOutTest, AMinuteOfStandbyWithoutALockEndsInSleep)
{
    Starts();
    const auto start = clock.Elapsed();
    device_power_set_state(DEVICE_POWER_STATE_STANDBY, 1);
    PassesTo(start, 59s);
    EXPECT_THAT(Happened(), ElementsAre("state 0->2 ambient 0->0 by 0"));
    PassesTo(start, 61s);
    EXPECT_TRUE(Until("logind: Suspend"));
}

TEST_F(WayOutTest, ALockInStandbyBeginsTheMinuteAnew)
{
    Starts();
    device_power_set_state(DEVICE_POWER_STATE_STANDBY, 1);
    Passes(30s);
    const auto start = clock.Elapsed();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 30000);
    ASSERT_TRUE(logind.WaitForHolds({kDelay, kBlock}));
    PassesTo(start, 89s);
    EXPECT_THAT(Happened(), ElementsAre("state 0->2 ambient 0->0 by 0"));
    PassesTo(start, 91s);
    EXPECT_TRUE(Until("logind: Suspend"));
}

TEST_F(WayOutTest, ABoxThatCannotSleepGoesOnInStandbyAndDoesNotTryAgainByItself)
{
    logind.Behaves(Logind::Behaviour::Refuses);
    Starts();
    device_power_request_poweroff(4);
    ASSERT_TRUE(Until("state 4->2 ambient 0->0 by 0"));
    EXPECT_THAT(Happened(), ElementsAre("state 0->2 ambient 0->0 by 4", "standby 4", "power-off 4", "post-power-off 4",
                                        "state 2->4 ambient 0->0 by 4", "logind: Suspend", "wake-up 0",
                                        "state 4->2 ambient 0->0 by 0"));
    EXPECT_EQ(LogLinesWith("no suspend: "), 1);
    ASSERT_TRUE(logind.WaitForHolds({kDelay}));
    Forgets();
    Passes(300s);
    EXPECT_THAT(Happened(), IsEmpty());
    // But when somebody has used it meanwhile.
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    device_power_set_state(DEVICE_POWER_STATE_STANDBY, 1);
    Passes(61s);
    EXPECT_TRUE(support::IterateUntil([&] { return Happened().back() == "state 4->2 ambient 0->0 by 0"; }));
}

TEST_F(WayOutTest, WithoutLogindTheBoxGoesOnInStandby)
{
    Starts();
    logind.Goes();
    ASSERT_TRUE(support::IterateUntil([] { return LogLinesWith("logind is not there: the box can neither") == 1; }));
    EXPECT_EQ(device_power_request_poweroff(kForGood), 0);
    EXPECT_TRUE(Until("state 3->2 ambient 0->0 by 0"));
    EXPECT_EQ(LogLinesWith("no power-off: logind is not there"), 1);
}

TEST_F(WayOutTest, ALogindThatDiesInTheMiddleOfARequestLeavesTheBoxAwake)
{
    logind.Behaves(Logind::Behaviour::Stalls);
    Starts();
    device_power_request_poweroff(4);
    ASSERT_TRUE(Until("logind: Suspend"));
    logind.Goes();
    EXPECT_TRUE(Until("state 4->2 ambient 0->0 by 0"));
    logind.ComesBack();
    EXPECT_TRUE(logind.WaitForHolds({kDelay}));
}

} // namespace
