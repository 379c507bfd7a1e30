#include "support/Capture.h"

#include "settings/FileDescriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace support {

namespace {

using settings::FileDescriptor;

/// A stream while it goes to memory.
struct Capture
{
    int stream;
    FileDescriptor before{}; ///< where it went
    FileDescriptor memory{};
};

Capture& Of(int stream)
{
    static Capture out{STDOUT_FILENO};
    static Capture error{STDERR_FILENO};
    return stream == STDOUT_FILENO ? out : error;
}

int Demanded(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

void Begin(Capture& capture)
{
    std::fflush(nullptr);
    capture.memory = FileDescriptor(Demanded(::memfd_create("captured", MFD_CLOEXEC), "no memory to capture a stream"));
    capture.before = FileDescriptor(Demanded(::fcntl(capture.stream, F_DUPFD_CLOEXEC, 0), "no copy of a stream"));
    Demanded(::dup2(capture.memory.Get(), capture.stream), "a stream cannot be led to memory");
}

std::string Contents(int file)
{
    std::string text;
    std::array<char, 4096> part{};
    ssize_t length = 0;
    while ((length = ::pread(file, part.data(), part.size(), static_cast<off_t>(text.size()))) > 0) {
        text.append(part.data(), static_cast<std::size_t>(length));
    }
    return text;
}

std::string End(Capture& capture)
{
    if (capture.memory.Get() < 0) {
        throw std::logic_error("this stream is not captured");
    }
    std::fflush(nullptr);
    Demanded(::dup2(capture.before.Get(), capture.stream), "a stream cannot be led back");
    capture.before = FileDescriptor();
    const FileDescriptor memory = std::exchange(capture.memory, FileDescriptor());
    return Contents(memory.Get());
}

} // namespace

void CaptureStdout()
{
    Begin(Of(STDOUT_FILENO));
}

void CaptureStderr()
{
    Begin(Of(STDERR_FILENO));
}

std::string GetCapturedStdout()
{
    return End(Of(STDOUT_FILENO));
}

std::string GetCapturedStderr()
{
    return End(Of(STDERR_FILENO));
}

} // namespace support
