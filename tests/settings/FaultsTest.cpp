// A store that cannot be used: clear errors, once, and nothing worse.

#include "StoreFixture.h"
#include "settings/Bell.h"
#include "settings/Change.h"
#include "settings/Database.h"
#include "settings/FileDescriptor.h"
#include "settings/Locations.h"
#include "settings/ReadPosition.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Capture.h"
#include "support/Child.h"
#include "support/WaitedTime.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

namespace settings {
namespace {

using support::CaptureStderr;
using support::GetCapturedStderr;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class FaultsTest : public StoreFixture
{
protected:
    static void WriteFile(const std::string& path, const std::string& content)
    {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }

    static std::string ReadFile(const std::string& path)
    {
        std::ostringstream content;
        content << std::ifstream(path, std::ios::binary).rdbuf();
        return content.str();
    }

    // Everything fails on the persistent side, with one line, and the other side works.
    void ExpectPersistentSideUnusable(const std::string& reason)
    {
        Store store(m_folders);
        int number = 7;
        std::vector<Entry> entries;
        Recorder recorder;
        CaptureStderr();
        for (int attempt = 0; attempt < 3; ++attempt) {
            EXPECT_EQ(store.GetInt("db/key", &number), kFailed);
            EXPECT_EQ(store.Set("db/key", 1), kFailed);
            EXPECT_EQ(store.Unset("db/key"), kFailed);
            EXPECT_EQ(store.List("db/", &entries), kFailed);
            EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kFailed);
        }
        const std::string message = GetCapturedStderr();
        EXPECT_THAT(message, AllOf(HasSubstr("settings: cannot"), HasSubstr(PersistentFile()), HasSubstr(reason)));
        EXPECT_EQ(std::count(message.begin(), message.end(), '\n'), 1) << message;
        EXPECT_EQ(number, 7);
        EXPECT_TRUE(entries.empty());
        EXPECT_EQ(store.Set("memory/key", 1), kOk);
        EXPECT_EQ(store.GetInt("memory/key", &number), kOk);
    }
};

TEST_F(FaultsTest, AFileThatIsNoDatabaseIsReportedAndLeftAsItIs)
{
    const std::string garbage(8192, 'g');
    WriteFile(PersistentFile(), garbage);
    ExpectPersistentSideUnusable("file is not a database");
    EXPECT_EQ(ReadFile(PersistentFile()), garbage);
}

TEST_F(FaultsTest, AFolderInPlaceOfTheFileIsReported)
{
    std::filesystem::create_directories(PersistentFile());
    ExpectPersistentSideUnusable("unable to open database file");
}

TEST_F(FaultsTest, AFolderThatCannotBeMadeIsReported)
{
    WriteFile(m_root + "/var", "a file where a folder should be");
    ExpectPersistentSideUnusable("Not a directory");
}

TEST_F(FaultsTest, AFileOfAnotherReleaseIsReportedAndLeftAsItIs)
{
    {
        Store store(m_folders);
        ASSERT_EQ(store.Set("db/key", 1), kOk);
    }
    RunSql("PRAGMA user_version = 99");
    ExpectPersistentSideUnusable("it is of version 99");
}

TEST_F(FaultsTest, AMissingTableIsReported)
{
    {
        Store store(m_folders);
        ASSERT_EQ(store.Set("db/key", 1), kOk);
    }
    RunSql("DROP TABLE setting; DROP TABLE change");
    Store store(m_folders);
    int number = 7;
    CaptureStderr();
    EXPECT_EQ(store.GetInt("db/key", &number), kFailed);
    EXPECT_EQ(store.GetInt("db/key", &number), kFailed);
    EXPECT_EQ(store.Set("db/key", 1), kFailed);
    EXPECT_EQ(store.Set("db/key", 1), kFailed);
    EXPECT_EQ(GetCapturedStderr(), "settings: cannot read " + PersistentFile() + ": no such table: setting\n" +
                                       "settings: cannot write " + PersistentFile() + ": no such table: change\n");
}

TEST_F(FaultsTest, DamageAnywhereInTheFileNeverCrashes)
{
    {
        Store store(m_folders);
        for (int key = 0; key < 300; ++key) {
            ASSERT_EQ(store.Set(("db/key" + std::to_string(key)).c_str(), std::string(50, 'v')), kOk);
        }
    }
    const std::string whole = ReadFile(PersistentFile());
    ASSERT_GT(whole.size(), 16'384U);
    int failures = 0;
    for (std::size_t start = 0; start < whole.size(); start += 512) {
        std::string damaged = whole;
        damaged.replace(start, 512, 512, '\xa5');
        WriteFile(PersistentFile(), damaged);
        CaptureStderr();
        Store store(m_folders);
        std::vector<Entry> entries;
        failures += store.List("db/", &entries) == kOk ? 0 : 1;
        std::string text;
        store.GetString("db/key7", &text);
        store.Set("db/key7", 1);
        GetCapturedStderr();
    }
    EXPECT_GT(failures, 0);
}

TEST_F(FaultsTest, ATruncatedFileNeverCrashes)
{
    {
        Store store(m_folders);
        for (int key = 0; key < 300; ++key) {
            ASSERT_EQ(store.Set(("db/key" + std::to_string(key)).c_str(), key), kOk);
        }
    }
    const std::string whole = ReadFile(PersistentFile());
    for (const std::size_t size : {std::size_t{600}, std::size_t{1024}, whole.size() / 2}) {
        WriteFile(PersistentFile(), whole.substr(0, size));
        CaptureStderr();
        Store store(m_folders);
        std::vector<Entry> entries;
        EXPECT_EQ(store.List("db/", &entries), kFailed) << size;
        EXPECT_NE(GetCapturedStderr(), "");
    }
}

TEST_F(FaultsTest, AStoreWorksAgainOnceItsFileDoes)
{
    std::filesystem::create_directories(PersistentFile());
    Store store(m_folders);
    int number = 7;
    CaptureStderr();
    EXPECT_EQ(store.GetInt("db/key", &number), kFailed);
    std::filesystem::remove(PersistentFile());
    EXPECT_EQ(store.GetInt("db/key", &number), kNotFound);
    EXPECT_EQ(store.Set("db/key", 1), kOk);
    EXPECT_EQ(store.GetInt("db/key", &number), kOk);
    GetCapturedStderr();
    EXPECT_EQ(number, 1);
}

TEST_F(FaultsTest, AFullDiskFailsTheWriteAndLosesNothing)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    ASSERT_EQ(store.Set("db/key", std::string("before")), kOk);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{std::filesystem::file_size(PersistentFile() + "-wal") + 2048, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    CaptureStderr();
    const int first = store.Set("db/key", std::string(100'000, 'x'));
    const int second = store.Set("db/key", std::string(100'000, 'y'));
    const std::string message = GetCapturedStderr();
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(first, kFailed);
    EXPECT_EQ(second, kFailed);
    EXPECT_THAT(message, HasSubstr("settings: cannot write " + PersistentFile()));
    EXPECT_EQ(std::count(message.begin(), message.end(), '\n'), 1) << message;
    std::string text;
    EXPECT_EQ(store.GetString("db/key", &text), kOk);
    EXPECT_EQ(text, "before");
    EXPECT_EQ(store.Set("db/key", std::string("after")), kOk);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=\"before\"", "db/key=\"after\""));
}

TEST_F(FaultsTest, ACleaningThatFailsLeavesTheFileFree)
{
    Database database(m_folders.persistent, kPersistentFile, Durability::ProcessDeath);
    std::int64_t change = 0;
    for (int number = 0; number < 3000; ++number) {
        ASSERT_EQ(database.Set("db/key", number, change), kOk);
    }
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    CaptureStderr();
    const auto limitToNothing = [&before, change] {
        const rlimit none{4096, before.rlim_max}; // room for messages only
        setrlimit(RLIMIT_FSIZE, &none);
        return change - 1;
    };
    const int result = database.Prune(limitToNothing);
    const std::string message = GetCapturedStderr();
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(result, kFailed);
    EXPECT_THAT(message, HasSubstr("settings: cannot write " + PersistentFile()));
    std::vector<Change> log;
    EXPECT_EQ(database.ChangesAfter(0, log), kOk);
    EXPECT_EQ(log.size(), 3000U);
    EXPECT_EQ(database.Set("db/key", -1, change), kOk);
    Value value;
    EXPECT_EQ(Database(m_folders.persistent, kPersistentFile, Durability::ProcessDeath).Get("db/key", value), kOk);
    EXPECT_EQ(value, Value(-1));
    EXPECT_EQ(database.Prune([change] { return change - 1; }), kOk);
}

TEST_F(FaultsTest, ACleaningRemovesSomeRowsAndWaitsForNobody)
{
    Database database(m_folders.persistent, kPersistentFile, Durability::ProcessDeath);
    std::int64_t change = 0;
    for (int number = 0; number < 6000; ++number) {
        ASSERT_EQ(database.Set("db/key", number, change), kOk);
    }
    EXPECT_EQ(database.Prune([change] { return change - 1; }), kOk);
    std::vector<Change> log;
    EXPECT_EQ(database.ChangesAfter(0, log), kOk);
    EXPECT_EQ(log.size(), 6000U - 4097U);

    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(PersistentFile().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    const support::WaitedTime waited(getpid());
    EXPECT_EQ(database.Prune([change] { return change - 1; }), kFailed);
    EXPECT_LT(waited.SoFar(), std::chrono::milliseconds(300));
    sqlite3_close(other);
}

TEST_F(FaultsTest, ADamagedFileDoesNotHoldUpTheNoticesOfTheOther)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    ASSERT_EQ(store.Watch("memory/key", &Recorder::OnChange, &recorder), kOk);
    RunSql("DROP TABLE change");
    CaptureStderr();
    Bell(WatchersFolder() + "/db.bell").Ring();
    ASSERT_EQ(store.Set("memory/key", 1), kOk);
    const bool told = RunUntil([&recorder] { return !recorder.notices.empty(); });
    const std::string message = GetCapturedStderr();
    EXPECT_TRUE(told);
    EXPECT_THAT(recorder.notices, ElementsAre("memory/key=1"));
    EXPECT_THAT(message, HasSubstr("settings: cannot read " + PersistentFile()));
    // Nor those of writes that came after the read in vain, which is tried again only after a while.
    ASSERT_EQ(store.Set("memory/key", 2), kOk);
    for (int turn = 0; turn < 3; ++turn) {
        g_main_context_iteration(nullptr, FALSE);
    }
    EXPECT_THAT(recorder.notices, ElementsAre("memory/key=1", "memory/key=2"));
}

TEST_F(FaultsTest, WithoutABellTheWriteHolds)
{
    WriteFile(m_root + "/run", "a file where a folder should be");
    Store store(m_folders);
    CaptureStderr();
    EXPECT_EQ(store.Set("db/key", 1), kOk);
    EXPECT_EQ(store.Set("db/key", 2), kOk);
    EXPECT_EQ(store.Set("memory/key", 2), kFailed);
    EXPECT_EQ(GetCapturedStderr(), "settings: cannot tell the watchers through " + WatchersFolder() +
                                       "/db.bell: Not a directory\n" + "settings: cannot open " + MemoryFile() +
                                       ": its folder cannot be made: Not a directory\n");
    int number = 0;
    EXPECT_EQ(store.GetInt("db/key", &number), kOk);
    EXPECT_EQ(number, 2);
}

TEST_F(FaultsTest, WithoutADescriptorToListenWithAWatchFailsAndTheNextTrySucceeds)
{
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    Recorder recorder;
    // Asked for before: the first time that a class has to say something, a sanitizer opens a pipe to look at it.
    const std::string reason = std::generic_category().message(EMFILE);
    rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    CaptureStderr();
    const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(lowest);
    const rlimit none = {static_cast<rlim_t>(lowest), before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kFailed);
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(GetCapturedStderr(), "settings: cannot watch settings: " + reason + "\n");

    EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    EXPECT_EQ(store.Set("db/key", 2), kOk);
    EXPECT_TRUE(RunUntil([&recorder] { return !recorder.notices.empty(); }));
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=2"));
}

TEST_F(FaultsTest, WhatIsNoBellIsNeitherRungNorWaitedFor)
{
    const std::string letter = m_root + "/letter.txt";
    WriteFile(letter, "not a bell");
    const auto written = std::filesystem::file_time_type::min() + std::chrono::hours(1);
    std::filesystem::last_write_time(letter, written);
    std::filesystem::create_directories(WatchersFolder());
    std::filesystem::create_symlink(letter, WatchersFolder() + "/db.bell");
    ASSERT_EQ(mkfifo((WatchersFolder() + "/memory.bell").c_str(), 0600), 0);
    Store store(m_folders);
    CaptureStderr();
    EXPECT_EQ(store.Set("db/key", 1), kOk);
    EXPECT_EQ(store.Set("memory/key", 1), kOk);
    EXPECT_THAT(GetCapturedStderr(), AllOf(HasSubstr("/db.bell: Too many levels of symbolic links\n"),
                                           HasSubstr("/memory.bell: No such device or address\n")));
    EXPECT_EQ(std::filesystem::last_write_time(letter), written);
}

TEST_F(FaultsTest, WhatIsNoPositionIsNeitherFollowedNorWaitedFor)
{
    ReadPosition positions(WatchersFolder(), "db");
    const std::string letter = m_root + "/letter.txt";
    WriteFile(letter, "not a position");
    std::filesystem::create_directories(WatchersFolder());
    ASSERT_EQ(mkfifo((WatchersFolder() + "/db-fifo").c_str(), 0600), 0);
    EXPECT_EQ(positions.Lowest(), std::numeric_limits<std::int64_t>::max());
    {
        WriteFile(WatchersFolder() + "/db-short", "abc");
        const FileDescriptor held(open((WatchersFolder() + "/db-short").c_str(), O_RDONLY | O_CLOEXEC));
        ASSERT_EQ(flock(held.Get(), LOCK_EX), 0);
        EXPECT_EQ(positions.Lowest(), 0) << "its watcher has told nothing yet";
    }
    EXPECT_EQ(positions.Lowest(), std::numeric_limits<std::int64_t>::max());
    std::filesystem::create_symlink(letter, WatchersFolder() + "/db-link");
    EXPECT_EQ(positions.Lowest(), 0) << "it may be somebody's who reads";
    EXPECT_EQ(ReadPosition(letter, "db").Lowest(), 0) << "nobody can look";
    EXPECT_EQ(ReadPosition(m_root + "/missing", "db").Lowest(), std::numeric_limits<std::int64_t>::max());
}

TEST_F(FaultsTest, AFileKeptLockedHoldsUpOneCallForLessThanASecondAndTheNextOnesHardly)
{
    using Clock = std::chrono::steady_clock;
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    sqlite3* other = nullptr;
    ASSERT_EQ(sqlite3_open(PersistentFile().c_str(), &other), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    CaptureStderr();
    const auto start = Clock::now();
    EXPECT_EQ(store.Set("db/key", 2), kFailed);
    const auto waited = Clock::now() - start;
    EXPECT_EQ(store.Set("db/key", 3), kFailed);
    const auto waitedAgain = Clock::now() - start - waited;
    EXPECT_EQ(GetCapturedStderr(), "settings: cannot write " + PersistentFile() + ": database is locked\n");
    EXPECT_GT(waited, std::chrono::milliseconds(500));
    EXPECT_LT(waited, std::chrono::milliseconds(1500));
    EXPECT_LT(waitedAgain, waited / 2);
    int number = 0;
    EXPECT_EQ(store.GetInt("db/key", &number), kOk) << "readers do not wait for writers";
    sqlite3_exec(other, "COMMIT", nullptr, nullptr, nullptr);
    EXPECT_EQ(store.Set("db/key", 4), kOk);
    // With a write that succeeded the patience comes back.
    ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    CaptureStderr();
    const auto startOfNext = Clock::now();
    EXPECT_EQ(store.Set("db/key", 5), kFailed);
    EXPECT_GT(Clock::now() - startOfNext, std::chrono::milliseconds(500));
    EXPECT_EQ(GetCapturedStderr(), "settings: cannot write " + PersistentFile() + ": database is locked\n");
    sqlite3_close(other);
}

TEST_F(FaultsTest, ALockThatIsHeldIsNamedInTheMessage)
{
    std::filesystem::create_directories(m_folders.persistent);
    const std::string path = PersistentFile() + "-lock";
    const FileDescriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    ASSERT_EQ(flock(lock.Get(), LOCK_EX), 0);
    Store store(m_folders);
    CaptureStderr();
    EXPECT_EQ(store.Set("db/key", 1), kFailed);
    EXPECT_EQ(GetCapturedStderr(), "settings: cannot open " + PersistentFile() + ": cannot lock " + path +
                                       ": Resource temporarily unavailable\n");
}

TEST_F(FaultsTest, AStoreThatWaitedInVainAndIsGoneLeavesOthersTheirPatience)
{
    sqlite3* other = nullptr;
    {
        Store gone(m_folders);
        ASSERT_EQ(gone.Set("db/key", 1), kOk);
        ASSERT_EQ(sqlite3_open(PersistentFile().c_str(), &other), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(other, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
        CaptureStderr();
        EXPECT_EQ(gone.Set("db/key", 2), kFailed);
    }
    Store store(m_folders);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(store.Set("db/key", 3), kFailed);
    EXPECT_GT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    GetCapturedStderr();
    sqlite3_close(other);
}

TEST_F(FaultsTest, AJournalThatAReaderMadeLongIsCutOnceItLetsGo)
{
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    sqlite3* reader = nullptr;
    ASSERT_EQ(sqlite3_open(PersistentFile().c_str(), &reader), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT * FROM setting", nullptr, nullptr, nullptr), SQLITE_OK);
    for (int write = 0; write < 50; ++write) {
        ASSERT_EQ(store.Set("db/key", std::string(100'000, 'x')), kOk);
    }
    const std::string journal = PersistentFile() + "-wal";
    EXPECT_GT(std::filesystem::file_size(journal), 5'000'000U);
    sqlite3_exec(reader, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(reader);
    for (int write = 0; write < 3; ++write) {
        ASSERT_EQ(store.Set("db/key", write), kOk);
    }
    EXPECT_LE(std::filesystem::file_size(journal), 2U * 1024 * 1024);
}

TEST_F(FaultsTest, AJournalOfUsualWritesStaysShort)
{
    Store store(m_folders);
    for (int write = 0; write < 500; ++write) {
        ASSERT_EQ(store.Set("db/key", write), kOk);
        ASSERT_EQ(store.Set("memory/key", write), kOk);
    }
    // What a start after a power cut has to read: with as many writes in it there would be 1 MiB.
    for (const std::string& file : {PersistentFile(), MemoryFile()}) {
        EXPECT_GT(std::filesystem::file_size(file + "-wal"), 100U * 1024);
        EXPECT_LT(std::filesystem::file_size(file + "-wal"), 250U * 1024);
    }
}

TEST_F(FaultsTest, AForkedChildIsRefusedAndTheParentGoesOn)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    support::Child child = support::Child::Fork([&]() -> int {
        int number = 7;
        const bool refused = store.GetInt("db/key", &number) == kFailed && store.Set("db/key", 2) == kFailed;
        CaptureStderr();
        const bool freshRefused = Store(m_folders).GetInt("db/key", &number) == kFailed;
        const bool isExplained =
            GetCapturedStderr() == "settings: cannot open " + PersistentFile() +
                                       ": this process was forked from one that uses settings, and "
                                       "must run a program of its own first\n";
        RunWhatIsDue();
        store.~Store();
        // What belongs to the parent was given up, not freed; nobody is to look for leaks.
        _exit(refused && freshRefused && isExplained && recorder.notices.empty() ? 0 : 1);
    });
    EXPECT_EQ(child.Wait(), support::Exited(0));
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1")) << "the child took the parent's bell";
    EXPECT_EQ(ReadPosition(WatchersFolder(), "db").Lowest(), 0) << "the child removed the parent's position";
    EXPECT_EQ(store.Set("db/key", 3), kOk);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1", "db/key=3"));
}

TEST_F(FaultsTest, AnAsynchronousWriteThatFailsTellsSo)
{
    std::filesystem::create_directories(PersistentFile());
    Store store(m_folders);
    int told = 99;
    CaptureStderr();
    EXPECT_EQ(store.SetAsync(
                  "db/key", 1, [](int result, const char*, void* data) { *static_cast<int*>(data) = result; }, &told),
              kOk);
    EXPECT_EQ(store.SetAsync("db/key", 1, nullptr, nullptr), kOk);
    GetCapturedStderr();
    RunWhatIsDue();
    EXPECT_EQ(told, kFailed);
}

} // namespace
} // namespace settings
