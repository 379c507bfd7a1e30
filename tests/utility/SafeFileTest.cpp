#include "SafeFile.h"

#include "FixedPath.h"
#include "Utf8.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

using ::testing::ElementsAre;
using Util::SafeFile;

namespace {

constexpr const char* kFile = "/tmp/.flag";
constexpr const char* kOwnFile = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/count.txt";

std::vector<std::string> NamesBeside(const sim::Television& tv, const char* path)
{
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(tv.PathOf(path)).parent_path())) {
        names.push_back(entry.path().filename());
    }
    return names;
}

TEST(FixedPath, LiesBehindThePlatformsRoot)
{
    sim::Television tv;
    EXPECT_EQ(Util::FixedPath("/tmp/solar"), tv.Root() + "/tmp/solar");
}

TEST(SafeFile, ReadsAndWritesAnOrdinaryFile)
{
    sim::Television tv;
    EXPECT_FALSE(SafeFile::CanBeRead(kFile));
    EXPECT_EQ(SafeFile::Read(kFile), std::nullopt);
    EXPECT_TRUE(SafeFile::Write(kFile, "12345"));
    EXPECT_TRUE(SafeFile::CanBeRead(kFile));
    EXPECT_EQ(SafeFile::Read(kFile), "12345");
    EXPECT_EQ(SafeFile::Read(kFile, 3), "123");
    EXPECT_TRUE(SafeFile::Write(kFile, "6"));
    EXPECT_EQ(tv.ReadFile(kFile), "6");
    EXPECT_TRUE(SafeFile::Write(kFile, ""));
    EXPECT_EQ(tv.ReadFile(kFile), "");
}

TEST(SafeFile, LeavesWhatALinkInTmpLeadsToAlone)
{
    sim::Television tv;
    tv.MakesFile("/etc/precious", "precious");
    std::filesystem::create_symlink(tv.PathOf("/etc/precious"), tv.PathOf(kFile));
    EXPECT_FALSE(SafeFile::Write(kFile, ""));
    EXPECT_FALSE(SafeFile::CanBeRead(kFile));
    EXPECT_EQ(SafeFile::Read(kFile), std::nullopt);
    EXPECT_EQ(tv.ReadFile("/etc/precious"), "precious");
}

TEST(SafeFile, FollowsThePlatformsOwnLinksElsewhere)
{
    sim::Television tv;
    tv.MakesFile("/opt/real", "7");
    std::filesystem::create_symlink(tv.PathOf("/opt/real"), tv.PathOf("/run/link"));
    EXPECT_EQ(SafeFile::Read("/run/link"), "7");
}

TEST(SafeFile, LeavesAFileWithASecondNameAlone)
{
    sim::Television tv;
    tv.MakesFile("/etc/precious", "precious");
    std::filesystem::create_hard_link(tv.PathOf("/etc/precious"), tv.PathOf(kFile));
    EXPECT_FALSE(SafeFile::Write(kFile, ""));
    EXPECT_EQ(tv.ReadFile("/etc/precious"), "precious");
}

TEST(SafeFile, DoesNotWaitForAPipe)
{
    sim::Television tv;
    ASSERT_EQ(::mkfifo(tv.PathOf(kFile).c_str(), 0600), 0);
    EXPECT_FALSE(SafeFile::CanBeRead(kFile));
    EXPECT_EQ(SafeFile::Read(kFile), std::nullopt);
    EXPECT_FALSE(SafeFile::Write(kFile, "x"));
}

TEST(SafeFile, AFolderIsNoFile)
{
    sim::Television tv;
    std::filesystem::create_directory(tv.PathOf(kFile));
    EXPECT_FALSE(SafeFile::CanBeRead(kFile));
    EXPECT_FALSE(SafeFile::Write(kFile, "x"));
}

TEST(SafeFile, AMissingFolderIsAFailure)
{
    sim::Television tv;
    EXPECT_FALSE(SafeFile::Write("/opt/no/such/folder/file", "x"));
}

TEST(SafeFile, AFullDiskIsAFailure)
{
    sim::Television tv;
    std::filesystem::create_symlink("/dev/full", tv.PathOf("/run/full"));
    EXPECT_FALSE(SafeFile::Write("/run/full", "x"));
}

TEST(SafeFile, ReplacesAFileAndLeavesNothingBesideIt)
{
    sim::Television tv;
    tv.MakesFile(kOwnFile, "a long number");
    EXPECT_TRUE(SafeFile::Replace(kOwnFile, "7"));
    EXPECT_EQ(tv.ReadFile(kOwnFile), "7");
    EXPECT_THAT(NamesBeside(tv, kOwnFile), ElementsAre("count.txt"));

    tv.RemovesFile(kOwnFile);
    EXPECT_TRUE(SafeFile::Replace(kOwnFile, "8"));
    EXPECT_EQ(SafeFile::Read(kOwnFile), "8");
    EXPECT_EQ(std::filesystem::status(tv.PathOf(kOwnFile)).permissions(), std::filesystem::perms(0644));
}

TEST(SafeFile, TakesThePlaceOfALinkAndLeavesWhatItLeadsToAlone)
{
    sim::Television tv;
    tv.MakesFile("/etc/precious", "7");
    tv.MakesFile(kOwnFile);
    tv.RemovesFile(kOwnFile);
    std::filesystem::create_symlink(tv.PathOf("/etc/precious"), tv.PathOf(kOwnFile));
    EXPECT_FALSE(SafeFile::CanBeRead(kOwnFile));
    EXPECT_EQ(SafeFile::Read(kOwnFile), std::nullopt);

    EXPECT_TRUE(SafeFile::Replace(kOwnFile, "8"));
    EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(tv.PathOf(kOwnFile))));
    EXPECT_EQ(SafeFile::Read(kOwnFile), "8");
    EXPECT_EQ(tv.ReadFile("/etc/precious"), "7");

    for (const char* target : {"/etc", "/etc/nothing"}) {
        tv.RemovesFile(kOwnFile);
        std::filesystem::create_symlink(tv.PathOf(target), tv.PathOf(kOwnFile));
        EXPECT_TRUE(SafeFile::Replace(kOwnFile, "9")) << target;
        EXPECT_EQ(SafeFile::Read(kOwnFile), "9") << target;
    }
    EXPECT_FALSE(tv.HasFile("/etc/nothing"));
}

TEST(SafeFile, TakesOneNameFromAFileThatHasTwo)
{
    sim::Television tv;
    tv.MakesFile("/etc/precious", "7");
    tv.MakesFile(kOwnFile);
    tv.RemovesFile(kOwnFile);
    std::filesystem::create_hard_link(tv.PathOf("/etc/precious"), tv.PathOf(kOwnFile));
    EXPECT_TRUE(SafeFile::Replace(kOwnFile, "8"));
    EXPECT_EQ(tv.ReadFile(kOwnFile), "8");
    EXPECT_EQ(tv.ReadFile("/etc/precious"), "7");
}

TEST(SafeFile, ReplacesNeitherAPipeNorAFolderAndNeedsAPlace)
{
    sim::Television tv;
    EXPECT_FALSE(SafeFile::Replace(kOwnFile, "8")) << "there is no folder";
    std::filesystem::create_directories(tv.PathOf(kOwnFile));
    EXPECT_FALSE(SafeFile::Replace(kOwnFile, "8"));
    tv.RemovesFile(kOwnFile);
    ASSERT_EQ(::mkfifo(tv.PathOf(kOwnFile).c_str(), 0600), 0);
    EXPECT_FALSE(SafeFile::Replace(kOwnFile, "8"));
    const Util::FileDescriptor reader(::open(tv.PathOf(kOwnFile).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    ASSERT_TRUE(reader.IsOpen());
    EXPECT_FALSE(SafeFile::Replace(kOwnFile, "8")) << "also when somebody reads it";
    EXPECT_TRUE(std::filesystem::is_fifo(tv.PathOf(kOwnFile)));
    EXPECT_THAT(NamesBeside(tv, kOwnFile), ElementsAre("count.txt"));
}

TEST(SafeFile, ReadsNumbersAsFormattedInputDoes)
{
    EXPECT_EQ(SafeFile::ToInt("42"), 42);
    EXPECT_EQ(SafeFile::ToInt("-3\n"), -3);
    EXPECT_EQ(SafeFile::ToInt(" \t+8 apples"), 8);
    EXPECT_EQ(SafeFile::ToInt("garbage"), 0);
    EXPECT_EQ(SafeFile::ToInt(""), 0);
    EXPECT_EQ(SafeFile::ToInt("0x10"), 0);
    EXPECT_EQ(SafeFile::ToInt("2147483647"), 2147483647);
    EXPECT_EQ(SafeFile::ToInt("2147483648"), 2147483647);
    EXPECT_EQ(SafeFile::ToInt("-99999999999999999999999"), -2147483647 - 1);
}

TEST(Utf8, ValidTextStaysAsItIs)
{
    EXPECT_EQ(Util::ToValidUtf8("Küche 100% \x01"), "Küche 100% \x01");
    EXPECT_EQ(Util::ToValidUtf8(""), "");
}

TEST(Utf8, WhatIsNoTextIsReplaced)
{
    EXPECT_EQ(Util::ToValidUtf8("a\xFF"
                                "b"),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(Util::ToValidUtf8("\xC3"), "\xEF\xBF\xBD");
    EXPECT_EQ(Util::ToValidUtf8(std::string_view("a\0b", 3)), "a\xEF\xBF\xBD"
                                                              "b");
}

} // namespace
