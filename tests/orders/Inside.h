#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace orders {

/// What the service keeps to itself: two states that look alike from outside may go different ways from there on.
///
/// Its static variables and the objects of its handlers are taken as they lie in memory. Pointers and ids of timers are
/// left out, as they tell how a state was reached and not which one it is; so is what lies behind pointers, but for its
/// sizes.
class Inside
{
public:
    /// Numbers of sources that are told from other numbers: they begin behind this one.
    static constexpr std::uint32_t kFirstSource = 1U << 16U;

    /// To be called before the service starts: sources made from now on have numbers from kFirstSource on.
    static void Prepare();

    /// \param take gets 8 bytes at a time
    static void Tell(const std::function<void(std::uint64_t)>& take);

    /// Its static variables as the linker names them, in the order of their names.
    static std::vector<std::string> NamesOfVariables();

    /// The addresses that the service keeps of the remotes that are connected; empty for none.
    static std::string RemotesAddress();
    static std::string WheelsAddress();
};

} // namespace orders
