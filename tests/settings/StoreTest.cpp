// Values, types and keys.

#include "settings/Store.h"

#include "StoreFixture.h"
#include "settings/Database.h"
#include "settings/Locations.h"
#include "settings/Value.h"
#include "support/Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace settings {
namespace {

using StoreTest = StoreFixture;
using support::CaptureStderr;
using support::GetCapturedStderr;
using ::testing::ElementsAre;
using ::testing::Pair;

std::vector<std::pair<std::string, Value>> Listed(Store& store, std::string_view prefix)
{
    std::vector<Entry> entries;
    EXPECT_EQ(store.List(prefix, &entries), kOk);
    std::vector<std::pair<std::string, Value>> pairs;
    for (const Entry& entry : entries) {
        pairs.emplace_back(entry.key, entry.value);
    }
    return pairs;
}

TEST_F(StoreTest, AMissingKeyIsNotFoundAndTheOutputIsUntouched)
{
    Store store(m_folders);
    int number = 7;
    bool flag = true;
    std::string text = "preset";
    for (const char* key : {"db/missing", "memory/missing"}) {
        EXPECT_EQ(store.GetInt(key, &number), kNotFound);
        EXPECT_EQ(store.GetBool(key, &flag), kNotFound);
        EXPECT_EQ(store.GetString(key, &text), kNotFound);
    }
    EXPECT_EQ(number, 7);
    EXPECT_TRUE(flag);
    EXPECT_EQ(text, "preset");
}

TEST_F(StoreTest, ValuesOfEveryTypeComeBack)
{
    Store store(m_folders);
    for (const std::string kind : {"db/", "memory/"}) {
        for (const int number : {0, -1, 42, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
            ASSERT_EQ(store.Set((kind + "int").c_str(), number), kOk);
            int read = 5;
            EXPECT_EQ(store.GetInt((kind + "int").c_str(), &read), kOk);
            EXPECT_EQ(read, number);
        }
        for (const bool flag : {true, false}) {
            ASSERT_EQ(store.Set((kind + "bool").c_str(), flag), kOk);
            bool read = !flag;
            EXPECT_EQ(store.GetBool((kind + "bool").c_str(), &read), kOk);
            EXPECT_EQ(read, flag);
        }
        for (const std::string& text : {std::string(), std::string("Living room"), std::string(100'000, 'x')}) {
            ASSERT_EQ(store.Set((kind + "string").c_str(), text), kOk);
            std::string read = "preset";
            EXPECT_EQ(store.GetString((kind + "string").c_str(), &read), kOk);
            EXPECT_EQ(read, text);
        }
    }
}

TEST_F(StoreTest, AStringKeepsEveryByte)
{
    Store store(m_folders);
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) {
        bytes.push_back(static_cast<char>(byte));
    }
    ASSERT_EQ(store.Set("db/bytes", bytes), kOk);
    std::string read;
    EXPECT_EQ(store.GetString("db/bytes", &read), kOk);
    EXPECT_EQ(read, bytes);
}

TEST_F(StoreTest, ReadingAnotherTypeFailsAndTheOutputIsUntouched)
{
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/int", 1), kOk);
    ASSERT_EQ(store.Set("db/bool", true), kOk);
    ASSERT_EQ(store.Set("db/string", std::string("1")), kOk);
    int number = 7;
    bool flag = false;
    std::string text = "preset";
    EXPECT_EQ(store.GetInt("db/bool", &number), kWrongType);
    EXPECT_EQ(store.GetInt("db/string", &number), kWrongType);
    EXPECT_EQ(store.GetBool("db/int", &flag), kWrongType);
    EXPECT_EQ(store.GetBool("db/string", &flag), kWrongType);
    EXPECT_EQ(store.GetString("db/int", &text), kWrongType);
    EXPECT_EQ(store.GetString("db/bool", &text), kWrongType);
    EXPECT_EQ(number, 7);
    EXPECT_FALSE(flag);
    EXPECT_EQ(text, "preset");
}

TEST_F(StoreTest, AWriteOfAnotherTypeReplacesValueAndType)
{
    Store store(m_folders);
    ASSERT_EQ(store.Set("db/key", 1), kOk);
    ASSERT_EQ(store.Set("db/key", std::string("text")), kOk);
    int number = 7;
    std::string text;
    EXPECT_EQ(store.GetInt("db/key", &number), kWrongType);
    EXPECT_EQ(store.GetString("db/key", &text), kOk);
    EXPECT_EQ(text, "text");
}

TEST_F(StoreTest, AKeyOfNoKnownKindHoldsNothingAndOpensNothing)
{
    Store store(m_folders);
    std::string text;
    EXPECT_EQ(store.GetString("Not available any more", &text), kNotFound);
    EXPECT_EQ(store.Unset("Not available any more"), kNotFound);
    EXPECT_FALSE(std::filesystem::exists(m_folders.persistent));
    EXPECT_FALSE(std::filesystem::exists(m_folders.memory));
}

TEST_F(StoreTest, WritingAKeyOfNoKnownKindIsRefusedWithOneMessage)
{
    Store store(m_folders);
    CaptureStderr();
    for (const char* key : {"Not available any more", "", "db/", "memory/", "dbx", "/db/key"}) {
        EXPECT_EQ(store.Set(key, 1), kFailed) << key;
        EXPECT_EQ(store.SetAsync(key, 1, nullptr, nullptr), kFailed) << key;
        EXPECT_EQ(store.Watch(key, &Recorder::OnChange, nullptr), kFailed) << key;
    }
    EXPECT_EQ(GetCapturedStderr(),
              "settings: \"Not available any more\" cannot be written or watched: a key begins with db/ or memory/\n");
}

TEST_F(StoreTest, NullArgumentsFail)
{
    Store store(m_folders);
    int number = 7;
    Value value;
    EXPECT_EQ(store.Get(nullptr, &value), kFailed);
    EXPECT_EQ(store.Get("db/key", nullptr), kFailed);
    EXPECT_EQ(store.GetInt(nullptr, &number), kFailed);
    EXPECT_EQ(store.GetInt("db/key", nullptr), kFailed);
    EXPECT_EQ(store.GetBool("db/key", nullptr), kFailed);
    EXPECT_EQ(store.GetString("db/key", nullptr), kFailed);
    EXPECT_EQ(store.Set(nullptr, 1), kFailed);
    EXPECT_EQ(store.SetAsync(nullptr, 1, nullptr, nullptr), kFailed);
    EXPECT_EQ(store.Unset(nullptr), kFailed);
    EXPECT_EQ(store.List("", nullptr), kFailed);
    EXPECT_EQ(store.Watch(nullptr, &Recorder::OnChange, nullptr), kFailed);
    EXPECT_EQ(store.Watch("db/key", nullptr, nullptr), kFailed);
    EXPECT_EQ(store.Unwatch(nullptr, &Recorder::OnChange), kFailed);
    EXPECT_EQ(store.Unwatch("db/key", nullptr), kFailed);
}

TEST_F(StoreTest, AnUnsetKeyIsNotFound)
{
    Store store(m_folders);
    ASSERT_EQ(store.Set("memory/key", 1), kOk);
    EXPECT_EQ(store.Unset("memory/key"), kOk);
    EXPECT_EQ(store.Unset("memory/key"), kNotFound);
    int number = 7;
    EXPECT_EQ(store.GetInt("memory/key", &number), kNotFound);
}

TEST_F(StoreTest, ListGivesTheKeysOfAPrefixInOrder)
{
    Store store(m_folders);
    ASSERT_EQ(store.Set("memory/b", true), kOk);
    ASSERT_EQ(store.Set("db/menu/b", std::string("x")), kOk);
    ASSERT_EQ(store.Set("db/menu/a", 1), kOk);
    ASSERT_EQ(store.Set("db/menus", 2), kOk);
    ASSERT_EQ(store.Set("db/a", 3), kOk);
    EXPECT_THAT(Listed(store, ""), ElementsAre(Pair("db/a", Value(3)), Pair("db/menu/a", Value(1)),
                                               Pair("db/menu/b", Value(std::string("x"))), Pair("db/menus", Value(2)),
                                               Pair("memory/b", Value(true))));
    EXPECT_THAT(Listed(store, "db/menu/"),
                ElementsAre(Pair("db/menu/a", Value(1)), Pair("db/menu/b", Value(std::string("x")))));
    EXPECT_THAT(Listed(store, "memory/"), ElementsAre(Pair("memory/b", Value(true))));
    EXPECT_THAT(Listed(store, "m"), ElementsAre(Pair("memory/b", Value(true))));
    EXPECT_THAT(Listed(store, "db/zzz"), ElementsAre());
    EXPECT_THAT(Listed(store, "other"), ElementsAre());
}

TEST_F(StoreTest, PersistentKeysSurviveAndMemoryKeysGoWithTheirFolder)
{
    {
        Store store(m_folders);
        ASSERT_EQ(store.Set("db/key", 1), kOk);
        ASSERT_EQ(store.Set("memory/key", 2), kOk);
    }
    std::filesystem::remove_all(m_folders.memory); // what a reboot does to a RAM file system
    Store store(m_folders);
    int number = 0;
    EXPECT_EQ(store.GetInt("db/key", &number), kOk);
    EXPECT_EQ(number, 1);
    EXPECT_EQ(store.GetInt("memory/key", &number), kNotFound);
}

TEST_F(StoreTest, AnAsynchronousWriteTellsItsResultLater)
{
    struct Told
    {
        int result = 99;
        std::string key;
        static void Done(int result, const char* key, void* self)
        {
            *static_cast<Told*>(self) = {result, key};
        }
    } told;
    Store store(m_folders);
    EXPECT_EQ(store.SetAsync("db/key", 4, &Told::Done, &told), kOk);
    EXPECT_EQ(told.result, 99);
    ASSERT_TRUE(RunUntil([&told] { return told.result != 99; }));
    EXPECT_EQ(told.result, kOk);
    EXPECT_EQ(told.key, "db/key");
    int number = 0;
    EXPECT_EQ(store.GetInt("db/key", &number), kOk);
    EXPECT_EQ(number, 4);
}

TEST_F(StoreTest, AnAsynchronousWriteNeedsNoOneToTell)
{
    Store store(m_folders);
    EXPECT_EQ(store.SetAsync("db/key", std::string("x"), nullptr, nullptr), kOk);
    RunWhatIsDue();
    std::string text;
    EXPECT_EQ(store.GetString("db/key", &text), kOk);
    EXPECT_EQ(text, "x");
}

TEST_F(StoreTest, AnAsynchronousWriteIsNotToldOnceTheStoreIsGone)
{
    bool told = false;
    {
        Store store(m_folders);
        store.SetAsync(
            "db/key", 1, [](int, const char*, void* flag) { *static_cast<bool*>(flag) = true; }, &told);
    }
    RunWhatIsDue();
    EXPECT_FALSE(told);
}

TEST(LocationsTest, TheUsualFoldersStandUnderTheRoot)
{
    EXPECT_EQ(FoldersUnder("").persistent, "/var/lib/vyrel-lite");
    EXPECT_EQ(FoldersUnder("").memory, "/run/vyrel-lite");
    EXPECT_EQ(FoldersUnder("/tv").persistent, "/tv/var/lib/vyrel-lite");
    EXPECT_EQ(FoldersUnder("/tv").memory, "/tv/run/vyrel-lite");
}

constexpr std::size_t kMebibyte = 1'048'576;

TEST_F(StoreTest, AStringOfOneMebibyteIsKeptAndALongerOneIsRefused)
{
    for (const std::string key : {"db/key", "memory/key"}) {
        Store store(m_folders);
        Recorder recorder;
        int told = 0;
        ASSERT_EQ(store.Watch(key.c_str(), &Recorder::OnChange, &recorder), kOk);
        EXPECT_EQ(store.Set(key.c_str(), std::string(kMebibyte, 'x')), kOk);
        CaptureStderr();
        EXPECT_EQ(store.Set(key.c_str(), std::string(kMebibyte + 1, 'y')), kFailed);
        EXPECT_EQ(store.Set(key.c_str(), std::string(kMebibyte + 2, 'y')), kFailed);
        EXPECT_EQ(store.SetAsync(
                      key.c_str(), std::string(kMebibyte + 1, 'y'),
                      [](int, const char*, void* count) { ++*static_cast<int*>(count); }, &told),
                  kFailed);
        EXPECT_EQ(GetCapturedStderr(), "settings: \"" + key +
                                           "\" cannot be written or watched: the value has 1048577 bytes, more than "
                                           "1048576\n");
        RunWhatIsDue();
        EXPECT_THAT(recorder.notices, ElementsAre(key + "=\"" + std::string(kMebibyte, 'x') + "\""));
        EXPECT_EQ(told, 0);
        std::string text;
        EXPECT_EQ(store.GetString(key.c_str(), &text), kOk);
        EXPECT_TRUE(text == std::string(kMebibyte, 'x'));
    }
}

TEST_F(StoreTest, AKeyOfOneMebibyteIsKeptAndALongerOneIsRefused)
{
    Store store(m_folders);
    Recorder recorder;
    const std::string longest = "db/" + std::string(kMebibyte - 3, 'k');
    const std::string tooLong = longest + "k";
    EXPECT_EQ(store.Watch(longest.c_str(), &Recorder::OnChange, &recorder), kOk);
    EXPECT_EQ(store.Set(longest.c_str(), 1), kOk);
    CaptureStderr();
    EXPECT_EQ(store.Set(tooLong.c_str(), 2), kFailed);
    EXPECT_EQ(store.Watch(tooLong.c_str(), &Recorder::OnChange, &recorder), kFailed);
    EXPECT_EQ(GetCapturedStderr(), "settings: \"db/" + std::string(97, 'k') +
                                       "\" cannot be written or watched: the key has 1048577 bytes, more than "
                                       "1048576\n");
    RunWhatIsDue();
    EXPECT_THAT(recorder.notices, ElementsAre(longest + "=1"));
    int number = 0;
    EXPECT_EQ(store.GetInt(longest.c_str(), &number), kOk);
    EXPECT_EQ(number, 1);
    EXPECT_EQ(store.GetInt(tooLong.c_str(), &number), kNotFound);
}

TEST_F(StoreTest, AStringThatIsLongerInTheFileCanBeRead)
{
    Database database(m_folders.persistent, kPersistentFile, Durability::ProcessDeath);
    std::int64_t change = 0;
    ASSERT_EQ(database.Set("db/key", std::string(2 * kMebibyte, 'x'), change), kOk);
    Store store(m_folders);
    std::string text;
    EXPECT_EQ(store.GetString("db/key", &text), kOk);
    EXPECT_TRUE(text == std::string(2 * kMebibyte, 'x'));
}

} // namespace
} // namespace settings
