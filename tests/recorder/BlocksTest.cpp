// The file of a life: what is written comes back, within its bound, and whatever befalls the file or the disk.

#include "recorder/Blocks.h"

#include "recorder/FileFormat.h"
#include "settings/FileDescriptor.h"
#include "support/TempDir.h"
#include "tv/recording/Recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// What becomes of a write, given its size and place: how many bytes are taken, or a negative number with errno.
std::function<ssize_t(std::size_t size, off_t at)> g_onWrite;

} // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): these names are the linker's
extern "C" {
ssize_t __real_pwrite(int file, const void* data, std::size_t size, off_t at);
ssize_t __wrap_pwrite(int file, const void* data, std::size_t size, off_t at);
ssize_t __wrap_pwrite64(int file, const void* data, std::size_t size, off_t at);

ssize_t __wrap_pwrite(int file, const void* data, std::size_t size, off_t at)
{
    const ssize_t taken = g_onWrite ? g_onWrite(size, at) : static_cast<ssize_t>(size);
    return taken <= 0 ? taken : __real_pwrite(file, data, static_cast<std::size_t>(taken), at);
}

ssize_t __wrap_pwrite64(int file, const void* data, std::size_t size, off_t at)
{
    return __wrap_pwrite(file, data, size, at);
}
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

namespace {

using recorder::Blocks;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr std::uint64_t kLimit = Blocks::kLeastLimit;

std::string Text(const recording::Record& record)
{
    return {reinterpret_cast<const char*>(record.data()), record.size()};
}

std::vector<std::string> Texts(const recording::Recording& recording)
{
    std::vector<std::string> texts;
    std::ranges::transform(recording.records, std::back_inserter(texts), Text);
    return texts;
}

/// A text that cannot be made shorter.
std::string Noise(std::size_t size, unsigned int seed)
{
    std::mt19937 random(seed);
    std::string noise(size, '\0');
    std::ranges::generate(noise, [&] { return static_cast<char>(random()); });
    return noise;
}

class RecordingFile : public ::testing::Test
{
protected:
    RecordingFile() : m_file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600))
    {
        blocks.Begin(m_file.Get(), 0x1234);
    }
    ~RecordingFile() override
    {
        g_onWrite = nullptr;
    }

    void Add(std::string_view record)
    {
        blocks.Add(std::as_bytes(std::span(record)), {});
    }
    /// So many records, each of so many bytes that cannot be made shorter, with their number.
    void AddMany(int count, std::size_t size)
    {
        for (int i = 0; i < count; ++i) {
            Add(std::to_string(m_number) + " " + Noise(size, static_cast<unsigned int>(m_number)));
            ++m_number;
        }
    }
    [[nodiscard]] recording::Recording Read() const
    {
        return recording::Read(path);
    }
    /// The numbers of the records that AddMany added.
    [[nodiscard]] std::vector<int> ReadNumbers() const
    {
        std::vector<int> numbers;
        for (const std::string& text : Texts(Read())) {
            numbers.push_back(std::stoi(text));
        }
        return numbers;
    }
    [[nodiscard]] std::string Bytes() const
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    [[nodiscard]] std::filesystem::path Copy(std::string_view bytes) const
    {
        std::filesystem::path copy = m_folder.Path() / "copy";
        std::ofstream(copy, std::ios::binary) << bytes;
        return copy;
    }
    [[nodiscard]] std::string WhyUnreadable(std::string_view bytes) const
    {
        try {
            recording::Read(Copy(bytes));
            return "it was read";
        } catch (const recording::Unreadable& unreadable) {
            return unreadable.what();
        }
    }

    Blocks blocks{kLimit};

private:
    support::TempDir m_folder;
    int m_number = 0;

protected:
    std::filesystem::path path = m_folder.Path() / "recording";

private:
    settings::FileDescriptor m_file;
};

TEST_F(RecordingFile, GivesBackWhatWasWritten)
{
    const std::vector<std::string> records = {"one", "", std::string(100, 'x'), Noise(300, 1), std::string("\0\1", 2)};
    for (const std::string& record : records) {
        Add(record);
        blocks.Write();
    }
    EXPECT_EQ(Texts(Read()), records);
    EXPECT_THAT(Read().gaps, IsEmpty());
    EXPECT_THAT(Read().remarks, IsEmpty());
}

TEST_F(RecordingFile, HasNothingUnwrittenAfterAWrite)
{
    EXPECT_FALSE(blocks.HasUnwritten());
    Add("one");
    EXPECT_TRUE(blocks.HasUnwritten());
    blocks.Write();
    EXPECT_FALSE(blocks.HasUnwritten());
    const std::string before = Bytes();
    blocks.Write();
    EXPECT_EQ(Bytes(), before);
}

TEST_F(RecordingFile, TakesARecordThatLiesInTwoParts)
{
    const std::string one = "be";
    const std::string other = "gin";
    blocks.Add(std::as_bytes(std::span(one)), std::as_bytes(std::span(other)));
    blocks.Write();
    EXPECT_THAT(Texts(Read()), ElementsAre("begin"));
}

TEST_F(RecordingFile, KeepsRecordsThatAreLargerThanABlock)
{
    std::vector<std::string> records;
    for (const std::size_t size : {15'999U, 16'000U, 16'001U, 16'384U, 32'000U, 100'000U, 3U}) {
        records.push_back(Noise(size, static_cast<unsigned int>(size)));
        Add(records.back());
    }
    blocks.Write();
    EXPECT_EQ(Texts(Read()), records);
    EXPECT_THAT(Read().remarks, IsEmpty());
}

TEST_F(RecordingFile, NeverGrowsBeyondItsBoundAndKeepsBeginAndEnd)
{
    for (int i = 0; i < 1000; ++i) {
        AddMany(1, 1000);
        if (i % 7 == 0) {
            blocks.Write();
        }
        ASSERT_LE(std::filesystem::file_size(path), kLimit);
    }
    blocks.Write();
    const std::vector<int> numbers = ReadNumbers();
    const recording::Recording recording = Read();
    ASSERT_THAT(recording.gaps, SizeIs(1));
    const recording::Gap& gap = recording.gaps.front();
    EXPECT_THAT(gap.why, HasSubstr("the middle of a long life is not kept"));
    EXPECT_GT(gap.before, 20U); // two blocks of sixteen, with some fifteen records each
    EXPECT_LT(gap.before, 40U);
    EXPECT_GT(numbers.size(), 180U);
    EXPECT_EQ(numbers.size() + gap.count, 1000U);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        ASSERT_EQ(numbers[i], static_cast<int>(i + (i < gap.before ? 0 : gap.count)));
    }
}

TEST_F(RecordingFile, IsReadUpToWhereItWasCutOffAtEachByte)
{
    for (int i = 0; i < 12; ++i) {
        Add("record " + std::to_string(i));
        if (i % 3 == 2) {
            blocks.Write();
        }
    }
    const std::string whole = Bytes();
    const std::vector<std::string> all = Texts(Read());
    ASSERT_THAT(all, SizeIs(12));
    std::size_t most = 0;
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::string cut = whole.substr(0, length);
        if (length < recorder::kHeaderSize) {
            const std::string why = WhyUnreadable(cut);
            ASSERT_THAT(why, ::testing::AnyOf(HasSubstr("is empty"), HasSubstr("is no recording"),
                                              HasSubstr("its blocks are damaged")))
                << length;
            continue;
        }
        const recording::Recording read = recording::Read(Copy(cut));
        const std::vector<std::string> texts = Texts(read);
        ASSERT_LT(texts.size(), all.size());
        ASSERT_TRUE(std::equal(texts.begin(), texts.end(), all.begin())) << length;
        ASSERT_GE(texts.size(), most) << length;
        most = texts.size();
        ASSERT_THAT(read.gaps, IsEmpty());
    }
    EXPECT_EQ(most, 9U);
}

TEST_F(RecordingFile, SaysThatItsEndIsCutOff)
{
    Add("one");
    blocks.Write();
    Add("two");
    blocks.Write();
    const std::string whole = Bytes();
    const recording::Recording read = recording::Read(Copy(std::string_view(whole).substr(0, whole.size() - 1)));
    EXPECT_THAT(Texts(read), ElementsAre("one"));
    EXPECT_FALSE(read.hasEnd);
    EXPECT_THAT(read.remarks, ElementsAre("its end is cut off: what came before it is there"));
    EXPECT_TRUE(Read().hasEnd);
}

TEST_F(RecordingFile, NeverSaysWhatWasNotWrittenWhicheverByteIsDamaged)
{
    AddMany(12, 1500); // two blocks
    blocks.Write();
    const std::string whole = Bytes();
    const std::vector<std::string> all = Texts(Read());
    ASSERT_THAT(all, SizeIs(12));
    std::size_t least = all.size();
    for (std::size_t at = 0; at < whole.size(); at += at < 2 * recorder::kHeaderSize ? 1 : 61) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(~damaged[at]);
        const recording::Recording read = recording::Read(Copy(damaged));
        const std::vector<std::string> texts = Texts(read);
        ASSERT_TRUE(std::ranges::includes(
            all, texts, {}, [&](const std::string& text) { return std::stoi(text); },
            [&](const std::string& text) { return std::stoi(text); }))
            << at;
        for (const std::string& text : texts) {
            ASSERT_EQ(text, all[static_cast<std::size_t>(std::stoi(text))]);
        }
        least = std::min(least, texts.size());
    }
    EXPECT_GT(least, 0U); // each block is read without the other
    EXPECT_LT(least, all.size() - 1);
}

TEST_F(RecordingFile, SaysHowManyRecordsADamagedBlockHad)
{
    AddMany(40, 1500);
    blocks.Write();
    std::string bytes = Bytes();
    bytes[recorder::kBlockSize + 100] = static_cast<char>(~bytes[recorder::kBlockSize + 100]);
    const recording::Recording read = recording::Read(Copy(bytes));
    ASSERT_THAT(read.gaps, SizeIs(1));
    EXPECT_EQ(read.records.size() + read.gaps.front().count, 40U);
    EXPECT_THAT(read.gaps.front().why, HasSubstr("damaged"));
    EXPECT_THAT(read.remarks, ElementsAre(HasSubstr(std::to_string(read.gaps.front().count) + " records are missing")));
}

TEST_F(RecordingFile, DropsThePiecesOfARecordWhoseBlockIsDamaged)
{
    Add("before");
    Add(Noise(50'000, 1));
    Add("behind");
    blocks.Write();
    std::string bytes = Bytes();
    bytes[2 * recorder::kBlockSize + 200] ^= 1;
    const recording::Recording read = recording::Read(Copy(bytes));
    EXPECT_TRUE(Texts(read) == std::vector<std::string>({"before", "behind"}));
    ASSERT_THAT(read.gaps, SizeIs(1));
    EXPECT_EQ(read.gaps.front().count, 1U);
    EXPECT_EQ(read.gaps.front().before, 1U);
}

TEST_F(RecordingFile, IsNotMisledByWhatAnEarlierRoundLeftInABlock)
{
    const int rounds = static_cast<int>(kLimit / 1000) * 3;
    for (int i = 0; i < rounds; ++i) {
        AddMany(1, 1000);
        blocks.Write();
        if (i % 17 == 0) { // no multiple of what fits into a block
            const std::vector<int> numbers = ReadNumbers();
            ASSERT_EQ(numbers.back(), i);
            ASSERT_TRUE(std::ranges::is_sorted(numbers));
        }
    }
}

TEST_F(RecordingFile, TellsHowManyWereLostOnTheWay)
{
    Add("one");
    blocks.AddLost(7);
    Add("two");
    blocks.Write();
    const recording::Recording read = Read();
    EXPECT_THAT(Texts(read), ElementsAre("one", "two"));
    ASSERT_THAT(read.gaps, SizeIs(1));
    EXPECT_EQ(read.gaps.front().before, 1U);
    EXPECT_EQ(read.gaps.front().count, 7U);
    EXPECT_THAT(read.gaps.front().why, HasSubstr("did not take them in time"));
}

TEST_F(RecordingFile, WritesLaterWhatCouldNotBeWrittenAtOnce)
{
    g_onWrite = [](std::size_t, off_t) {
        errno = ENOSPC;
        return -1;
    };
    Add("one");
    blocks.Write();
    EXPECT_EQ(blocks.Failure(), ENOSPC);
    EXPECT_TRUE(blocks.HasUnwritten());
    g_onWrite = nullptr;
    Add("two");
    blocks.Write();
    EXPECT_EQ(blocks.Failure(), 0);
    EXPECT_THAT(Texts(Read()), ElementsAre("one", "two"));
}

TEST_F(RecordingFile, MissesWhatDidNotFitWhileTheDiskWasFullAndGoesOn)
{
    AddMany(3, 100);
    blocks.Write();
    g_onWrite = [](std::size_t, off_t) {
        errno = ENOSPC;
        return -1;
    };
    AddMany(60, 1000);
    blocks.Write();
    EXPECT_EQ(blocks.Failure(), ENOSPC);
    g_onWrite = nullptr;
    AddMany(3, 100);
    blocks.Write();
    const std::vector<int> numbers = ReadNumbers();
    EXPECT_EQ(numbers.back(), 65);
    EXPECT_EQ(numbers.at(2), 2);
    const recording::Recording read = Read();
    ASSERT_THAT(read.gaps, SizeIs(1));
    EXPECT_EQ(read.records.size() + read.gaps.front().count, 66U);
}

TEST_F(RecordingFile, GoesRoundInTheRoomThatAFullDiskLeavesIt)
{
    constexpr off_t kRoom = 7 * static_cast<off_t>(recorder::kBlockSize);
    g_onWrite = [](std::size_t size, off_t at) -> ssize_t {
        if (at + static_cast<off_t>(size) > kRoom) {
            errno = ENOSPC;
            return -1;
        }
        return static_cast<ssize_t>(size);
    };
    AddMany(1000, 1000);
    blocks.Write();
    EXPECT_EQ(blocks.Failure(), 0);
    EXPECT_LE(std::filesystem::file_size(path), static_cast<std::uintmax_t>(kRoom));
    const std::vector<int> numbers = ReadNumbers();
    EXPECT_EQ(numbers.front(), 0);
    EXPECT_EQ(numbers.back(), 999);
    EXPECT_GT(numbers.size(), 80U);
    EXPECT_THAT(Read().gaps, SizeIs(1));
}

TEST_F(RecordingFile, SurvivesAWriteThatIsTornAtAnyByte)
{
    Add("one");
    blocks.Write();
    const std::string before = Bytes();
    Add("two");
    blocks.Write();
    const std::string after = Bytes();
    for (std::size_t torn = before.size(); torn < after.size(); ++torn) {
        // A file system may have made the file as long as it was to be, and brought zeros to the disk for the rest.
        const std::string zeros = after.substr(0, torn) + std::string(after.size() - torn, '\0');
        ASSERT_THAT(Texts(recording::Read(Copy(zeros))), ElementsAre("one")) << torn;
    }
}

TEST_F(RecordingFile, WritesOnWhereTheSystemTookHalf)
{
    int calls = 0;
    g_onWrite = [&calls](std::size_t size, off_t) -> ssize_t {
        if (++calls % 2 == 0) {
            errno = EINTR;
            return -1;
        }
        return static_cast<ssize_t>((size + 1) / 2);
    };
    AddMany(30, 1000);
    blocks.Write();
    EXPECT_THAT(ReadNumbers(), SizeIs(30));
    EXPECT_GT(calls, 10);
}

TEST_F(RecordingFile, OfAnotherVersionSaysWhatToDo)
{
    Add("one");
    blocks.Write();
    std::string bytes = Bytes();
    bytes[8] = 2;
    EXPECT_THAT(WhyUnreadable(bytes),
                HasSubstr("is a recording of version 2, and this program reads version 1: take the vyrel-tv that"));
}

TEST_F(RecordingFile, ThatIsNoneIsRefused)
{
    EXPECT_THAT(WhyUnreadable(""), HasSubstr("is empty: nothing was recorded"));
    EXPECT_THAT(WhyUnreadable("{\"format\":\"vyrel-tv run\"}\n"), HasSubstr("copy is no recording of the service"));
    EXPECT_THAT(WhyUnreadable(Noise(100'000, 1)), HasSubstr("is no recording"));
    EXPECT_THAT(WhyUnreadable(std::string(20'000, '\0')), HasSubstr("is no recording"));
    EXPECT_THROW(recording::Read(path.parent_path()), recording::Unreadable);
    EXPECT_THROW(recording::Read(path / "nothing"), recording::Unreadable);
    ASSERT_EQ(::mkfifo((path.string() + ".fifo").c_str(), 0600), 0);
    EXPECT_THROW(recording::Read(path.string() + ".fifo"), recording::Unreadable);
}

} // namespace
