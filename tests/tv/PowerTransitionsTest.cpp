// What each change of the power state does, and the subscriptions through which it is heard.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "sim/Adapter.h"
#include "sim/Features.h"
#include "sim/Power.h"
#include "sim/Settings.h"
#include "sim/Slot.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/Message.h"
#include "support/MessageMatchers.h"
#include "support/Settle.h"
#include "support/Siblings.h"
#include "tv/PowerFixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <device_power.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace {

constexpr const char* kRouteKey = "db/vyrel/lastSoundRoute";
constexpr const char* kAmbientKey = "db/vyrel/ambient_mode_full_power_off_event";
constexpr const char* kGripCountKey = "memory/vyrel/count_display_grip_sensor_popup";
constexpr const char* kClearGripCount = R"(vconf_set_int("memory/vyrel/count_display_grip_sensor_popup", 0) = 0)";
constexpr const char* kHideSet = "bt_adapter_set_visibility(0, 0) = 0";
constexpr const char* kSpeakerCall = "call com.quorix.tv.bt.connectionmanager LastConnectedBtSpk";

std::string StoreAmbient(int mode)
{
    return R"(vconf_set_int("db/vyrel/ambient_mode_full_power_off_event", )" + std::to_string(mode) + ") = 0";
}

class PowerSubscriptions : public PowerLife
{
protected:
    /// A power-off tells two of the six.
    void ExpectAllNoticesDropped()
    {
        tv.power.LeavesAmbientByPowerOff(0);
        tv.power.PowersOff(0);
        tv.power.WakesUp(1);
        tv.power.GoesTo(1);
        tv.power.AnnouncesStandby(13);
        Settle();

        EXPECT_THAT(Deeds(), IsEmpty());
        EXPECT_EQ(tv.tape.Messages(), std::vector<std::string>(6, "E userData is NULL"));
    }
};

TEST_F(PowerSubscriptions, InitSubscribesTheSixNoticesInOrder)
{
    CTvStatusEventHandler another;
    another.Init(dbus, remotes);

    EXPECT_THAT(
        tv.tape.Calls({"device_power_"}),
        ElementsAre("device_power_subscribe_ambient_poweroff() = 0", "device_power_subscribe_poweroff_event() = 0",
                    "device_power_subscribe_post_poweroff_event() = 0", "device_power_subscribe_wakeup() = 0",
                    "device_power_subscribe_state_changed_event() = 0", "device_power_subscribe_standby() = 0"));
    EXPECT_EQ(tv.tape.All().front().substr(0, 1), "I");
    EXPECT_THAT(tv.tape.All().front(), EndsWith("> Register Tv Status Event callbacks"));
    tv.ServiceHasStopped();
}

TEST_F(PowerSubscriptions, TheCountersAreComparedAfterSubscribing)
{
    CTvStatusEventHandler another;
    another.Init(dbus, remotes);

    const std::vector<std::string> calls = tv.tape.Calls();
    const auto standby = std::ranges::find(calls, "device_power_subscribe_standby() = 0");
    const auto count = std::ranges::find(calls, R"(vconf_get_int("db/factory/factory_reset_count") = 0 -> 0)");
    ASSERT_NE(count, calls.end());
    EXPECT_LT(standby - calls.begin(), count - calls.begin());
    tv.ServiceHasStopped();
}

TEST_F(PowerSubscriptions, DeinitNamesFunctionsThatWereNeverSubscribedSoNoticesGoOn)
{
    handler->Deinit();

    EXPECT_THAT(tv.tape.All().front(), EndsWith("> Unregister Tv Status Event callbacks"));
    EXPECT_THAT(tv.tape.Calls(), ElementsAre("device_power_unsubscribe_ambient_poweroff() = -1",
                                             "device_power_unsubscribe_poweroff_event() = -1",
                                             "device_power_unsubscribe_post_poweroff_event() = -1",
                                             "device_power_unsubscribe_wakeup() = -1",
                                             "device_power_unsubscribe_state_changed_event() = -1",
                                             "device_power_unsubscribe_standby() = -1"));
    EXPECT_EQ(tv.tape.Messages(), std::vector<std::string>{"I Unregister Tv Status Event callbacks"});

    tv.tape.Clear();
    Changes(0, 1);
    tv.power.WakesUp(1);
    tv.power.AnnouncesStandby(0);
    tv.power.PowersOff(0);
    tv.power.LeavesAmbientByPowerOff(0);
    Settle();
    EXPECT_THAT(Deeds(),
                ElementsAre(StateSignal(0, 1), "bt_adapter_set_headless_mode(false) = 0", kHideSet,
                            "bt_adapter_set_headless_mode(true) = 0", "bt_adapter_set_headless_mode(true) = 0"));
    EXPECT_THAT(tv.tape.Messages(), Contains("E <Not error> enter OnPowerStandbyCb"));
}

TEST_F(PowerSubscriptions, EveryHandlerAnswersZero)
{
    device_power_state_info change = {0, 0, 2, 0, 0, 0};
    device_poweroff_info off = {0};

    EXPECT_EQ(handler->HandlePowerStateChanged(&change), 0);
    EXPECT_EQ(handler->HandlePowerStateChanged(nullptr), 0);
    EXPECT_EQ(handler->OnPowerStandbyCb(0), 0);
    EXPECT_EQ(handler->OnPowerOffEvent(&off), 0);
    EXPECT_EQ(handler->OnPowerOffEvent(nullptr), 0);
    EXPECT_EQ(handler->OnPostPowerOffEvent(&off), 0);
    EXPECT_EQ(handler->OnPostPowerOffEvent(nullptr), 0);
    off.option = 13;
    EXPECT_EQ(handler->OnPowerOffEvent(&off), 0);
    EXPECT_EQ(handler->OnPostPowerOffEvent(&off), 0);
    EXPECT_EQ(handler->OnAmbientPowerOff(&off), 0);
    tv.adapter.state = BT_ADAPTER_DISABLED;
    EXPECT_EQ(handler->OnAmbientPowerOff(&off), 0);
    EXPECT_EQ(handler->OnWakeUp(1), 0);
}

TEST_F(PowerSubscriptions, ANoticeForNobodyIsDropped)
{
    tv.power.onAmbientPowerOff.LosesUserData();
    tv.power.onPowerOff.LosesUserData();
    tv.power.onPostPowerOff.LosesUserData();
    tv.power.onWakeUp.LosesUserData();
    tv.power.onStateChanged.LosesUserData();
    tv.power.onStandby.LosesUserData();

    ExpectAllNoticesDropped();
}

TEST_F(PowerSubscriptions, ANoticeThatComesWhenTheHandlerIsGoneIsDropped)
{
    handler->Deinit();
    handler.reset();
    tv.tape.Clear();

    ExpectAllNoticesDropped();
}

class PowerTransitions : public PowerLife
{};

TEST_F(PowerTransitions, NormalPowerMakesTheAdapterFindableAndTellsTheConnectionManagerLast)
{
    tv.features.Has("bluetooth.discoverable");
    tv.features.Has("bluetooth.always_classic_discoverable");
    tv.PostsFlag("/tmp/.bt_irmonitor");

    Changes(2, 0, 1, 3);

    EXPECT_THAT(Deeds(), ElementsAre(kClearGripCount, "bt_adapter_set_visibility(1, 0) = 0", "timer removed",
                                     "timer: 3600000 ms", StoreAmbient(3), "call com.quorix.tv.bt.irmonitor Reset",
                                     StateSignal(2, 0, 1, 3)));
    EXPECT_EQ(tv.settings.Int(kAmbientKey), 3);
    EXPECT_EQ(tv.settings.Int(kGripCountKey), 0);
    EXPECT_THAT(LogOf({"HandlePowerStateChanged"}), ElementsAre("I power state is changed from 2 to 0"));
    EXPECT_THAT(LogOf({"GoToNormalPowerState"}),
                ElementsAre("I Set adapter visibility to BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE"));
}

TEST_F(PowerTransitions, ASetThatMustNotBeFoundStaysHiddenUnderTheSameLogText)
{
    tv.features.Has("bluetooth.discoverable", false);

    Changes(2, 0);

    EXPECT_THAT(tv.tape.Calls({"bt_adapter_set_visibility"}), ElementsAre(kHideSet));
    EXPECT_THAT(LogOf({"GoToNormalPowerState"}),
                ElementsAre("I Set adapter visibility to BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE"));
}

TEST_F(PowerTransitions, ComingFromPictureOffKeepsTheGripPopUpCount)
{
    tv.settings.Writes(kGripCountKey, 2);
    tv.tape.Clear();

    Changes(1, 0);

    EXPECT_THAT(Deeds(), ElementsAre("bt_adapter_set_visibility(1, 0) = 0", "timer removed", "timer: 3600000 ms",
                                     StoreAmbient(0), StateSignal(1, 0)));
    EXPECT_EQ(tv.settings.Int(kGripCountKey), 2);
}

TEST_F(PowerTransitions, ComingFromAnyOtherStateClearsTheGripPopUpCount)
{
    for (const int previous : {0, 2, 3, 4, 7}) {
        tv.settings.Writes(kGripCountKey, 2);
        Changes(previous, 0);
        EXPECT_EQ(tv.settings.Int(kGripCountKey), 0) << previous;
    }
}

TEST_F(PowerTransitions, TheTouchIrMonitorIsNotCalledWhileItDoesNotRun)
{
    Changes(2, 0);

    EXPECT_THAT(tv.tape.Bus(), ElementsAre(StateSignal(2, 0)));
    EXPECT_THAT(tv.tape.Messages(), Contains("E Reset command but irmonitor is not running"));
}

TEST_F(PowerTransitions, PictureOffAndOffAreOnlyTold)
{
    for (const int state : {1, 3}) {
        tv.tape.Clear();
        Changes(0, state, 1, 1);
        EXPECT_THAT(Deeds(), ElementsAre(StateSignal(0, state, 1, 1)));
        EXPECT_THAT(LogOf({"GoToNormalPictureoff", "GoToOffPowerState"}), ElementsAre("D Do nothing"));
    }
}

TEST_F(PowerTransitions, StandbyAfterNormalHidesTheAdapterAndKeepsThePreviousAmbientMode)
{
    for (const int previous : {0, 1}) {
        remotes->StartAmbiLightTimer();
        tv.tape.Clear();

        Changes(previous, 2, 1, 2);

        EXPECT_THAT(Deeds(), ElementsAre(StoreAmbient(1), kHideSet,
                                         "signal com.quorix.tv.bt.connectionmanager StandbyPowerStatefromNormal",
                                         "timer removed", StateSignal(previous, 2, 1, 2)));
        EXPECT_EQ(tv.settings.Int(kAmbientKey), 1);
        EXPECT_THAT(LogOf({"GoToStandbyPowerState"}),
                    ElementsAre("I Set adapter visibility BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE"));
        EXPECT_THAT(LogOf({"SendAmbiLightKpi"}), Contains("I saved AmbiLight Kpi Info is none"));
        EXPECT_FALSE(tv.power.IsLocked(2));
    }
}

TEST_F(PowerTransitions, StandbyAfterNormalReportsTheLightThatWasGathered)
{
    remotes->SaveAmbiLightInfo();
    tv.tape.Clear();

    Changes(0, 2);

    const std::vector<std::string> deeds = Deeds();
    ASSERT_EQ(deeds.size(), 6U);
    EXPECT_THAT(deeds[2], HasSubstr("StandbyPowerStatefromNormal"));
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(HasSubstr("AMBILIGHT EV015")));
    EXPECT_EQ(deeds[5], StateSignal(0, 2));
}

TEST_F(PowerTransitions, StandbyAfterSuspendHoldsTheSetForAMinuteUntilTheChipIsReady)
{
    for (const int previousAmbient : {0, 1, 3}) {
        tv.tape.Clear();
        Changes(4, 2, previousAmbient);
        EXPECT_THAT(Deeds(), ElementsAre("[VYREL][GoToStandbyPowerState]request standby lock",
                                         "device_power_lock_state(2, 60000) = 0", StateSignal(4, 2, previousAmbient)));
        EXPECT_THAT(
            LogOf({"GoToStandbyPowerState"}),
            ElementsAre("E <NOT ERROR> power state form suspend(except LPM). Lock standby power state for 60sec "
                        "to wait for bt hw ready"));
    }
    EXPECT_TRUE(tv.power.IsLocked(2));
    clock.Advance(59s);
    EXPECT_TRUE(tv.power.IsLocked(2));
    clock.Advance(2s);
    EXPECT_FALSE(tv.power.IsLocked(2));
}

TEST_F(PowerTransitions, StandbyAfterTheLowPowerPictureNeedsNoLock)
{
    Changes(4, 2, 2);

    EXPECT_THAT(Deeds(), ElementsAre(StateSignal(4, 2, 2)));
    EXPECT_THAT(LogOf({"GoToStandbyPowerState"}), IsEmpty());
}

TEST_F(PowerTransitions, StandbyAfterAnyOtherStateIsOnlyTold)
{
    for (const int previous : {2, 3, 5, -1}) {
        tv.tape.Clear();
        Changes(previous, 2, 1, 1);
        EXPECT_THAT(Deeds(), ElementsAre(StateSignal(previous, 2, 1, 1)));
    }
}

TEST_F(PowerTransitions, EnteringTheLowPowerPictureLocksItAndEndsHeadlessMode)
{
    for (const int previousAmbient : {0, 3}) {
        tv.adapter.headless = true;
        tv.tape.Clear();

        Changes(4, 4, previousAmbient, 2);

        EXPECT_THAT(Deeds(),
                    ElementsAre("[VYREL][GoToLowPowerAmbientMode]request lpm lock",
                                "screen_manager_set_ambient_lock(1, 60000) = 0",
                                "bt_adapter_set_headless_mode(false) = 0", StateSignal(4, 4, previousAmbient, 2)));
        EXPECT_THAT(LogOf({"GoToLowPowerAmbientMode"}),
                    ElementsAre("I previous ambient mode : " + std::to_string(previousAmbient),
                                "I set adapter headless false"));
        EXPECT_FALSE(tv.adapter.headless);
    }
}

TEST_F(PowerTransitions, TheLowPowerPictureAfterAnotherPictureChangesNothing)
{
    for (const int previousAmbient : {1, 2, 4, -1}) {
        tv.tape.Clear();
        Changes(4, 4, previousAmbient, 2);
        EXPECT_THAT(Deeds(), ElementsAre(StateSignal(4, 4, previousAmbient, 2)));
        EXPECT_THAT(LogOf({"GoToLowPowerAmbientMode"}),
                    ElementsAre("I previous ambient mode : " + std::to_string(previousAmbient)));
    }
}

TEST_F(PowerTransitions, SuspendWithoutTheLowPowerPictureOrFromAnotherStateIsOnlyTold)
{
    for (const int newAmbient : {0, 1, 3}) {
        tv.tape.Clear();
        Changes(4, 4, 0, newAmbient);
        EXPECT_THAT(Deeds(), ElementsAre(StateSignal(4, 4, 0, newAmbient)));
    }
    for (const int previous : {0, 1, 2, 3}) {
        tv.tape.Clear();
        Changes(previous, 4, 0, 2);
        EXPECT_THAT(Deeds(), ElementsAre(StateSignal(previous, 4, 0, 2)));
    }
    EXPECT_THAT(LogOf({"GoToLowPowerAmbientMode"}), IsEmpty());
}

TEST_F(PowerTransitions, EachTransitionIsLoggedInTheOrderOfItsSteps)
{
    const std::vector<std::string> handlers = {"HandlePowerStateChanged", "GoToNormalPowerState",
                                               "GoToStandbyPowerState", "GoToLowPowerAmbientMode"};
    tv.settings.Writes(kRouteKey, 3);
    tv.tape.Clear();
    Changes(1, 0);
    EXPECT_THAT(DeedsAndLogOf(handlers),
                ElementsAre("I power state is changed from 1 to 0", "bt_adapter_set_visibility(1, 0) = 0",
                            "I Set adapter visibility to BT_ADAPTER_VISIBILITY_MODE_GENERAL_DISCOVERABLE",
                            "timer removed", "timer: 3600000 ms", StoreAmbient(0), "timer: 10000 ms",
                            "I last Soundoutput is bt spk timer added", StateSignal(1, 0)));
    tv.tape.Clear();
    Changes(0, 2);
    EXPECT_THAT(DeedsAndLogOf(handlers),
                ElementsAre("I power state is changed from 0 to 2", StoreAmbient(0), kHideSet,
                            "I Set adapter visibility BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE",
                            "signal com.quorix.tv.bt.connectionmanager StandbyPowerStatefromNormal", "timer removed",
                            StateSignal(0, 2)));
    tv.tape.Clear();
    Changes(4, 2);
    EXPECT_THAT(DeedsAndLogOf(handlers),
                ElementsAre("I power state is changed from 4 to 2",
                            "E <NOT ERROR> power state form suspend(except LPM). Lock standby power state for 60sec "
                            "to wait for bt hw ready",
                            "[VYREL][GoToStandbyPowerState]request standby lock",
                            "device_power_lock_state(2, 60000) = 0", StateSignal(4, 2)));
    tv.tape.Clear();
    Changes(4, 4, 3, 2);
    EXPECT_THAT(DeedsAndLogOf(handlers),
                ElementsAre("I power state is changed from 4 to 4", "I previous ambient mode : 3",
                            "[VYREL][GoToLowPowerAmbientMode]request lpm lock",
                            "screen_manager_set_ambient_lock(1, 60000) = 0", "bt_adapter_set_headless_mode(false) = 0",
                            "I set adapter headless false", StateSignal(4, 4, 3, 2)));
}

TEST_F(PowerTransitions, AStateThatNobodyKnowsIsOnlyTold)
{
    for (const int state : {-1, 5, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        tv.tape.Clear();
        Changes(0, state);
        EXPECT_THAT(Deeds(), ElementsAre(StateSignal(0, state)));
        EXPECT_THAT(LogOf({"HandlePowerStateChanged"}),
                    ElementsAre("I power state is changed from 0 to " + std::to_string(state)));
    }
}

TEST_F(PowerTransitions, AMissingRecordIsDropped)
{
    tv.power.TellsStateChange(nullptr);
    Settle();

    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E info is NULL"));
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(Deeds(), IsEmpty());
}

TEST_F(PowerTransitions, NoTransitionNeedsARecordToSurvive)
{
    handler->GoToNormalPowerState(nullptr);
    handler->GoToNormalPictureoff(nullptr);
    handler->GoToStandbyPowerState(nullptr);
    handler->GoToOffPowerState(nullptr);
    handler->GoToSuspendPowerState(nullptr);

    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E info is NULL", "E info is NULL", "E info is NULL"));
}

TEST_F(PowerTransitions, TheConnectionManagerGetsAllSixFieldsAsTheyCame)
{
    support::ConnectionManager manager;
    const device_power_state_info info = {-7, 94, 3, 1, 2, -2147483648};
    tv.power.TellsStateChange(&info);
    support::Settle({&manager});

    EXPECT_THAT(manager.Messages(), ElementsAre(support::Message{.kind = support::Message::Kind::Signal,
                                                                 .destination = kConnectionManager,
                                                                 .path = "/com/quorix/tv/bt/connectionmanager",
                                                                 .interface = kConnectionManager,
                                                                 .member = "PowerStateChanged",
                                                                 .signature = "(iiiiii)",
                                                                 .body = "(-7, 94, 3, 1, 2, -2147483648)"}));
}

TEST_F(PowerTransitions, TheConnectionManagerHearsOfStandbyBeforeTheChangeItself)
{
    support::ConnectionManager manager;
    Changes(0, 2);
    support::Settle({&manager});

    ASSERT_EQ(manager.Messages().size(), 2U);
    EXPECT_EQ(manager.Messages()[0], (support::Message{.kind = support::Message::Kind::Signal,
                                                       .destination = kConnectionManager,
                                                       .path = "/com/quorix/tv/bt/connectionmanager",
                                                       .interface = kConnectionManager,
                                                       .member = "StandbyPowerStatefromNormal",
                                                       .signature = "",
                                                       .body = ""}));
    EXPECT_THAT(manager.Messages()[1], support::Signal("PowerStateChanged", "(iiiiii)", "(0, 0, 0, 2, 0, 0)"));
}

TEST_F(PowerTransitions, HundredsOfChangesInASecondAreAllToldInOrder)
{
    support::ConnectionManager manager;
    constexpr int kChanges = 500;
    std::vector<std::string> bodies;
    for (int change = 0; change < kChanges; ++change) {
        const device_power_state_info info = {change, 0, change % 5, (change + 1) % 5, 0, 0};
        tv.power.TellsStateChange(&info);
        bodies.push_back("(" + std::to_string(change) + ", 0, " + std::to_string(change % 5) + ", " +
                         std::to_string((change + 1) % 5) + ", 0, 0)");
    }
    support::Settle({&manager});

    std::vector<std::string> received;
    for (const support::Message& message : manager.Signals()) {
        if (message.member == "PowerStateChanged") {
            received.push_back(message.body);
        }
    }
    EXPECT_EQ(received, bodies);
}

TEST_F(PowerTransitions, WithoutABusClientAndRemotesTheAdapterIsStillLookedAfter)
{
    handler = std::make_unique<CTvStatusEventHandler>();
    handler->Init(nullptr, nullptr);
    tv.settings.Writes(kRouteKey, 3);
    tv.tape.Clear();

    Changes(2, 0);
    Changes(0, 2);
    clock.Advance(11s);

    EXPECT_THAT(Deeds(), ElementsAre(kClearGripCount, "bt_adapter_set_visibility(1, 0) = 0", StoreAmbient(0),
                                     "timer: 10000 ms", StoreAmbient(0), kHideSet));
}

class LastSpeaker : public PowerLife
{};

TEST_F(LastSpeaker, IsCalledBackTenSecondsAfterSwitchingOn)
{
    support::ConnectionManager manager;
    for (const int route : {3, 5}) {
        tv.settings.Writes(kRouteKey, route);
        tv.tape.Clear();
        manager.Clear();

        Changes(2, 0);
        EXPECT_THAT(Deeds(), Contains("timer: 10000 ms"));
        EXPECT_THAT(LogOf({"HandlePowerStateChanged"}),
                    ElementsAre("I power state is changed from 2 to 0", "I last Soundoutput is bt spk timer added"));
        EXPECT_EQ(Deeds().back(), StateSignal(2, 0));
        EXPECT_EQ(*std::prev(Deeds().end(), 2), "timer: 10000 ms");

        support::Settle({&manager});
        clock.Advance(9'900ms);
        EXPECT_THAT(tv.tape.Bus(), Not(Contains(kSpeakerCall)));
        clock.Advance(200ms);
        support::Settle({&manager});
        EXPECT_THAT(manager.Calls(), ElementsAre(support::Message{.kind = support::Message::Kind::Call,
                                                                  .destination = kConnectionManager,
                                                                  .path = "/com/quorix/tv/bt/connectionmanager",
                                                                  .interface = kConnectionManager,
                                                                  .member = "LastConnectedBtSpk",
                                                                  .signature = "",
                                                                  .body = ""}));
        manager.Clear();
        clock.Advance(60s);
        support::Settle({&manager});
        EXPECT_THAT(manager.Calls(), IsEmpty());
    }
}

TEST_F(LastSpeaker, IsCalledBackFromEveryStateButNormal)
{
    tv.settings.Writes(kRouteKey, 5);
    for (const int previous : {1, 2, 3, 4, 7}) {
        tv.tape.Clear();
        Changes(previous, 0);
        EXPECT_THAT(Deeds(), Contains("timer: 10000 ms")) << previous;
    }
    tv.tape.Clear();
    Changes(0, 0);
    for (const int state : {1, 2, 3, 4, 7}) {
        Changes(2, state);
    }
    EXPECT_THAT(Deeds(), Not(Contains("timer: 10000 ms")));
}

TEST_F(LastSpeaker, IsNotCalledBackWhenTheLastOutputWasAnother)
{
    for (const int route : {0, 1, 2, 4, 6, -1}) {
        tv.settings.Writes(kRouteKey, route);
        tv.tape.Clear();
        Changes(2, 0);
        EXPECT_THAT(Deeds(), Not(Contains("timer: 10000 ms"))) << route;
    }
    tv.settings.Writes(kRouteKey, "5");
    Changes(2, 0);
    tv.settings.Removes(kRouteKey);
    Changes(2, 0);
    EXPECT_THAT(Deeds(), Not(Contains("timer: 10000 ms")));
    EXPECT_THAT(tv.tape.Messages(), Contains("E fail to get vconfkey db/vyrel/lastSoundRoute[0]"));
}

TEST_F(LastSpeaker, IsCalledBackOnceForEachSwitchingOn)
{
    tv.settings.Writes(kRouteKey, 3);
    Changes(2, 0);
    clock.Advance(4s);
    Changes(2, 0);
    clock.Advance(4s);
    Changes(2, 0);
    tv.tape.Clear();

    clock.Advance(2'500ms);
    EXPECT_EQ(tv.tape.Bus(), std::vector<std::string>(1, kSpeakerCall));
    clock.Advance(4s);
    EXPECT_EQ(tv.tape.Bus(), std::vector<std::string>(2, kSpeakerCall));
    clock.Advance(4s);
    EXPECT_EQ(tv.tape.Bus(), std::vector<std::string>(3, kSpeakerCall));
}

TEST_F(LastSpeaker, IsForgottenWhenTheHandlerGoes)
{
    tv.settings.Writes(kRouteKey, 3);
    Changes(2, 0);
    Changes(2, 0);
    tv.ServiceHasStopped();
    handler.reset();
    tv.tape.Clear();

    clock.Advance(11s);
    EXPECT_THAT(tv.tape.Bus(), IsEmpty());
}

TEST_F(LastSpeaker, TheTimerNeedsAHandler)
{
    EXPECT_EQ(CTvStatusEventHandler::HandleLastConnectedSpk(nullptr), 0);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E userData is NULL"));
    EXPECT_THAT(tv.tape.Bus(), IsEmpty());

    EXPECT_EQ(CTvStatusEventHandler::HandleLastConnectedSpk(handler.get()), 0);
    EXPECT_THAT(tv.tape.Bus(), ElementsAre(kSpeakerCall));
}

} // namespace
