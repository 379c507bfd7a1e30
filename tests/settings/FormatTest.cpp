// What is in the files: rows that carry a check, and files of an earlier release.

#include "StoreFixture.h"
#include "settings/Change.h"
#include "settings/CheckedType.h"
#include "settings/Database.h"
#include "settings/Locations.h"
#include "settings/Schema.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Capture.h"
#include "support/Child.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace settings {
namespace {

using support::CaptureStderr;
using support::Child;
using support::Exited;
using support::GetCapturedStderr;
using ::testing::HasSubstr;

class FormatTest : public StoreFixture
{
protected:
    std::int64_t Version() const
    {
        sqlite3* connection = nullptr;
        EXPECT_EQ(sqlite3_open(PersistentFile().c_str(), &connection), SQLITE_OK);
        const auto version = ReadSchemaVersion(connection);
        sqlite3_close(connection);
        return version.value_or(-1);
    }

    // A file as the first release wrote it: every type, a log that begins in the middle.
    void MakeFirstVersion() const
    {
        std::filesystem::create_directories(m_folders.persistent);
        RunSql("PRAGMA page_size = 1024; PRAGMA journal_mode = WAL;"
               "BEGIN IMMEDIATE;"
               "CREATE TABLE setting(key TEXT PRIMARY KEY, type INTEGER NOT NULL, value NOT NULL) WITHOUT ROWID;"
               "CREATE TABLE change(id INTEGER PRIMARY KEY, moment INTEGER NOT NULL, key TEXT NOT NULL,"
               "                    type INTEGER NOT NULL, value NOT NULL);"
               "CREATE TRIGGER apply AFTER INSERT ON change BEGIN"
               " INSERT INTO setting(key, type, value) VALUES (new.key, new.type, new.value)"
               " ON CONFLICT(key) DO UPDATE SET type = excluded.type, value = excluded.value;"
               " END;"
               "PRAGMA user_version = 1;"
               "COMMIT;"
               "INSERT INTO change VALUES (41, 5, 'db/int', 1, -7), (42, 6, 'db/bool', 0, 1), (43, 7, 'db/text', 2, "
               "'hello'),"
               " (44, 8, 'db/bytes', 2, CAST(x'00ff41' AS TEXT)), (45, 9, 'db/low', 1, -2147483648),"
               " (46, 9, 'db/empty', 2, '')");
    }

    void ExpectFirstVersionsValues() const
    {
        const std::map<std::string, Value> expected = {
            {"db/int", -7},
            {"db/bool", true},
            {"db/text", std::string("hello")},
            {"db/bytes", std::string("\0\xff"
                                     "A",
                                     3)},
            {"db/low", std::numeric_limits<int>::min()},
            {"db/empty", std::string()},
        };
        Store store(m_folders);
        for (const auto& [key, value] : expected) {
            Value read;
            EXPECT_EQ(store.Get(key.c_str(), &read), kOk) << key;
            EXPECT_EQ(read, value) << key;
        }
    }

    std::string Content() const
    {
        std::ostringstream content;
        content << std::ifstream(PersistentFile(), std::ios::binary).rdbuf();
        return content.str();
    }

    void Replace(const std::string& content) const
    {
        std::ofstream(PersistentFile(), std::ios::binary | std::ios::trunc) << content;
    }

    // Changes one byte of the only place with this text.
    void Damage(const std::string& text) const
    {
        std::string content = Content();
        for (std::size_t at = content.find(text); at != std::string::npos; at = content.find(text, at + 1)) {
            content[at + text.size() / 2] = static_cast<char>(content[at + text.size() / 2] ^ 4);
        }
        Replace(content);
    }
};

TEST_F(FormatTest, AFileOfTheFirstReleaseIsTakenOverWithItsLog)
{
    MakeFirstVersion();
    ExpectFirstVersionsValues();
    EXPECT_EQ(Version(), kSchemaVersion);
    Database database(m_folders.persistent, kPersistentFile, Durability::PowerLoss);
    std::vector<Change> log;
    ASSERT_EQ(database.ChangesAfter(0, log), kOk);
    ASSERT_EQ(log.size(), 6U);
    EXPECT_EQ(log.front().id, 41);
    EXPECT_EQ(log.front().moment, 5);
    EXPECT_EQ(log.front().value, Value(-7));
    std::int64_t change = 0;
    EXPECT_EQ(database.Set("db/int", 8, change), kOk);
    EXPECT_EQ(change, 47);
}

TEST_F(FormatTest, ProcessesThatFindAnOldFileAtOnceTakeItOverOnce)
{
    for (int round = 0; round < 10; ++round) {
        MakeFirstVersion();
        int start[2];
        ASSERT_EQ(pipe(start), 0);
        constexpr int kProcesses = 6;
        std::vector<Child> processes;
        processes.reserve(kProcesses);
        for (int process = 0; process < kProcesses; ++process) {
            processes.push_back(Child::Fork([&, process] {
                close(start[1]);
                char go = 0;
                if (read(start[0], &go, 1) != 0) {
                    return 1;
                }
                Store store(m_folders);
                int number = 0;
                const bool read = store.GetInt("db/int", &number) == kOk && number == -7;
                return read && store.Set(("db/new" + std::to_string(process)).c_str(), process) == kOk ? 0 : 2;
            }));
        }
        close(start[0]);
        close(start[1]); // the end that all wait for
        for (Child& process : processes) {
            EXPECT_EQ(process.Wait(), Exited(0));
        }
        ExpectFirstVersionsValues();
        std::vector<Entry> entries;
        EXPECT_EQ(Store(m_folders).List("db/", &entries), kOk);
        EXPECT_EQ(entries.size(), 12U);
        std::filesystem::remove_all(m_folders.persistent);
    }
}

TEST_F(FormatTest, ATakingOverThatFailsLeavesTheOldFile)
{
    MakeFirstVersion();
    RunSql(
        "WITH RECURSIVE number(n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number WHERE n < 300)"
        " INSERT INTO change(moment, key, type, value) SELECT 10, 'db/many' || n, 2, printf('%0200d', n) FROM number");
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    // Room for the index, and for a part of the log that all rows go through.
    const rlimit small{48 * 1024, before.rlim_max};
    Store store(m_folders);
    int number = 0;
    CaptureStderr();
    setrlimit(RLIMIT_FSIZE, &small);
    const int result = store.GetInt("db/int", &number);
    setrlimit(RLIMIT_FSIZE, &before);
    const std::string message = GetCapturedStderr();
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(result, kFailed);
    EXPECT_THAT(message, HasSubstr("settings: cannot open " + PersistentFile()));
    EXPECT_EQ(Version(), 1);
    EXPECT_EQ(store.GetInt("db/int", &number), kOk);
    ExpectFirstVersionsValues();
}

TEST_F(FormatTest, WhatTheFirstReleaseCouldNotReadStaysUnreadable)
{
    MakeFirstVersion();
    RunSql("INSERT INTO setting VALUES('db/type', 7, 1), ('db/big', 1, 99999999999), ('db/words', 1, 'x'),"
           " ('db/number', 2, 5), ('db/typed', 7, 'x')");
    Store store(m_folders);
    Value value(99);
    CaptureStderr();
    for (const char* key : {"db/type", "db/big", "db/words", "db/number", "db/typed"}) {
        EXPECT_EQ(store.Get(key, &value), kNotFound) << key;
        EXPECT_EQ(value, Value(99)) << key;
    }
    EXPECT_EQ(GetCapturedStderr(),
              "settings: cannot read " + PersistentFile() + ": the value of \"db/type\" is damaged\n");
    EXPECT_EQ(store.Get("db/int", &value), kOk);
}

// Other numbers would make all rows that are in use today damaged ones.
TEST_F(FormatTest, TheChecksStayAsTheyAre)
{
    EXPECT_EQ(CheckedType("db/key", Value(-70'000)), 631'970'993);
    EXPECT_EQ(CheckedType("db/key", Value(true)), 1'831'646'860);
    EXPECT_EQ(CheckedType("memory/key", Value(std::string("text"))), -523'281'770);
}

TEST_F(FormatTest, EveryBitOfAKeyAndOfAValueIsInTheCheck)
{
    for (const std::size_t length : {1U, 7U, 8U, 9U, 16U, 17U, 40U}) {
        const std::string text(length, 'a');
        const std::int64_t ofText = CheckedType("db/key", Value(text));
        const std::int64_t ofKey = CheckedType(text, Value(1));
        for (std::size_t bit = 0; bit < 8 * length; ++bit) {
            std::string damaged = text;
            damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
            EXPECT_NE(CheckedType("db/key", Value(damaged)), ofText) << length << " bytes, bit " << bit;
            EXPECT_NE(CheckedType(damaged, Value(1)), ofKey) << length << " bytes, bit " << bit;
        }
        EXPECT_NE(CheckedType("db/key", Value(text + '\0')), ofText) << length << " bytes and one more";
    }
}

TEST_F(FormatTest, ANumberThatIsOfAnotherKindNowIsDamaged)
{
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/big", 7), kOk);
    ASSERT_EQ(store.Set("db/words", 7), kOk);
    RunSql("UPDATE setting SET value = value + 4294967296 WHERE key = 'db/big'");
    RunSql("UPDATE setting SET value = '7' WHERE key = 'db/words'");
    Value value(99);
    CaptureStderr();
    EXPECT_EQ(store.Get("db/big", &value), kNotFound);
    EXPECT_EQ(store.Get("db/words", &value), kNotFound);
    GetCapturedStderr();
    EXPECT_EQ(value, Value(99));
}

// Two kinds of damage to a page that leave every row on it as it was, and hide one from a search all the same.
class HiddenKeyTest : public FormatTest, public ::testing::WithParamInterface<bool>
{};

TEST_P(HiddenKeyTest, IsReportedWhenItIsMissed)
{
    {
        Store store(m_folders);
        for (const char* key : {"db/aa", "db/bb", "db/cc"}) {
            ASSERT_EQ(store.Set(key, 1), kOk);
        }
    }
    // A page of keys begins with its kind; at 3 is the number of its rows, at 8 are their places, each of two bytes.
    constexpr char kPageOfKeys = '\x0a';
    constexpr std::size_t kPage = 1024;
    std::string content = Content();
    for (std::size_t page = kPage; page < content.size(); page += kPage) {
        if (content[page] == kPageOfKeys && content[page + 4] == 3 && GetParam()) {
            std::swap(content[page + 8], content[page + 12]);
            std::swap(content[page + 9], content[page + 13]);
        } else if (content[page] == kPageOfKeys && content[page + 4] == 3) {
            content[page + 4] = 2;
        }
    }
    Replace(content);
    Store store(m_folders);
    Value value;
    CaptureStderr();
    EXPECT_EQ(store.Get(GetParam() ? "db/aa" : "db/cc", &value), kNotFound);
    EXPECT_EQ(GetCapturedStderr(),
              "settings: cannot read " + PersistentFile() + ": parts of it are damaged, and keys may be missing\n");
}

INSTANTIATE_TEST_SUITE_P(FormatTest, HiddenKeyTest, ::testing::Bool(),
                         [](const auto& test) { return test.param ? "OutOfOrder" : "NotCounted"; });

TEST_F(FormatTest, ADamagedPageIsReportedOnceThoughOthersCanBeRead)
{
    {
        Store store(m_folders);
        for (int number = 100; number < 300; ++number) {
            ASSERT_EQ(store.Set(("db/key" + std::to_string(number)).c_str(), number), kOk);
        }
    }
    std::string content = Content();
    std::size_t last = 0; // of the pages with keys
    for (std::size_t page = 1024; page < content.size(); page += 1024) {
        last = content[page] == '\x0a' ? page : last;
    }
    ASSERT_GT(last, 0U);
    content[last] = '\x7f'; // a kind of page that does not exist
    Replace(content);
    Store store(m_folders);
    CaptureStderr();
    for (int attempt = 0; attempt < 3; ++attempt) {
        std::vector<Entry> entries;
        Value value;
        EXPECT_EQ(store.List("db/", &entries), kFailed);
        EXPECT_EQ(store.Get("db/key100", &value), kOk);
    }
    EXPECT_EQ(GetCapturedStderr(),
              "settings: cannot read " + PersistentFile() + ": database disk image is malformed\n");
}

TEST_F(FormatTest, AFileIsLookedThroughForMissingKeysOnceAnOpening)
{
    const std::string damaged = m_root + "/damaged.db";
    {
        Store store(m_folders);
        ASSERT_EQ(store.Set("db/key", 1), kOk);
    }
    RunSql("UPDATE setting SET value = 2");
    std::filesystem::rename(PersistentFile(), damaged);
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    Value value;
    CaptureStderr();
    EXPECT_EQ(store.Get("db/missing", &value), kNotFound);
    RunSql("UPDATE setting SET value = 2");
    EXPECT_EQ(store.Get("db/missing", &value), kNotFound);
    EXPECT_EQ(GetCapturedStderr(), "") << "it was looked through again";
    for (const char* companion : {"-wal", "-shm"}) {
        std::filesystem::remove(PersistentFile() + companion);
    }
    std::filesystem::rename(damaged, PersistentFile());
    CaptureStderr();
    EXPECT_EQ(store.Get("db/missing", &value), kNotFound);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("the value of \"db/key\" is damaged"));
}

TEST_F(FormatTest, ADamagedValueIsReportedOnceAndCountsAsMissingUntilItIsWritten)
{
    {
        Store store(m_folders);
        ASSERT_EQ(store.Set("db/before", 1), kOk);
        ASSERT_EQ(store.Set("db/key", std::string("a value that is not found elsewhere")), kOk);
        ASSERT_EQ(store.Set("db/later", 3), kOk);
    }
    Damage("a value that is not found elsewhere");
    Store store(m_folders);
    Value value(99);
    std::vector<Entry> entries;
    CaptureStderr();
    EXPECT_EQ(store.Get("db/key", &value), kNotFound);
    EXPECT_EQ(store.Get("db/key", &value), kNotFound);
    EXPECT_EQ(value, Value(99));
    EXPECT_EQ(store.Get("db/later", &value), kOk);
    EXPECT_EQ(store.List("db/", &entries), kFailed);
    EXPECT_EQ(GetCapturedStderr(),
              "settings: cannot read " + PersistentFile() + ": the value of \"db/key\" is damaged\n");
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].key, "db/before");
    EXPECT_EQ(entries[1].key, "db/later");
    EXPECT_EQ(store.Set("db/key", 4), kOk);
    EXPECT_EQ(store.Get("db/key", &value), kOk);
    EXPECT_EQ(value, Value(4));
}

TEST_F(FormatTest, AKeyThatIsDamagedItselfIsReportedWhenItIsMissed)
{
    {
        Store store(m_folders);
        ASSERT_EQ(store.Set("db/aa", 1), kOk);
        ASSERT_EQ(store.Set("db/a-key-that-is-not-found-elsewhere", 2), kOk);
        ASSERT_EQ(store.Set("db/zz", 3), kOk);
    }
    Damage("a-key-that-is-not-found-elsewhere");
    Store store(m_folders);
    Value value;
    CaptureStderr();
    EXPECT_EQ(store.Get("db/aa", &value), kOk);
    EXPECT_EQ(GetCapturedStderr(), "");
    CaptureStderr();
    EXPECT_EQ(store.Get("db/a-key-that-is-not-found-elsewhere", &value), kNotFound);
    EXPECT_EQ(store.Get("db/never-set", &value), kNotFound);
    const std::string message = GetCapturedStderr();
    EXPECT_THAT(message, HasSubstr("settings: cannot read " + PersistentFile() + ": the value of \"db/a-key-"));
    EXPECT_EQ(std::count(message.begin(), message.end(), '\n'), 1) << message;
}

TEST_F(FormatTest, ADamagedWriteIsNotTold)
{
    Database database(m_folders.persistent, kPersistentFile, Durability::ProcessDeath);
    std::int64_t change = 0;
    for (int number = 1; number <= 3; ++number) {
        ASSERT_EQ(database.Set("db/key", number, change), kOk);
    }
    RunSql("UPDATE change SET value = 99 WHERE id = 2");
    std::vector<Change> log;
    CaptureStderr();
    EXPECT_EQ(database.ChangesAfter(0, log), kOk);
    EXPECT_THAT(GetCapturedStderr(), HasSubstr("the value of \"db/key\" is damaged"));
    ASSERT_EQ(log.size(), 2U);
    EXPECT_EQ(log[0].value, Value(1));
    EXPECT_EQ(log[1].value, Value(3));
}

TEST_F(FormatTest, RandomDamageGivesNoWrongValueAndLosesNoKeyWithoutAWord)
{
    std::map<std::string, Value> written;
    {
        Store store(m_folders);
        for (int number = 0; number < 300; ++number) {
            const Value values[] = {number * 1000 + 7, number % 2 == 0, "text " + std::to_string(number)};
            const std::string key = "db/key" + std::to_string(number);
            written[key] = values[number % 3];
            ASSERT_EQ(store.Set(key.c_str(), written[key]), kOk);
        }
    }
    const std::string whole = Content();
    std::mt19937 random(20'260'102);
    int damagedCopies = 0;
    for (int copy = 0; copy < 200; ++copy) {
        std::string damaged = whole;
        for (int byte = 0; byte < 1 + copy % 5; ++byte) {
            damaged[random() % damaged.size()] = static_cast<char>(random());
        }
        Replace(damaged);
        CaptureStderr();
        int missing = 0;
        {
            Store store(m_folders);
            for (const auto& [key, value] : written) {
                Value read;
                const int result = store.Get(key.c_str(), &read);
                missing += result == kOk ? 0 : 1;
                ASSERT_TRUE(result != kOk || read == value) << key << " in copy " << copy;
            }
        }
        const std::string message = GetCapturedStderr();
        EXPECT_TRUE(missing == 0 || !message.empty()) << missing << " keys lost without a word in copy " << copy;
        damagedCopies += missing > 0 ? 1 : 0;
    }
    EXPECT_GT(damagedCopies, 0);
}

} // namespace
} // namespace settings
