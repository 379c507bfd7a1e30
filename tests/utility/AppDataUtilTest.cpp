#include "AppDataUtil.h"

#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Util::AppDataUtil;

namespace {

constexpr const char* kData = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/";
constexpr const char* kShared = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/shared/";

TEST(AppDataUtil, ThePlainFolderGetterIsSilent)
{
    sim::Television tv;
    EXPECT_EQ(AppDataUtil::getDataPath(), kData);
    EXPECT_THAT(tv.tape.All(), IsEmpty());
}

TEST(AppDataUtil, EveryOtherGetterLogsItsPathAsThePlatformKnowsIt)
{
    sim::Television tv;
    EXPECT_EQ(AppDataUtil::GetAppDataFilePath(), kData);
    EXPECT_EQ(AppDataUtil::GetAppDataFilePath("count.txt"), std::string(kData) + "count.txt");
    EXPECT_EQ(AppDataUtil::GetAppSharedResourcePath(), kShared);
    EXPECT_EQ(AppDataUtil::GetAppSharedResourcePath("x/y"), std::string(kShared) + "x/y");
    EXPECT_THAT(tv.tape.Messages(true),
                ElementsAre(std::string("D path = ") + kData, std::string("D path = ") + kData + "count.txt",
                            std::string("D path = ") + kShared, std::string("D path = ") + kShared + "x/y"));
    EXPECT_EQ(tv.tape.Entries().front().tag, "VYREL_UTIL");
}

} // namespace
