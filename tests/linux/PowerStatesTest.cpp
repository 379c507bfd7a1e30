#include "linux/Logind.h"
#include "linux/PlatformLog.h"
#include "linux/PowerFixture.h"
#include "linux/Root.h"
#include "power/StateFile.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <device_power.h>
#include <screen_manager.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using linux_test::InRoot;
using linux_test::LinesOf;
using linux_test::LogLinesWith;
using linux_test::PowerTest;
using linux_test::ReadFile;
using linux_test::WriteFile;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kStateFile = "/run/vyrel-lite/power.state";
constexpr const char* kRestartNote = "/var/lib/vyrel-lite/power.restart";
constexpr const char* kBootId = "/proc/sys/kernel/random/boot_id";
constexpr const char* kWholeState = "[power]\nstate=2\nambient-mode=0\nambient-type=0\nwakeup-reason=94\nsilenced=0\n";

class PowerStatesTest : public PowerTest
{
protected:
    /// A hook that writes its name, and waits if it is told to.
    static void HasHook(const std::string& name, const std::string& more = "", const char* folder = "/etc/vyrel-lite")
    {
        const std::string path = std::string(folder) + "/hooks/" + name;
        WriteFile(path, "#!/bin/sh\n" + more + "\necho " + name + " >> " + InRoot("/hooks.ran").string() + "\n");
        ::chmod(InRoot(path).c_str(), 0755);
    }

    static bool Ran(const std::vector<std::string>& names)
    {
        return support::IterateUntil([&] { return LinesOf("/hooks.ran") == names; });
    }
};

TEST_F(PowerStatesTest, ABoxThatWasJustStartedIsOn)
{
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_NORMAL);
    EXPECT_EQ(device_power_get_wakeup_reason(), 0);
    EXPECT_EQ(device_power_get_ambient_mode(), 0);
    EXPECT_EQ(device_power_get_ambient_type(), 0);
    EXPECT_EQ(LogLinesWith("makes no sense"), 0);
}

TEST_F(PowerStatesTest, AStateIsEnteredAtOnceAndToldLater)
{
    Starts();
    EXPECT_EQ(device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1), 0);
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_PICTURE_OFF);
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_TRUE(Until("state 0->1 ambient 0->0 by 0"));
    EXPECT_THAT(ReadFile(kStateFile), HasSubstr("state=1\n"));
}

TEST_F(PowerStatesTest, TheSameStateIsNoChange)
{
    Starts();
    EXPECT_EQ(device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1), 0);
    Rests();
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(PowerStatesTest, OffAndWhatIsNoStateAreRefused)
{
    Starts();
    for (const int state : {-1, 3, 5, 1000}) {
        EXPECT_EQ(device_power_set_state(state, 1), -1) << state;
    }
    Rests();
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(PowerStatesTest, SuspendAsAStateIsTheWayOut)
{
    Starts();
    EXPECT_EQ(device_power_set_state(DEVICE_POWER_STATE_SUSPEND, 1), 0);
    EXPECT_TRUE(Until("logind: Suspend"));
}

TEST_F(PowerStatesTest, TheArtPictureIsANormalStateAndTheLowPowerOneIsReachedThroughSuspend)
{
    Starts();
    EXPECT_EQ(screen_manager_set_ambient_mode(1, 4), 0);
    EXPECT_EQ(device_power_get_ambient_mode(), 1);
    EXPECT_EQ(device_power_get_ambient_type(), 4);
    EXPECT_EQ(screen_manager_set_ambient_mode(2, 4), 0);
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_SUSPEND);
    EXPECT_EQ(screen_manager_set_ambient_mode(0, 0), 0);
    EXPECT_EQ(device_power_get_ambient_type(), 0);
    Rests();
    EXPECT_THAT(Happened(), ElementsAre("state 0->0 ambient 0->1 by 0", "state 0->4 ambient 1->3 by 0",
                                        "state 4->4 ambient 3->2 by 0", "state 4->0 ambient 2->0 by 0"));
}

TEST_F(PowerStatesTest, WhatIsNoAmbientModeIsRefused)
{
    Starts();
    EXPECT_EQ(screen_manager_set_ambient_mode(-1, 0), -1);
    EXPECT_EQ(screen_manager_set_ambient_mode(4, 0), -1);
    EXPECT_EQ(screen_manager_set_ambient_mode(1, -1), -1);
    EXPECT_EQ(device_power_get_ambient_mode(), 0);
}

TEST_F(PowerStatesTest, LocksAreHoldsOfLogind)
{
    Starts();
    EXPECT_EQ(device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000), 0);
    EXPECT_TRUE(logind.WaitForHolds({kDelay, kBlock}));
    EXPECT_EQ(device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 20000), 0);
    EXPECT_EQ(screen_manager_set_ambient_lock(1, 60000), 0);
    EXPECT_EQ(device_power_unlock_state(DEVICE_POWER_STATE_STANDBY), 0);
    Rests();
    EXPECT_THAT(logind.Holds(), ElementsAre(kDelay, kBlock));
    EXPECT_EQ(screen_manager_set_ambient_lock(0, 0), 0);
    EXPECT_TRUE(logind.WaitForHolds({kDelay}));
}

TEST_F(PowerStatesTest, ALockRunsOutAndASecondOneReplacesItsTime)
{
    Starts();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000);
    Passes(5s);
    const auto start = clock.Elapsed();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000);
    PassesTo(start, 14s);
    EXPECT_THAT(logind.Holds(), ElementsAre(kDelay, kBlock));
    PassesTo(start, 16s);
    EXPECT_TRUE(logind.WaitForHolds({kDelay}));
    EXPECT_EQ(LogLinesWith("the standby lock ran out"), 1);
    EXPECT_EQ(device_power_unlock_state(DEVICE_POWER_STATE_STANDBY), -2);
}

TEST_F(PowerStatesTest, LocksThatAreNoneAreRefused)
{
    Starts();
    EXPECT_EQ(device_power_unlock_state(DEVICE_POWER_STATE_STANDBY), -2);
    EXPECT_EQ(screen_manager_set_ambient_lock(0, 0), -2);
    EXPECT_EQ(device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 0), -1);
    EXPECT_EQ(device_power_lock_state(DEVICE_POWER_STATE_STANDBY, -5), -1);
    EXPECT_EQ(screen_manager_set_ambient_lock(1, 0), -1);
    EXPECT_EQ(device_power_lock_state(7, 1000), -1);
    EXPECT_EQ(device_power_unlock_state(7), -1);
    Rests();
    EXPECT_THAT(logind.Holds(), ElementsAre(kDelay));
}

TEST_F(PowerStatesTest, OnlyStandbyCanBeLocked)
{
    Starts();
    EXPECT_EQ(device_power_lock_state(DEVICE_POWER_STATE_NORMAL, 1000), -95);
    EXPECT_EQ(device_power_lock_state(DEVICE_POWER_STATE_SUSPEND, 1000), -95);
    EXPECT_EQ(device_power_unlock_state(DEVICE_POWER_STATE_NORMAL), -2);
    EXPECT_EQ(LogLinesWith("device_power_lock_state is not supported: "), 1);
}

TEST_F(PowerStatesTest, AReceiverIsReplacedByTheNextAndEndedOnlyByItself)
{
    static int told = 0;
    const device_power_wakeup_cb first = [](int, void*) { return told += 1; };
    const device_power_wakeup_cb second = [](int, void*) { return told += 10; };
    EXPECT_EQ(device_power_subscribe_wakeup(nullptr, nullptr), -1);
    EXPECT_EQ(device_power_unsubscribe_wakeup(first), -1);
    EXPECT_EQ(device_power_unsubscribe_wakeup(nullptr), -1);
    EXPECT_EQ(device_power_subscribe_wakeup(first, nullptr), 0);
    EXPECT_EQ(device_power_subscribe_wakeup(second, nullptr), 0);
    EXPECT_EQ(device_power_unsubscribe_wakeup(first), -1);
    ASSERT_TRUE(logind.WaitForHolds({kDelay}));
    logind.PreparesForSleep(false);
    Passes(1s);
    EXPECT_EQ(told, 10);
    EXPECT_EQ(device_power_unsubscribe_wakeup(second), 0);
    EXPECT_EQ(device_power_unsubscribe_wakeup(second), -1);
}

TEST_F(PowerStatesTest, AReceiverThatTakesLongIsNamed)
{
    Starts();
    reactions = {{"state 0->1", [] { g_usleep(5 * G_USEC_PER_SEC); }},
                 {"state 1->0", [] { g_usleep(11 * G_USEC_PER_SEC); }}};
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    ASSERT_TRUE(Until("state 1->0 ambient 0->0 by 0"));
    Rests();
    EXPECT_EQ(LogLinesWith("the receiver of the state notice took 11"), 1);
    EXPECT_EQ(LogLinesWith("took"), 1);
}

TEST_F(PowerStatesTest, AServiceThatWasRestartedFindsTheBoxAsItWas)
{
    WriteFile(kStateFile, "[power]\nstate=4\nambient-mode=2\nambient-type=4\nwakeup-reason=95\nsilenced=0\n");
    Starts();
    EXPECT_EQ(device_power_get_state(), 4);
    EXPECT_EQ(device_power_get_ambient_mode(), 2);
    EXPECT_EQ(device_power_get_ambient_type(), 4);
    EXPECT_EQ(device_power_get_wakeup_reason(), 95);
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(PowerStatesTest, AServiceThatWasRestartedInStandbySleepsAfterAMinute)
{
    WriteFile(kStateFile, kWholeState);
    Starts();
    Passes(61s);
    EXPECT_TRUE(Until("logind: Suspend"));
}

TEST_F(PowerStatesTest, ABoxThatRunsIsNeitherOffNorAsleep)
{
    WriteFile(kStateFile, "[power]\nstate=4\nambient-mode=0\nambient-type=0\nwakeup-reason=0\nsilenced=0\n");
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_STANDBY);
}

TEST_F(PowerStatesTest, AStateFileOfNonsenseIsNamedAndReplaced)
{
    WriteFile(kStateFile, "nonsense");
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_NORMAL);
    EXPECT_EQ(LogLinesWith("/run/vyrel-lite/power.state makes no sense"), 1);
    EXPECT_THAT(ReadFile(kStateFile), HasSubstr("state=0\n"));
}

TEST_F(PowerStatesTest, NothingButAWholeStateFileCounts)
{
    WriteFile(kStateFile, kWholeState);
    const std::optional<power::Remembered> whole = power::StateFile::Load();
    ASSERT_TRUE(whole.has_value());
    EXPECT_EQ(*whole, (power::Remembered{2, 0, 0, 94, false}));
    int bad = 0;
    for (const char* text :
         {"", "[power]\n", "[power]\nstate=1\n",
          "[power]\nstate=9\nambient-mode=0\nambient-type=0\nwakeup-reason=0\nsilenced=0\n",
          "[power]\nstate=-1\nambient-mode=0\nambient-type=0\nwakeup-reason=0\nsilenced=0\n",
          "[power]\nstate=one\nambient-mode=0\nambient-type=0\nwakeup-reason=0\nsilenced=0\n",
          "[power]\nstate=1\nambient-mode=4\nambient-type=0\nwakeup-reason=0\nsilenced=0\n",
          "[power]\nstate=1\nambient-mode=0\nambient-type=99999999999\nwakeup-reason=0\nsilenced=0\n",
          "[power]\nstate=1\nambient-mode=0\nambient-type=0\nwakeup-reason=0\nsilenced=2\n"}) {
        WriteFile(kStateFile, text);
        EXPECT_FALSE(power::StateFile::Load().has_value()) << text;
        EXPECT_EQ(LogLinesWith("makes no sense"), ++bad) << text;
    }
}

TEST_F(PowerStatesTest, AStateFileThatCannotBeWrittenIsNamedOnce)
{
    WriteFile("/run/vyrel-lite", "in the way");
    Starts();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    EXPECT_EQ(LogLinesWith("power.state cannot be written"), 1);
    EXPECT_TRUE(Until("state 1->0 ambient 0->0 by 0"));
}

TEST_F(PowerStatesTest, TheWakeUpReasonIsWhatWasSetLast)
{
    EXPECT_EQ(device_power_set_wakeup_reason(1), 0);
    EXPECT_EQ(device_power_get_wakeup_reason(), 1);
    EXPECT_THAT(ReadFile(kStateFile), HasSubstr("wakeup-reason=1\n"));
}

TEST_F(PowerStatesTest, ARestartOutOfStandbyLeavesAWordForTheNextStart)
{
    WriteFile(kBootId, "first\n");
    WriteFile(kStateFile, kWholeState);
    Starts();
    device_power_request_reboot(34);
    ASSERT_TRUE(Until("logind: Reboot"));
    EXPECT_EQ(ReadFile(kRestartNote), "first 2\n");
}

TEST_F(PowerStatesTest, ARestartThatDidNotComeLeavesNone)
{
    logind.Behaves(linux_test::Logind::Behaviour::Refuses);
    Starts();
    device_power_request_reboot(34);
    ASSERT_TRUE(Until("state 3->2 ambient 0->0 by 0"));
    EXPECT_FALSE(std::filesystem::exists(InRoot(kRestartNote)));
}

TEST_F(PowerStatesTest, TheNextStartGoesOnInStandbyAndSaysWhy)
{
    WriteFile(kBootId, "second\n");
    WriteFile(kRestartNote, "first 2\n");
    EXPECT_EQ(device_power_get_wakeup_reason(), 50);
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_STANDBY);
    EXPECT_FALSE(std::filesystem::exists(InRoot(kRestartNote)));
}

TEST_F(PowerStatesTest, AServiceThatIsFasterThanTheRestartLeavesTheWordWhereItIs)
{
    WriteFile(kBootId, "first\n");
    WriteFile(kRestartNote, "first 2\n");
    EXPECT_EQ(device_power_get_wakeup_reason(), 0);
    EXPECT_TRUE(std::filesystem::exists(InRoot(kRestartNote)));
}

TEST_F(PowerStatesTest, AWordOfNonsenseIsNone)
{
    WriteFile(kBootId, "second\n");
    WriteFile(kRestartNote, "first 4\n");
    EXPECT_EQ(device_power_get_wakeup_reason(), 0);
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_NORMAL);
}

TEST_F(PowerStatesTest, ThePictureIsTheBusinessOfTheBoxsHooks)
{
    HasHook("display-on");
    HasHook("display-off", "", "/usr/lib/vyrel-lite");
    HasHook("display-dim");
    HasHook("display-art");
    Starts();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    ASSERT_TRUE(Ran({"display-off"}));
    device_power_set_state(DEVICE_POWER_STATE_STANDBY, 1); // it is dark already
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    ASSERT_TRUE(Ran({"display-off", "display-on"}));
    screen_manager_set_ambient_mode(1, 4);
    ASSERT_TRUE(Ran({"display-off", "display-on", "display-art"}));
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    ASSERT_TRUE(Ran({"display-off", "display-on", "display-art", "display-on"}));
}

TEST_F(PowerStatesTest, AHookInEtcTakesTheMakersPlace)
{
    HasHook("display-off", "exit 0");
    HasHook("display-off", "", "/usr/lib/vyrel-lite");
    HasHook("display-on");
    Starts();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    EXPECT_TRUE(Ran({"display-on"}));
}

TEST_F(PowerStatesTest, HooksRunOneAfterTheOtherAndOnlyTheLastThatWaits)
{
    HasHook("display-off", "timeout 20 cat " + InRoot("/gate").string() + " > /dev/null");
    HasHook("display-on");
    ASSERT_EQ(::mkfifo(InRoot("/gate").c_str(), 0600), 0);
    Starts();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    for (int time = 0; time < 3; ++time) {
        device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
        device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    }
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    Rests();
    EXPECT_THAT(LinesOf("/hooks.ran"), IsEmpty());
    WriteFile("/gate", "go\n");
    EXPECT_TRUE(Ran({"display-off", "display-on"}));
}

TEST_F(PowerStatesTest, AHookThatFailsIsNamed)
{
    HasHook("display-off", "exit 3");
    HasHook("display-on", "kill -9 $$");
    Starts();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    EXPECT_TRUE(support::IterateUntil([] { return LogLinesWith("hook display-off: exit status 3") == 1; }));
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    EXPECT_TRUE(support::IterateUntil([] { return LogLinesWith("hook display-on: ended by signal 9") == 1; }));
}

TEST_F(PowerStatesTest, AHookThatDoesNotEndIsKilled)
{
    HasHook("display-off", "exec sleep 20");
    HasHook("display-on");
    Starts();
    const auto start = clock.Elapsed();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    PassesTo(start, 9s);
    EXPECT_EQ(LogLinesWith("does not end"), 0);
    PassesTo(start, 12s);
    EXPECT_EQ(LogLinesWith("hook display-off does not end: killed"), 1);
    EXPECT_TRUE(Ran({"display-on"}));
}

TEST_F(PowerStatesTest, AHookThatCannotBeRunIsNamed)
{
    HasHook("display-off");
    WriteFile("/etc/vyrel-lite/hooks/display-off", "#!/no/such/interpreter\n");
    Starts();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    EXPECT_EQ(LogLinesWith("hook display-off: "), 1);
}

TEST_F(PowerStatesTest, WhatIsNotExecutableIsNoHook)
{
    WriteFile("/etc/vyrel-lite/hooks/display-off", "#!/bin/sh\n");
    std::filesystem::create_directories(InRoot("/etc/vyrel-lite/hooks/display-on"));
    Starts();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    device_power_set_state(DEVICE_POWER_STATE_NORMAL, 1);
    Rests();
    EXPECT_EQ(LogLinesWith("hook"), 0);
}

} // namespace
