// A store that another process holds: no call waits for long, all calls together hardly longer, and once the other lets
// go the next call works.

#include "StoreFixture.h"
#include "settings/FileDescriptor.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Capture.h"
#include "support/Child.h"
#include "support/ChildProcess.h"
#include "support/WaitedTime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace settings {
namespace {

using support::CaptureStderr;
using support::ChildProcess;
using support::GetCapturedStderr;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

// What is held of each of the two files, by the places in them that SQLite locks.
struct Hold
{
    const char* name;
    const char* companion; // "" for the file itself
    off_t start;
    off_t length; // 0: held with flock
    bool before;  // before this process opens the store, otherwise after
};

constexpr off_t kPendingByte = 0x40000000;

constexpr Hold kHolds[] = {
    {"TheLockOfItsMaking", "-lock", 0, 0, true},    {"TheWholeFile", "", kPendingByte, 512, true},
    {"ThePendingLock", "", kPendingByte, 1, true},  {"TheIndexAtItsMaking", "-shm", 128, 1, true},
    {"TheIndexInItsMending", "-shm", 120, 1, true}, {"TheWholeIndex", "-shm", 120, 9, true},
    {"TheWritersLock", "-shm", 120, 1, false},      {"AllButTheSignOfLife", "-shm", 120, 8, false},
};

class WaitingTest : public StoreFixture, public ::testing::WithParamInterface<Hold>
{
protected:
    // Holds both files until it is killed.
    int HoldBoth() const
    {
        const Hold& hold = GetParam();
        for (const std::string& file : {PersistentFile(), MemoryFile()}) {
            std::filesystem::create_directories(std::filesystem::path(file).parent_path());
            const int descriptor = open((file + hold.companion).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
            struct flock lock
            {};
            lock.l_type = F_WRLCK;
            lock.l_start = hold.start;
            lock.l_len = hold.length;
            const bool held =
                hold.length > 0 ? fcntl(descriptor, F_SETLK, &lock) == 0 : flock(descriptor, LOCK_EX) == 0;
            if (!held) {
                return 1;
            }
        }
        std::puts("held");
        std::fflush(stdout);
        for (;;) {
            pause();
        }
    }

    // As many accesses as a start makes, and five times as many where none of them should wait, which only those do
    // that have the file open.
    static void UseLikeAStart(Store& store)
    {
        const int accesses = GetParam().before ? 200 : 40;
        for (int access = 0; access < accesses; ++access) {
            const std::string key = (access % 2 == 0 ? "db/key" : "memory/key") + std::to_string(access / 2);
            int number = 0;
            store.GetInt(key.c_str(), &number);
            if (access % 4 < 2) {
                store.Set(key.c_str(), access);
            }
        }
    }
};

TEST_P(WaitingTest, HoldsNobodyUpForLongAndIsTriedAgain)
{
    const bool making = GetParam().length == 0;
    ChildProcess holder([this] { return HoldBoth(); }, ChildProcess::Start::WhenTold);
    if (!making) {
        Store(m_folders).Set("db/before", 1);
        Store(m_folders).Set("memory/before", 1);
    }
    Store store(m_folders);
    int number = 0;
    if (!GetParam().before) {
        ASSERT_EQ(store.GetInt("db/before", &number), kOk);
        ASSERT_EQ(store.GetInt("memory/before", &number), kOk);
    }
    holder.Begins();
    ASSERT_TRUE(holder.WaitForOutput("held"));
    CaptureStderr();
    const support::WaitedTime waiting(getpid());
    UseLikeAStart(store);
    const auto waited = waiting.SoFar();
    const support::WaitedTime waitingAgain(getpid());
    store.Set("db/key", 1);
    const auto waitedAgain = waitingAgain.SoFar();
    const std::string message = GetCapturedStderr();
    EXPECT_LT(waited, std::chrono::milliseconds(1500));
    EXPECT_LT(waitedAgain, std::chrono::milliseconds(200));
    EXPECT_THAT(message, HasSubstr(PersistentFile()));
    EXPECT_THAT(message, HasSubstr(MemoryFile()));
    EXPECT_LE(std::count(message.begin(), message.end(), '\n'), 4) << message; // reading and writing, each file once

    holder.Send(SIGKILL);
    ASSERT_EQ(holder.WaitForEnd(), support::KilledBy(SIGKILL));
    EXPECT_EQ(store.Set("db/key", 2), kOk);
    EXPECT_EQ(store.Set("memory/key", 2), kOk);
    EXPECT_EQ(store.GetInt("db/key", &number), kOk);
    EXPECT_TRUE(making || store.GetInt("db/before", &number) == kOk);
}

TEST_P(WaitingTest, LosesNoWriteToAKeyWhoseWatchWasBegunMeanwhile)
{
    const bool making = GetParam().length == 0;
    const bool isReadable = GetParam().name == std::string("TheWritersLock");
    ChildProcess holder([this] { return HoldBoth(); }, ChildProcess::Start::WhenTold);
    if (!making) {
        Store(m_folders).Set("db/key", 1);
        Store(m_folders).Set("memory/key", 1);
    }
    Store store(m_folders);
    int number = 0;
    if (!GetParam().before) {
        ASSERT_EQ(store.GetInt("db/key", &number), kOk);
        ASSERT_EQ(store.GetInt("memory/key", &number), kOk);
    }
    holder.Begins();
    ASSERT_TRUE(holder.WaitForOutput("held"));
    Recorder persistent;
    Recorder memory;
    CaptureStderr();
    EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &persistent), isReadable ? kOk : kFailed);
    EXPECT_EQ(store.Watch("memory/key", &Recorder::OnChange, &memory), isReadable ? kOk : kFailed);
    GetCapturedStderr();

    holder.Send(SIGKILL);
    ASSERT_EQ(holder.WaitForEnd(), support::KilledBy(SIGKILL));
    for (const std::string key : {"db/key", "memory/key", "db/key"}) {
        support::Child writer = support::Child::Spawn(
            {VYREL_SETTINGS_COMMAND, "--root", m_root, "set", key, "--int", std::to_string(++number)});
        ASSERT_EQ(writer.Wait(), support::Exited(0));
    }
    EXPECT_TRUE(RunUntil([&] { return persistent.notices.size() + memory.notices.size() >= 3; }));
    EXPECT_THAT(persistent.notices,
                ElementsAre("db/key=" + std::to_string(number - 2), "db/key=" + std::to_string(number)));
    EXPECT_THAT(memory.notices, ElementsAre("memory/key=" + std::to_string(number - 1)));
    EXPECT_EQ(store.Watch("db/other", &Recorder::OnChange, &persistent), kOk);
}

INSTANTIATE_TEST_SUITE_P(Whoever, WaitingTest, ::testing::ValuesIn(kHolds),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_F(StoreFixture, ALockOnTheFoldersHoldsNobodyUp)
{
    for (const std::string& folder : {m_folders.persistent, m_folders.memory}) {
        std::filesystem::create_directories(folder);
    }
    // Locked as anybody could who may list the folder.
    const FileDescriptor persistent(open(m_folders.persistent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const FileDescriptor memory(open(m_folders.memory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_EQ(flock(persistent.Get(), LOCK_EX | LOCK_NB), 0);
    ASSERT_EQ(flock(memory.Get(), LOCK_EX | LOCK_NB), 0);
    Store store(m_folders);
    EXPECT_EQ(store.Set("db/key", 1), kOk);
    EXPECT_EQ(store.Set("memory/key", 1), kOk);
}

} // namespace
} // namespace settings
