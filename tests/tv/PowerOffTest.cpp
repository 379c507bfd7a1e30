// The notices of a power-off, and the wake-up.

#include "TvStatusEventHandler/TvStatusEventHandler.h"
#include "sim/Adapter.h"
#include "sim/Power.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/Settle.h"
#include "support/Siblings.h"
#include "tv/PowerFixture.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <bt_error.h>
#include <device_power.h>

#include <algorithm>
#include <chrono>
#include <initializer_list>
#include <limits>
#include <memory>
#include <string>
#include <vector>

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

constexpr int kSuspendOff = 0x40000000;
constexpr int kIgnoreLock = 0x20000000;
constexpr int kStandbyReboot = 50;

constexpr const char* kColdBootKey = "memory/boot/cold_poweroff_request_pkg";
constexpr const char* kHeadlessOn = "bt_adapter_set_headless_mode(true) = 0";
constexpr const char* kHeadlessFails = "bt_adapter_set_headless_mode(true) = -29359868";
constexpr const char* kHide = "bt_adapter_set_visibility(0, 0) = 0";
constexpr const char* kChipRequest = "request com.quorix.tv.bt.updatemanager CHIP";
constexpr const char* kStandbyLock = "device_power_lock_state(2, 15000) = 0";

class PowerOffNotice : public PowerLife
{
protected:
    void AnnounceStandby(int option)
    {
        tv.tape.Clear();
        tv.power.AnnouncesStandby(option);
        Settle();
    }

    void PowerOff(int option)
    {
        tv.tape.Clear();
        const device_poweroff_info info = {option};
        tv.power.TellsPowerOff(&info);
        Settle();
    }

    void PostPowerOff(int option)
    {
        tv.tape.Clear();
        const device_poweroff_info info = {option};
        tv.power.TellsPostPowerOff(&info);
        Settle();
    }

    void AmbientPowerOff()
    {
        tv.tape.Clear();
        tv.power.LeavesAmbientByPowerOff(0);
        Settle();
    }

    [[nodiscard]] std::vector<std::string> Log() const
    {
        return LogOf({"OnPowerStandbyCb", "OnPowerOffEvent", "OnPostPowerOffEvent", "OnAmbientPowerOff", "OnWakeUp",
                      "NeedColdBootToReset"});
    }
};

// --- Standby ---

TEST_F(PowerOffNotice, AFullPowerOffHoldsStandbyAndStartsTheUpdates)
{
    AnnounceStandby(kSuspendOff);

    EXPECT_EQ(Deeds()[0], kStandbyLock);
    EXPECT_EQ(Deeds()[1], kChipRequest);
    EXPECT_THAT(
        Log(), ElementsAre("E <Not error> enter OnPowerStandbyCb", "I Poweroff option(suspend off = 1, ignoreLock = 0)",
                           "I normal power off case, proceed bt update", "E <Not error> exit OnPowerStandbyCb"));
}

TEST_F(PowerOffNotice, AFullPowerOffIsLoggedBeforeStandbyIsHeld)
{
    support::UpdateManager manager;
    manager.Stalls("CHIP");
    AnnounceStandby(kSuspendOff);

    EXPECT_THAT(DeedsAndLogOf({"OnPowerStandbyCb"}),
                ElementsAre("E <Not error> enter OnPowerStandbyCb",
                            "I Poweroff option(suspend off = 1, ignoreLock = 0)",
                            "I normal power off case, proceed bt update", kStandbyLock, kChipRequest,
                            "E <Not error> exit OnPowerStandbyCb"));
}

TEST_F(PowerOffNotice, AResetIsLoggedBeforeItIsWrittenDown)
{
    AnnounceStandby(13);

    EXPECT_THAT(
        DeedsAndLogOf({"OnPowerStandbyCb", "ResetRotator"}),
        ElementsAre("E <Not error> enter OnPowerStandbyCb", "I Poweroff option(suspend off = 0, ignoreLock = 0)",
                    "E <Not error> Reset : 13", R"(vconf_set_int_async("db/vyrel/reset", 1) = 0)",
                    R"(vconf_set_int_async("db/com.quorix.tv.bt-mdemanager/btinfosync/factory_reset_flag", 1) = 0)",
                    "I Not Support rotator so do not send reset command", "E <Not error> exit OnPowerStandbyCb"));
}

TEST_F(PowerOffNotice, EveryCombinationOfOptionBitsIsAnUpdateAResetOrNeither)
{
    for (const int low : {0, 1, 12, 13, 14, 15}) {
        for (int high = 0; high < 8; ++high) {
            const int option = static_cast<int>((static_cast<unsigned int>(high) << 29U)) | low;
            const bool ignoresLock = (high & 1) != 0;
            const bool isSuspendOff = (high & 2) != 0;
            const bool isUpdate = isSuspendOff && !ignoresLock;
            const bool isReset = high == 0 && (low == 13 || low == 14);
            AnnounceStandby(option);

            EXPECT_EQ(std::ranges::count(Deeds(), kChipRequest), isUpdate ? 1 : 0) << option;
            EXPECT_EQ(std::ranges::count(Deeds(), kStandbyLock), isUpdate ? 1 : 0) << option;
            EXPECT_EQ(std::ranges::count(Deeds(), R"(vconf_set_int_async("db/vyrel/reset", 1) = 0)"), isReset ? 1 : 0)
                << option;
            EXPECT_THAT(Log(), Contains("I Poweroff option(suspend off = " + std::to_string(isSuspendOff) +
                                        ", ignoreLock = " + std::to_string(ignoresLock) + ")"));
            if (!isUpdate && !isReset) {
                EXPECT_THAT(Log(), SizeIs(3)) << option;
            }
        }
    }
}

TEST_F(PowerOffNotice, AStandbyForAResetIsWrittenDownAndTheAccessoriesAreTold)
{
    for (const int option : {13, 14}) {
        AnnounceStandby(option);

        EXPECT_THAT(
            Deeds(),
            ElementsAre(
                R"(vconf_set_int_async("db/vyrel/reset", 1) = 0)",
                R"(vconf_set_int_async("db/com.quorix.tv.bt-mdemanager/btinfosync/factory_reset_flag", 1) = 0)"));
        EXPECT_THAT(Log(), ElementsAre("E <Not error> enter OnPowerStandbyCb",
                                       "I Poweroff option(suspend off = 0, ignoreLock = 0)",
                                       "E <Not error> Reset : " + std::to_string(option),
                                       "E <Not error> exit OnPowerStandbyCb"));
        EXPECT_THAT(tv.tape.Messages(), Contains("I Not Support rotator so do not send reset command"));
        EXPECT_EQ(tv.settings.Int("db/vyrel/reset"), 1);
        EXPECT_EQ(tv.settings.Int("db/com.quorix.tv.bt-mdemanager/btinfosync/factory_reset_flag"), 1);
    }
}

TEST_F(PowerOffNotice, WithoutABusClientTheLockIsGivenBackAtOnce)
{
    handler = std::make_unique<CTvStatusEventHandler>();
    handler->Init(nullptr, remotes);

    AnnounceStandby(kSuspendOff);

    EXPECT_THAT(Deeds(), ElementsAre(kStandbyLock, "device_power_unlock_state(2) = 0"));
}

TEST_F(PowerOffNotice, ALockThatIsRefusedIsLoggedAndTheUpdatesStartAllTheSame)
{
    tv.Fails("device_power_lock_state", -22);

    AnnounceStandby(kSuspendOff);

    EXPECT_THAT(tv.tape.Messages(), Contains("E power lock state failed -> ret [INVALID_PARAMETER]"));
    EXPECT_THAT(tv.tape.Messages(), Contains("I standby lock(timout == 15000ms) : -22"));
    EXPECT_THAT(tv.tape.Bus(), Contains(kChipRequest));
}

// --- The whole way out ---

TEST_F(PowerOffNotice, TheSetStaysInStandbyUntilTheUpdatesAreDone)
{
    support::UpdateManager manager;
    manager.Answers("CHIP", g_variant_new("(i)", 1));
    manager.Answers("SCFW", g_variant_new("(i)", 8));
    manager.Answers("HALVO", g_variant_new("(i)", 0));
    manager.Stalls("HALVO");
    tv.power.SwitchesOff(kSuspendOff);
    support::Settle({&manager});

    const std::vector<std::string> untilThen = {kStandbyLock, kChipRequest,
                                                "request com.quorix.tv.bt.updatemanager SCFW",
                                                "request com.quorix.tv.bt.updatemanager HALVO"};
    EXPECT_EQ(Deeds(), untilThen);

    tv.tape.Clear();
    manager.Releases("HALVO");
    support::Settle({&manager});
    EXPECT_THAT(Deeds(), ElementsAre("call com.quorix.tv.bt.updatemanager EXIT", "device_power_unlock_state(2) = 0",
                                     "bt_adapter_set_connectable(false) = 0", kHeadlessOn));
    EXPECT_EQ(tv.power.state, DEVICE_POWER_STATE_OFF);
}

TEST_F(PowerOffNotice, TheSetGoesOffAfterFifteenSecondsWhenTheUpdatesNeverEnd)
{
    support::UpdateManager manager;
    manager.Stalls("CHIP");
    tv.power.SwitchesOff(kSuspendOff);
    support::Settle({&manager});
    tv.tape.Clear();

    clock.Advance(std::chrono::seconds(14));
    EXPECT_THAT(Deeds(), IsEmpty());
    clock.Advance(std::chrono::seconds(2));
    EXPECT_THAT(Deeds(), ElementsAre("bt_adapter_set_connectable(false) = 0", kHeadlessOn));
}

TEST_F(PowerOffNotice, ASuspendTakesNoLockAndWaitsForNobody)
{
    tv.power.SwitchesOff(0);
    Settle();

    EXPECT_THAT(Deeds(), ElementsAre(kHide, kHeadlessOn));
    EXPECT_EQ(tv.power.state, DEVICE_POWER_STATE_SUSPEND);
}

TEST_F(PowerOffNotice, ThePowerManagerWaitsForAllRetriesOfHeadlessMode)
{
    tv.Fails("bt_adapter_set_headless_mode", BT_ERROR_OPERATION_FAILED);
    tv.tape.Clear();
    tv.power.LeavesAmbientByPowerOff(0);
    tv.power.WakesUp(1);
    Settle();

    std::vector<std::string> waits;
    for (const std::string& note : tv.tape.Of({sim::Kind::Note})) {
        if (note.starts_with("the power manager waited ")) {
            waits.push_back(note);
        }
    }
    ASSERT_EQ(waits.size(), 1U); // 35 times 100 ms and 10 ms, and what the machine takes for it
    EXPECT_GE(std::stoi(waits.front().substr(std::string("the power manager waited ").size())), 3510);
    EXPECT_EQ(tv.tape.Calls().back(), "bt_adapter_set_headless_mode(false) = -29359868");
}

// --- Power-off ---

TEST_F(PowerOffNotice, AMissingRecordIsDropped)
{
    tv.power.TellsPowerOff(nullptr);
    Settle();

    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E info is NULL"));
}

TEST_F(PowerOffNotice, AFullPowerOffLetsNobodyConnectAnyMore)
{
    for (const int option : {kSuspendOff, kSuspendOff | kIgnoreLock, kSuspendOff | 13, kSuspendOff | 14}) {
        PowerOff(option);

        EXPECT_THAT(tv.tape.Calls(),
                    ElementsAre("device_power_get_wakeup_reason() = 0", "bt_adapter_get_state() = 0 -> 1",
                                "bt_adapter_set_connectable(false) = 0"));
        EXPECT_THAT(Log(), ElementsAre("E <Not error> enter OnPowerOffEvent", "I Set bt adapter connectable false",
                                       "E <Not error> exit OnPowerOffEvent"));
    }
}

TEST_F(PowerOffNotice, AFullPowerOffWithTheAdapterOffAsksForAColdBoot)
{
    tv.adapter.state = BT_ADAPTER_DISABLED;

    PowerOff(kSuspendOff);

    EXPECT_THAT(Deeds(),
                ElementsAre("[VYREL][OnPowerOffEvent]in standby, need reboot for recovery",
                            R"(vconf_set_str("memory/boot/cold_poweroff_request_pkg", "org.vantor.vyrel") = 0)"));
    EXPECT_THAT(Log(), ElementsAre("E <Not error> enter OnPowerOffEvent",
                                   "E adapter is not enabled in power off event, set cold boot vconf",
                                   "E <Not error> exit OnPowerOffEvent"));
    EXPECT_EQ(tv.settings.Text(kColdBootKey), "org.vantor.vyrel");
}

TEST_F(PowerOffNotice, AColdBootIsNotAskedForAfterARestartOutOfStandby)
{
    tv.adapter.state = BT_ADAPTER_DISABLED;
    tv.power.wakeUpReason = kStandbyReboot;

    PowerOff(kSuspendOff);

    EXPECT_THAT(tv.tape.Calls(),
                ElementsAre("device_power_get_wakeup_reason() = 50", "bt_adapter_set_connectable(false) = 0"));
    EXPECT_THAT(tv.tape.Kernel(), IsEmpty());
    EXPECT_THAT(Log(),
                ElementsAre("E <Not error> enter OnPowerOffEvent",
                            "I wake up reason is POWER_WAKEUP_REASON_STANDBY_REBOOT, do not cold boot for recovery",
                            "I Set bt adapter connectable false", "E <Not error> exit OnPowerOffEvent"));
    EXPECT_FALSE(tv.settings.Has(kColdBootKey));
}

TEST_F(PowerOffNotice, OnlyAnAdapterThatIsKnownToBeOffNeedsAColdBoot)
{
    EXPECT_FALSE(CTvStatusEventHandler::NeedColdBootToReset());

    tv.adapter.state = BT_ADAPTER_DISABLED;
    EXPECT_TRUE(CTvStatusEventHandler::NeedColdBootToReset());
    for (const int reason : {kStandbyReboot - 1, kStandbyReboot + 1, -1}) {
        tv.power.wakeUpReason = reason;
        EXPECT_TRUE(CTvStatusEventHandler::NeedColdBootToReset()) << reason;
    }

    tv.power.wakeUpReason = kStandbyReboot;
    EXPECT_FALSE(CTvStatusEventHandler::NeedColdBootToReset());
    tv.power.wakeUpReason = 0;
    tv.Fails("bt_adapter_get_state", BT_ERROR_NOT_INITIALIZED);
    EXPECT_FALSE(CTvStatusEventHandler::NeedColdBootToReset());
}

TEST_F(PowerOffNotice, ASuspendHidesTheAdapter)
{
    for (const int option : {0, 1, 12, 15, kIgnoreLock, kIgnoreLock | 13, std::numeric_limits<int>::min()}) {
        PowerOff(option);

        EXPECT_THAT(tv.tape.Calls(), ElementsAre(kHide)) << option;
        EXPECT_THAT(Log(), ElementsAre("E <Not error> enter OnPowerOffEvent",
                                       "I Set adapter visibility BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE",
                                       "E <Not error> exit OnPowerOffEvent"));
    }
}

TEST_F(PowerOffNotice, AResetIsDoneBetweenItsTwoLines)
{
    for (const int option : {13, 14}) {
        PowerOff(option);

        EXPECT_THAT(Deeds(), ElementsAre("bt_adapter_reset() = 0", "sleep 1500 ms"));
        EXPECT_THAT(LogOf({"OnPowerOffEvent", "FactoryReset"}),
                    ElementsAre("E <Not error> enter OnPowerOffEvent", "E <Not Error> : Reset start, OnPowerOffEvent",
                                "E <Not error> Bluetooth Factory Reset done",
                                "E <Not Error> : Reset done, OnPowerOffEvent", "E <Not error> exit OnPowerOffEvent"));
    }
}

TEST_F(PowerOffNotice, EachPowerOffIsLoggedInTheOrderOfItsSteps)
{
    PowerOff(0);
    EXPECT_THAT(DeedsAndLogOf({"OnPowerOffEvent"}),
                ElementsAre("E <Not error> enter OnPowerOffEvent", kHide,
                            "I Set adapter visibility BT_ADAPTER_VISIBILITY_MODE_NON_DISCOVERABLE",
                            "E <Not error> exit OnPowerOffEvent"));
    PowerOff(kSuspendOff);
    EXPECT_THAT(DeedsAndLogOf({"OnPowerOffEvent"}),
                ElementsAre("E <Not error> enter OnPowerOffEvent", "bt_adapter_set_connectable(false) = 0",
                            "I Set bt adapter connectable false", "E <Not error> exit OnPowerOffEvent"));
    PowerOff(13);
    EXPECT_THAT(DeedsAndLogOf({"OnPowerOffEvent"}),
                ElementsAre("E <Not error> enter OnPowerOffEvent", "E <Not Error> : Reset start, OnPowerOffEvent",
                            "bt_adapter_reset() = 0", "sleep 1500 ms", "E <Not Error> : Reset done, OnPowerOffEvent",
                            "E <Not error> exit OnPowerOffEvent"));
    tv.adapter.state = BT_ADAPTER_DISABLED;
    PowerOff(kSuspendOff);
    EXPECT_THAT(DeedsAndLogOf({"OnPowerOffEvent"}),
                ElementsAre("E <Not error> enter OnPowerOffEvent",
                            "E adapter is not enabled in power off event, set cold boot vconf",
                            "[VYREL][OnPowerOffEvent]in standby, need reboot for recovery",
                            R"(vconf_set_str("memory/boot/cold_poweroff_request_pkg", "org.vantor.vyrel") = 0)",
                            "E <Not error> exit OnPowerOffEvent"));
}

// --- The last step of a power-off ---

TEST_F(PowerOffNotice, TheLastStepTurnsHeadlessModeOn)
{
    for (const int option : {0, 12, 15, kSuspendOff, kIgnoreLock, kSuspendOff | 13}) {
        tv.adapter.headless = false;
        PostPowerOff(option);

        EXPECT_THAT(tv.tape.Calls(), ElementsAre(kHeadlessOn)) << option;
        EXPECT_THAT(Log(), ElementsAre("E <Not error> enter OnPostPowerOffEvent", "I Before Set adapter headless true",
                                       "I After Set adapter headless true", "E <Not error> exit OnPostPowerOffEvent"));
        EXPECT_TRUE(tv.adapter.headless);
    }
}

TEST_F(PowerOffNotice, TheLastStepIsLoggedBeforeAndAfterHeadlessMode)
{
    PostPowerOff(0);

    EXPECT_THAT(DeedsAndLogOf({"OnPostPowerOffEvent"}),
                ElementsAre("E <Not error> enter OnPostPowerOffEvent", "I Before Set adapter headless true",
                            kHeadlessOn, "I After Set adapter headless true",
                            "E <Not error> exit OnPostPowerOffEvent"));
}

TEST_F(PowerOffNotice, TheLastStepOfAResetLeavesHeadlessModeAlone)
{
    for (const int option : {13, 14}) {
        PostPowerOff(option);

        EXPECT_THAT(tv.tape.Calls(), IsEmpty());
        EXPECT_THAT(Log(), ElementsAre("E <Not error> enter OnPostPowerOffEvent",
                                       "E <Not Error> : Reset case do not handle post power off callback"));
    }
}

TEST_F(PowerOffNotice, TheLastStepWithoutARecordTurnsHeadlessModeOn)
{
    tv.power.TellsPostPowerOff(nullptr);
    Settle();

    EXPECT_THAT(tv.tape.Calls(), ElementsAre(kHeadlessOn));
    EXPECT_THAT(Log(), ElementsAre("E <Not error> enter OnPostPowerOffEvent", "I Before Set adapter headless true",
                                   "I After Set adapter headless true", "E <Not error> exit OnPostPowerOffEvent"));
}

// --- Power-off out of the low-power picture ---

TEST_F(PowerOffNotice, LeavingTheLowPowerPictureTurnsHeadlessModeOn)
{
    AmbientPowerOff();

    EXPECT_THAT(Deeds(), ElementsAre(kHeadlessOn));
    EXPECT_THAT(Log(), ElementsAre("E <Not Error> OnAmbientPowerOff",
                                   "E <Not Error> Exit m_AmbientPowerOffCb, result of "
                                   "bt_adapter_set_headless_mode(true) : 0, retry count : 0"));
}

TEST_F(PowerOffNotice, LeavingTheLowPowerPictureNeedsNoRecord)
{
    tv.power.TellsAmbientPowerOff(nullptr);
    Settle();

    EXPECT_THAT(Deeds(), ElementsAre(kHeadlessOn));
}

TEST_F(PowerOffNotice, HeadlessModeIsTriedAgainUntilItIsTaken)
{
    for (const int failures : {1, 2, 34, 35}) {
        tv.Fails("bt_adapter_set_headless_mode", BT_ERROR_OPERATION_FAILED, failures);
        AmbientPowerOff();

        std::vector<std::string> expected = {kHeadlessFails};
        for (int retry = 1; retry <= failures; ++retry) {
            expected.emplace_back("sleep 100 ms");
            expected.emplace_back(retry < failures ? kHeadlessFails : kHeadlessOn);
        }
        expected.emplace_back("sleep 10 ms");
        EXPECT_EQ(Deeds(), expected) << failures;
        EXPECT_EQ(Log().back(), "E <Not Error> Exit m_AmbientPowerOffCb, result of bt_adapter_set_headless_mode(true) "
                                ": 0, retry count : " +
                                    std::to_string(failures));
    }
}

TEST_F(PowerOffNotice, HeadlessModeIsGivenUpAfterThirtyFiveRetries)
{
    tv.Fails("bt_adapter_set_headless_mode", BT_ERROR_OPERATION_FAILED);
    AmbientPowerOff();

    std::vector<std::string> sleeps(35, "sleep 100 ms");
    sleeps.emplace_back("sleep 10 ms");
    EXPECT_EQ(tv.tape.Sleeps(), sleeps);
    EXPECT_EQ(tv.tape.Calls({"bt_adapter_set_headless_mode"}), std::vector<std::string>(36, kHeadlessFails));
    EXPECT_EQ(Log().back(), "E <Not Error> Exit m_AmbientPowerOffCb, result of bt_adapter_set_headless_mode(true) : "
                            "-29359868, retry count : 35");
}

TEST_F(PowerOffNotice, LeavingTheLowPowerPictureWithTheAdapterOffRestartsTheSet)
{
    tv.adapter.state = BT_ADAPTER_DISABLED;
    AmbientPowerOff();

    EXPECT_THAT(Deeds(), ElementsAre("[VYREL][OnAmbientPowerOff]in lpm, need reboot for recovery",
                                     "device_power_request_reboot(34) = 0"));
    EXPECT_EQ(tv.power.requestedReboot, 34);
    EXPECT_THAT(Log(), ElementsAre("E <Not Error> OnAmbientPowerOff",
                                   "E adapter is not enabled in ambient off event, call device_power_request_reboot",
                                   "E <Not error> exit OnAmbientPowerOff"));
}

TEST_F(PowerOffNotice, LeavingTheLowPowerPictureIsLoggedInTheOrderOfItsSteps)
{
    AmbientPowerOff();
    EXPECT_THAT(DeedsAndLogOf({"OnAmbientPowerOff"}),
                ElementsAre("E <Not Error> OnAmbientPowerOff", kHeadlessOn,
                            "E <Not Error> Exit m_AmbientPowerOffCb, result of bt_adapter_set_headless_mode(true) : "
                            "0, retry count : 0"));

    tv.adapter.state = BT_ADAPTER_DISABLED;
    AmbientPowerOff();
    EXPECT_THAT(DeedsAndLogOf({"OnAmbientPowerOff"}),
                ElementsAre("E <Not Error> OnAmbientPowerOff",
                            "E adapter is not enabled in ambient off event, call device_power_request_reboot",
                            "[VYREL][OnAmbientPowerOff]in lpm, need reboot for recovery",
                            "device_power_request_reboot(34) = 0", "E <Not error> exit OnAmbientPowerOff"));
}

TEST_F(PowerOffNotice, LeavingTheLowPowerPictureDoesNotRestartTheSetTwice)
{
    tv.adapter.state = BT_ADAPTER_DISABLED;
    tv.power.wakeUpReason = kStandbyReboot;
    AmbientPowerOff();

    EXPECT_THAT(Deeds(), ElementsAre(kHeadlessOn));
    EXPECT_THAT(Log(),
                Contains("I wake up reason is POWER_WAKEUP_REASON_STANDBY_REBOOT, do not cold boot for recovery"));
}

// --- Wake-up ---

TEST_F(PowerOffNotice, AWakeUpEndsHeadlessMode)
{
    for (const int reason : {0, 1, kStandbyReboot, -1}) {
        tv.adapter.headless = true;
        tv.tape.Clear();
        tv.power.WakesUp(reason);
        Settle();

        EXPECT_THAT(tv.tape.Calls(), ElementsAre("bt_adapter_set_headless_mode(false) = 0"));
        EXPECT_THAT(Log(), ElementsAre("E <Not Error> bt_adapter_set_headless_mode[false], ret = [ERROR_NONE]"));
        EXPECT_FALSE(tv.adapter.headless);
    }
}

TEST_F(PowerOffNotice, AWakeUpThatFailsIsLoggedByName)
{
    tv.Fails("bt_adapter_set_headless_mode", BT_ERROR_NOT_ENABLED);
    tv.power.WakesUp(1);
    Settle();

    EXPECT_THAT(Log(), ElementsAre("E <Not Error> bt_adapter_set_headless_mode[false], ret = [NOT_ENABLED]"));
    EXPECT_THAT(Deeds(), ElementsAre("bt_adapter_set_headless_mode(false) = -29359870"));
}

} // namespace
