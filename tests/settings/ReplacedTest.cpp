// Files that are removed, replaced or cut while they are open, and files that nobody can write to.

#include "StoreFixture.h"
#include "settings/Database.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Capture.h"
#include "support/Child.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <sched.h>
#include <sys/mount.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace settings {
namespace {

using support::CaptureStderr;
using support::Child;
using support::Exited;
using support::GetCapturedStderr;
using ::testing::ElementsAre;

class ReplacedTest : public StoreFixture
{
protected:
    // As another program.
    int Command(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {VYREL_SETTINGS_COMMAND, "--root", m_root});
        const support::ProcessEnd end = Child::Spawn(words).Wait();
        return end.how == support::ProcessEnd::How::Exited ? end.number : -1;
    }

    std::string Anew(const std::string& file) const
    {
        return "settings: " + file + " was removed or replaced while in use; all is opened anew\n";
    }
    std::string Cut(const std::string& file) const
    {
        return "settings: " + file + "-shm was cut while in use; it is made anew\n";
    }

    // Takes the persistent file away from a store that reads, writes and watches, and expects it to go on with the file
    // that all others see.
    void ExpectAllToMeetAfter(const std::function<void()>& takeAway, const std::string& message)
    {
        Store store(m_folders);
        Recorder recorder;
        ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
        for (int number = 1; number <= 20; ++number) {
            ASSERT_EQ(store.Set("db/key", number), kOk);
        }
        RunWhatIsDue();
        recorder.notices.clear();
        takeAway();
        CaptureStderr();
        EXPECT_EQ(Command({"set", "db/key", "--int", "100"}), 0);
        EXPECT_TRUE(RunUntil([&recorder] { return !recorder.notices.empty(); }));
        int number = 0;
        EXPECT_EQ(store.GetInt("db/key", &number), kOk);
        EXPECT_EQ(number, 100);
        EXPECT_EQ(store.Set("db/key", 101), kOk);
        EXPECT_EQ(store.Set("db/other", 102), kOk);
        EXPECT_EQ(GetCapturedStderr(), message);
        EXPECT_EQ(Command({"set", "db/key", "--int", "103"}), 0);
        EXPECT_TRUE(RunUntil([&recorder] { return recorder.notices.size() == 3; }));
        EXPECT_THAT(recorder.notices, ElementsAre("db/key=100", "db/key=101", "db/key=103"));
        Store other(m_folders);
        EXPECT_EQ(other.GetInt("db/other", &number), kOk);
        EXPECT_EQ(number, 102);
    }

    void Remove(const char* companion) const
    {
        ASSERT_TRUE(std::filesystem::remove(PersistentFile() + companion));
    }
};

TEST_F(ReplacedTest, ARemovedFileIsNoticedAndAllMeetInTheNewOne)
{
    ExpectAllToMeetAfter([this] { Remove(""); }, Anew(PersistentFile()));
}

TEST_F(ReplacedTest, AFileRemovedWithItsCompanionsIsNoticed)
{
    ExpectAllToMeetAfter(
        [this] {
            for (const char* companion : {"-wal", "-shm", ""}) {
                Remove(companion);
            }
        },
        Anew(PersistentFile()));
}

TEST_F(ReplacedTest, AFileMovedAsideIsNoticedAndStaysWhole)
{
    ExpectAllToMeetAfter(
        [this] {
            for (const char* companion : {"-wal", "-shm", ""}) {
                std::filesystem::rename(PersistentFile() + companion, m_root + "/aside" + companion);
            }
        },
        Anew(PersistentFile()));
    Database aside(m_root, "aside", Durability::PowerLoss);
    Value value;
    EXPECT_EQ(aside.Get("db/key", value), kOk);
    EXPECT_EQ(value, Value(20));
}

TEST_F(ReplacedTest, ARemovedIndexIsNoticedAndNothingIsLost)
{
    ExpectAllToMeetAfter([this] { Remove("-shm"); }, Anew(PersistentFile() + "-shm"));
}

TEST_F(ReplacedTest, ARemovedFileIsNoticedByItsOwnNextWrite)
{
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    Remove("");
    CaptureStderr();
    EXPECT_EQ(store.Set("db/key", 2), kOk);
    int number = 0;
    EXPECT_EQ(store.GetInt("db/key", &number), kOk);
    EXPECT_EQ(GetCapturedStderr(), Anew(PersistentFile()));
    EXPECT_EQ(number, 2);
    EXPECT_EQ(Command({"get", "db/key", "--type"}), 0);
}

TEST_F(ReplacedTest, TheLogOfANewFileIsKeptForAWatcherThatHadReadFarInTheOld)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("memory/key", &Recorder::OnChange, &recorder), kOk);
    for (int number = 0; number < 3000; ++number) {
        ASSERT_EQ(store.Set("memory/key", number), kOk);
        RunWhatIsDue();
    }
    ASSERT_TRUE(std::filesystem::remove(MemoryFile()));
    CaptureStderr();
    ASSERT_EQ(store.Set("memory/key", -1), kOk);
    RunWhatIsDue();
    GetCapturedStderr();
    recorder.notices.clear();
    // It stands still for more writes than are kept for their own sake.
    for (int number = 0; number < 3000; ++number) {
        ASSERT_EQ(store.Set("memory/key", number), kOk);
    }
    ASSERT_TRUE(RunUntil([&recorder] { return recorder.notices.size() >= 3000; }));
    EXPECT_EQ(recorder.notices.front(), "memory/key=0");
    EXPECT_EQ(recorder.notices.back(), "memory/key=2999");
}

TEST_F(ReplacedTest, AnIndexCutToNothingIsMadeAnew)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    RunWhatIsDue();
    for (const int first : {10, 20}) {
        std::filesystem::resize_file(PersistentFile() + "-shm", 0);
        CaptureStderr();
        int number = 0;
        EXPECT_EQ(store.GetInt("db/key", &number), kOk);
        EXPECT_EQ(store.Set("db/key", first), kOk);
        EXPECT_EQ(Command({"set", "db/key", "--int", std::to_string(first + 1)}), 0);
        EXPECT_TRUE(RunUntil([&] { return recorder.notices.back() == "db/key=" + std::to_string(first + 1); }));
        EXPECT_EQ(GetCapturedStderr(), Cut(PersistentFile()));
    }
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1", "db/key=10", "db/key=11", "db/key=20", "db/key=21"));
}

TEST_F(ReplacedTest, AnIndexIsMadeAnewOnceWritesThatWereBegunMustHaveEnded)
{
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    std::filesystem::resize_file(PersistentFile() + "-shm", 0);
    const auto start = std::chrono::steady_clock::now();
    CaptureStderr();
    EXPECT_EQ(store.Set("db/key", 2), kOk);
    EXPECT_EQ(GetCapturedStderr(), Cut(PersistentFile()));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(100));
}

// Does what another process would that found the index cut as well, and was faster.
class FasterNeighbour
{
public:
    static constexpr off_t kSize = 65'536;

    explicit FasterNeighbour(std::string path)
    {
        index = std::move(path);
        std::signal(SIGALRM, &FasterNeighbour::OnAlarm);
        const itimerval soon = {{}, {0, 20'000}}; // a fifth of what the slower one waits before it looks again
        setitimer(ITIMER_REAL, &soon, nullptr);
    }
    ~FasterNeighbour()
    {
        const itimerval never = {};
        setitimer(ITIMER_REAL, &never, nullptr);
        std::signal(SIGALRM, SIG_DFL);
    }
    FasterNeighbour(const FasterNeighbour&) = delete;
    FasterNeighbour& operator=(const FasterNeighbour&) = delete;

private:
    static void OnAlarm(int /*signal*/)
    {
        if (truncate(index.c_str(), kSize) != 0) {
            _exit(1);
        }
    }

    static inline std::string index;
};

TEST_F(ReplacedTest, AnIndexThatAnotherMadeAnewMeanwhileIsNotCut)
{
    const std::string index = PersistentFile() + "-shm";
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    std::filesystem::resize_file(index, 0);
    CaptureStderr();
    {
        const FasterNeighbour neighbour(index);
        EXPECT_EQ(store.Set("db/key", 2), kOk);
    }
    GetCapturedStderr();
    EXPECT_EQ(std::filesystem::file_size(index), static_cast<std::uintmax_t>(FasterNeighbour::kSize));
    int number = 0;
    EXPECT_EQ(store.GetInt("db/key", &number), kOk);
    EXPECT_EQ(number, 2);
}

TEST_F(ReplacedTest, ALongIndexCutToAPartIsMadeAnew)
{
    const std::string index = PersistentFile() + "-shm";
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    const std::uintmax_t usual = std::filesystem::file_size(index);
    sqlite3* reader = nullptr;
    ASSERT_EQ(sqlite3_open(PersistentFile().c_str(), &reader), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT * FROM setting", nullptr, nullptr, nullptr), SQLITE_OK);
    for (int write = 0; write < 50; ++write) {
        ASSERT_EQ(store.Set("db/key", std::string(100'000, 'x')), kOk);
    }
    sqlite3_close(reader);
    ASSERT_EQ(store.Set("db/key", 2), kOk);
    ASSERT_GT(std::filesystem::file_size(index), usual);
    std::filesystem::resize_file(index, usual);
    CaptureStderr();
    EXPECT_EQ(store.Set("db/key", 3), kOk);
    EXPECT_EQ(GetCapturedStderr(), Cut(PersistentFile()));
    int number = 0;
    EXPECT_EQ(store.GetInt("db/key", &number), kOk);
    EXPECT_EQ(number, 3);
}

TEST_F(ReplacedTest, AnotherProgramThatFindsTheIndexCutSavesThisOneToo)
{
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    std::filesystem::resize_file(PersistentFile() + "-shm", 0);
    EXPECT_EQ(Command({"set", "db/key", "--int", "2"}), 0);
    EXPECT_TRUE(RunUntil([&recorder] { return recorder.notices.size() == 2; }));
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1", "db/key=2"));
}

// Makes a folder read-only for this process. False where not even a process of its own may.
bool MakeReadOnly(const std::string& folder)
{
    const int namespaces = geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS;
    constexpr unsigned long kAgain = MS_BIND | MS_REMOUNT | MS_RDONLY;
    return unshare(namespaces) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) == 0 &&
           mount("none", folder.c_str(), nullptr, kAgain, nullptr) == 0;
}

// As another process whose persistent folder is on a read-only medium. True when `body` held, and where nothing may be
// mounted, as in a container.
bool HoldsOnReadOnlyMedium(const Folders& folders, const std::function<bool(Store&)>& body)
{
    constexpr int kNoMount = 77;
    const support::ProcessEnd end = Child::Fork([&] {
                                        if (!MakeReadOnly(folders.persistent)) {
                                            return kNoMount;
                                        }
                                        Store store(folders);
                                        return body(store) ? 0 : 1;
                                    }).Wait();
    return end == Exited(0) || end == Exited(kNoMount);
}

TEST_F(ReplacedTest, AFileClosedInOrderCanBeReadOnAReadOnlyMedium)
{
    m_folders.persistent = m_root + "/100% of? #them";
    {
        Store store(m_folders);
        ASSERT_EQ(store.Set("db/key", 1), kOk);
        ASSERT_EQ(store.Set("db/text", std::string("one")), kOk);
    }
    // All that such a file needs, and what is checked wherever the tests may not mount anything.
    EXPECT_FALSE(std::filesystem::exists(PersistentFile() + "-wal"));
    EXPECT_FALSE(std::filesystem::exists(PersistentFile() + "-shm"));
    const auto reads = [](Store& store) {
        int number = 0;
        std::vector<Entry> entries;
        Recorder recorder;
        return store.GetInt("db/key", &number) == kOk && number == 1 && store.List("db/", &entries) == kOk &&
               entries.size() == 2 && store.Watch("db/key", &Recorder::OnChange, &recorder) == kOk;
    };
    CaptureStderr();
    EXPECT_TRUE(HoldsOnReadOnlyMedium(m_folders, reads));
    std::ofstream(PersistentFile() + "-wal").flush();
    EXPECT_TRUE(HoldsOnReadOnlyMedium(m_folders, reads)) << "an empty log is none";
    EXPECT_EQ(GetCapturedStderr(), "");
    CaptureStderr();
    EXPECT_TRUE(HoldsOnReadOnlyMedium(m_folders, [](Store& store) {
        return store.Set("db/key", 2) == kFailed && store.Set("db/key", 3) == kFailed &&
               store.Set("memory/key", 1) == kOk;
    }));
    const std::string message = GetCapturedStderr();
    EXPECT_TRUE(message.empty() ||
                message == "settings: cannot write " + PersistentFile() + ": attempt to write a readonly database\n")
        << message;
}

TEST_F(ReplacedTest, AFileWithALogIsNotReadWithoutItOnAReadOnlyMedium)
{
    Store(m_folders).Set("db/key", 1);
    Child writer = Child::Fork([this]() -> int {
        Store store(m_folders);
        _exit(store.Set("db/key", 2) == kOk ? 0 : 1); // without closing the file
    });
    ASSERT_EQ(writer.Wait(), Exited(0));
    std::filesystem::remove(PersistentFile() + "-shm");
    CaptureStderr();
    EXPECT_TRUE(HoldsOnReadOnlyMedium(m_folders, [](Store& store) {
        int number = 0;
        return store.GetInt("db/key", &number) == kFailed;
    })) << "the value before the last one";
    GetCapturedStderr();
}

} // namespace
} // namespace settings
