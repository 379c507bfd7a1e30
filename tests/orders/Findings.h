#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace orders {

/// Events in the order in which they happen, by their places in the alphabet.
struct Order
{
    static constexpr std::size_t kLongest = 15;

    std::uint8_t length = 0;
    std::array<std::uint8_t, kLongest> events{};

    [[nodiscard]] std::span<const std::uint8_t> Events() const
    {
        return {events.data(), length};
    }
    [[nodiscard]] Order With(std::size_t event) const
    {
        Order longer = *this;
        longer.events[longer.length++] = static_cast<std::uint8_t>(event);
        return longer;
    }
};

/// A state to go on from: an order that leads to it, and its digest.
struct Known
{
    Order order;
    std::uint64_t digest = 0;
};

/// An order after which something was wrong.
struct Finding
{
    Order order;
    std::array<char, 2048> what{};
};

/// What all processes of a search know together. It lies in memory that they share, which costs nothing until it is
/// used.
class Findings
{
public:
    /// Throws std::system_error where there is no such memory.
    Findings();
    ~Findings();
    Findings(const Findings&) = delete;
    Findings& operator=(const Findings&) = delete;

    /// \return whether nobody was in this state before
    bool IsNew(std::uint64_t digest);
    void Keep(const Known& state);
    void Report(const Order& order, std::string_view what);

    [[nodiscard]] std::size_t Kept() const;
    [[nodiscard]] const Known& At(std::size_t place) const;
    [[nodiscard]] std::span<const Finding> Found() const;

    struct Counts
    {
        std::atomic<std::uint64_t> next{0};  ///< state to be gone on from
        std::atomic<std::uint64_t> done{0};  ///< states that were gone on from, with each event
        std::atomic<std::uint64_t> lived{0}; ///< orders
        std::atomic<std::uint64_t> impossible{0};
        std::atomic<std::uint64_t> states{0}; ///< new ones
        std::atomic<std::uint64_t> found{0};
        std::atomic<std::uint64_t> kept{0};
        std::atomic<bool> isFull{false};
    };
    Counts& counts;

private:
    struct Memory;
    Memory* m_memory;
};

} // namespace orders
