// What a record is made of, and what the recorder makes of the service's calls. It stands over the platform that does
// nothing, between which and the service there is no difference but the records.

#include "recorder/Decoded.h"
#include "recorder/Functions.h"
#include "recorder/InWords.h"
#include "recorder/Kind.h"
#include "recorder/Pool.h"
#include "recorder/Reader.h"
#include "recorder/Recording.h"
#include "recorder/Sink.h"
#include "recorder/Writer.h"
#include "support/TempDir.h"
#include "tv/recording/Recording.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>
#include <bt_hid.h>
#include <dlog.h>
#include <fcntl.h>
#include <unistd.h>
#include <vconf.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

extern "C" {
int seam_bt_adapter_get_state(bt_adapter_state_e* state);
int seam_bt_adapter_set_state_changed_cb(bt_adapter_state_changed_cb callback, void* userData);
int seam_bt_adapter_set_eir_manufacturer_data(const char* data, int length);
int seam_vconf_set_str(const char* key, const char* value);
char* seam_vconf_get_str(const char* key);
int seam_vconf_ignore_key_changed(const char* key, vconf_callback_fn callback);
guint seam_g_timeout_add(guint interval, GSourceFunc function, gpointer data);
gboolean seam_g_source_remove(guint id);
int seam_open(const char* path, int flags, ...);
ssize_t seam_read(int descriptor, void* room, size_t size);
ssize_t seam_write(int descriptor, const void* contents, size_t size);
int seam_close(int descriptor);
[[gnu::format(printf, 4, 5)]] int seam_dlog_print(int log, int priority, const char* tag, const char* format, ...);
}

namespace {

using recorder::Callback;
using recorder::Decoded;
using recorder::Kind;
using recorder::Reader;
using recorder::Writer;

std::vector<std::byte> Written(const std::function<void(Writer&)>& fields)
{
    Writer writer;
    writer.Begin(Kind::Lost);
    fields(writer);
    return {writer.Record().begin(), writer.Record().end()};
}

Reader Behind(const std::vector<std::byte>& record)
{
    Reader reader(record);
    reader.Kind();
    return reader;
}

TEST(Records, NumbersOfEverySizeSurvive)
{
    for (const std::uint64_t number : {std::uint64_t{0}, std::uint64_t{127}, std::uint64_t{128}, std::uint64_t{16383},
                                       std::uint64_t{16384}, std::numeric_limits<std::uint64_t>::max()}) {
        const auto record = Written([&](Writer& writer) { writer.Unsigned(number); });
        EXPECT_EQ(Behind(record).Unsigned(), number);
    }
    for (const std::int64_t number :
         {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1}, std::int64_t{-64}, std::int64_t{64},
          std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
        const auto record = Written([&](Writer& writer) { writer.Signed(number); });
        EXPECT_EQ(Behind(record).Signed(), number);
    }
}

TEST(Records, SmallNumbersTakeOneByteOfEitherSign)
{
    EXPECT_EQ(Written([](Writer& writer) { writer.Signed(-64); }).size(), 2U);
    EXPECT_EQ(Written([](Writer& writer) { writer.Signed(63); }).size(), 2U);
    EXPECT_EQ(Written([](Writer& writer) { writer.Signed(64); }).size(), 3U);
}

TEST(Records, NoTextIsNotAnEmptyOne)
{
    const auto record = Written([](Writer& writer) {
        writer.Text(static_cast<const char*>(nullptr));
        writer.Text("");
        writer.Text("a");
    });
    Reader reader = Behind(record);
    EXPECT_EQ(reader.Text(), std::nullopt);
    EXPECT_EQ(reader.Text(), "");
    EXPECT_EQ(reader.Text(), "a");
    EXPECT_TRUE(reader.IsAtEnd());
}

TEST(Records, ATextThatIsLongerThanTheRoomSurvives)
{
    const std::string text(std::size_t{1024} * 1024, 'x');
    const auto record = Written([&](Writer& writer) { writer.Text(std::string_view(text)); });
    EXPECT_EQ(Behind(record).Text(), text);
}

TEST(Records, ANumberWithoutAnEndIsRefused)
{
    const std::vector<std::byte> record(12, std::byte{0xFF});
    Reader reader(std::span<const std::byte>(record).subspan(1));
    EXPECT_THROW(reader.Unsigned(), recorder::Malformed);
}

TEST(Records, ATextLongerThanItsRecordIsRefused)
{
    auto record = Written([](Writer& writer) { writer.Text("abc"); });
    record.pop_back();
    EXPECT_THROW(Behind(record).Text(), recorder::Malformed);
    const auto huge = Written([](Writer& writer) { writer.Unsigned(std::numeric_limits<std::uint64_t>::max()); });
    EXPECT_THROW(Behind(huge).Text(), recorder::Malformed);
}

TEST(Records, AKindThatDoesNotExistIsRefused)
{
    for (const unsigned int kind : {0U, 10U, 255U}) {
        const std::vector<std::byte> record = {std::byte{static_cast<unsigned char>(kind)}, std::byte{0}};
        EXPECT_THROW(recorder::Decode(record), recorder::Malformed);
    }
    EXPECT_THROW(recorder::Decode({}), recorder::Malformed);
}

TEST(Records, AFunctionThatDoesNotExistIsRefused)
{
    Writer writer;
    writer.Begin(Kind::Call);
    writer.Unsigned(recorder::kFunctions);
    EXPECT_THROW(recorder::Decode(writer.Record()), recorder::Malformed);
}

TEST(Records, OnlyTheBeginOfAnotherFormatIsRead)
{
    Writer writer;
    writer.Begin(Kind::LifeBegins);
    writer.Unsigned(recorder::kFormat + 1);
    writer.Text("who knows");
    const Decoded begin = recorder::Decode(writer.Record());
    EXPECT_EQ(begin.format, recorder::kFormat + 1);
    EXPECT_EQ(begin.service, "");
}

/// A life in a file of its own.
class Recorder : public testing::Test
{
protected:
    void Begin()
    {
        constexpr std::uint64_t kLimit = 1024ULL * 1024;
        ASSERT_TRUE(recorder::BeginLife(m_file.c_str(), kLimit, recorder::WhenFull::Waits));
    }

    /// What was recorded between the begin of the life and its end, each record taken apart and found to be the same
    /// when it is put together again.
    std::vector<Decoded> Ended()
    {
        recorder::EndLife(0);
        const std::vector<recording::Record> records = Read();
        std::vector<Decoded> decoded;
        for (const recording::Record& record : records) {
            decoded.push_back(recorder::Decode(record));
            EXPECT_EQ(recorder::Encode(decoded.back()), record);
        }
        EXPECT_EQ(decoded.front().kind, Kind::LifeBegins);
        EXPECT_EQ(decoded.back().kind, Kind::LifeEnds);
        return {decoded.begin() + 1, decoded.end() - 1};
    }

    std::vector<std::string> EndedInWords()
    {
        std::vector<std::string> words;
        for (const Decoded& record : Ended()) {
            words.push_back(recorder::InWords(record));
        }
        return words;
    }

    [[nodiscard]] std::string Folder() const
    {
        return m_folder.Path();
    }

private:
    /// The process that writes may not even have begun.
    std::vector<recording::Record> Read()
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < end) {
            try {
                std::vector<recording::Record> records = recording::Read(m_file).records;
                if (recorder::Decode(records.back()).kind == Kind::LifeEnds) {
                    return records;
                }
            } catch (const recording::Unreadable&) {
                // not yet
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ADD_FAILURE() << "nothing is written";
        return {recorder::Encode(Decoded())};
    }

    support::TempDir m_folder;
    std::string m_file = m_folder.Path() / "recording";
};

using Words = std::vector<std::string>;

TEST_F(Recorder, PassesCallsAsTheyAreWhileNobodyRecords)
{
    bt_adapter_state_e state = BT_ADAPTER_ENABLED;
    bt_adapter_state_e same = BT_ADAPTER_ENABLED;
    EXPECT_EQ(seam_bt_adapter_get_state(&state), bt_adapter_get_state(&same));
    EXPECT_EQ(state, same);
    EXPECT_FALSE(recorder::IsRecording());
}

TEST_F(Recorder, WritesWhatGoesInAndWhatComesOut)
{
    Begin();
    bt_adapter_state_e state = BT_ADAPTER_ENABLED;
    const int result = seam_bt_adapter_get_state(&state);
    seam_vconf_set_str("db/a", "\"text\"\n");
    std::free(seam_vconf_get_str("db/a"));
    constexpr std::array<char, 3> kData = {'\x01', '\x7f', '\x00'};
    seam_bt_adapter_set_eir_manufacturer_data(kData.data(), static_cast<int>(kData.size()));
    seam_bt_adapter_set_eir_manufacturer_data(nullptr, 5);
    EXPECT_EQ(result, BT_ERROR_NONE);
    EXPECT_EQ(
        EndedInWords(),
        (Words{"bt_adapter_get_state()", "bt_adapter_get_state gives = 0, state 0",
               "vconf_set_str(key \"db/a\", value \"\\\"text\\\"\\n\")", "vconf_set_str gives = 0",
               "vconf_get_str(key \"db/a\")", "vconf_get_str gives = none",
               "bt_adapter_set_eir_manufacturer_data(data [01 7f 00])",
               "bt_adapter_set_eir_manufacturer_data gives = 0", "bt_adapter_set_eir_manufacturer_data(data none)",
               "bt_adapter_set_eir_manufacturer_data gives = 0"}));
}

TEST_F(Recorder, NamesTheServicesFunctionsByTheirOrder)
{
    const bt_adapter_state_changed_cb first = [](int, bt_adapter_state_e, void*) {};
    const bt_adapter_state_changed_cb second = [](int, bt_adapter_state_e, void* data) { ++*static_cast<int*>(data); };
    Begin();
    seam_bt_adapter_set_state_changed_cb(first, nullptr);
    seam_bt_adapter_set_state_changed_cb(second, nullptr);
    seam_bt_adapter_set_state_changed_cb(first, nullptr);
    seam_bt_adapter_set_state_changed_cb(nullptr, nullptr);
    Words numbers;
    for (const Decoded& record : Ended()) {
        if (record.kind == Kind::Call) {
            numbers.push_back(recorder::InWords(record.values.front()));
        }
    }
    EXPECT_EQ(numbers, (Words{"number 1", "number 2", "number 1", "none"}));
}

template <std::size_t number>
void Numbered(int, bt_adapter_state_e, void*)
{}

TEST_F(Recorder, SaysWhenTheServiceHasTooManyFunctionsOfAType)
{
    Begin();
    [&]<std::size_t... numbers>(std::index_sequence<numbers...>)
    {
        (seam_bt_adapter_set_state_changed_cb(Numbered<numbers>, nullptr), ...);
    }
    (std::make_index_sequence<10>());
    std::size_t calls = 0;
    Words lost;
    for (const Decoded& record : Ended()) {
        calls += record.kind == Kind::Call ? 1U : 0U;
        if (record.kind == Kind::Lost) {
            lost.push_back(record.text);
        }
    }
    EXPECT_EQ(calls, 10U);
    EXPECT_EQ(lost, Words{"what bt_adapter_state_changed_cb is told, because the service has too many of them"});
}

TEST_F(Recorder, KnowsAFunctionThatIsOnlyNamed)
{
    const vconf_callback_fn never = [](keynode_t*, void*) {};
    Begin();
    seam_vconf_ignore_key_changed("db/a", never);
    EXPECT_EQ(EndedInWords().front(), "vconf_ignore_key_changed(key \"db/a\", callback number 1)");
}

gboolean CountsAndEnds(gpointer data)
{
    ++*static_cast<int*>(data);
    return G_SOURCE_REMOVE;
}

TEST_F(Recorder, TellsATimerWithItsId)
{
    int count = 0;
    Begin();
    const guint id = seam_g_timeout_add(0, CountsAndEnds, &count);
    while (count == 0) {
        g_main_context_iteration(nullptr, TRUE);
    }
    const std::vector<Decoded> records = Ended();
    ASSERT_EQ(records.size(), 4U);
    EXPECT_EQ(records[1].values.front().number, static_cast<std::int64_t>(id));
    EXPECT_EQ(recorder::InWords(records[2]), "it is told: GSourceFunc (timer " + std::to_string(id) + ")");
    EXPECT_EQ(records[2].since, 1U);
    EXPECT_EQ(recorder::InWords(records[3]), "GSourceFunc has been dealt with = 0");
}

TEST_F(Recorder, SaysWhichOfTheTimesAFunctionWasGivenIsMeant)
{
    int count = 0;
    int other = 0;
    Begin();
    seam_g_timeout_add(0, CountsAndEnds, &count);
    const guint removed = seam_g_timeout_add(60'000, CountsAndEnds, &other);
    while (count == 0) {
        g_main_context_iteration(nullptr, TRUE);
    }
    seam_g_source_remove(removed);
    const std::vector<Decoded> records = Ended();
    EXPECT_EQ(records[4].since, 2U);
    EXPECT_EQ(recorder::UserData(Callback::GSourceFunc, 0, 2), &count);
    EXPECT_EQ(recorder::UserData(Callback::GSourceFunc, 0, 1), &other);
    EXPECT_EQ(recorder::UserData(Callback::GSourceFunc, 0, 17), std::nullopt);
    EXPECT_EQ(recorder::UserData(Callback::GSourceFunc, 0, 0), std::nullopt);
    EXPECT_EQ(recorder::UserData(Callback::GSourceFunc, 7, 1), std::nullopt);
}

TEST_F(Recorder, WritesTheErrorOfAFile)
{
    Begin();
    EXPECT_EQ(seam_open((Folder() + "/missing").c_str(), O_RDONLY | O_CLOEXEC), -1);
    const std::vector<Decoded> records = Ended();
    EXPECT_EQ(records[1].values.front().number, -ENOENT);
}

TEST_F(Recorder, WritesWhatIsReadAndWritten)
{
    const std::string path = Folder() + "/file";
    Begin();
    int descriptor = seam_open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    seam_write(descriptor, "abc", 3);
    seam_close(descriptor);
    descriptor = seam_open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::array<char, 16> room = {};
    EXPECT_EQ(seam_read(descriptor, room.data(), room.size()), 3);
    EXPECT_STREQ(room.data(), "abc");
    seam_close(descriptor);
    const Words words = EndedInWords();
    ASSERT_EQ(words.size(), 8U);
    EXPECT_EQ(words[2], "write(file 1, contents \"abc\")");
    EXPECT_EQ(words[7], "read gives = 3, contents \"abc\"");
}

TEST_F(Recorder, LeavesFilesAloneThatTheServiceDidNotOpenByName)
{
    std::array<int, 2> ends = {-1, -1};
    ASSERT_EQ(::pipe(ends.data()), 0);
    Begin();
    EXPECT_EQ(seam_write(ends[1], "a", 1), 1);
    seam_close(ends[0]);
    seam_close(ends[1]);
    EXPECT_EQ(Ended().size(), 0U);
}

TEST_F(Recorder, WritesALineOfTheLogHoweverLongItIs)
{
    const std::string text(10'000, 'x');
    Begin();
    seam_dlog_print(LOG_ID_MAIN, DLOG_WARN, "TAG", "%s: %s(%d) > %s", "File.cpp", "Function", 7, text.c_str());
    EXPECT_EQ(EndedInWords(), Words{"log W TAG File.cpp: Function(7) > " + text});
}

} // namespace
