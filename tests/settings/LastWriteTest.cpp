// The last write, as it is left beside the bell: what is told of it, and when the log alone is believed.

#include "settings/LastWrite.h"

#include "StoreFixture.h"
#include "settings/Bell.h"
#include "settings/Change.h"
#include "settings/Database.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Capture.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <variant>
#include <vector>

namespace settings {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr WriteId kWhich{7, 8, 9};
constexpr std::int64_t kMoment = 123;
constexpr std::size_t kMost = LastWriteBuffer().size();

std::string Pack(std::string_view key, const Value& value, const WriteId& which = kWhich)
{
    LastWriteBuffer buffer{};
    return std::string(PackLastWrite(which, kMoment, key, value, buffer));
}

TEST(PackedLastWrite, HoldsEachTypeAndAnyBytes)
{
    const std::string bytes("\xff\0\n\x80", 4);
    const std::vector<Value> values{
        false, true, 0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max(), std::string(), bytes};
    for (const Value& value : values) {
        const std::optional<Change> change = UnpackLastWrite(Pack("db/key", value), kWhich);
        ASSERT_TRUE(change) << TypeName(value);
        EXPECT_EQ(change->id, kWhich.id);
        EXPECT_EQ(change->moment, kMoment);
        EXPECT_EQ(change->key, "db/key");
        EXPECT_EQ(change->value, value);
    }
}

TEST(PackedLastWrite, IsAsLongAsItsBufferAtMost)
{
    const std::size_t size = kMost - Pack("", std::string()).size();
    EXPECT_EQ(Pack("key", std::string(size - 3, 'x')).size(), kMost);
    EXPECT_EQ(UnpackLastWrite(Pack("key", std::string(size - 3, 'x')), kWhich)->value,
              Value(std::string(size - 3, 'x')));
    EXPECT_EQ(Pack("key", std::string(size - 2, 'x')), "");
    EXPECT_NE(Pack(std::string(size, 'k'), 1), "");
    EXPECT_EQ(Pack(std::string(size + 1, 'k'), 1), "");
    EXPECT_EQ(Pack(std::string(kLongest, 'k'), std::string(kLongest, 'x')), "");
}

TEST(PackedLastWrite, IsNoOtherWriteThanTheOneAskedFor)
{
    const std::string packed = Pack("db/key", 1);
    EXPECT_TRUE(UnpackLastWrite(packed, kWhich));
    EXPECT_FALSE(UnpackLastWrite(packed, {kWhich.device + 1, kWhich.inode, kWhich.id}));
    EXPECT_FALSE(UnpackLastWrite(packed, {kWhich.device, kWhich.inode + 1, kWhich.id}));
    EXPECT_FALSE(UnpackLastWrite(packed, {kWhich.device, kWhich.inode, kWhich.id - 1}));
    EXPECT_FALSE(UnpackLastWrite(packed, {kWhich.device, kWhich.inode, kWhich.id + 1}));
}

TEST(PackedLastWrite, IsNothingOnceAByteOfItIsAnother)
{
    const std::string packed = Pack("db/key", std::string("text"));
    for (std::size_t i = 0; i < packed.size(); ++i) {
        for (const char change : {'\x01', '\x80', '\xff'}) {
            std::string other = packed;
            other[i] = static_cast<char>(other[i] ^ change);
            EXPECT_FALSE(UnpackLastWrite(other, kWhich)) << "byte " << i;
        }
        EXPECT_FALSE(UnpackLastWrite(packed.substr(0, i), kWhich)) << "cut after " << i;
    }
    EXPECT_TRUE(UnpackLastWrite(packed + "what a longer one left behind", kWhich));
}

// Watches a key of each file, and keeps what was told before the log was first read after that.
class LastWriteTest : public StoreFixture
{
protected:
    LastWriteTest()
    {
        sqlite3_auto_extension(reinterpret_cast<void (*)()>(&LastWriteTest::OnOpened));
        current = this;
        EXPECT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
        EXPECT_EQ(store.Watch("memory/key", &Recorder::OnChange, &recorder), kOk);
    }
    ~LastWriteTest() override
    {
        sqlite3_reset_auto_extension();
        current = nullptr;
    }

    std::string BellFile(const std::string& name) const
    {
        return WatchersFolder() + "/" + name + ".bell";
    }

    // As a process of an earlier release: it leaves nothing beside the bell.
    void WriteWithoutLeavingIt(int value)
    {
        std::int64_t change = 0;
        EXPECT_EQ(earlier.Set("db/key", value, change), kOk);
        Bell(BellFile("db")).Ring();
    }

    Store store{m_folders};
    Store writer{m_folders};
    Database earlier{m_folders.persistent, kPersistentFile, Durability::PowerLoss};
    Recorder recorder;
    std::optional<std::vector<std::string>> toldBeforeTheLog;

private:
    static int OnOpened(sqlite3* connection, char** /*error*/, const sqlite3_api_routines* /*api*/)
    {
        return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, &LastWriteTest::OnStatement, nullptr);
    }

    static int OnStatement(unsigned /*event*/, void* /*context*/, void* statement, void* /*more*/)
    {
        const std::string_view sql = sqlite3_sql(static_cast<sqlite3_stmt*>(statement));
        if (current != nullptr && !current->toldBeforeTheLog && sql.starts_with("SELECT id,")) {
            current->toldBeforeTheLog = current->recorder.notices;
        }
        return 0;
    }

    static inline LastWriteTest* current = nullptr;
};

TEST_F(LastWriteTest, IsToldBeforeTheLogIsReadAndOnceOnly)
{
    writer.Set("memory/key", std::string("text"));
    RunWhatIsDue();
    EXPECT_THAT(toldBeforeTheLog, ::testing::Optional(ElementsAre("memory/key=\"text\"")));
    EXPECT_THAT(recorder.notices, ElementsAre("memory/key=\"text\""));
}

TEST_F(LastWriteTest, OneBehindAnotherIsToldFromTheLog)
{
    writer.Set("db/key", 1);
    writer.Set("db/key", 2);
    RunWhatIsDue();
    EXPECT_THAT(toldBeforeTheLog, ::testing::Optional(IsEmpty()));
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1", "db/key=2"));
}

class LastWriteOfTwoFoldersTest : public StoreFixture
{
protected:
    // What lies in the two bells after a write to each file, where the folders have these modes.
    std::pair<bool, bool> LeftWithModes(mode_t persistent, mode_t memory)
    {
        std::filesystem::remove_all(m_root);
        for (const auto& [folder, mode] :
             {std::pair(m_folders.persistent, persistent), std::pair(m_folders.memory, memory)}) {
            std::filesystem::create_directories(folder);
            std::filesystem::permissions(folder, std::filesystem::perms(mode));
        }
        Store store(m_folders);
        EXPECT_EQ(store.Set("db/key", 1), kOk);
        EXPECT_EQ(store.Set("memory/key", 1), kOk);
        return {std::filesystem::file_size(WatchersFolder() + "/db.bell") > 0,
                std::filesystem::file_size(WatchersFolder() + "/memory.bell") > 0};
    }
};

TEST_F(LastWriteOfTwoFoldersTest, LiesOnlyWhereAllWhoHearTheBellMayReadTheFile)
{
    EXPECT_EQ(LeftWithModes(0700, 0700), std::pair(true, true));
    EXPECT_EQ(LeftWithModes(02770, 02770), std::pair(true, true));
    EXPECT_EQ(LeftWithModes(0700, 02770), std::pair(false, true));
    EXPECT_EQ(LeftWithModes(02770, 0700), std::pair(false, true));
}

TEST_F(LastWriteOfTwoFoldersTest, IsToldFromTheLogWhereItMayNotLieBesideTheBell)
{
    std::filesystem::create_directories(m_folders.memory);
    std::filesystem::permissions(m_folders.memory, std::filesystem::perms(02770));
    Store store(m_folders);
    Recorder recorder;
    ASSERT_EQ(store.Watch("db/key", &Recorder::OnChange, &recorder), kOk);
    Store(m_folders).Set("db/key", 1);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1"));
}

TEST_F(LastWriteTest, ALongOneIsToldFromTheLog)
{
    const std::string text(600, 'x');
    writer.Set("db/key", text);
    RunWhatIsDue();
    EXPECT_THAT(toldBeforeTheLog, ::testing::Optional(IsEmpty()));
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=\"" + text + "\""));
}

TEST_F(LastWriteTest, WhatAnEarlierReleaseWritesIsToldInItsPlace)
{
    WriteWithoutLeavingIt(1);
    writer.Set("db/key", 2);
    WriteWithoutLeavingIt(3);
    RunWhatIsDue();
    writer.Set("db/key", 4);
    WriteWithoutLeavingIt(5);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1", "db/key=2", "db/key=3", "db/key=4", "db/key=5"));
}

TEST_F(LastWriteTest, ALaterWriteToTheOtherFileWaitsUntilTheLogWasRead)
{
    writer.Set("db/key", 1);
    WriteWithoutLeavingIt(2);
    writer.Set("memory/key", 3);
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1", "db/key=2", "memory/key=3"));
}

TEST_F(LastWriteTest, OneToANewFileIsNotTakenForTheNextOneToTheOldFile)
{
    writer.Set("db/key", 1);
    RunWhatIsDue();
    support::CaptureStderr();
    std::filesystem::remove(PersistentFile());
    writer.Set("db/key", 2);
    writer.Set("db/key", 3); // the second write to its file, as the one after 1 would have been
    RunWhatIsDue();
    support::GetCapturedStderr();
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=1", "db/key=2", "db/key=3"));
}

TEST_F(LastWriteTest, SomebodyWhoKeepsWritingToOneFileDoesNotHoldUpTheOther)
{
    writer.Set("db/key", 0);
    writer.Set("memory/key", 1);
    // Each turn of the loop finds a write that is the next one.
    for (int turn = 1; turn <= 4; ++turn) {
        g_main_context_iteration(nullptr, FALSE);
        writer.Set("db/key", turn);
    }
    EXPECT_THAT(recorder.notices, ElementsAre("db/key=0", "memory/key=1"));
}

TEST_F(LastWriteTest, WhatLiesBesideTheBellByMistakeIsNotTold)
{
    writer.Set("memory/key", 1);
    RunWhatIsDue();
    std::ifstream memory(BellFile("memory"), std::ios::binary);
    const std::string left{std::istreambuf_iterator<char>(memory), {}};
    EXPECT_TRUE(left.find("memory/key") != std::string::npos);
    writer.Set("db/key", 2);
    for (const std::string& mistaken : {left, std::string(100, '\xa5'), std::string(100'000, '\0'), std::string()}) {
        std::ofstream(BellFile("db"), std::ios::binary) << mistaken;
        RunWhatIsDue();
        writer.Set("db/key", 3);
    }
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices,
                ElementsAre("memory/key=1", "db/key=2", "db/key=3", "db/key=3", "db/key=3", "db/key=3"));
}

} // namespace
} // namespace settings
