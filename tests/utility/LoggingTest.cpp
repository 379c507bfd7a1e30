#include "KernelLog.h"
#include "ServiceLogging.h"
#include "UtilityLogging.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

namespace {

TEST(Log, EveryLineCarriesItsPlaceAndItsPriority)
{
    sim::Television tv;
    LogFromService();

    ASSERT_EQ(tv.tape.Entries().size(), 4U);
    const std::vector<std::string> lines = tv.tape.All();
    EXPECT_THAT(lines[0], MatchesRegex(R"(D VYREL_LITE ServiceLogging.cpp: LogFromService\([0-9]+\) > debug)"));
    EXPECT_THAT(lines[1], MatchesRegex(R"(I VYREL_LITE ServiceLogging.cpp: LogFromService\([0-9]+\) > info 1)"));
    EXPECT_THAT(lines[2], MatchesRegex(R"(W VYREL_LITE ServiceLogging.cpp: LogFromService\([0-9]+\) > warning two)"));
    EXPECT_THAT(lines[3], MatchesRegex(R"(E VYREL_LITE ServiceLogging.cpp: operator\(\)\([0-9]+\) > error 3%)"));
    EXPECT_EQ(tv.tape.Entries()[1].line, tv.tape.Entries()[0].line + 1);
}

TEST(Log, UtilitiesHaveATagOfTheirOwn)
{
    sim::Television tv;
    LogFromUtility();
    EXPECT_THAT(tv.tape.All(),
                ElementsAre(MatchesRegex(R"(I VYREL_UTIL UtilityLogging.cpp: LogFromUtility\([0-9]+\) > info)")));
}

TEST(Tracer, OfTheServiceWritesInAndOut)
{
    sim::Television tv;
    const int line = TracedInService(5);
    const std::string place = "[int TracedInService(int)(" + std::to_string(line) + ")]";
    EXPECT_THAT(tv.tape.All(), ElementsAre("D VYREL_LITE LiteDebug.h: ApiTracker(117) > IN >> " + place,
                                           "D VYREL_LITE LiteDebug.h: ~ApiTracker(121) > OUT << " + place));
}

TEST(Tracer, OfTheUtilitiesWritesItsOutLineAsTheService)
{
    sim::Television tv;
    const int line = TracedInUtility();
    const std::string place = "[int TracedInUtility()(" + std::to_string(line) + ")]";
    EXPECT_THAT(tv.tape.All(), ElementsAre("D VYREL_UTIL DlogUtil.h: ApiTracker(124) > IN >> " + place,
                                           "D VYREL_LITE LiteDebug.h: ~ApiTracker(121) > OUT << " + place));
}

TEST(Tracer, WritesItsOutLineAlsoWhenAnExceptionLeavesTheFunction)
{
    sim::Television tv;
    EXPECT_THROW(TracedAndThrows(), std::runtime_error);
    ASSERT_EQ(tv.tape.All().size(), 2U);
    EXPECT_THAT(tv.tape.All()[1], HasSubstr("OUT << [void TracedAndThrows()"));
}

TEST(KernelLog, IsTagFunctionAndMessageWithNothingBetweenAndNoLineEnd)
{
    sim::Television tv;
    __print_kernel_log("VYREL", "GoToStandbyPowerState", "request %s lock %d", "standby", 2);
    EXPECT_EQ(tv.ReadFile("/dev/kmsg"), "[VYREL][GoToStandbyPowerState]request standby lock 2");
}

TEST(KernelLog, HoldsAtMost511BytesALine)
{
    for (const std::size_t length : {495U, 496U, 497U, 2000U}) {
        sim::Television tv;
        __print_kernel_log("VYREL", "Name", "%s", std::string(length, 'x').c_str());
        const std::string prefix = "[VYREL][Name]"; // 13 bytes
        EXPECT_EQ(tv.ReadFile("/dev/kmsg"), prefix + std::string(std::min<std::size_t>(length, 498), 'x')) << length;
    }
}

TEST(KernelLog, CutsAFunctionNameThatLeavesNoRoom)
{
    sim::Television tv;
    __print_kernel_log("VYREL", std::string(600, 'f').c_str(), "%s", "message");
    EXPECT_EQ(tv.ReadFile("/dev/kmsg"), ("[VYREL][" + std::string(600, 'f')).substr(0, 511));
}

TEST(KernelLog, IsSilentWithoutADevice)
{
    sim::Television tv;
    tv.RemovesFile("/dev/kmsg");
    support::CaptureStdout();
    __print_kernel_log("VYREL", "Name", "%s", "message");
    EXPECT_EQ(support::GetCapturedStdout(), "");
    EXPECT_FALSE(tv.HasFile("/dev/kmsg"));
    EXPECT_THAT(tv.tape.All(), IsEmpty());
}

TEST(KernelLog, TellsAFailedWriteOnStandardOutput)
{
    sim::Television tv;
    tv.RemovesFile("/dev/kmsg");
    std::filesystem::create_symlink("/dev/full", tv.PathOf("/dev/kmsg"));
    support::CaptureStdout();
    __print_kernel_log("VYREL", "Name", "%s", "message");
    EXPECT_EQ(support::GetCapturedStdout(), "Fail to write(/dev/kmsg) 28\n");
    tv.RemovesFile("/dev/kmsg");
}

} // namespace
