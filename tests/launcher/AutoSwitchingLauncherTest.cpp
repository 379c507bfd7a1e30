#include "AutoSwitchingLauncher/AutoSwitchingLauncher.h"

#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const char* kPaired = "/opt/usr/apps/org.vantor.vyrel/data/launch_autoswitch";
constexpr const char* kReady = "/run/context-mgr_ready";
constexpr const char* kLaunch = "/tmp/.launch_autoswitching";
constexpr const char* kCreated = "I create /tmp/.launch_autoswitching";
constexpr const char* kNotReady = "W contet-mgr is not ready";

class Launcher : public ::testing::Test
{
protected:
    sim::VirtualClock m_clock;
    sim::Television m_tv;
    std::optional<AutoSwitchingLauncher> m_launcher{std::in_place};
};

TEST_F(Launcher, DoesNothingOnASetThatNeverPairedEarphones)
{
    m_launcher->Launch();
    m_clock.Advance(1min);
    EXPECT_THAT(m_tv.tape.All(), ElementsAre(::testing::EndsWith("> Pemble has not been paired")));
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre("I Pemble has not been paired"));
    EXPECT_FALSE(m_tv.HasFile(kLaunch));
}

TEST_F(Launcher, CreatesTheFlagAtOnceAndAgainWhenTheContextManagerIsReady)
{
    m_tv.MakesFile(kPaired);
    m_tv.MakesFile(kReady);
    m_launcher->Launch();
    EXPECT_THAT(m_tv.tape.Timers(), ElementsAre("timer 1: 10 s"));
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(kCreated));
    EXPECT_EQ(m_tv.ReadFile(kLaunch), "");
    EXPECT_TRUE(m_tv.HasFile(kLaunch));

    m_tv.RemovesFile(kLaunch);
    m_clock.Advance(9s);
    EXPECT_FALSE(m_tv.HasFile(kLaunch));
    m_clock.Advance(2100ms);
    EXPECT_TRUE(m_tv.HasFile(kLaunch));
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(kCreated, kCreated));
    m_clock.Advance(1min);
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(kCreated, kCreated)) << "the timer has ended";
    m_launcher.reset();
    EXPECT_THAT(m_tv.tape.Timers(), ElementsAre("timer 1: 10 s")) << "and there is none to remove";
}

TEST_F(Launcher, WaitsForTheContextManagerWithAWarningEveryTenSeconds)
{
    m_tv.MakesFile(kPaired);
    m_launcher->Launch();
    m_clock.Advance(31500ms);
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(kCreated, kNotReady, kNotReady, kNotReady));
    m_tv.MakesFile(kReady);
    m_clock.Advance(11s);
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(kCreated, kNotReady, kNotReady, kNotReady, kCreated));
}

TEST_F(Launcher, TakesItsTimerWithItWhenItGoes)
{
    m_tv.MakesFile(kPaired);
    m_launcher->Launch();
    m_launcher.reset();
    m_clock.Advance(1min);
    EXPECT_THAT(m_tv.tape.Timers(), ElementsAre("timer 1: 10 s", "timer 1 removed"));
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(kCreated));
}

TEST_F(Launcher, EmptiesAFlagFileThatIsThere)
{
    m_tv.MakesFile(kLaunch, "old");
    AutoSwitchingLauncher::CreateAutoSwitchLaunchFile();
    EXPECT_EQ(m_tv.ReadFile(kLaunch), "");
}

TEST_F(Launcher, LeavesWhatAPlantedLinkLeadsToAlone)
{
    m_tv.MakesFile("/etc/precious", "precious");
    std::filesystem::create_symlink(m_tv.PathOf("/etc/precious"), m_tv.PathOf(kLaunch));
    AutoSwitchingLauncher::CreateAutoSwitchLaunchFile();
    EXPECT_EQ(m_tv.ReadFile("/etc/precious"), "precious");
}

TEST_F(Launcher, IsNotHeldByAPlantedPipe)
{
    ASSERT_EQ(::mkfifo(m_tv.PathOf(kLaunch).c_str(), 0600), 0);
    AutoSwitchingLauncher::CreateAutoSwitchLaunchFile();
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(kCreated));
}

TEST_F(Launcher, IgnoresAFolderThatCannotBeWritten)
{
    m_tv.RemovesFile("/tmp");
    m_tv.MakesFile("/tmp", "a file where the folder should be");
    AutoSwitchingLauncher::CreateAutoSwitchLaunchFile();
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(kCreated));
}

TEST_F(Launcher, LooksForFilesThatCanBeRead)
{
    EXPECT_FALSE(m_launcher->IsFileExist(kReady));
    EXPECT_FALSE(m_launcher->IsContextManagerReady());
    m_tv.MakesFile(kReady);
    EXPECT_TRUE(m_launcher->IsFileExist(kReady));
    EXPECT_TRUE(m_launcher->IsContextManagerReady());
    EXPECT_FALSE(m_launcher->IsPemblePaired());
    m_tv.MakesFile(kPaired);
    EXPECT_TRUE(m_launcher->IsPemblePaired());
}

} // namespace
