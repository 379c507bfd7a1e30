#include "support/TempDir.h"

#include "support/Child.h"
#include "support/ChildProcess.h"
#include "support/MainLoop.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <string.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using support::Child;
using support::ChildProcess;
using support::Exited;
using support::KilledBy;
using support::TempDir;
using namespace std::chrono_literals;

TEST(TempDirTest, IsFreshAndEmpty)
{
    const TempDir one;
    const TempDir other;
    EXPECT_TRUE(std::filesystem::is_directory(one.Path()));
    EXPECT_TRUE(std::filesystem::is_empty(one.Path()));
    EXPECT_NE(one.Path(), other.Path());
}

TEST(TempDirTest, LiesInMemoryWhereThatIsPossible)
{
    ::unsetenv("TMPDIR");
    const bool isPossible = ::access("/dev/shm", W_OK | X_OK) == 0;
    EXPECT_EQ(TempDir().Path().parent_path(), isPossible ? "/dev/shm" : "/tmp");
}

TEST(TempDirTest, LiesWhereTheEnvironmentSays)
{
    const TempDir parent;
    ::setenv("TMPDIR", parent.Path().c_str(), 1);
    EXPECT_EQ(TempDir().Path().parent_path(), parent.Path());
}

TEST(TempDirTest, GoesWithAllThatIsInIt)
{
    std::filesystem::path path;
    {
        const TempDir dir;
        path = dir.Path();
        std::filesystem::create_directories(path / "one" / "two");
        std::ofstream(path / "one" / "two" / "file") << "content";
        std::filesystem::create_symlink("/nowhere", path / "link");
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(TempDirTest, LeavesAloneWhatALinkInItPointsTo)
{
    const TempDir outside;
    std::ofstream(outside.Path() / "file") << "content";
    {
        const TempDir dir;
        std::filesystem::create_directory_symlink(outside.Path(), dir.Path() / "link");
    }
    EXPECT_TRUE(std::filesystem::exists(outside.Path() / "file"));
}

TEST(TempDirTest, MayBeGoneAlready)
{
    const TempDir dir;
    std::filesystem::remove(dir.Path());
    EXPECT_FALSE(std::filesystem::exists(dir.Path()));
}

TEST(TempDirTest, LiesWhereItIsToldTo)
{
    const TempDir parent;
    const TempDir dir("some-name", parent.Path());
    EXPECT_EQ(dir.Path().parent_path(), parent.Path());
    EXPECT_THAT(dir.Path().filename().string(), ::testing::StartsWith("some-name-"));
}

TEST(TempDirTest, AForkLeavesTheFolderOfItsParentAlone)
{
    const TempDir dir;
    Child child = Child::Fork([&] {
        dir.~TempDir();
        ::_exit(0);
        return 0;
    });
    EXPECT_EQ(child.Wait(), Exited(0));
    EXPECT_TRUE(std::filesystem::exists(dir.Path()));
}

/// Holds three folders, of four, until it is killed.
int HoldFolders()
{
    const TempDir first;
    const TempDir last("vyrel-test", first.Path().parent_path());
    {
        const TempDir gone;
    }
    const TempDir later;
    std::ofstream(last.Path() / "file") << "content";
    std::printf("%s %s %s\n", first.Path().c_str(), last.Path().c_str(), later.Path().c_str());
    std::fflush(stdout);
    while (true) {
        ::pause();
    }
}

class DeadlySignal : public ::testing::TestWithParam<int>
{};

TEST_P(DeadlySignal, RemovesTheFoldersOfItsProcessAndStillEndsIt)
{
    ChildProcess child(HoldFolders);
    ASSERT_TRUE(child.WaitForOutput("\n"));
    child.Send(GetParam());
    EXPECT_EQ(child.WaitForEnd(), KilledBy(GetParam()));
    std::istringstream paths(child.Output());
    int count = 0;
    for (std::string path; paths >> path; ++count) {
        EXPECT_FALSE(std::filesystem::exists(path)) << path;
        std::filesystem::remove_all(path);
    }
    EXPECT_EQ(count, 3);
}

INSTANTIATE_TEST_SUITE_P(TempDirTest, DeadlySignal,
                         ::testing::Values(SIGHUP, SIGINT, SIGTERM, SIGPIPE, SIGABRT, SIGTRAP),
                         [](const auto& param) { return std::string(::sigabbrev_np(param.param)); });

/// Writes into a folder all the time, in a fork of its own, and says which.
int WriteInAFork()
{
    const TempDir dir;
    Child writer = Child::Fork([&] {
        for (int i = 0;; ++i) {
            const std::filesystem::path inner = dir.Path() / std::to_string(i);
            std::filesystem::create_directory(inner);
            std::ofstream(inner / "file") << "content";
            if (i == 0) {
                std::printf("%s\n", dir.Path().c_str());
                std::fflush(stdout);
            }
        }
        return 0;
    });
    writer.Wait();
    return 0;
}

class Killed : public ::testing::TestWithParam<int>
{};

TEST_P(Killed, AProcessLeavesNoFolderAlsoWhereAForkOfItStillWrites)
{
    ChildProcess child(WriteInAFork);
    ASSERT_TRUE(child.WaitForOutput("\n"));
    child.Send(GetParam());
    EXPECT_EQ(child.WaitForEnd(), KilledBy(GetParam()));
    const std::string path = child.Output().substr(0, child.Output().find('\n'));
    EXPECT_TRUE(support::IterateUntil([&] { return !std::filesystem::exists(path); }, 30s)) << path;
}

INSTANTIATE_TEST_SUITE_P(TempDirTest, Killed, ::testing::Values(SIGKILL, SIGTERM, SIGINT),
                         [](const auto& param) { return std::string(::sigabbrev_np(param.param)); });

TEST(TempDirTest, ASignalThatIsIgnoredStaysSo)
{
    ChildProcess child([] {
        ::signal(SIGHUP, SIG_IGN);
        TempDir::RemoveAllWhenKilled();
        ::raise(SIGHUP);
        return 0;
    });
    EXPECT_EQ(child.WaitForEnd(), Exited(0));
}

} // namespace
