#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

namespace recorder {

/// Records on their way from the service to the process that writes them: memory that both share, so that what was put
/// in is safe however the service ends. One process puts, the other takes; neither waits for the other.
class Ring
{
public:
    /// What the taking side does, for the putting side to know whether it has to be woken.
    enum class Taker : std::uint32_t
    {
        Awake,   ///< it looks again before it sleeps
        Lingers, ///< it looks again soon by itself, early enough unless the ring fills up
        Asleep   ///< it has to be told of the next record
    };

    /// A record as it lies in the ring: in two parts where it goes over the end.
    struct Frame
    {
        std::span<const std::byte> front;
        std::span<const std::byte> back;
        std::uint32_t lost = 0; ///< not a record, but so many that were not put in here for want of room
    };

    /// \param capacity in bytes, a power of two; all of it is there at once, so that putting never waits for memory
    /// Throws std::system_error when there is no memory.
    explicit Ring(std::size_t capacity);
    ~Ring();
    Ring(const Ring&) = delete;
    Ring& operator=(const Ring&) = delete;

    /// \return whether there was room
    bool Put(std::span<const std::byte> record) noexcept;
    /// Counts a record for which there was none as lost, which the taking side learns with the next that is put in.
    void Lose() noexcept;
    /// After records were put in.
    /// \return whether the taking side has to be woken; whoever asks has to do it
    [[nodiscard]] bool HasToWake() noexcept;
    /// True for a record that no ring of this size can hold.
    [[nodiscard]] bool IsTooLarge(std::size_t size) const noexcept
    {
        return size + 2 * kPrefix > m_capacity;
    }

    /// \return the oldest frame, or none; it stays in the ring until Drop
    [[nodiscard]] bool Look(Frame& frame) const noexcept;
    void Drop(const Frame& frame) noexcept;
    [[nodiscard]] bool IsEmpty() const noexcept;
    /// Says what the taking side does from now on. Before it sleeps it looks once more whether the ring is empty.
    void Says(Taker taker) noexcept;

    /// The taking side gives up: nothing need be put in any more.
    void GiveUp() noexcept;
    [[nodiscard]] bool IsGivenUp() const noexcept
    {
        return m_shared->isGivenUp.load(std::memory_order_relaxed);
    }

private:
    static constexpr std::size_t kPrefix = sizeof(std::uint32_t);
    static constexpr std::size_t kCacheLine = 64;

    struct Shared
    {
        alignas(kCacheLine) std::atomic<std::uint64_t> put;   ///< bytes ever
        alignas(kCacheLine) std::atomic<std::uint64_t> taken; ///< bytes ever
        alignas(kCacheLine) std::atomic<Taker> taker;
        std::atomic<bool> isGivenUp;
    };

    void Write(const void* data, std::size_t size) noexcept;
    void WritePrefix(std::uint32_t prefix) noexcept;

    std::size_t m_capacity;
    Shared* m_shared;
    std::byte* m_bytes;
    // Of the putting side alone.
    std::uint64_t m_put = 0;
    std::uint64_t m_knownTaken = 0;
    std::uint32_t m_lost = 0;
};

} // namespace recorder
