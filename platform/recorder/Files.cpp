// What the service reads and writes by itself: the files of the platform, and the kernel's log.

#include "recorder/Functions.h"
#include "recorder/Recording.h"
#include "recorder/Sink.h"
#include "recorder/Writer.h"

#include <glib.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace recorder;

namespace {

/// The files that the service has open, by their descriptor: in the order in which it opened them, from 1; 0 for what
/// it did not open so, which is not recorded. A signal handler of the service may look here.
class OpenFiles
{
public:
    std::uint64_t Opened(int descriptor)
    {
        if (const auto index = static_cast<std::size_t>(descriptor); index < m_numbers.size()) {
            m_numbers[index] = ++m_count;
            return m_count;
        }
        return 0;
    }

    void Closed(int descriptor)
    {
        if (const auto index = static_cast<std::size_t>(descriptor); index < m_numbers.size()) {
            m_numbers[index] = 0;
        }
    }

    [[nodiscard]] std::uint64_t Number(int descriptor) const
    {
        const auto index = static_cast<std::size_t>(descriptor);
        return index < m_numbers.size() ? m_numbers[index] : 0;
    }

private:
    std::array<std::uint64_t, 1024> m_numbers = {};
    std::uint64_t m_count = 0;
};

OpenFiles openFiles;

/// As a recording has it: what the function gave, or the number of its error, negative.
std::int64_t Result(std::int64_t result)
{
    return result < 0 ? -static_cast<std::int64_t>(errno) : result;
}

/// Ends a call whose result is a number, and keeps errno for the service.
Writer& BeginResult(Function function, std::int64_t result)
{
    Writer& writer = BeginReturn(function);
    writer.Signed(Result(result));
    return writer;
}

/// The recorder's own work must not change what the service finds.
class KeepsErrno
{
public:
    KeepsErrno() = default;
    KeepsErrno(const KeepsErrno&) = delete;
    KeepsErrno& operator=(const KeepsErrno&) = delete;
    ~KeepsErrno()
    {
        errno = m_errno;
    }

private:
    int m_errno = errno;
};

int Open(const char* path, int flags, mode_t mode)
{
    if (!IsRecording()) {
        return open(path, flags, mode);
    }
    Writer& writer = BeginCall(Function::open);
    writer.Text(OwnPath(path));
    writer.Unsigned(static_cast<std::uint64_t>(flags));
    writer.Unsigned(mode);
    End();
    const int descriptor = open(path, flags, mode);
    const KeepsErrno keeps;
    if (descriptor >= 0) {
        openFiles.Opened(descriptor);
    }
    BeginResult(Function::open, descriptor >= 0 ? 0 : -1);
    End();
    return descriptor;
}

} // namespace

extern "C" {

int seam_open(const char* path, int flags, ...)
{
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    return Open(path, flags, mode);
}

int seam_open_2(const char* path, int flags)
{
    return Open(path, flags, 0);
}

int seam_close(int descriptor)
{
    openFiles.Closed(descriptor);
    return close(descriptor);
}

ssize_t seam_read(int descriptor, void* room, size_t size)
{
    const std::uint64_t number = openFiles.Number(descriptor);
    if (!IsRecording() || number == 0) {
        return read(descriptor, room, size);
    }
    Writer& writer = BeginCall(Function::read);
    writer.Unsigned(number);
    writer.Unsigned(size);
    End();
    const ssize_t length = read(descriptor, room, size);
    const KeepsErrno keeps;
    BeginResult(Function::read, length)
        .Bytes(length >= 0 ? room : nullptr, static_cast<std::size_t>(length >= 0 ? length : 0));
    End();
    return length;
}

ssize_t seam_read_chk(int descriptor, void* room, size_t size, size_t)
{
    return seam_read(descriptor, room, size);
}

ssize_t seam_write(int descriptor, const void* contents, size_t size)
{
    const std::uint64_t number = openFiles.Number(descriptor);
    if (!IsRecording() || number == 0) {
        return write(descriptor, contents, size);
    }
    Writer& writer = BeginCall(Function::write);
    writer.Unsigned(number);
    writer.Bytes(contents, size);
    End();
    const ssize_t length = write(descriptor, contents, size);
    const KeepsErrno keeps;
    BeginResult(Function::write, length);
    End();
    return length;
}

int seam_fstat(int descriptor, struct stat* status)
{
    const std::uint64_t number = openFiles.Number(descriptor);
    if (!IsRecording() || number == 0) {
        return fstat(descriptor, status);
    }
    BeginCall(Function::fstat).Unsigned(number);
    End();
    const int result = fstat(descriptor, status);
    const KeepsErrno keeps;
    Writer& writer = BeginResult(Function::fstat, result);
    writer.Unsigned(result == 0 ? 1 : 0);
    if (result == 0) {
        writer.Unsigned(status->st_mode);
        writer.Unsigned(status->st_nlink);
        writer.Signed(status->st_size);
    }
    End();
    return result;
}

int seam_ftruncate(int descriptor, off_t size)
{
    const std::uint64_t number = openFiles.Number(descriptor);
    if (!IsRecording() || number == 0) {
        return ftruncate(descriptor, size);
    }
    Writer& writer = BeginCall(Function::ftruncate);
    writer.Unsigned(number);
    writer.Signed(size);
    End();
    const int result = ftruncate(descriptor, size);
    const KeepsErrno keeps;
    BeginResult(Function::ftruncate, result);
    End();
    return result;
}

int seam_access(const char* path, int mode)
{
    if (!IsRecording()) {
        return access(path, mode);
    }
    Writer& writer = BeginCall(Function::access);
    writer.Text(OwnPath(path));
    writer.Signed(mode);
    End();
    const int result = access(path, mode);
    const KeepsErrno keeps;
    BeginResult(Function::access, result);
    End();
    return result;
}

gboolean seam_g_file_set_contents_full(const gchar* path, const gchar* contents, gssize length,
                                       GFileSetContentsFlags flags, int mode, GError** error)
{
    if (!IsRecording()) {
        return g_file_set_contents_full(path, contents, length, flags, mode, error);
    }
    Writer& writer = BeginCall(Function::g_file_set_contents_full);
    writer.Text(OwnPath(path));
    writer.Bytes(contents, length >= 0 ? static_cast<std::size_t>(length) : std::strlen(contents));
    writer.Unsigned(static_cast<std::uint64_t>(flags));
    writer.Signed(mode);
    End();
    GError* failure = nullptr;
    const gboolean written = g_file_set_contents_full(path, contents, length, flags, mode, &failure);
    Writer& back = BeginReturn(Function::g_file_set_contents_full);
    back.Unsigned(written != FALSE ? 1 : 0);
    back.Unsigned(failure != nullptr ? 1 : 0);
    if (failure != nullptr) {
        back.Text(g_quark_to_string(failure->domain));
        back.Signed(failure->code);
        back.Text(failure->message);
    }
    End();
    if (failure != nullptr) {
        g_propagate_error(error, failure);
    }
    return written;
}

} // extern "C"
