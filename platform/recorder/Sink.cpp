#include "recorder/Sink.h"

#include "recorder/Clerk.h"
#include "recorder/Ring.h"
#include "settings/FileDescriptor.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <system_error>
#include <utility>

namespace recorder {

namespace {

using settings::FileDescriptor;

static_assert(kLeastLimit >= Clerk::kLeastLimit);

constexpr std::size_t kRing = 1'048'576; // bytes: some minutes of a busy evening, for a disk that hangs so long

class Recording
{
public:
    Recording(const char* path, std::uint64_t limit, WhenFull whenFull) : m_ring(kRing), m_whenFull(whenFull)
    {
        std::array<int, 2> ends = {-1, -1};
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
            throw std::system_error(errno, std::generic_category());
        }
        m_socket = FileDescriptor(ends[0]);
        // It is needed here only until there is the process, which has a copy of all of it.
        const auto clerk = std::make_unique<Clerk>(m_ring, path, limit, FileDescriptor(ends[1]));
        if (const int failure = clerk->Start(); failure != 0) {
            throw std::system_error(failure, std::generic_category());
        }
    }

    /// \return false when nobody takes records any more
    bool Takes(std::span<const std::byte> record)
    {
        const bool wasPut = m_ring.Put(record) || (m_whenFull == WhenFull::Waits && Waits(record));
        if (!wasPut) {
            m_ring.Lose();
        }
        // Where there is no room, whether there still is anybody who makes some is asked now and then.
        constexpr unsigned int kNowAndThen = 256;
        const bool isNow = !wasPut && m_refused++ % kNowAndThen == 0;
        return !m_ring.IsGivenUp() && (!(m_ring.HasToWake() || isNow) || Wakes());
    }

private:
    bool Waits(std::span<const std::byte> record)
    {
        while (!m_ring.IsTooLarge(record.size()) && !m_ring.IsGivenUp() && Wakes()) {
            ::poll(nullptr, 0, 1);
            if (m_ring.Put(record)) {
                return true;
            }
        }
        return false;
    }

    [[nodiscard]] bool Wakes() const
    {
        constexpr char kAnything = 0;
        ssize_t sent = -1;
        do {
            sent = ::send(m_socket.Get(), &kAnything, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
        } while (sent < 0 && errno == EINTR);
        return sent == 1 || errno == EAGAIN; // one that was told so often will look
    }

    Ring m_ring;
    WhenFull m_whenFull;
    FileDescriptor m_socket;
    unsigned int m_refused = 0;
};

/// Made and let go by name: nothing of it is to happen in the order in which a program that ends lets go of the rest.
Recording* recording = nullptr;

} // namespace

void Append(std::span<const std::byte> record)
{
    if (recording != nullptr && !recording->Takes(record)) {
        Stop();
    }
}

bool IsRecording()
{
    return recording != nullptr;
}

bool Start(const char* path, std::uint64_t limit, WhenFull whenFull)
{
    Stop();
    try {
        recording = std::make_unique<Recording>(path, std::max(limit, kLeastLimit), whenFull).release();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "vyrel-recorder: nothing is recorded: %s\n", failure.what());
    }
    return IsRecording();
}

void Stop()
{
    const std::unique_ptr<Recording> ended(std::exchange(recording, nullptr));
}

} // namespace recorder
