#include "linux/FakeJournal.h"
#include "linux/PlatformLog.h"
#include "linux/Root.h"
#include "support/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <kpi_logger.h>
#include <sys/stat.h>

#include <cstddef>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

namespace {

using KPILogFramework::CLogger;
using linux_test::FakeJournal;
using linux_test::InRoot;
using linux_test::LinesOf;
using linux_test::LogLinesWith;
using linux_test::ReadFile;
using linux_test::WriteFile;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Pair;
using ::testing::UnorderedElementsAre;

const std::string kFile = "/var/lib/vyrel-lite/kpi/events.jsonl";

int Send(const std::string& description, void (*callback)(int, void*) = nullptr, void* userData = nullptr)
{
    return CLogger::GetInstance()->AddEventLogAsync("REMOCON", "BATTERY", "EV001", description, callback, userData);
}

mode_t ModeOf(const std::string& path)
{
    struct stat status = {};
    EXPECT_EQ(::stat(InRoot(path).c_str(), &status), 0);
    return status.st_mode & 07777U;
}

TEST(KpiTest, AnEventIsALineOfJson)
{
    EXPECT_EQ(Send("{product=QV55;batlev=3}"), 0);
    EXPECT_THAT(ReadFile(kFile),
                MatchesRegex("\\{\"time\":\"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z\","
                             "\"category\":\"REMOCON\",\"name\":\"BATTERY\",\"code\":\"EV001\","
                             "\"description\":\"\\{product=QV55;batlev=3\\}\","
                             "\"items\":\\{\"product\":\"QV55\",\"batlev\":\"3\"\\}\\}\n"));
}

TEST(KpiTest, AnEventIsAJournalEntryWithAFieldForEachItem)
{
    FakeJournal journal;
    Send("{product=QV55;batlev=3;bt-fw=a\nb}");
    EXPECT_THAT(journal.Entries(),
                ElementsAre(UnorderedElementsAre(
                    Pair("PRIORITY", "6"), Pair("SYSLOG_IDENTIFIER", "VYREL_KPI"),
                    Pair("MESSAGE", "usage event BATTERY EV001 {product=QV55;batlev=3;bt-fw=a\nb}"),
                    Pair("KPI_CATEGORY", "REMOCON"), Pair("KPI_NAME", "BATTERY"), Pair("KPI_CODE", "EV001"),
                    Pair("KPI_DESCRIPTION", "{product=QV55;batlev=3;bt-fw=a\nb}"), Pair("KPI_ITEM_PRODUCT", "QV55"),
                    Pair("KPI_ITEM_BATLEV", "3"), Pair("KPI_ITEM_BT_FW", "a\nb"))));
}

TEST(KpiTest, ASemicolonInADevicesNameStaysInIt)
{
    Send("{name=Tom;Jerry;btrssi=-40}");
    EXPECT_THAT(ReadFile(kFile), HasSubstr("\"items\":{\"name\":\"Tom;Jerry\",\"btrssi\":\"-40\"}"));
}

TEST(KpiTest, ADescriptionThatIsNoneHasNoItems)
{
    for (const char* description : {"", "{}", "{", "text", "{=;=;;}", "}{"}) {
        EXPECT_EQ(Send(description), 0);
    }
    for (const std::string& line : LinesOf(kFile)) {
        EXPECT_THAT(line, HasSubstr("\"items\":{}}"));
    }
    EXPECT_EQ(LinesOf(kFile).size(), 6U);
}

TEST(KpiTest, AnythingThatADeviceCallsItselfStaysOneLineOfJson)
{
    Send("{name=\"quoted\\\"\n\x01\xff}");
    EXPECT_THAT(LinesOf(kFile), ElementsAre(HasSubstr(R"("items":{"name":"\"quoted\\\"\u000a\u0001)"
                                                      "\xef\xbf\xbd\"}")));
}

TEST(KpiTest, MoreItemsThanAnEntryHoldsAreLeftOutOfItOnly)
{
    FakeJournal journal;
    std::string description = "{k0=0";
    for (int item = 1; item < 100; ++item) {
        description += ";k" + std::to_string(item) + "=" + std::to_string(item);
    }
    Send(description + "}");
    ASSERT_EQ(journal.Entries().size(), 1U);
    EXPECT_THAT(ReadFile(kFile), HasSubstr("\"k99\":\"99\""));
}

TEST(KpiTest, OnlyTheOwnerMayReadTheFile)
{
    Send("{a=1}");
    EXPECT_EQ(ModeOf(kFile), 0600U);
    EXPECT_EQ(ModeOf("/var/lib/vyrel-lite/kpi"), 0700U);
}

TEST(KpiTest, AFullFileIsPutAsideAndThreeOldOnesAreKept)
{
    const std::string full(1 << 20, 'x');
    WriteFile(kFile, "newest" + full);
    WriteFile(kFile + ".1", "older");
    WriteFile(kFile + ".2", "old");
    WriteFile(kFile + ".3", "oldest");
    Send("{a=1}");
    EXPECT_EQ(LinesOf(kFile).size(), 1U);
    EXPECT_EQ(ReadFile(kFile + ".1").substr(0, 6), "newest");
    EXPECT_EQ(ReadFile(kFile + ".2"), "older");
    EXPECT_EQ(ReadFile(kFile + ".3"), "old");
    EXPECT_FALSE(std::filesystem::exists(InRoot(kFile + ".4")));
}

TEST(KpiTest, TheFileIsPutAsideWhenTheNextLineWouldNotFit)
{
    Send("{a=1}");
    const std::size_t line = ReadFile(kFile).size();
    const std::size_t most = 1 << 20;
    WriteFile(kFile, std::string(most - line - 1, 'x') + "\n");
    Send("{a=2}");
    EXPECT_EQ(ReadFile(kFile).size(), most);
    EXPECT_FALSE(std::filesystem::exists(InRoot(kFile + ".1")));
    Send("{a=3}");
    EXPECT_EQ(ReadFile(kFile).size(), line);
    EXPECT_EQ(ReadFile(kFile + ".1").size(), most);
}

TEST(KpiTest, AfterALineThatWasCutOffTheNextBeginsItsOwn)
{
    WriteFile(kFile, "{\"time\":\"20");
    Send("{a=1}");
    ASSERT_EQ(LinesOf(kFile).size(), 2U);
    EXPECT_EQ(LinesOf(kFile)[0], "{\"time\":\"20");
}

TEST(KpiTest, AFolderThatCannotBeMadeIsNamedOnceAndTheJournalStillHasTheEvents)
{
    FakeJournal journal;
    WriteFile("/var/lib/vyrel-lite/kpi", "in the way");
    Send("{a=1}");
    Send("{a=2}");
    EXPECT_EQ(journal.Entries().size(), 2U);
    EXPECT_EQ(LogLinesWith("usage events are not kept"), 1);
    std::filesystem::remove(InRoot("/var/lib/vyrel-lite/kpi"));
    Send("{a=3}");
    EXPECT_EQ(LinesOf(kFile).size(), 1U);
}

TEST(KpiTest, APlantedPipeOrLinkIsNotFollowed)
{
    std::filesystem::create_directories(InRoot("/var/lib/vyrel-lite/kpi"));
    ASSERT_EQ(::mkfifo(InRoot(kFile).c_str(), 0600), 0);
    Send("{a=1}");
    EXPECT_EQ(LogLinesWith("usage events are not kept"), 1);
    std::filesystem::remove(InRoot(kFile));
    std::filesystem::create_symlink(InRoot("/elsewhere"), InRoot(kFile));
    Send("{a=2}");
    EXPECT_FALSE(std::filesystem::exists(InRoot("/elsewhere")));
}

TEST(KpiTest, TheCallbackComesLaterWithTheResult)
{
    static int result = 7;
    const auto note = [](int said, void* userData) {
        EXPECT_EQ(userData, &result);
        result = said;
    };
    EXPECT_EQ(Send("{a=1}", note, &result), 0);
    EXPECT_EQ(result, 7);
    EXPECT_TRUE(support::IterateUntil([] { return result != 7; }));
    EXPECT_EQ(result, 0);

    // Neither place takes the next one.
    std::filesystem::remove_all(InRoot("/var/lib/vyrel-lite/kpi"));
    WriteFile("/var/lib/vyrel-lite/kpi", "in the way");
    EXPECT_EQ(Send("{a=1}", note, &result), 0);
    EXPECT_TRUE(support::IterateUntil([] { return result != 0; }));
    EXPECT_EQ(result, -1);
}

TEST(KpiTest, ThereIsOneCollector)
{
    EXPECT_NE(CLogger::GetInstance(), nullptr);
    EXPECT_EQ(CLogger::GetInstance(), CLogger::GetInstance());
}

} // namespace
