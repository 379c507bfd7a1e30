// The files of several lives: which are kept, and what is never touched.

#include "recorder/Lives.h"

#include "recorder/FileFormat.h"
#include "settings/FileDescriptor.h"
#include "support/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

namespace {

using recorder::Lives;
using settings::FileDescriptor;

constexpr std::uint64_t kLimit = 1000; // bytes of older lives

class LivesTest : public ::testing::Test
{
protected:
    /// What a recording begins with, and a word to know it by.
    static std::string Recording(const std::string& word, std::size_t size = 100)
    {
        std::string text(recorder::kMagic.begin(), recorder::kMagic.end());
        text += word;
        text.resize(size, '.');
        return text;
    }
    void Write(const std::string& name, const std::string& contents) const
    {
        std::ofstream(Path(name), std::ios::binary) << contents;
    }
    /// The word of a recording; "none" where there is no file.
    [[nodiscard]] std::string Word(const std::string& name) const
    {
        std::ifstream file(Path(name), std::ios::binary);
        const std::string text(std::istreambuf_iterator<char>(file), {});
        return !file ? "none" : text.substr(recorder::kMagic.size(), text.find('.') - recorder::kMagic.size());
    }
    [[nodiscard]] std::filesystem::path Path(const std::string& name) const
    {
        return m_folder.Path() / name;
    }
    /// Begins a life in the file "rec". \return why it cannot; empty when it can
    std::string Begin()
    {
        const std::string path = Path("rec");
        const Lives lives(path, kLimit);
        m_file = FileDescriptor();
        const Lives::Trouble trouble = lives.Begin(m_file);
        return trouble.path == nullptr ? "" : trouble.what;
    }
    [[nodiscard]] std::size_t Files() const
    {
        const std::filesystem::directory_iterator all(m_folder.Path());
        return static_cast<std::size_t>(std::distance(begin(all), end(all)));
    }

    support::TempDir m_folder;
    FileDescriptor m_file;
};

TEST_F(LivesTest, ANewFileIsForItsOwnerAlone)
{
    EXPECT_EQ(Begin(), "");
    struct stat status = {};
    ASSERT_EQ(::stat(Path("rec").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
    EXPECT_EQ(status.st_size, 0);
    EXPECT_EQ(Files(), 1U);
}

TEST_F(LivesTest, EarlierLivesMoveUp)
{
    Write("rec", Recording("a"));
    Write("rec.1", Recording("b"));
    Write("rec.2", Recording("c"));
    EXPECT_EQ(Begin(), "");
    EXPECT_EQ(std::filesystem::file_size(Path("rec")), 0U);
    EXPECT_EQ(Word("rec.1"), "a");
    EXPECT_EQ(Word("rec.2"), "b");
    EXPECT_EQ(Word("rec.3"), "c");
    EXPECT_EQ(Files(), 4U);
}

TEST_F(LivesTest, TheOldestGoesWhenThereAreTooMany)
{
    Write("rec", Recording("0"));
    for (std::size_t i = 1; i <= Lives::kOlder; ++i) {
        Write("rec." + std::to_string(i), Recording(std::to_string(i)));
    }
    EXPECT_EQ(Begin(), "");
    EXPECT_EQ(Files(), Lives::kOlder + 1);
    EXPECT_EQ(Word("rec.1"), "0");
    EXPECT_EQ(Word("rec.9"), "8");
}

TEST_F(LivesTest, TheOldestGoWhenAllTogetherAreTooLarge)
{
    Write("rec", Recording("a", 600));
    Write("rec.1", Recording("b", 400));

    Write("rec.2", Recording("c", 20));
    EXPECT_EQ(Begin(), "");
    EXPECT_EQ(Word("rec.1"), "a");
    EXPECT_EQ(Word("rec.2"), "b"); // to the byte
    EXPECT_EQ(Word("rec.3"), "none");
    EXPECT_EQ(Files(), 3U);
}

TEST_F(LivesTest, TheLatestStaysHoweverLargeItIs)
{
    Write("rec", Recording("a", 5000));
    Write("rec.1", Recording("b"));
    EXPECT_EQ(Begin(), "");
    EXPECT_EQ(Word("rec.1"), "a");
    EXPECT_EQ(Word("rec.2"), "none");
}

TEST_F(LivesTest, WhatIsNoRecordingStaysAsItIs)
{
    Write("rec", "a letter");
    EXPECT_EQ(Begin(), "is there and is no recording; it stays as it is");
    EXPECT_EQ(std::filesystem::file_size(Path("rec")), 8U);
    Write("rec", Recording("a"));
    Write("rec.1", "another letter");
    EXPECT_EQ(Begin(), "is there and is no recording; it stays as it is");
    EXPECT_EQ(Word("rec"), "a");
    EXPECT_EQ(std::filesystem::file_size(Path("rec.1")), 14U);
    EXPECT_EQ(Files(), 2U);
}

TEST_F(LivesTest, WhatAPowerCutLeftOfAFileIsARecording)
{
    Write("rec", std::string(20'000, '\0'));
    EXPECT_EQ(Begin(), "");
    EXPECT_EQ(std::filesystem::file_size(Path("rec.1")), 20'000U);
}

TEST_F(LivesTest, AnEmptyFileIsTaken)
{
    Write("rec", "");
    EXPECT_EQ(Begin(), "");
    EXPECT_EQ(Files(), 1U);
}

TEST_F(LivesTest, AFolderAPipeAndALinkAreRefusedAtOnce)
{
    std::filesystem::create_directory(Path("rec"));
    EXPECT_EQ(Begin(), "cannot be written");
    EXPECT_EQ(errno, EISDIR);
    std::filesystem::remove(Path("rec"));
    ASSERT_EQ(::mkfifo(Path("rec").c_str(), 0600), 0);
    EXPECT_EQ(Begin(), "is there and is no recording; it stays as it is");
    std::filesystem::remove(Path("rec"));
    Write("target", "");
    std::filesystem::create_symlink(Path("target"), Path("rec"));
    EXPECT_EQ(Begin(), "cannot be written");
    EXPECT_EQ(std::filesystem::file_size(Path("target")), 0U);
}

TEST_F(LivesTest, TwoWritersDoNotShareAFile)
{
    EXPECT_EQ(Begin(), "");
    const FileDescriptor first = std::move(m_file);
    EXPECT_EQ(Begin(), "is being written by another service");
    EXPECT_EQ(Files(), 1U);
}

} // namespace
