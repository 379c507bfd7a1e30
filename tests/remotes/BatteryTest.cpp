// Battery reports and what they lead to.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/ColorSensor.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_error.h>
#include <bt_hid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;

namespace {

constexpr const char* kAppReady = "/tmp/app_ready";
constexpr const char* kSolarFile = "/tmp/solar";

constexpr std::array<int, 32> kPercent = {0,  3,  6,  10, 13, 16, 19, 23, 26, 29, 32, 35, 39, 42, 45, 48,
                                          53, 55, 58, 61, 65, 68, 71, 74, 77, 81, 84, 87, 90, 94, 97, 100};

class BatteryTest : public RemotesTest
{
protected:
    /// A solar remote is there, and a wheel.
    void StartsWithBoth()
    {
        tv.smartRemote.fwVersion = kSolarVersion;
        Starts();
        RemoteConnects();
        WheelConnects();
        Heard();
        tv.tape.Clear();
    }

    static std::string RemoteNotice(int level, unsigned int version)
    {
        return "SmartRcBatteryNotify (ssi) ('" + std::to_string(level) + "', '" + kRemote + "', " +
               std::to_string(static_cast<int>(version)) + ")";
    }
    static std::string WheelNotice(int level)
    {
        return "HalvoWheelBatteryNotify (ss) ('" + std::to_string(level) + "', '" + kWheel + "')";
    }
    static std::string BatteryEvent(int level)
    {
        return "25_remocon BATTERY EV005 {product=TV-55;batlev=" + std::to_string(level) + "}";
    }
};

// --- The level ---

TEST_F(BatteryTest, AReportOfTheRemoteWritesItsLevelAndTellsTheCollector)
{
    Starts();
    RemoteConnects();
    RemoteReports(Battery(3, 20));
    EXPECT_THAT(Deeds(), ElementsAre(Set(kLevelOfRemote, 3), BatteryEvent(3)));
    EXPECT_TRUE(HasSaid("I battery notified for smart rc = 0"));
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(BatteryTest, AReportOfTheWheelDoesTheSameWithAKeyOfItsOwn)
{
    Starts();
    WheelConnects();
    tv.colorSensor.lux = 7;
    WheelReports(Battery(3, 20));
    EXPECT_THAT(Deeds(), ElementsAre(Set(kLevelOfWheel, 3), BatteryEvent(3), Solar(20, 7, 3, 1)));
    EXPECT_THAT(Deeds("bt_hid_get_smart_rc_fw_version"), IsEmpty());
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(BatteryTest, ALevelOfFiveIsAnnouncedEachTimeAndNothingMoreIsDone)
{
    StartsWithBoth();
    for (int time = 0; time < 2; ++time) {
        RemoteReports(0xFD);
        EXPECT_THAT(Deeds(), ElementsAre(Set(kLevelOfRemote, 5), BatteryEvent(5)));
        WheelReports(0xFD);
        EXPECT_THAT(Deeds(), ElementsAre(Set(kLevelOfWheel, 5), BatteryEvent(5)));
        EXPECT_THAT(Heard(), ElementsAre(RemoteNotice(5, kSolarVersion), WheelNotice(5)));
    }
}

TEST_F(BatteryTest, TheVersionGoesOutAsASignedWordAndIsZeroWhenUnknown)
{
    StartsWithBoth();
    tv.smartRemote.fwVersion = 0xF0000001U;
    RemoteReports(Battery(5, 1));
    tv.Fails("bt_hid_get_smart_rc_fw_version", BT_ERROR_OPERATION_FAILED);
    RemoteReports(Battery(5, 1));
    EXPECT_THAT(Heard(), ElementsAre(RemoteNotice(5, 0xF0000001U), RemoteNotice(5, 0)));
}

TEST_F(BatteryTest, TheFirstEmptyLevelIsAnnouncedOnceTheApplicationsAreReady)
{
    StartsWithBoth();
    for (int time = 0; time < 2; ++time) {
        RemoteReports(Battery(0, 2));
        EXPECT_TRUE(HasSaid("E /tmp/app_ready does not exist"));
        EXPECT_TRUE(HasSaid("I battery notified for smart rc = 0"));
        EXPECT_THAT(Deeds(), ElementsAre(Set(kLevelOfRemote, 0), BatteryEvent(0)));
        WheelReports(Battery(0, 2));
        EXPECT_THAT(Deeds(), ElementsAre(Set(kLevelOfWheel, 0), BatteryEvent(0)));
    }
    EXPECT_THAT(Heard(), IsEmpty());

    tv.MakesFile(kAppReady);
    RemoteReports(Battery(0, 2));
    EXPECT_THAT(Deeds(), ElementsAre(Set(kLevelOfRemote, 0), BatteryEvent(0)));
    WheelReports(Battery(0, 2));
    EXPECT_THAT(Deeds(), ElementsAre(Set(kLevelOfWheel, 0), BatteryEvent(0)));
    EXPECT_THAT(Heard(), ElementsAre(RemoteNotice(0, kSolarVersion), WheelNotice(0)));
}

TEST_F(BatteryTest, LaterEmptyLevelsAreJudgedByTheirReading)
{
    tv.MakesFile(kAppReady);
    StartsWithBoth();
    RemoteReports(Battery(0, 2));
    WheelReports(Battery(0, 2));
    Heard();
    RemoteReports(Battery(0, 2));
    EXPECT_TRUE(HasSaid("I battery notified for smart rc = 1"));
    WheelReports(Battery(0, 2));
    EXPECT_TRUE(HasSaid("I battery notified for smart rc = 1"));
    EXPECT_THAT(Heard(), ElementsAre("SmartRcBatteryLevel (s) ('6',)", "HalvoWheelBatteryLevel (s) ('6',)"));
}

TEST_F(BatteryTest, OtherLevelsDoNotCountAsTheFirstEmptyOne)
{
    tv.MakesFile(kAppReady);
    StartsWithBoth();
    for (const int level : {1, 2, 3, 4, 5, 6, 7}) {
        RemoteReports(Battery(level, 20));
        WheelReports(Battery(level, 20));
    }
    Heard();
    RemoteReports(Battery(0, 20));
    WheelReports(Battery(0, 20));
    EXPECT_THAT(Heard(), ElementsAre(RemoteNotice(0, kSolarVersion), WheelNotice(0)));
}

TEST_F(BatteryTest, ARemoteThatConnectsAgainIsAnnouncedAgain)
{
    tv.MakesFile(kAppReady);
    StartsWithBoth();
    RemoteReports(Battery(0, 20));
    WheelReports(Battery(0, 20));
    RemoteConnects();
    RemoteReports(Battery(0, 20));
    WheelReports(Battery(0, 20)); // the wheel's own is not cleared by the remote's connection
    EXPECT_THAT(Heard(), ElementsAre(RemoteNotice(0, kSolarVersion), WheelNotice(0), RemoteNotice(0, kSolarVersion)));
    WheelConnects();
    RemoteReports(Battery(0, 20));
    WheelReports(Battery(0, 20));
    EXPECT_THAT(Heard(), ElementsAre(WheelNotice(0)));
}

TEST_F(BatteryTest, EveryByteOfTheRemoteGivesItsLevelAndItsNotice)
{
    StartsWithBoth();
    for (int byte = 0; byte < 256; ++byte) {
        tv.settings.Writes(kFlagOfRemote, 0);
        RemoteReports(static_cast<unsigned char>(byte));
        const int level = byte & 7;
        const int adc = byte >> 3;
        EXPECT_EQ(tv.settings.Int(kLevelOfRemote), level);
        std::vector<std::string> expected;
        if (level == 5) {
            expected = {RemoteNotice(5, kSolarVersion)};
        } else if (level != 0 && adc <= 15) {
            expected = {"SmartRcBatteryLevel (s) ('" + std::to_string(kPercent[static_cast<std::size_t>(adc)]) + "',)"};
        }
        EXPECT_EQ(Heard(), expected) << byte;
        EXPECT_EQ(tv.settings.Int(kFlagOfRemote), level == 5 || level == 0 || adc > 15 ? 0 : adc <= 3 ? 3 : 1) << byte;
    }
}

TEST_F(BatteryTest, EveryByteOfTheWheelGivesItsLevelAndItsNotice)
{
    StartsWithBoth();
    for (int byte = 0; byte < 256; ++byte) {
        tv.settings.Writes(kFlagOfWheel, 0);
        WheelReports(static_cast<unsigned char>(byte));
        const int level = byte & 7;
        const int adc = byte >> 3;
        EXPECT_EQ(tv.settings.Int(kLevelOfWheel), level);
        std::vector<std::string> expected;
        if (level == 5) {
            expected = {WheelNotice(5)};
        } else if (level != 0 && adc <= 15) {
            expected = {"HalvoWheelBatteryLevel (s) ('" + std::to_string(kPercent[static_cast<std::size_t>(adc)]) +
                        "',)"};
        }
        EXPECT_EQ(Heard(), expected) << byte;
    }
}

// --- Reports that nobody can use ---

TEST_F(BatteryTest, ReportsWithoutTheirPartsAreDropped)
{
    StartsWithBoth();
    bt_hid_battery_status_info_s status = {Battery(5, 1), nullptr};
    CSmartRcEventHandler::OnSmartRcBatteryNotifyChanged(&status, nullptr);
    CSmartRcEventHandler::OnSmartRcBatteryNotifyChanged(nullptr, remotes.get());
    CSmartRcEventHandler::OnSmartRcBatteryNotifyChanged(&status, remotes.get());
    remotes->HandleBatteryNotifyChanged(nullptr);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E userData is NULL", "E BatteryStatus is NULL",
                                                "E BatteryStatus->remote_address is null", "E BatteryStatus is null"));
    EXPECT_THAT(tv.tape.Calls(), IsEmpty());
}

TEST_F(BatteryTest, ReportsOfNobodyWhoIsConnectedAreDropped)
{
    StartsWithBoth();
    RemoteGoes();
    WheelGoes();
    Heard();
    RemoteReports(Battery(5, 1)); // after the disconnection, with the old address
    EXPECT_THAT(Deeds(), IsEmpty());
    RemoteConnects();
    tv.wheel.address = "AA:BB:CC:DD:EE:99";
    WheelReports(Battery(5, 1));
    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(BatteryTest, AnAddressThatIsNoTextDoesNoHarmInANotice)
{
    Starts();
    RemoteConnects("AA:\xC3:01");
    Heard();
    RemoteReports(Battery(5, 1));
    EXPECT_THAT(Heard(), ElementsAre("SmartRcBatteryNotify (ssi) ('5', 'AA:\xEF\xBF\xBD:01', 291)"));
}

// --- The reading ---

TEST_F(BatteryTest, EveryReadingHasItsPercentage)
{
    for (int adc = 0; adc < 32; ++adc) {
        EXPECT_EQ(remotes->ConvertAdcValueToPercentage(adc), kPercent[static_cast<std::size_t>(adc)]);
    }
    for (const int adc : {-1, 32, 33, 1000000, -2147483647 - 1, 2147483647}) {
        tv.tape.Clear();
        try {
            remotes->ConvertAdcValueToPercentage(adc);
            ADD_FAILURE() << adc;
        } catch (const std::invalid_argument& exception) {
            EXPECT_STREQ(exception.what(), "invalid argument");
        }
        EXPECT_THAT(tv.tape.Messages(), ElementsAre("E Out of range : " + std::to_string(adc)));
    }
}

TEST_F(BatteryTest, SolarRemotesShowInTheTopFourBitsOfTheVersion)
{
    for (unsigned int model = 0; model < 16; ++model) {
        const bool solar = (model >= 1 && model <= 5) || model >= 14;
        for (const unsigned int rest : {0U, 0x0FFFFFFFU}) {
            EXPECT_EQ(remotes->IsSolarRemote(static_cast<int>(model << 28 | rest)), solar) << model;
        }
    }
    tv.tape.Clear();
    remotes->IsSolarRemote(static_cast<int>(0xE000ABCDU));
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I connected smart rc fw version is e000abcd"));
}

TEST_F(BatteryTest, ARemoteWithoutASolarCellIsNotJudged)
{
    StartsWithBoth();
    for (const unsigned int version : {kPlainVersion, 0x60000000U, 0xD0000000U}) {
        tv.smartRemote.fwVersion = version;
        RemoteReports(Battery(1, 1));
        EXPECT_THAT(Deeds(), ElementsAre(Set(kLevelOfRemote, 1), BatteryEvent(1)));
    }
    EXPECT_THAT(Heard(), IsEmpty());
}

/// Both remotes are judged alike.
class JudgementTest : public BatteryTest, public testing::WithParamInterface<bool>
{
protected:
    JudgementTest() : isRemote(GetParam()), flag(isRemote ? kFlagOfRemote : kFlagOfWheel) {}

    void Reads(int adc)
    {
        if (isRemote) {
            RemoteReports(Battery(1, adc));
        } else {
            WheelReports(Battery(1, adc));
        }
    }
    std::string Notice(int percent) const
    {
        return std::string(isRemote ? "SmartRc" : "HalvoWheel") + "BatteryLevel (s) ('" + std::to_string(percent) +
               "',)";
    }
    std::string SetFlag(int value) const
    {
        return Set(flag, value);
    }

    bool isRemote;
    const char* flag;
};

INSTANTIATE_TEST_SUITE_P(Both, JudgementTest, testing::Values(true, false),
                         [](const auto& test) { return test.param ? "SmartRemote" : "Wheel"; });

TEST_P(JudgementTest, ARemoteThatDrainsGivesOneNoticeUnderFiftyAndOneUnderTen)
{
    StartsWithBoth();
    for (int adc = 27; adc >= 0; --adc) {
        Reads(adc);
        std::vector<std::string> expected;
        if (adc == 15) {
            expected = {Notice(48)};
        } else if (adc == 3) {
            expected = {Notice(10)};
        }
        EXPECT_EQ(Heard(), expected) << adc;
        EXPECT_EQ(tv.settings.Int(flag), adc > 15 ? 0 : adc > 3 ? 1 : 3) << adc;
    }
}

TEST_P(JudgementTest, EachNoticeIsGivenOnceUntilTheBatteryRecovers)
{
    StartsWithBoth();
    Reads(15);
    EXPECT_THAT(Heard(), ElementsAre(Notice(48)));
    Reads(15);
    Reads(4);
    EXPECT_THAT(Heard(), IsEmpty());
    Reads(3);
    EXPECT_THAT(Heard(), ElementsAre(Notice(10)));
    for (const int adc : {3, 0, 15, 27}) {
        Reads(adc);
        EXPECT_TRUE(HasSaid("I already notify twice at battery level under 50 and  under 10")) << adc;
        EXPECT_THAT(Deeds("vconf_set_int(\"db"), IsEmpty());
    }
    EXPECT_THAT(Heard(), IsEmpty());
    Reads(28);
    EXPECT_TRUE(HasSaid("I battery level is higher than 90"));
    EXPECT_EQ(tv.settings.Int(flag), 0);
    Reads(2);
    EXPECT_THAT(Heard(), ElementsAre(Notice(6)));
}

TEST_P(JudgementTest, ARemoteFirstSeenNearlyEmptyGivesTheSecondNoticeOnly)
{
    StartsWithBoth();
    Reads(0);
    Reads(10);
    EXPECT_THAT(Heard(), ElementsAre(Notice(0)));
    EXPECT_EQ(tv.settings.Int(flag), 3);
}

TEST_P(JudgementTest, TheFlagKeepsBitsThatAreNobodysHere)
{
    StartsWithBoth();
    tv.settings.Writes(flag, 4);
    Reads(15);
    EXPECT_EQ(tv.settings.Int(flag), 5);
    Reads(1);
    EXPECT_EQ(tv.settings.Int(flag), 7);
}

TEST_P(JudgementTest, AnUnsetFlagOrOneOfAnotherTypeCountsAsNone)
{
    StartsWithBoth();
    tv.settings.Removes(flag);
    Reads(15);
    EXPECT_EQ(tv.settings.Int(flag), 1);
    tv.settings.Writes(flag, "three");
    Reads(15);
    EXPECT_EQ(tv.settings.Int(flag), 1);
    EXPECT_THAT(Heard(), ElementsAre(Notice(48), Notice(48)));
}

TEST_P(JudgementTest, TheUsageEventComesFirstThenTheFlagThenTheNotice)
{
    StartsWithBoth();
    tv.colorSensor.lux = 33;
    Reads(12);
    std::vector<std::string> steps;
    for (const sim::Entry& entry : tv.tape.Entries()) {
        if (entry.kind == sim::Kind::Kpi || entry.text.starts_with("vconf_set_int(\"db") ||
            entry.message.starts_with("name = ")) {
            steps.push_back(entry.kind == sim::Kind::Log ? entry.message : entry.text);
        }
    }
    EXPECT_THAT(steps, ElementsAre(BatteryEvent(1), Solar(12, 33, 3, 1), SetFlag(1),
                                   testing::EndsWith(isRemote ? "SmartRcBatteryLevel" : "HalvoWheelBatteryLevel")));
    EXPECT_TRUE(HasSaid("I batteryLevel : 0xc"));
}

TEST_P(JudgementTest, WhatIsJudgedNeedNotBeWhatThePlatformReportsByThen)
{
    StartsWithBoth();
    if (isRemote) {
        remotes->HandleSolarCellRemoteBatteryStatus(kRemote, 0, 15 * 8 + 7);
    } else {
        remotes->HandleHalvoWheelBatteryStatus(kWheel, 15 * 8 + 7);
    }
    EXPECT_THAT(Heard(), ElementsAre(Notice(48)));
    EXPECT_THAT(tv.tape.Kpi(), ElementsAre(Solar(0, 120, 3, 1)));
}

TEST_P(JudgementTest, AReadingBelowZeroChangesNothing)
{
    StartsWithBoth();
    tv.settings.Writes(flag, 1);
    tv.tape.Clear();
    for (const int battery : {-1, -8, -2147483647 - 1}) {
        if (isRemote) {
            remotes->HandleSolarCellRemoteBatteryStatus(kRemote, 0, battery);
        } else {
            remotes->HandleHalvoWheelBatteryStatus(kWheel, battery);
        }
    }
    EXPECT_EQ(TimesSaid("E Out of range : -1"), 2);
    EXPECT_EQ(TimesSaid("E Out of range : -268435456"), 1);
    EXPECT_EQ(TimesSaid("E exception : invalid argument"), 3);
    EXPECT_EQ(tv.settings.Int(flag), 1);
    EXPECT_THAT(Deeds("vconf_set"), IsEmpty());
    EXPECT_THAT(Heard(), IsEmpty());
}

// --- A reading out of a file ---

class SolarFileTest : public BatteryTest
{
protected:
    /// The notice that the remote's report leads to while the reported reading itself is high.
    std::vector<std::string> Judges()
    {
        tv.settings.Writes(kFlagOfRemote, 0);
        RemoteReports(Battery(1, 20));
        return Heard();
    }
};

TEST_F(SolarFileTest, TheFileStandsForTheReport)
{
    StartsWithBoth();
    tv.MakesFile(kSolarFile, "2");
    EXPECT_THAT(Judges(), ElementsAre("SmartRcBatteryLevel (s) ('6',)"));
    EXPECT_TRUE(HasSaid("I battery : 2"));
    tv.MakesFile(kSolarFile, " 15\n");
    EXPECT_THAT(Judges(), ElementsAre("SmartRcBatteryLevel (s) ('48',)"));
    tv.MakesFile(kSolarFile, "16 2");
    EXPECT_THAT(Judges(), IsEmpty());
    tv.RemovesFile(kSolarFile);
    EXPECT_THAT(Judges(), IsEmpty());
    EXPECT_THAT(Said("OverriddenBattery"), IsEmpty());
}

TEST_F(SolarFileTest, TheFileIsForTheRemoteOnly)
{
    StartsWithBoth();
    tv.MakesFile(kSolarFile, "2");
    WheelReports(Battery(1, 20));
    EXPECT_THAT(Heard(), IsEmpty());
    tv.smartRemote.fwVersion = kPlainVersion;
    RemoteReports(Battery(1, 20));
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(SolarFileTest, AFileWithoutANumberCountsAsZero)
{
    StartsWithBoth();
    for (const char* text : {"", "garbage", "x2", "-", "\n\n", "\xFF\xFE"}) {
        tv.MakesFile(kSolarFile, text);
        EXPECT_THAT(Judges(), ElementsAre("SmartRcBatteryLevel (s) ('0',)")) << text;
        EXPECT_TRUE(HasSaid("I battery : 0"));
    }
}

TEST_F(SolarFileTest, ANegativeNumberChangesNothing)
{
    StartsWithBoth();
    for (const char* text : {"-1", "-2147483648", "-99999999999999999999"}) {
        tv.MakesFile(kSolarFile, text);
        EXPECT_THAT(Judges(), IsEmpty()) << text;
        EXPECT_TRUE(HasSaid("E exception : invalid argument")) << text;
        EXPECT_EQ(tv.settings.Int(kFlagOfRemote), 0) << text;
    }
}

TEST_F(SolarFileTest, AHugeNumberIsAFullBattery)
{
    StartsWithBoth();
    for (const char* text : {"28", "32", "268435455", "268435456", "536870912", "2147483647", "99999999999999999999"}) {
        tv.MakesFile(kSolarFile, text);
        tv.settings.Writes(kFlagOfRemote, 3);
        RemoteReports(Battery(1, 20));
        EXPECT_TRUE(HasSaid("I battery level is higher than 90")) << text;
        EXPECT_EQ(tv.settings.Int(kFlagOfRemote), 0) << text;
    }
    EXPECT_THAT(Heard(), IsEmpty());
}

TEST_F(SolarFileTest, WhatIsNoOrdinaryFileIsNotOpened)
{
    StartsWithBoth();
    const std::filesystem::path path = tv.PathOf(kSolarFile);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_THAT(Judges(), IsEmpty()); // and it does not wait for a writer
    tv.RemovesFile(kSolarFile);

    tv.MakesFile("/tmp/elsewhere", "2");
    std::filesystem::create_symlink(tv.PathOf("/tmp/elsewhere"), path);
    EXPECT_THAT(Judges(), IsEmpty());
    std::filesystem::remove(path);

    std::filesystem::create_directory(path);
    EXPECT_THAT(Judges(), IsEmpty());
    EXPECT_THAT(Said("OverriddenBattery"), IsEmpty());
}

} // namespace
