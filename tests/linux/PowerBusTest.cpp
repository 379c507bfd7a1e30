// The power states as other programs reach them.

#include "linux/FakeJournal.h"
#include "linux/Logind.h"
#include "linux/PlatformLog.h"
#include "linux/PowerFixture.h"
#include "linux/Stranger.h"
#include "power/Wake.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <device_power.h>

#include <array>
#include <chrono>
#include <deque>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using linux_test::FakeJournal;
using linux_test::LogLinesWith;
using linux_test::PowerTest;
using linux_test::Stranger;
using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::Pair;

class PowerBusTest : public PowerTest
{
protected:
    void StartsWithName()
    {
        Starts();
        ASSERT_TRUE(support::IterateUntil([&] { return stranger.Reads("State") == "(<0>,)"; }));
    }

    Stranger stranger;
};

TEST_F(PowerBusTest, EveryRequestCanBeMadeOverTheBus)
{
    StartsWithName();
    EXPECT_EQ(stranger.Calls("SetState", g_variant_new("(ii)", 1, 1)), "()");
    EXPECT_EQ(device_power_get_state(), 1);
    EXPECT_EQ(stranger.Calls("SetAmbient", g_variant_new("(ii)", 1, 4)), "()");
    EXPECT_EQ(device_power_get_ambient_mode(), 1);
    EXPECT_EQ(stranger.Calls("SetWakeupReason", g_variant_new("(i)", 17)), "()");
    EXPECT_EQ(device_power_get_wakeup_reason(), 17);
    EXPECT_EQ(stranger.Calls("Lock", g_variant_new("(iu)", 2, 15000)), "()");
    EXPECT_EQ(stranger.Reads("Locked"), "(<true>,)");
    EXPECT_EQ(stranger.Calls("SetAmbientLock", g_variant_new("(iu)", 1, 60000)), "()");
    EXPECT_EQ(stranger.Calls("SetAmbientLock", g_variant_new("(iu)", 0, 0)), "()");
    EXPECT_EQ(stranger.Calls("RequestPowerOff", g_variant_new("(i)", 4)), "()");
    EXPECT_EQ(stranger.Calls("RequestReboot", g_variant_new("(i)", 34)), "()");
    EXPECT_EQ(stranger.Calls("Unlock", g_variant_new("(i)", 2)), "()");
    EXPECT_EQ(stranger.Reads("Locked"), "(<false>,)");
    EXPECT_TRUE(Until("logind: Reboot"));
}

TEST_F(PowerBusTest, PropertiesAndSignalTellWhatTheBoxIsIn)
{
    StartsWithName();
    device_power_set_state(DEVICE_POWER_STATE_PICTURE_OFF, 1);
    EXPECT_TRUE(support::IterateUntil([&] { return stranger.Heard().size() >= 2; }));
    EXPECT_THAT(stranger.Heard(), Contains("StateChanged((0, 0, 0, 1, 0, 0),)"));
    EXPECT_THAT(stranger.Heard(), Contains(AllOf(HasSubstr("PropertiesChanged"), HasSubstr("'State': <1>"))));
    EXPECT_EQ(stranger.Reads("State"), "(<1>,)");
    EXPECT_EQ(stranger.Reads("AmbientMode"), "(<0>,)");
    EXPECT_EQ(stranger.Reads("AmbientType"), "(<0>,)");
    EXPECT_EQ(stranger.Reads("WakeupReason"), "(<0>,)");
}

TEST_F(PowerBusTest, ValuesOutOfTheirRangeAreAnsweredWithAnError)
{
    StartsWithName();
    constexpr const char* kInvalid = "org.freedesktop.DBus.Error.InvalidArgs";
    EXPECT_EQ(stranger.Calls("SetState", g_variant_new("(ii)", 3, 1)), kInvalid);
    EXPECT_EQ(stranger.Calls("SetState", g_variant_new("(ii)", -1, 1)), kInvalid);
    EXPECT_EQ(stranger.Calls("SetAmbient", g_variant_new("(ii)", 4, 0)), kInvalid);
    EXPECT_EQ(stranger.Calls("Lock", g_variant_new("(iu)", 2, 0)), kInvalid);
    EXPECT_EQ(stranger.Calls("Lock", g_variant_new("(iu)", 2, 0xFFFFFFFFU)), kInvalid);
    EXPECT_EQ(stranger.Calls("Lock", g_variant_new("(iu)", 9, 1000)), kInvalid);
    EXPECT_EQ(stranger.Calls("Lock", g_variant_new("(iu)", 0, 1000)), "org.freedesktop.DBus.Error.NotSupported");
    EXPECT_EQ(stranger.Calls("Unlock", g_variant_new("(i)", 2)), "org.vantor.platform.Error.NotHeld");
    EXPECT_EQ(stranger.Calls("SetAmbientLock", g_variant_new("(iu)", 0, 0)), "org.vantor.platform.Error.NotHeld");
    Rests();
    EXPECT_THAT(Happened(), IsEmpty());
    EXPECT_EQ(device_power_get_state(), 0);
}

TEST_F(PowerBusTest, ABoxOnItsWayOutIsBusy)
{
    StartsWithName();
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000);
    EXPECT_EQ(stranger.Calls("RequestPowerOff", g_variant_new("(i)", 4)), "()");
    EXPECT_EQ(stranger.Calls("RequestPowerOff", g_variant_new("(i)", 4)), "org.vantor.platform.Error.Busy");
}

TEST_F(PowerBusTest, BodiesOfWrongTypesAndUnknownMembersAreAnsweredWithAnError)
{
    StartsWithName();
    constexpr const char* kInvalid = "org.freedesktop.DBus.Error.InvalidArgs";
    for (const char* member : {"SetState", "RequestPowerOff", "RequestReboot", "SetAmbient", "SetAmbientLock", "Lock",
                               "Unlock", "SetWakeupReason"}) {
        EXPECT_EQ(stranger.Calls(member, g_variant_new("(s)", "now")), kInvalid) << member;
        EXPECT_EQ(stranger.Calls(member, g_variant_new("()")), kInvalid) << member;
        EXPECT_EQ(stranger.Calls(member, g_variant_new("(iii)", 1, 1, 1)), kInvalid) << member;
    }
    EXPECT_EQ(stranger.Calls("Explode", g_variant_new("()")), "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(stranger.Calls("Set",
                             g_variant_new("(ssv)", "org.vantor.platform.Power1", "State", g_variant_new_int32(4)),
                             "org.freedesktop.DBus.Properties"),
              kInvalid);
    Rests();
    EXPECT_THAT(Happened(), IsEmpty());
}

TEST_F(PowerBusTest, TheObjectIsThereAgainAfterTheServiceLostTheBus)
{
    StartsWithName();
    // Nothing else may be asked of a bus that is gone; that nobody crashes and locks still count is what is left.
    bus.Dies();
    ASSERT_TRUE(support::IterateUntil([] { return LogLinesWith("the system bus is gone") == 1; }));
    EXPECT_EQ(device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 15000), 0);
    EXPECT_EQ(device_power_set_state(DEVICE_POWER_STATE_STANDBY, 1), 0);
    EXPECT_EQ(device_power_unlock_state(DEVICE_POWER_STATE_STANDBY), 0);
    EXPECT_TRUE(Until("state 0->2 ambient 0->0 by 0"));
}

TEST_F(PowerBusTest, TheLastWakesCanBeRead)
{
    StartsWithName();
    EXPECT_THAT(stranger.Reads("Wakes"), HasSubstr("[('start', "));
    EXPECT_THAT(stranger.Reads("Wakes"), HasSubstr(", -1, -1, -1)]"));
    clock.Advance(1500ms);
    power::Wakes::OfProcess().Reached(power::Milestone::AdapterOn);
    clock.Advance(500ms);
    power::Wakes::OfProcess().Reached(power::Milestone::AdapterOn); // the first counts
    logind.PreparesForSleep(false);
    Passes(1s);
    power::Wakes::OfProcess().Reached(power::Milestone::FirstRemote);
    const std::vector<power::WakeRecord> records(power::Wakes::OfProcess().Records().begin(),
                                                 power::Wakes::OfProcess().Records().end());
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].cause, "resume");
    // In virtual time, to which the real time of a busy machine is added.
    EXPECT_GE(records[0].milliseconds[1], 1000);
    EXPECT_LT(records[0].milliseconds[1], 1000 + 20000);
    EXPECT_GE(records[1].milliseconds[0], 1500);
    EXPECT_LT(records[1].milliseconds[0], 1500 + 20000);
    EXPECT_EQ(records[1].milliseconds[1], -1);
    EXPECT_THAT(stranger.Reads("Wakes"), AllOf(HasSubstr("[('resume', "), HasSubstr("'start', ")));
}

TEST_F(PowerBusTest, OnlyTheLastWakesAreKept)
{
    Starts();
    for (int time = 0; time < 20; ++time) {
        power::Wakes::OfProcess().Begins("resume");
    }
    EXPECT_EQ(power::Wakes::OfProcess().Records().size(), power::Wakes::kKept);
}

TEST_F(PowerBusTest, AMilestoneIsAJournalEntryWithAFieldForEachFigure)
{
    FakeJournal journal;
    Starts();
    clock.Advance(2s);
    power::Wakes::OfProcess().Reached(power::Milestone::AdapterOn);
    power::Wakes::OfProcess().Reached(power::Milestone::LastSpeaker);
    const std::vector<FakeJournal::Entry> entries = journal.Entries();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_THAT(entries[0], AllOf(Contains(Pair("WAKE_CAUSE", "start")), Contains(Pair("WAKE_ADAPTER_MS", Not(""))),
                                  Not(Contains(Pair("WAKE_SPEAKER_MS", ::testing::_)))));
    EXPECT_THAT(entries[0].at("MESSAGE"), ::testing::MatchesRegex("adapter on [0-9]+ ms after the start"));
    EXPECT_THAT(entries[1],
                AllOf(Contains(Pair("WAKE_ADAPTER_MS", Not(""))), Contains(Pair("WAKE_SPEAKER_MS", Not("")))));
}

} // namespace
