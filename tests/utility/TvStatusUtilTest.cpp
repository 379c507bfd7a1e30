#include "TvStatusUtil.h"

#include "sim/Features.h"
#include "sim/Power.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Util::TvStatusUtil;

namespace {

void IsInLowPowerMode(sim::Television& tv)
{
    tv.power.state = 4;
    tv.power.ambientMode = 2;
}

TEST(PowerState, IsReadAndLogged)
{
    sim::Television tv;
    tv.power.state = 2;
    EXPECT_EQ(TvStatusUtil::GetPowerState(), 2);
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("I Power state = 2"));
    EXPECT_EQ(tv.tape.Entries().back().tag, "VYREL_UTIL");
}

TEST(PowerState, IsSetAsAUserDoes)
{
    sim::Television tv;
    TvStatusUtil::SetPowerState(1);
    EXPECT_THAT(tv.tape.Actions(), ElementsAre("device_power_set_state(1, 1) = 0"));
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("I device_power_set_state 1, result :0"));
    tv.tape.Clear();
    tv.Fails("device_power_set_state", -1);
    TvStatusUtil::SetPowerState(2);
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("I device_power_set_state 2, result :-1"));
}

TEST(PowerState, BelowTwoTheSetIsOn)
{
    sim::Television tv;
    for (const int state : {0, 1, 2, 3, 4}) {
        tv.power.state = state;
        EXPECT_EQ(TvStatusUtil::IsValidPowerState(), state < 2) << state;
    }
}

TEST(Picture, ComesBackOnlyWhenItIsOff)
{
    for (const int state : {0, 1, 2, 3, 4}) {
        sim::Television tv;
        tv.power.state = state;
        TvStatusUtil::PictureOn();
        if (state == 1) {
            EXPECT_THAT(tv.tape.Calls(),
                        ElementsAre("device_power_get_state() = 1", "device_power_set_state(0, 1) = 0"));
        } else {
            EXPECT_THAT(tv.tape.Actions(), IsEmpty()) << state;
        }
        EXPECT_THAT(tv.tape.Messages(true), IsEmpty());
    }
}

TEST(Sleep, OutOfLowPowerModeSuspends)
{
    sim::Television tv;
    tv.power.state = 4;
    TvStatusUtil::SleepTv();
    EXPECT_THAT(tv.tape.Actions(), ElementsAre("screen_manager_set_ambient_mode(3, 2) = 0"));
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("E <Not Error> Go to suspend from Low Power Mode"));
}

TEST(Sleep, OutOfBackgroundStandbyPowersOff)
{
    sim::Television tv;
    tv.power.state = 2;
    TvStatusUtil::SleepTv();
    EXPECT_THAT(tv.tape.Actions(), ElementsAre("device_power_request_poweroff(4) = 0"));
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("I Go to suspend  from BackGround Standby"));
}

TEST(Sleep, IsNothingInAnyOtherState)
{
    for (const int state : {0, 1, 3, 5, -1}) {
        sim::Television tv;
        tv.power.state = state;
        TvStatusUtil::SleepTv();
        EXPECT_THAT(tv.tape.Actions(), IsEmpty());
        EXPECT_THAT(tv.tape.Messages(true), IsEmpty());
    }
}

TEST(WakeUp, OutOfStandbyGoesToNormal)
{
    sim::Television tv;
    TvStatusUtil::WakeUpTv(2);
    EXPECT_THAT(tv.tape.Actions(),
                ElementsAre("device_power_set_wakeup_reason(1) = 0", "device_power_set_state(0, 1) = 0"));
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("I Go to Normal from BackGround Standby"));
}

TEST(WakeUp, OutOfAnyOtherStateOnlySetsTheReason)
{
    for (const int state : {0, 1, 3}) {
        sim::Television tv;
        TvStatusUtil::WakeUpTv(state);
        EXPECT_THAT(tv.tape.Actions(), ElementsAre("device_power_set_wakeup_reason(1) = 0"));
        EXPECT_THAT(tv.tape.Messages(true), IsEmpty());
    }
}

TEST(WakeUp, OutOfLowPowerModeShowsTheNormalPicture)
{
    sim::Television tv;
    TvStatusUtil::WakeUpTv(4);
    EXPECT_THAT(tv.tape.Actions(),
                ElementsAre("device_power_set_wakeup_reason(1) = 0", "screen_manager_set_ambient_mode(0, 0) = 0"));
    EXPECT_EQ(tv.tape.Messages().front(), "E <Not Error> Go to Normal from Low Power Mode");
    EXPECT_EQ(tv.tape.Calls()[1], R"(vconf_get_int("db/vyrel/ambient_mode_full_power_off_event") = -2)");
}

struct ArtCase
{
    bool vellon;
    bool artOnly;
    int ambientMode;
    int fullPowerOffMode;
    bool wakesIntoArt;
};

class WakeUpIntoArt : public ::testing::TestWithParam<ArtCase>
{};

TEST_P(WakeUpIntoArt, NeedsAllFour)
{
    const ArtCase& art = GetParam();
    sim::Television tv;
    tv.features.Has("vellon_tv", art.vellon);
    tv.features.Has("artapp.artmode_only_support", art.artOnly);
    tv.power.ambientMode = art.ambientMode;
    tv.settings.Writes("db/vyrel/ambient_mode_full_power_off_event", art.fullPowerOffMode);
    TvStatusUtil::WakeUpTv(4);
    EXPECT_EQ(tv.tape.Actions().back(), art.wakesIntoArt ? "screen_manager_set_ambient_mode(1, 4) = 0"
                                                         : "screen_manager_set_ambient_mode(0, 0) = 0");
    EXPECT_EQ(tv.tape.Messages().back() == "I turn on with artmode", art.wakesIntoArt);
}

INSTANTIATE_TEST_SUITE_P(All, WakeUpIntoArt,
                         ::testing::Values(ArtCase{true, false, 2, 1, true}, ArtCase{false, false, 2, 1, false},
                                           ArtCase{true, true, 2, 1, false}, ArtCase{true, false, 1, 1, false},
                                           ArtCase{true, false, 3, 1, false}, ArtCase{true, false, 2, 0, false},
                                           ArtCase{true, false, 2, 2, false}));

TEST(WakeUpReason, IsThePlatforms)
{
    sim::Television tv;
    tv.power.wakeUpReason = 95;
    EXPECT_EQ(TvStatusUtil::GetDeviceWakeUpReason(), 95);
}

TEST(Ambient, ModeAndTypeAreLogged)
{
    sim::Television tv;
    tv.power.ambientMode = 3;
    tv.power.ambientType = 6;
    EXPECT_EQ(TvStatusUtil::GetAmbientMode(), 3);
    EXPECT_EQ(TvStatusUtil::GetAmbientType(), 6);
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("I Current Ambient Mode : 3", "I Current Ambient type : 6"));
}

TEST(ArtApp, ShowsOnAVellonInAmbientModeOneWithTheArtBit)
{
    for (const int mode : {0, 1, 2}) {
        for (const int type : {0, 3, 4, 6, 8}) {
            sim::Television tv;
            tv.features.Has("vellon_tv");
            tv.power.ambientMode = mode;
            tv.power.ambientType = type;
            EXPECT_EQ(TvStatusUtil::IsArtAppShowing(), mode == 1 && (type & 4) != 0) << mode << " " << type;
            EXPECT_EQ(tv.tape.Calls({"device_power_get_ambient_type"}).size(), mode == 1 ? 1U : 0U);
        }
    }
}

TEST(ArtApp, DoesNotShowOnAnyOtherSet)
{
    sim::Television tv;
    tv.features.Has("vellon_tv", false);
    tv.power.ambientMode = 1;
    tv.power.ambientType = 4;
    EXPECT_FALSE(TvStatusUtil::IsArtAppShowing());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I Is VellonTV :0", "I Not vellon TV"));
    EXPECT_THAT(tv.tape.Calls({"device_power"}), IsEmpty());
}

TEST(LpmLock, IsTakenInLowPowerModeAndGivenBackOnce)
{
    sim::Television tv;
    IsInLowPowerMode(tv);
    TvStatusUtil::LockLpmPowerState(60000);
    TvStatusUtil::UnlockLpmPowerState();
    TvStatusUtil::UnlockLpmPowerState();
    EXPECT_THAT(tv.tape.Actions(), ElementsAre("screen_manager_set_ambient_lock(1, 60000) = 0",
                                               "screen_manager_set_ambient_lock(0, 0) = 0"));
    EXPECT_THAT(tv.tape.MessagesFrom("LockLpmPowerState"), ElementsAre("E <Not Error> Lock LPM"));
    EXPECT_THAT(tv.tape.MessagesFrom("UnlockLpmPowerState"),
                ElementsAre("E <Not Error> UnLock LPM", "E ambient lock is not called"));
    EXPECT_THAT(tv.tape.MessagesFrom("GetPowerState").size(), 3U);
    EXPECT_THAT(tv.tape.MessagesFrom("GetAmbientMode").size(), 3U);
}

TEST(LpmLock, WithoutOneNothingIsGivenBack)
{
    sim::Television tv;
    IsInLowPowerMode(tv);
    TvStatusUtil::UnlockLpmPowerState();
    EXPECT_THAT(tv.tape.Actions(), IsEmpty());
    EXPECT_THAT(tv.tape.MessagesFrom("UnlockLpmPowerState"), ElementsAre("E ambient lock is not called"));
}

TEST(LpmLock, IsOnlyForLowPowerMode)
{
    struct State
    {
        int power;
        int ambient;
    };
    for (const State state : {State{0, 2}, State{2, 2}, State{3, 2}, State{4, 0}, State{4, 1}, State{4, 3}}) {
        sim::Television tv;
        tv.power.state = state.power;
        tv.power.ambientMode = state.ambient;
        TvStatusUtil::LockLpmPowerState(1000);
        TvStatusUtil::UnlockLpmPowerState();
        EXPECT_THAT(tv.tape.Actions(), IsEmpty());
        EXPECT_THAT(tv.tape.MessagesFrom("LockLpmPowerState"), ElementsAre("E Not LPM mode"));
        EXPECT_THAT(tv.tape.MessagesFrom("UnlockLpmPowerState"), ElementsAre("E Not LPM mode"));
    }
}

TEST(LpmLock, StaysTakenOutsideTheModeAndAfterAFailedRelease)
{
    sim::Television tv;
    IsInLowPowerMode(tv);
    TvStatusUtil::LockLpmPowerState(60000);
    tv.power.state = 0;
    TvStatusUtil::UnlockLpmPowerState();
    IsInLowPowerMode(tv);
    tv.Fails("screen_manager_set_ambient_lock", -1, 1);
    TvStatusUtil::UnlockLpmPowerState();
    tv.tape.Clear();
    TvStatusUtil::UnlockLpmPowerState();
    EXPECT_THAT(tv.tape.Actions(), ElementsAre("screen_manager_set_ambient_lock(0, 0) = 0"));
}

TEST(LpmLock, ThatFailedIsNotTaken)
{
    sim::Television tv;
    IsInLowPowerMode(tv);
    tv.Fails("screen_manager_set_ambient_lock", -1, 1);
    TvStatusUtil::LockLpmPowerState(60000);
    EXPECT_THAT(tv.tape.MessagesFrom("LockLpmPowerState"), ElementsAre("E <Not Error> Lock LPM"));
    TvStatusUtil::UnlockLpmPowerState();
    EXPECT_THAT(tv.tape.MessagesFrom("UnlockLpmPowerState"), ElementsAre("E ambient lock is not called"));
}

TEST(LpmLock, ASecondLockThatFailsClearsTheFirst)
{
    sim::Television tv;
    IsInLowPowerMode(tv);
    TvStatusUtil::LockLpmPowerState(60000);
    tv.Fails("screen_manager_set_ambient_lock", -1, 1);
    TvStatusUtil::LockLpmPowerState(60000);
    TvStatusUtil::UnlockLpmPowerState();
    EXPECT_THAT(tv.tape.MessagesFrom("UnlockLpmPowerState"), ElementsAre("E ambient lock is not called"));
}

TEST(StandbyLock, IsTakenAndGivenBack)
{
    sim::Television tv;
    TvStatusUtil::SetStandbyPowerLock(15000);
    TvStatusUtil::UnSetStandbyPowerLock();
    EXPECT_THAT(tv.tape.Actions(),
                ElementsAre("device_power_lock_state(2, 15000) = 0", "device_power_unlock_state(2) = 0"));
    EXPECT_THAT(tv.tape.Messages(true), ElementsAre("I standby lock(timout == 15000ms) : 0", "I standby unlock : 0"));
}

TEST(StandbyLock, FailuresAreLoggedByName)
{
    sim::Television tv;
    tv.Fails("device_power_lock_state", -22);
    tv.Fails("device_power_unlock_state", -1);
    TvStatusUtil::SetStandbyPowerLock(60000);
    TvStatusUtil::UnSetStandbyPowerLock();
    EXPECT_THAT(tv.tape.Messages(true),
                ElementsAre("E power lock state failed -> ret [INVALID_PARAMETER]",
                            "I standby lock(timout == 60000ms) : -22", "E power lock state failed -> ret [None]",
                            "I standby unlock : -1"));
}

TEST(Mute, OfTheWholeSetAndOfItsSpeaker)
{
    sim::Television tv;
    TvStatusUtil::SetMasterMute(true);
    TvStatusUtil::SetMasterMute(false);
    TvStatusUtil::SetTvSpeakerMute(true);
    EXPECT_TRUE(TvStatusUtil::GetTvSpeakerMute());
    TvStatusUtil::SetTvSpeakerMute(false);
    EXPECT_FALSE(TvStatusUtil::GetTvSpeakerMute());
    EXPECT_THAT(tv.tape.Actions(),
                ElementsAre("sound_manager_set_tv_master_mute(true) = 0", "sound_manager_set_tv_master_mute(false) = 0",
                            "sound_manager_set_device_mute(0, true) = 0",
                            "sound_manager_set_device_mute(0, false) = 0"));
}

TEST(Mute, OfTheSpeakerIsOffWhenItCannotBeRead)
{
    sim::Television tv;
    TvStatusUtil::SetTvSpeakerMute(true);
    tv.Fails("sound_manager_get_device_mute", -1);
    EXPECT_FALSE(TvStatusUtil::GetTvSpeakerMute());
}

TEST(Route, ThreeFiveAndSixLeadToABluetoothSpeaker)
{
    for (int route = -1; route <= 8; ++route) {
        EXPECT_EQ(TvStatusUtil::isBluetoothSpeakerSelection(route), route == 3 || route == 5 || route == 6) << route;
    }
}

TEST(Wifi, TheSpeakerIsConnectingAtMinusOne)
{
    sim::Television tv;
    EXPECT_FALSE(TvStatusUtil::isWifiSpeakerConnecting());
    for (const int status : {0, 1, -2}) {
        tv.settings.Writes("memory/acm/networkspeaker_status", status);
        EXPECT_FALSE(TvStatusUtil::isWifiSpeakerConnecting());
    }
    tv.settings.Writes("memory/acm/networkspeaker_status", -1);
    EXPECT_TRUE(TvStatusUtil::isWifiSpeakerConnecting());
}

TEST(Wifi, TheChannelIsItsSetting)
{
    sim::Television tv;
    EXPECT_EQ(TvStatusUtil::GetWifiChannel(), 0);
    tv.settings.Writes("memory/wifi/frequency", 5180);
    EXPECT_EQ(TvStatusUtil::GetWifiChannel(), 5180);
}

} // namespace
