// A full disk, as the service and another process meet it.

#include "sim/Disk.h"

#include "SafeFile.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vconf.h>

#include <optional>
#include <string>

using ::testing::Contains;

namespace {

constexpr const char* kKept = "db/menu/network/devicename/tv_name";
constexpr const char* kFile = "/opt/usr/home/owner/count.txt";

/// More than what is left in the file of an empty store.
const std::string kMuch(20'000, 'x');

TEST(Disk, ThatIsFullKeepsWhatItHasAndTakesNoMore)
{
    sim::Television tv;
    ASSERT_EQ(vconf_set_str(kKept, "Kitchen"), VCONF_OK);
    tv.disk.IsFull(true);
    for (int again = 0; again < 3; ++again) {
        EXPECT_NE(vconf_set_str(kKept, kMuch.c_str()), VCONF_OK);
    }
    EXPECT_EQ(tv.settings.Text(kKept), "Kitchen");
    tv.disk.IsFull(false);
    EXPECT_EQ(vconf_set_str(kKept, kMuch.c_str()), VCONF_OK);
    EXPECT_EQ(tv.settings.Text(kKept), kMuch);
}

TEST(Disk, ThatIsFullIsNoMatterToWhatLiesInMemory)
{
    sim::Television tv;
    tv.disk.IsFull(true);
    EXPECT_EQ(vconf_set_str("memory/wizard/wizard_mode", kMuch.c_str()), VCONF_OK);
    EXPECT_EQ(tv.settings.Text("memory/wizard/wizard_mode"), kMuch);
    EXPECT_TRUE(Util::SafeFile::Replace("/tmp/flag", "1"));
}

TEST(Disk, ThatIsFullRefusesAnotherProcessToo)
{
    sim::Television tv;
    tv.disk.IsFull(true);
    tv.settings.Writes(kKept, kMuch);
    EXPECT_EQ(tv.settings.Text(kKept), std::nullopt);
    EXPECT_THAT(tv.tape.All(), Contains("the disk is full, and nobody is told of db/menu/network/devicename/tv_name"));
}

TEST(Disk, ThatIsFullLeavesAFileAsItWas)
{
    sim::Television tv;
    tv.MakesFile(kFile, "1");
    tv.disk.IsFull(true);
    EXPECT_FALSE(Util::SafeFile::Replace(kFile, "2"));
    EXPECT_EQ(tv.ReadFile(kFile), "1");
    tv.disk.IsFull(false);
    EXPECT_TRUE(Util::SafeFile::Replace(kFile, "2"));
    EXPECT_EQ(tv.ReadFile(kFile), "2");
}

TEST(Disk, IsThatOfItsOwnTelevision)
{
    {
        sim::Television full;
        full.disk.IsFull(true);
    }
    sim::Television tv;
    EXPECT_FALSE(tv.disk.IsFull());
    EXPECT_EQ(vconf_set_str(kKept, kMuch.c_str()), VCONF_OK);
}

} // namespace
