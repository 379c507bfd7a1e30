#pragma once

#include <cstddef>
#include <cstdint>
#include <random>

namespace soak {

/// Throws the same with the same number, on each machine and with each compiler: the standard's generator is laid down
/// to the bit, its distributions are not.
class Dice
{
public:
    explicit Dice(std::uint64_t number) : m_generator(number) {}

    /// \param count at least 1
    /// \return 0 to \p count - 1, each as likely as another
    std::size_t Below(std::size_t count)
    {
        const std::uint64_t bound = count;
        const std::uint64_t uneven = (0 - bound) % bound; // the lowest ones would come once more than the others
        std::uint64_t thrown = m_generator();
        while (thrown < uneven) {
            thrown = m_generator();
        }
        return static_cast<std::size_t>(thrown % bound);
    }

    /// \return \p least to \p most, both of them too
    int Between(int least, int most)
    {
        return least + static_cast<int>(Below(static_cast<std::size_t>(most - least) + 1));
    }

    bool OneIn(std::size_t count)
    {
        return Below(count) == 0;
    }

    template <typename List>
    const auto& Of(const List& list)
    {
        return *(std::begin(list) + static_cast<std::ptrdiff_t>(Below(std::size(list))));
    }

private:
    std::mt19937_64 m_generator;
};

} // namespace soak
