#include "linux/PlatformLog.h"
#include "linux/Root.h"

#include <gtest/gtest.h>

#include <lwipc.h>
#include <sys/stat.h>
#include <system_info.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

namespace {

using linux_test::InRoot;
using linux_test::LogLinesWith;
using linux_test::WriteFile;

constexpr const char* kMakersFile = "/usr/share/vyrel-lite/features.conf";
constexpr const char* kKeepersFolder = "/etc/vyrel-lite/features.d/";

std::optional<bool> Bool(const char* key, int expected = 0)
{
    bool value = false;
    const int result = system_info_get_custom_bool(key, &value);
    EXPECT_EQ(result, expected) << key;
    return result == 0 ? std::optional(value) : std::nullopt;
}

std::optional<int> Int(const char* key, int expected = 0)
{
    int value = 0;
    const int result = system_info_get_custom_int(key, &value);
    EXPECT_EQ(result, expected) << key;
    return result == 0 ? std::optional(value) : std::nullopt;
}

std::string Model(int expected = 0)
{
    char* text = nullptr;
    EXPECT_EQ(system_info_get_value_string(SYSTEM_INFO_MODEL_NAME, &text), expected);
    const std::string model = text != nullptr ? text : "";
    std::free(text);
    return model;
}

void Keeper(const std::string& name, const std::string& text)
{
    WriteFile(kKeepersFolder + name, text);
}

TEST(FeaturesTest, ABoxWithoutKeyFilesStatesNothing)
{
    Bool("com.quorix/featureconf/ble_support", -2);
    Int("com.quorix/featureconf/product.product_type", -2);
    int value = 7;
    EXPECT_EQ(system_info_get_value_int(SYSTEM_INFO_IR_KEY_CODE, &value), -2);
    EXPECT_EQ(value, 7);
    EXPECT_EQ(Model(-2), "");
    EXPECT_EQ(LogLinesWith(""), 0);
}

TEST(FeaturesTest, AFeatureIsTheRestOfItsNameInTheGroupOfItsBeginning)
{
    WriteFile(kMakersFile, "[com.quorix/featureconf]\n"
                           "ble_support=true\n"
                           "bluetooth.discoverable = false\n"
                           "product.product_type=3\n"
                           "3d/depth=-12\n");
    EXPECT_EQ(Bool("com.quorix/featureconf/ble_support"), true);
    EXPECT_EQ(Bool("com.quorix/featureconf/bluetooth.discoverable"), false);
    EXPECT_EQ(Int("com.quorix/featureconf/product.product_type"), 3);
    EXPECT_EQ(Int("com.quorix/featureconf/3d/depth"), -12);
    Bool("com.quorix/featureconf/other", -2);
}

TEST(FeaturesTest, ANameWithoutAGroupIsNotStated)
{
    WriteFile(kMakersFile, "[a/b]\nc=true\n[]\n");
    Bool("", -2);
    Bool("c", -2);
    Bool("a/b", -2);
    Bool("a/b/", -2);
    Bool("//", -2);
}

TEST(FeaturesTest, AValueOfAnotherTypeIsNamedAndTouchesNothing)
{
    WriteFile(kMakersFile, "[a/b]\nword=perhaps\nbig=99999999999\nhalf=1.5\nempty=\n");
    bool flag = true;
    EXPECT_EQ(system_info_get_custom_bool("a/b/word", &flag), -3);
    EXPECT_TRUE(flag);
    Int("a/b/word", -3);
    Int("a/b/big", -3);
    Int("a/b/half", -3);
    Int("a/b/empty", -3);
    EXPECT_EQ(LogLinesWith("[a/b] word: "), 2);
    EXPECT_EQ(LogLinesWith("[a/b] big: "), 1);
}

TEST(FeaturesTest, NullIsAFailure)
{
    bool flag = false;
    EXPECT_EQ(system_info_get_custom_bool(nullptr, &flag), -1);
    EXPECT_EQ(system_info_get_custom_bool("a/b/c", nullptr), -1);
    EXPECT_EQ(system_info_get_custom_int(nullptr, nullptr), -1);
    EXPECT_EQ(system_info_get_value_int(0, nullptr), -1);
    EXPECT_EQ(system_info_get_value_string(0, nullptr), -1);
}

TEST(FeaturesTest, TheKeeperOfTheBoxOverridesItsMakerInTheOrderOfTheNames)
{
    WriteFile(kMakersFile, "[a/b]\none=1\ntwo=1\nthree=1\n");
    Keeper("20-later.conf", "[a/b]\nthree=3\n");
    Keeper("10-sooner.conf", "[a/b]\ntwo=2\nthree=2\n");
    EXPECT_EQ(Int("a/b/one"), 1);
    EXPECT_EQ(Int("a/b/two"), 2);
    EXPECT_EQ(Int("a/b/three"), 3);
}

TEST(FeaturesTest, OtherFilesOfTheFolderAreNoKeyFiles)
{
    Keeper("old.conf~", "[a/b]\none=1\n");
    Keeper(".hidden.conf", "[a/b]\none=1\n");
    Int("a/b/one", -2);
}

TEST(FeaturesTest, ALineOfNonsenseIsNamedWithItsNumberAndTheRestCounts)
{
    Keeper("a.conf", "# a comment\n[a/b]\none=1\nthis is no line\n\ntwo=2\n\x01\xff=\xfe\nthree=3\n");
    EXPECT_EQ(Int("a/b/one"), 1);
    EXPECT_EQ(Int("a/b/two"), 2);
    EXPECT_EQ(Int("a/b/three"), 3);
    EXPECT_EQ(LogLinesWith("/etc/vyrel-lite/features.d/a.conf line 4 is left out: \"this is no line\""), 1);
    EXPECT_EQ(LogLinesWith("line 7 is left out: \"?"
                           "?=?\""),
              1);
    EXPECT_EQ(LogLinesWith("left out"), 2);
}

TEST(FeaturesTest, WhatFollowsAGroupThatIsNoneBelongsNowhere)
{
    Keeper("a.conf", "zero=0\n[a/b]\none=1\n[broken\ntwo=2\n[c/d]\nthree=3\n");
    EXPECT_EQ(Int("a/b/one"), 1);
    Int("a/b/two", -2);
    EXPECT_EQ(Int("c/d/three"), 3);
    EXPECT_EQ(LogLinesWith("line 1 is left out: \"zero=0\""), 1);
    EXPECT_EQ(LogLinesWith("line 4 is left out"), 1);
    EXPECT_EQ(LogLinesWith("line 5 is left out"), 1);
}

TEST(FeaturesTest, ABinaryFileCostsALineEachAndNothingElse)
{
    WriteFile(kMakersFile, "[a/b]\none=1\n");
    Keeper("a.conf", std::string("\0\0\x7f\n\xff\xff", 6));
    EXPECT_EQ(Int("a/b/one"), 1);
    EXPECT_EQ(LogLinesWith("is left out"), 2);
}

TEST(FeaturesTest, APipeThatLiesInTheFolderKeepsNobodyWaiting)
{
    Keeper("b.conf", "[a/b]\none=1\n");
    ASSERT_EQ(::mkfifo(InRoot(std::string(kKeepersFolder) + "a.conf").c_str(), 0600), 0);
    std::filesystem::create_directory(InRoot(std::string(kKeepersFolder) + "c.conf"));
    EXPECT_EQ(Int("a/b/one"), 1);
    EXPECT_EQ(LogLinesWith("a.conf is left out"), 1);
    EXPECT_EQ(LogLinesWith("c.conf is left out: Is a directory"), 1);
}

TEST(FeaturesTest, AFileThatIsFarTooLongIsLeftOut)
{
    Keeper("a.conf", "[a/b]\none=1\n#" + std::string(2 << 20, 'x') + "\n");
    Int("a/b/one", -2);
    EXPECT_EQ(LogLinesWith("a.conf is left out: File too large"), 1);
}

TEST(FeaturesTest, SystemValuesAreAskedForByNumber)
{
    WriteFile(kMakersFile, "[value]\n1200=513\n0=QV55\n");
    int code = 0;
    EXPECT_EQ(system_info_get_value_int(SYSTEM_INFO_IR_KEY_CODE, &code), 0);
    EXPECT_EQ(code, 513);
    EXPECT_EQ(Model(), "QV55");
}

TEST(FeaturesTest, TheModelIsOtherwiseWhatTheFirmwareSays)
{
    WriteFile("/sys/class/dmi/id/product_name", "  Small Box 3 \n");
    WriteFile("/proc/device-tree/model", std::string("Board\0", 6));
    EXPECT_EQ(Model(), "Small Box 3");
}

TEST(FeaturesTest, ABoardSaysItInItsDeviceTree)
{
    WriteFile("/sys/class/dmi/id/product_name", " \n");
    WriteFile("/proc/device-tree/model", std::string("Board B \xff\0", 10));
    EXPECT_EQ(Model(), "Board B \xef\xbf\xbd");
}

TEST(FeaturesTest, OtherTextsHaveNoFallback)
{
    WriteFile("/sys/class/dmi/id/product_name", "Small Box 3\n");
    char* text = nullptr;
    EXPECT_EQ(system_info_get_value_string(5, &text), -2);
    EXPECT_EQ(text, nullptr);
}

TEST(LwipcTest, AnEventIsPostedWhenItsFileIsThere)
{
    EXPECT_LT(LwipcIsDone("/tmp/.bt_irmonitor"), 1);
    WriteFile("/tmp/.bt_irmonitor", "");
    EXPECT_GE(LwipcIsDone("/tmp/.bt_irmonitor"), 1);
    EXPECT_LT(LwipcIsDone(nullptr), 1);
}

} // namespace
