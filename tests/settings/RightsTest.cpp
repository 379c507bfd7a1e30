// Who may use the settings: whoever may use their folder, and nobody else.
//
// Run as root, the tests become other users in processes of their own. An ordinary user cannot; run as one, they look
// at owners, groups and modes alone, which they do as root too, and take the user's own group for the one that shares.

#include "settings/Rights.h"

#include "StoreFixture.h"
#include "settings/Locations.h"
#include "settings/ReadPosition.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Capture.h"
#include "support/Child.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace settings {
namespace {

using support::CaptureStderr;
using support::Child;
using support::Exited;
using support::GetCapturedStderr;

constexpr uid_t kOtherUser = 65534;
constexpr gid_t kSomeGroup = 12345;

bool IsRoot()
{
    return geteuid() == 0;
}

struct stat StatusOf(const std::string& path)
{
    struct stat status
    {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status;
}

mode_t ModeOf(const std::string& path)
{
    return StatusOf(path).st_mode & 07777;
}

// Begins before this process has a store open. True when `body` held as another user, with these groups; and for an
// ordinary user, who cannot try.
bool HoldsForAnotherUser(const std::vector<gid_t>& groups, const std::function<bool()>& body)
{
    if (!IsRoot()) {
        return true;
    }
    Child child = Child::Fork([&] {
        const bool other =
            setgroups(groups.size(), groups.data()) == 0 && setgid(kOtherUser) == 0 && setuid(kOtherUser) == 0;
        return other && body() ? 0 : 1;
    });
    return child.Wait() == Exited(0);
}

class RightsTest : public StoreFixture
{
protected:
    RightsTest()
    {
        // Only what the store does keeps others out.
        std::filesystem::permissions(m_root, std::filesystem::perms(0755));
    }
    ~RightsTest() override
    {
        umask(m_umask);
    }

    // All that is in the two folders, and these.
    std::vector<std::string> Everything() const
    {
        std::vector<std::string> paths = {m_folders.persistent, m_folders.memory};
        for (const std::string& folder : {m_folders.persistent, m_folders.memory}) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
                paths.push_back(entry.path());
            }
        }
        return paths;
    }

    // Makes both folders as an integrator would.
    void MakeFolders(mode_t mode, uid_t owner, gid_t group) const
    {
        for (const std::string& folder : {m_folders.persistent, m_folders.memory}) {
            std::filesystem::create_directories(folder);
            ASSERT_EQ(chown(folder.c_str(), owner, group), 0);
            ASSERT_EQ(chmod(folder.c_str(), mode), 0);
        }
    }

    // Writes to both sides and is told so.
    bool WritesAndHears(int number) const
    {
        Store store(m_folders);
        Recorder recorder;
        return store.Watch("db/key", &Recorder::OnChange, &recorder) == kOk &&
               store.Watch("memory/key", &Recorder::OnChange, &recorder) == kOk && store.Set("db/key", number) == kOk &&
               store.Set("memory/key", number) == kOk && RunUntil([&recorder] { return recorder.notices.size() == 2; });
    }

    bool Reads(int expected) const
    {
        Store store(m_folders);
        int persistent = 0;
        int memory = 0;
        return store.GetInt("db/key", &persistent) == kOk && store.GetInt("memory/key", &memory) == kOk &&
               persistent == expected && memory == expected;
    }

    mode_t m_umask = umask(0);
};

TEST_F(RightsTest, NobodyElseMayOpenAnythingWhateverTheUmask)
{
    for (const mode_t mask : {0000U, 0022U, 0077U}) {
        umask(mask);
        ASSERT_TRUE(WritesAndHears(1));
        CaptureStderr();
        EXPECT_TRUE(HoldsForAnotherUser({}, [this] {
            int number = 7;
            return Store(m_folders).GetInt("db/key", &number) == kFailed && number == 7;
        }));
        GetCapturedStderr();
        Store store(m_folders);
        Recorder recorder;
        ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
        ASSERT_EQ(store.Set("db/key", 1), kOk);
        ASSERT_EQ(store.Set("memory/key", 1), kOk);
        const std::vector<std::string> paths = Everything();
        EXPECT_GE(paths.size(), 14U) << "two folders, two files with three companions, two bells, a position";
        for (const std::string& path : paths) {
            EXPECT_EQ(ModeOf(path), std::filesystem::is_directory(path) ? 0700U : 0600U) << path;
        }
        EXPECT_TRUE(HoldsForAnotherUser({}, [&paths] {
            return std::none_of(paths.begin(), paths.end(), [](const std::string& path) {
                return open(path.c_str(), O_RDONLY | O_CLOEXEC) >= 0 || errno != EACCES;
            });
        })) << "somebody else could lock it";
        std::filesystem::remove_all(m_folders.persistent);
        std::filesystem::remove_all(m_folders.memory);
    }
}

TEST_F(RightsTest, TheOwnerOfAnOlderStoreNarrowsItByOpeningIt)
{
    // Killed, so that the companions are still there.
    Child writer = Child::Fork([this]() -> int {
        Store store(m_folders);
        const bool written = store.Set("db/key", 1) == kOk && store.Set("memory/key", 1) == kOk;
        _exit(written ? 0 : 1);
    });
    ASSERT_EQ(writer.Wait(), Exited(0));
    for (const std::string& path : Everything()) {
        ASSERT_EQ(chmod(path.c_str(), std::filesystem::is_directory(path) ? 0755 : 0644), 0);
    }
    std::filesystem::remove(PersistentFile() + "-lock");
    std::filesystem::remove(MemoryFile() + "-lock");
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 2), kOk);
    ASSERT_EQ(store.Set("memory/key", 2), kOk);
    for (const std::string& path : Everything()) {
        EXPECT_EQ(ModeOf(path), std::filesystem::is_directory(path) ? 0700U : 0600U) << path;
    }
}

TEST_F(RightsTest, AGroupThatTheFoldersAreGivenToSharesTheSettings)
{
    const gid_t group = IsRoot() ? kSomeGroup : getegid();
    for (const mode_t mode : {02770U, 0770U}) {
        for (const bool memberFirst : {false, true}) {
            MakeFolders(mode, geteuid(), group);
            umask(0077);
            if (!memberFirst) {
                ASSERT_TRUE(WritesAndHears(1));
            }
            EXPECT_TRUE(HoldsForAnotherUser(
                {group}, [&] { return (memberFirst || Reads(1)) && WritesAndHears(2) && Reads(2); }));
            EXPECT_TRUE(!IsRoot() || Reads(2));
            EXPECT_TRUE(WritesAndHears(3));
            EXPECT_TRUE(HoldsForAnotherUser({group}, [&] { return Reads(3); }));
            EXPECT_TRUE(HoldsForAnotherUser(
                {}, [&] { return open((m_folders.persistent + "/settings.db").c_str(), O_RDONLY | O_CLOEXEC) < 0; }));
            Store store(m_folders);
            ASSERT_EQ(store.Set("db/key", 4), kOk);
            for (const std::string& path : Everything()) {
                const bool folder = path == m_folders.persistent || path == m_folders.memory;
                const mode_t inner = std::filesystem::is_directory(path) ? 02770 : 0660;
                EXPECT_EQ(ModeOf(path), folder ? mode : inner) << path;
                EXPECT_EQ(StatusOf(path).st_gid, group) << path;
            }
            std::filesystem::remove_all(m_folders.persistent);
            std::filesystem::remove_all(m_folders.memory);
        }
    }
}

TEST_F(RightsTest, AMemberOfTheGroupSeesHowFarAnotherWatcherIs)
{
    const gid_t group = IsRoot() ? kSomeGroup : getegid();
    MakeFolders(02770, geteuid(), group);
    ReadPosition position(WatchersFolder(), "db");
    ASSERT_TRUE(position.Announce());
    position.MoveTo(2 * ReadPosition::kLag);
    const auto seesIt = [this] { return ReadPosition(WatchersFolder(), "db").Lowest() == 2 * ReadPosition::kLag; };
    EXPECT_TRUE(seesIt());
    EXPECT_TRUE(HoldsForAnotherUser({group}, seesIt));
}

TEST_F(RightsTest, WhatRootMakesBelongsToTheFoldersOwner)
{
    const uid_t owner = IsRoot() ? kOtherUser : geteuid();
    const gid_t group = IsRoot() ? kOtherUser : getegid();
    MakeFolders(0700, owner, group);
    {
        Store store(m_folders);
        Recorder recorder;
        ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
        ASSERT_EQ(store.Set("db/key", 1), kOk);
        ASSERT_EQ(store.Set("memory/key", 1), kOk);
        for (const std::string& path : Everything()) {
            EXPECT_EQ(StatusOf(path).st_uid, owner) << path;
            EXPECT_EQ(StatusOf(path).st_gid, group) << path;
        }
    }
    EXPECT_TRUE(HoldsForAnotherUser({}, [this] { return Reads(1) && WritesAndHears(2); }));
}

TEST_F(RightsTest, AFolderThatIsNotTheStoresAloneKeepsItsRights)
{
    MakeFolders(0755, geteuid(), getegid());
    std::ofstream(m_folders.persistent + "/letter.txt") << "not a setting";
    ASSERT_EQ(chmod(m_folders.memory.c_str(), 01777), 0);
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    ASSERT_EQ(store.Set("memory/key", 1), kOk);
    EXPECT_EQ(ModeOf(m_folders.persistent), 0755U);
    EXPECT_EQ(ModeOf(PersistentFile()), 0600U);
    EXPECT_EQ(ModeOf(m_folders.memory), 01777U);
}

TEST_F(RightsTest, AFileThatCannotBeGivenToTheFoldersGroupIsNotOpenedToItsMakers)
{
    // Its owner is no member of the folder's group, and without the folder's set-group bit a file has the maker's.
    MakeFolders(0770, IsRoot() ? kOtherUser : geteuid(), IsRoot() ? kSomeGroup : getegid());
    EXPECT_TRUE(HoldsForAnotherUser({}, [this] {
        return WritesAndHears(1) && ModeOf(PersistentFile()) == 0600 && ModeOf(WatchersFolder()) == 02700;
    }));
}

TEST_F(RightsTest, AFolderInPlaceOfAFileKeepsItsRights)
{
    const std::string folder = m_root + "/folder";
    std::filesystem::create_directory(folder);
    ASSERT_EQ(chmod(folder.c_str(), 0755), 0);
    ApplyRights(folder, Rights{false, geteuid(), getegid()});
    EXPECT_EQ(ModeOf(folder), 0755U);
}

TEST_F(RightsTest, ALinkDoesNotLeadToTheRightsOfAnotherFile)
{
    const std::string letter = m_root + "/letter.txt";
    std::ofstream(letter) << "not a setting";
    ASSERT_EQ(chmod(letter.c_str(), 0644), 0);
    std::filesystem::create_symlink(letter, m_root + "/link");
    ApplyRights(m_root + "/link", Rights{false, geteuid(), getegid()});
    ApplyRights(m_root + "/missing", Rights{false, geteuid(), getegid()});
    EXPECT_EQ(ModeOf(letter), 0644U);
}

TEST_F(RightsTest, AFolderThatCannotBeUsedIsNamedInTheMessage)
{
    ASSERT_TRUE(WritesAndHears(1));
    CaptureStderr();
    EXPECT_TRUE(HoldsForAnotherUser({}, [this] {
        int number = 0;
        return Store(m_folders).GetInt("db/key", &number) == kFailed;
    }));
    // Its end may add lines: a build that counts coverage cannot write its counts as the other user.
    const std::string said = GetCapturedStderr();
    const std::string message = said.substr(0, said.find('\n'));
    EXPECT_TRUE(!IsRoot() || message == "settings: cannot open " + PersistentFile() + ": Permission denied") << said;
    EXPECT_EQ(said.find("settings:", 1), std::string::npos) << said;
}

} // namespace
} // namespace settings
