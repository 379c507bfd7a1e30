// What standby does to the sound.

#include "linux/PlatformLog.h"
#include "linux/Root.h"
#include "linux/SoundServer.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <device_power.h>

#include <string>

namespace {

using linux_test::LogLinesWith;
using linux_test::ReadFile;
using linux_test::SoundServer;
using linux_test::WriteFile;
using ::testing::HasSubstr;

class SilenceTest : public ::testing::Test
{
protected:
    static void GoesTo(int state)
    {
        ASSERT_EQ(device_power_set_state(state, 1), 0);
        support::DrainMainLoop();
    }

    SoundServer server;
    support::PrivateBus bus;
};

TEST_F(SilenceTest, StandbyIsSilentAndPictureOffIsNot)
{
    GoesTo(DEVICE_POWER_STATE_PICTURE_OFF);
    EXPECT_FALSE(server.IsMuted("one"));
    GoesTo(DEVICE_POWER_STATE_STANDBY);
    EXPECT_TRUE(server.IsMuted("one"));
    EXPECT_THAT(ReadFile("/run/vyrel-lite/power.state"), HasSubstr("silenced=1\n"));
    GoesTo(DEVICE_POWER_STATE_NORMAL);
    EXPECT_FALSE(server.IsMuted("one"));
    EXPECT_THAT(ReadFile("/run/vyrel-lite/power.state"), HasSubstr("silenced=0\n"));
}

TEST_F(SilenceTest, WhatSomebodyMutedStaysMuted)
{
    server.Mutes("one", true);
    GoesTo(DEVICE_POWER_STATE_STANDBY);
    GoesTo(DEVICE_POWER_STATE_NORMAL);
    EXPECT_TRUE(server.IsMuted("one"));
}

TEST_F(SilenceTest, AServiceThatWasRestartedInStandbyStillGivesTheSoundBack)
{
    server.Mutes("one", true);
    WriteFile("/run/vyrel-lite/power.state",
              "[power]\nstate=2\nambient-mode=0\nambient-type=0\nwakeup-reason=0\nsilenced=1\n");
    GoesTo(DEVICE_POWER_STATE_NORMAL);
    EXPECT_FALSE(server.IsMuted("one"));
}

TEST_F(SilenceTest, WithoutASoundServerTheStatesGoOn)
{
    server.Dies();
    GoesTo(DEVICE_POWER_STATE_STANDBY);
    GoesTo(DEVICE_POWER_STATE_NORMAL);
    EXPECT_EQ(device_power_get_state(), DEVICE_POWER_STATE_NORMAL);
    EXPECT_EQ(LogLinesWith("no sound server: "), 1);
}

} // namespace
