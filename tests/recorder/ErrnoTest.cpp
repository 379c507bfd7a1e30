// The recorder's own work changes errno, whatever it is: here each record does. The service is to find the number of
// its own call.

#include "recorder/Sink.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>

extern "C" {
int seam_open(const char* path, int flags, ...);
int seam_open_2(const char* path, int flags);
int seam_close(int descriptor);
ssize_t seam_read(int descriptor, void* room, size_t size);
ssize_t seam_write(int descriptor, const void* contents, size_t size);
int seam_fstat(int descriptor, struct stat* status);
int seam_ftruncate(int descriptor, off_t size);
int seam_access(const char* path, int mode);
}

namespace {

int g_records = 0;

} // namespace

// A sink in the place of the one that writes.
namespace recorder {

void Append(std::span<const std::byte>)
{
    ++g_records;
    errno = EIO;
}

bool IsRecording()
{
    return true;
}

bool Start(const char*, std::uint64_t, WhenFull)
{
    return true;
}

void Stop() {}

} // namespace recorder

namespace {

class RecorderErrno : public ::testing::Test
{
protected:
    /// \param result of a call that has failed
    /// \return its error
    static int Error(ssize_t result)
    {
        const int error = errno;
        EXPECT_EQ(result, -1);
        EXPECT_EQ(g_records, 2) << "the call, and what it gave";
        return error;
    }
    /// A file of the service's that can be read, and not written.
    int OpenForReading()
    {
        const std::string path = m_folder.Path() / "file";
        ::close(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
        const int descriptor = seam_open(path.c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_GE(descriptor, 0);
        g_records = 0;
        return descriptor;
    }

    support::TempDir m_folder;
    std::string m_missing = m_folder.Path() / "missing";
    std::array<char, 8> m_room = {};
};

TEST_F(RecorderErrno, OfAFileThatCannotBeOpenedIsTheServices)
{
    EXPECT_EQ(Error(seam_open(m_missing.c_str(), O_RDONLY | O_CLOEXEC)), ENOENT);
    g_records = 0;
    EXPECT_EQ(Error(seam_open_2(m_missing.c_str(), O_RDONLY | O_CLOEXEC)), ENOENT);
}

TEST_F(RecorderErrno, OfAFileThatCannotBeReachedIsTheServices)
{
    EXPECT_EQ(Error(seam_access(m_missing.c_str(), R_OK)), ENOENT);
}

TEST_F(RecorderErrno, OfAFileThatCannotBeWrittenIsTheServices)
{
    const int descriptor = OpenForReading();
    EXPECT_EQ(Error(seam_write(descriptor, "a", 1)), EBADF);
    seam_close(descriptor);
}

TEST_F(RecorderErrno, OfAFileThatCannotBeCutIsTheServices)
{
    const int descriptor = OpenForReading();
    EXPECT_EQ(Error(seam_ftruncate(descriptor, 0)), EINVAL);
    seam_close(descriptor);
}

TEST_F(RecorderErrno, OfAFolderThatIsReadIsTheServices)
{
    const int descriptor = seam_open(m_folder.Path().c_str(), O_RDONLY | O_CLOEXEC);
    g_records = 0;
    EXPECT_EQ(Error(seam_read(descriptor, m_room.data(), m_room.size())), EISDIR);
    seam_close(descriptor);
}

TEST_F(RecorderErrno, OfAFileThatIsGoneUnderTheServiceIsTheServices)
{
    const int descriptor = OpenForReading();
    ::close(descriptor); // behind the recorder's back
    struct stat status = {};
    EXPECT_EQ(Error(seam_fstat(descriptor, &status)), EBADF);
}

} // namespace
