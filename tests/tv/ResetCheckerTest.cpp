// The service's own copies of the reset counters.

#include "ResetChecker/ResetChecker.h"

#include "VconfKeyId.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::ThrowsMessage;

namespace {

constexpr const char* kDataFolder = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data";
constexpr const char* kFactoryFile = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/factoryResetCount.txt";
constexpr const char* kServiceFile = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/serviceResetCount.txt";
constexpr const char* kFactoryKey = "db/factory/factory_reset_count";
constexpr const char* kServiceKey = "db/factory/service_reset_count";

/// For as long as it lives the process may read and write no more than anybody, also when it was started by root.
class AsNobody
{
public:
    explicit AsNobody(const sim::Television& tv)
    {
        std::filesystem::permissions(tv.Root(), std::filesystem::perms(0755));
        if (m_isRoot && ::seteuid(65534) != 0) {
            throw std::runtime_error("seteuid");
        }
    }
    ~AsNobody()
    {
        if (m_isRoot && ::seteuid(0) != 0) {
            std::abort();
        }
    }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

private:
    bool m_isRoot = ::geteuid() == 0;
};

class ResetCounters : public ::testing::Test
{
protected:
    ResetCounters()
    {
        std::filesystem::create_directories(tv.PathOf(kDataFolder));
    }

    void Counts(int factory, int service)
    {
        tv.settings.Writes(kFactoryKey, factory);
        tv.settings.Writes(kServiceKey, service);
    }

    void Files(const std::string& factory, const std::string& service)
    {
        tv.MakesFile(kFactoryFile, factory);
        tv.MakesFile(kServiceFile, service);
    }

    /// Lines of the checker itself.
    [[nodiscard]] std::vector<std::string> Log() const
    {
        std::vector<std::string> lines;
        for (const sim::Entry& entry : tv.tape.Entries()) {
            if (entry.kind == sim::Kind::Log && entry.file == "ResetChecker.cpp") {
                EXPECT_EQ(entry.tag, "VYREL_LITE");
                lines.push_back(std::string(1, sim::PriorityLetter(entry.priority)) + " " + entry.message);
            }
        }
        return lines;
    }

    sim::Television tv;
    ResetChecker checker;
};

// --- The platform's counts ---

TEST_F(ResetCounters, ThePlatformsCountsAreReadAndLogged)
{
    Counts(3, 5);
    tv.tape.Clear();

    EXPECT_EQ(checker.getFactoryResetCountFromVconf(), 3);
    EXPECT_EQ(checker.getServiceResetCountFromVconf(), 5);
    EXPECT_EQ(checker.getResetCountFromVconf(VconfKey::DB_FACTORY_SERVICE_RESET_COUNT), 5);

    EXPECT_THAT(tv.tape.Calls(), ElementsAre(R"(vconf_get_int("db/factory/factory_reset_count") = 0 -> 3)",
                                             R"(vconf_get_int("db/factory/service_reset_count") = 0 -> 5)",
                                             R"(vconf_get_int("db/factory/service_reset_count") = 0 -> 5)"));
    EXPECT_THAT(Log(), ElementsAre("E <<Not Error>factory reset count = 3", "E <<Not Error>service reset count = 5",
                                   "E <<Not Error>service reset count = 5"));
}

TEST_F(ResetCounters, ACountThatThePlatformDoesNotGiveIsAnError)
{
    const auto factory = [this] { checker.getFactoryResetCountFromVconf(); };
    const auto service = [this] { checker.getServiceResetCountFromVconf(); };
    EXPECT_THAT(factory, ThrowsMessage<std::runtime_error>("fail to getfactory reset count"));
    EXPECT_THAT(service, ThrowsMessage<std::runtime_error>("fail to getservice reset count"));

    Counts(-1, -1);
    EXPECT_THAT(factory, ThrowsMessage<std::runtime_error>("fail to getfactory reset count"));
    EXPECT_THAT(service, ThrowsMessage<std::runtime_error>("fail to getservice reset count"));

    tv.settings.Writes(kFactoryKey, "3");
    EXPECT_THAT(factory, ThrowsMessage<std::runtime_error>("fail to getfactory reset count"));
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(ResetCounters, OnlyMinusOneMeansNoCount)
{
    Counts(-2, 0);
    EXPECT_EQ(checker.getFactoryResetCountFromVconf(), -2);
    EXPECT_EQ(checker.getServiceResetCountFromVconf(), 0);
}

// --- The files ---

TEST_F(ResetCounters, TheFilesAreReadAndLogged)
{
    Files("3", "-5");

    EXPECT_EQ(checker.getFactoryResetCountFromPreference(), 3);
    EXPECT_EQ(checker.getServiceResetCountFromPreference(), -5);
    EXPECT_EQ(checker.getResetCountFromPreference("factoryResetCount.txt"), 3);

    EXPECT_THAT(Log(), ElementsAre("E <<Not Error> factory reset count = 3", "E <<Not Error> service reset count = -5",
                                   "E <<Not Error> factory reset count = 3"));
}

TEST_F(ResetCounters, AFileIsReadAsFormattedInputReadsIt)
{
    const std::vector<std::pair<std::string, int>> cases = {
        {"", 0},
        {"abc", 0},
        {"-", 0},
        {" \n\t7", 7},
        {"7\n", 7},
        {"+7", 7},
        {"12 34", 12},
        {"12abc", 12},
        {"0x1F", 0},
        {"2147483647", std::numeric_limits<int>::max()},
        {"2147483648", std::numeric_limits<int>::max()},
        {"-2147483648", std::numeric_limits<int>::min()},
        {"-99999999999999999999", std::numeric_limits<int>::min()},
        {std::string("4\0002", 3), 4},
    };
    for (const auto& [contents, count] : cases) {
        tv.MakesFile(kFactoryFile, contents);
        EXPECT_EQ(checker.getFactoryResetCountFromPreference(), count) << "'" << contents << "'";
    }
}

TEST_F(ResetCounters, AHugeFileIsReadNoFurtherThanANumberGoes)
{
    tv.MakesFile(kFactoryFile, std::string(5'000'000, '1'));
    EXPECT_EQ(checker.getFactoryResetCountFromPreference(), std::numeric_limits<int>::max());

    tv.MakesFile(kFactoryFile, "3 ");
    std::filesystem::resize_file(tv.PathOf(kFactoryFile), 1ULL << 34U);
    EXPECT_EQ(checker.getFactoryResetCountFromPreference(), 3);
}

TEST_F(ResetCounters, AFileThatCannotBeOpenedIsAnError)
{
    const auto read = [this] { checker.getFactoryResetCountFromPreference(); };
    EXPECT_THAT(read, ThrowsMessage<std::runtime_error>("open fail"));

    std::filesystem::create_directories(tv.PathOf(kFactoryFile));
    EXPECT_THAT(read, ThrowsMessage<std::runtime_error>("open fail"));

    tv.RemovesFile(kFactoryFile);
    ASSERT_EQ(::mkfifo(tv.PathOf(kFactoryFile).c_str(), 0666), 0);
    EXPECT_THAT(read, ThrowsMessage<std::runtime_error>("open fail"));

    tv.RemovesFile(kFactoryFile);
    tv.MakesFile(kFactoryFile, "3");
    std::filesystem::permissions(tv.PathOf(kFactoryFile), std::filesystem::perms::none);
    {
        const AsNobody nobody(tv);
        EXPECT_THAT(read, ThrowsMessage<std::runtime_error>("open fail"));
    }
    std::filesystem::remove_all(tv.PathOf(kDataFolder));
    EXPECT_THAT(read, ThrowsMessage<std::runtime_error>("open fail"));
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(ResetCounters, WritingReplacesTheWholeFileWithTheNumberAlone)
{
    Files("123456", "123456");

    checker.setFactoryResetCountToPreference(7);
    checker.setServiceResetCountToPreference(-12);

    EXPECT_EQ(tv.ReadFile(kFactoryFile), "7");
    EXPECT_EQ(tv.ReadFile(kServiceFile), "-12");
    EXPECT_THAT(Log(),
                ElementsAre("E <<Not Error> factory reset count = 7", "E <<Not Error> service reset count = -12"));

    std::filesystem::remove(tv.PathOf(kFactoryFile));
    checker.setResetCountToPreference(8, "factoryResetCount.txt");
    EXPECT_EQ(tv.ReadFile(kFactoryFile), "8");
}

TEST_F(ResetCounters, AFileThatCannotBeWrittenIsAnErrorAndStaysAsItWas)
{
    const auto write = [this] { checker.setFactoryResetCountToPreference(7); };
    std::filesystem::create_directories(tv.PathOf(kFactoryFile));
    EXPECT_THAT(write, ThrowsMessage<std::runtime_error>("open fail"));

    tv.RemovesFile(kFactoryFile);
    ASSERT_EQ(::mkfifo(tv.PathOf(kFactoryFile).c_str(), 0666), 0);
    EXPECT_THAT(write, ThrowsMessage<std::runtime_error>("open fail"));

    tv.RemovesFile(kFactoryFile);
    tv.MakesFile(kFactoryFile, "3");
    std::filesystem::permissions(tv.PathOf(kFactoryFile), std::filesystem::perms(0444));
    {
        const AsNobody nobody(tv);
        EXPECT_THAT(write, ThrowsMessage<std::runtime_error>("open fail"));
    }
    EXPECT_EQ(tv.ReadFile(kFactoryFile), "3");

    std::filesystem::remove_all(tv.PathOf(kDataFolder));
    EXPECT_THAT(write, ThrowsMessage<std::runtime_error>("open fail"));
    EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(ResetCounters, AFileThatIsALinkIsNotFollowedAndTheNextCountTakesItsPlace)
{
    Counts(3, 0);
    Files("3", "0");
    tv.MakesFile("/etc/precious", "3");
    std::filesystem::remove(tv.PathOf(kFactoryFile));
    std::filesystem::create_symlink(tv.PathOf("/etc/precious"), tv.PathOf(kFactoryFile));
    EXPECT_THAT([this] { checker.getFactoryResetCountFromPreference(); },
                ThrowsMessage<std::runtime_error>("open fail"));
    EXPECT_TRUE(checker.isReset());

    Counts(4, 0);
    checker.syncResetCount();
    EXPECT_EQ(tv.ReadFile("/etc/precious"), "3");
    EXPECT_EQ(tv.ReadFile(kFactoryFile), "4");
    EXPECT_FALSE(checker.isReset());
}

// --- The comparison ---

TEST_F(ResetCounters, EqualCountsAreNoReset)
{
    Counts(3, 0);
    Files("3", "0");

    EXPECT_FALSE(checker.isFactoryReset());
    EXPECT_FALSE(checker.isServiceReset());
    EXPECT_FALSE(checker.isReset());
}

TEST_F(ResetCounters, TheSettingIsReadBeforeTheFile)
{
    Counts(3, 4);
    Files("1", "2");
    tv.tape.Clear();

    EXPECT_TRUE(checker.isFactoryReset());
    EXPECT_TRUE(checker.isServiceReset());
    EXPECT_THAT(Log(), ElementsAre("E <<Not Error>factory reset count = 3", "E <<Not Error> factory reset count = 1",
                                   "E <<Not Error>service reset count = 4", "E <<Not Error> service reset count = 2"));
}

TEST_F(ResetCounters, AFactoryResetIsEnough)
{
    Counts(4, 0);
    Files("3", "0");
    tv.tape.Clear();

    EXPECT_TRUE(checker.isReset());
    EXPECT_THAT(tv.tape.Calls(), ElementsAre(R"(vconf_get_int("db/factory/factory_reset_count") = 0 -> 4)"));
}

TEST_F(ResetCounters, AServiceResetIsFoundToo)
{
    Counts(3, 2);
    Files("3", "1");

    EXPECT_TRUE(checker.isReset());
    checker.syncResetCount();
    EXPECT_EQ(tv.ReadFile(kServiceFile), "2");
    EXPECT_EQ(tv.ReadFile(kFactoryFile), "3");
    EXPECT_FALSE(checker.isReset());
}

TEST_F(ResetCounters, ACountThatIsLowerThanTheFilesIsAResetToo)
{
    Counts(2, 0);
    Files("3", "0");
    EXPECT_TRUE(checker.isReset());
}

TEST_F(ResetCounters, WhatCannotBeComparedIsAReset)
{
    Counts(3, 0);
    tv.MakesFile(kServiceFile, "0");
    tv.tape.Clear();
    EXPECT_TRUE(checker.isReset());
    EXPECT_THAT(Log(), ElementsAre("E <<Not Error>factory reset count = 3", "E fail to comapre reset count"));

    Files("3", "0");
    std::filesystem::remove(tv.PathOf(kServiceFile));
    EXPECT_TRUE(checker.isReset());

    Files("3", "0");
    tv.settings.Removes(kServiceKey);
    EXPECT_TRUE(checker.isReset());

    Files("-1", "0");
    Counts(-1, 0);
    tv.tape.Clear();
    EXPECT_TRUE(checker.isReset());
    EXPECT_THAT(Log(), ElementsAre("E fail to comapre reset count"));
}

// --- The synchronisation ---

TEST_F(ResetCounters, SynchronisingCreatesBothFiles)
{
    Counts(3, 5);
    tv.tape.Clear();

    checker.syncResetCount();

    EXPECT_EQ(tv.ReadFile(kFactoryFile), "3");
    EXPECT_EQ(tv.ReadFile(kServiceFile), "5");
    EXPECT_THAT(Log(), ElementsAre("E <<Not Error>factory reset count = 3", "E <<Not Error> factory reset count = 3",
                                   "E <<Not Error>> sync factory count", "E <<Not Error>service reset count = 5",
                                   "E <<Not Error> service reset count = 5", "E <<Not Error>> sync Service count",
                                   "E <<Not Error>> sync factory count"));
    EXPECT_FALSE(checker.isReset());
}

TEST_F(ResetCounters, AMissingFactoryCountLeavesItsFileAndTheServiceCountIsStillWritten)
{
    Counts(-1, 5);
    Files("3", "4");
    tv.tape.Clear();

    checker.syncResetCount();

    EXPECT_EQ(tv.ReadFile(kFactoryFile), "3");
    EXPECT_EQ(tv.ReadFile(kServiceFile), "5");
    EXPECT_THAT(Log(), ElementsAre("E fail to syncFactoryResetCount", "E <<Not Error>service reset count = 5",
                                   "E <<Not Error> service reset count = 5", "E <<Not Error>> sync Service count",
                                   "E <<Not Error>> sync factory count"));
}

TEST_F(ResetCounters, AMissingServiceCountLeavesItsFile)
{
    Counts(3, -1);
    Files("2", "4");
    tv.tape.Clear();

    checker.syncServiceResetCount();
    EXPECT_THAT(Log(), ElementsAre("E fail to syncServiceResetCount"));
    checker.syncFactoryResetCount();
    EXPECT_EQ(tv.ReadFile(kFactoryFile), "3");
    EXPECT_EQ(tv.ReadFile(kServiceFile), "4");
}

TEST_F(ResetCounters, WithoutADataFolderEachStartSeesAReset)
{
    Counts(3, 5);
    std::filesystem::remove_all(tv.PathOf(kDataFolder));

    for (int start = 0; start < 2; ++start) {
        tv.tape.Clear();
        EXPECT_TRUE(checker.isReset());
        checker.syncResetCount();
        EXPECT_THAT(Log(), ElementsAre("E <<Not Error>factory reset count = 3", "E fail to comapre reset count",
                                       "E <<Not Error>factory reset count = 3", "E fail to syncFactoryResetCount",
                                       "E <<Not Error>service reset count = 5", "E fail to syncServiceResetCount",
                                       "E <<Not Error>> sync factory count"));
    }
    EXPECT_FALSE(tv.HasFile(kDataFolder));
}

TEST_F(ResetCounters, AFullDiskIsAFailureToSynchronise)
{
    Counts(3, 5);
    Files("1", "1");
    // No byte may be written to a file any more; the signal that goes with it is not wanted.
    const auto signalBefore = ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit before = {};
    ::getrlimit(RLIMIT_FSIZE, &before);
    const struct rlimit none = {0, before.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &none);
    checker.syncResetCount();
    ::setrlimit(RLIMIT_FSIZE, &before);
    ::signal(SIGXFSZ, signalBefore);

    EXPECT_EQ(std::ranges::count(Log(), "E fail to syncFactoryResetCount"), 1);
    EXPECT_EQ(std::ranges::count(Log(), "E fail to syncServiceResetCount"), 1);
    EXPECT_EQ(tv.ReadFile(kFactoryFile), "1");
    EXPECT_EQ(tv.ReadFile(kServiceFile), "1");
    EXPECT_TRUE(checker.isReset());
}

} // namespace
