#include "recorder/Ring.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>

namespace recorder {

namespace {

/// In the four bytes before a frame: they are no size, but a number of records that were lost.
constexpr std::uint32_t kLost = 0x8000'0000;

constexpr std::size_t kPage = 4096;

} // namespace

static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "two processes share them");
static_assert(std::atomic<Ring::Taker>::is_always_lock_free);
static_assert(std::atomic<bool>::is_always_lock_free);

Ring::Ring(std::size_t capacity) : m_capacity(capacity)
{
    static_assert(sizeof(Shared) <= kPage);
    // It has no name anywhere, so nothing is left of it when both processes are gone.
    void* memory =
        ::mmap(nullptr, kPage + capacity, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "no memory to share");
    }
    m_shared = new (memory) Shared{}; // placed, so nothing of it is freed but by munmap
    m_bytes = static_cast<std::byte*>(memory) + kPage;
}

Ring::~Ring()
{
    ::munmap(m_shared, kPage + m_capacity);
}

void Ring::Write(const void* data, std::size_t size) noexcept
{
    const std::size_t at = m_put & (m_capacity - 1);
    const std::size_t untilEnd = std::min(size, m_capacity - at);
    std::memcpy(m_bytes + at, data, untilEnd);
    std::memcpy(m_bytes, static_cast<const std::byte*>(data) + untilEnd, size - untilEnd);
    m_put += size;
}

void Ring::WritePrefix(std::uint32_t prefix) noexcept
{
    Write(&prefix, kPrefix);
}

bool Ring::Put(std::span<const std::byte> record) noexcept
{
    const std::uint64_t needed = record.size() + (m_lost > 0 ? 2 * kPrefix : kPrefix);
    if (needed > m_capacity - (m_put - m_knownTaken)) {
        m_knownTaken = m_shared->taken.load(std::memory_order_acquire);
        if (needed > m_capacity - (m_put - m_knownTaken)) {
            return false;
        }
    }
    if (m_lost > 0) {
        WritePrefix(kLost | m_lost);
        m_lost = 0;
    }
    WritePrefix(static_cast<std::uint32_t>(record.size()));
    Write(record.data(), record.size());
    m_shared->put.store(m_put, std::memory_order_release); // only now is it seen, whole
    return true;
}

void Ring::Lose() noexcept
{
    m_lost += m_lost < kLost - 1 ? 1 : 0;
}

bool Ring::HasToWake() noexcept
{
    // The other side says that it sleeps, and then looks whether something was put in; this side the other way round.
    // With the fence, one of the two sees what the other did.
    std::atomic_thread_fence(std::memory_order_seq_cst);
    switch (m_shared->taker.load(std::memory_order_relaxed)) {
    case Taker::Awake:
        return false;
    case Taker::Lingers:
        m_knownTaken = m_shared->taken.load(std::memory_order_acquire);
        if (m_put - m_knownTaken < m_capacity / 2) {
            return false;
        }
        break;
    case Taker::Asleep:
        break;
    }
    m_shared->taker.store(Taker::Awake, std::memory_order_relaxed); // it is told once
    return true;
}

bool Ring::Look(Frame& frame) const noexcept
{
    const std::uint64_t taken = m_shared->taken.load(std::memory_order_relaxed);
    if (m_shared->put.load(std::memory_order_acquire) == taken) {
        return false;
    }
    const auto copy = [this](std::uint64_t from, void* to, std::size_t size) {
        const std::size_t at = from & (m_capacity - 1);
        const std::size_t untilEnd = std::min(size, m_capacity - at);
        std::memcpy(to, m_bytes + at, untilEnd);
        std::memcpy(static_cast<std::byte*>(to) + untilEnd, m_bytes, size - untilEnd);
    };
    std::uint32_t prefix = 0;
    copy(taken, &prefix, kPrefix);
    if ((prefix & kLost) != 0) {
        frame = {{}, {}, prefix & ~kLost};
        return true;
    }
    const std::size_t at = (taken + kPrefix) & (m_capacity - 1);
    const std::size_t untilEnd = std::min<std::size_t>(prefix, m_capacity - at);
    frame = {{m_bytes + at, untilEnd}, {m_bytes, prefix - untilEnd}, 0};
    return true;
}

void Ring::Drop(const Frame& frame) noexcept
{
    const std::uint64_t size = kPrefix + frame.front.size() + frame.back.size();
    m_shared->taken.store(m_shared->taken.load(std::memory_order_relaxed) + size, std::memory_order_release);
}

bool Ring::IsEmpty() const noexcept
{
    return m_shared->put.load(std::memory_order_acquire) == m_shared->taken.load(std::memory_order_relaxed);
}

void Ring::Says(Taker taker) noexcept
{
    m_shared->taker.store(taker, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_seq_cst);
}

void Ring::GiveUp() noexcept
{
    m_shared->isGivenUp.store(true, std::memory_order_relaxed);
}

} // namespace recorder
