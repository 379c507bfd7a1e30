#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

using support::TempDir;

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
    if (!std::filesystem::is_directory("/dev/shm")) {
        EXPECT_EQ(TempDir().Path().parent_path(), std::filesystem::temp_directory_path());
        return;
    }
    EXPECT_EQ(TempDir().Path().parent_path(), "/dev/shm");
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

} // namespace
