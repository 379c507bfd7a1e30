#pragma once

#include "recorder/Functions.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>

/// The service's own functions that the platform calls. Each is stood in for by a function of the recorder, so that
/// what it is handed is recorded; the user data passes untouched, and nothing is allocated.
namespace recorder {

using Anything = void (*)(); ///< a function of any type

/// A function of the service, and what it was given along with, the latest last.
struct Slot
{
    static constexpr std::size_t kRemembered = 16;

    Anything function = nullptr;
    std::array<void*, kRemembered> given = {};
    std::size_t count = 0;
};

/// Those of one type of callback, in the order in which they were first seen.
class Pool
{
public:
    Pool(std::span<Slot> slots, std::span<const Anything> standIns) : m_slots(slots), m_standIns(standIns) {}

    /// \return its number, also for one that was not seen before; nothing when there is no room for another
    std::optional<std::size_t> Find(Anything function);

    [[nodiscard]] Anything StandInOf(std::size_t slot) const
    {
        return m_standIns[slot];
    }
    [[nodiscard]] Slot& At(std::size_t slot) const
    {
        return m_slots[slot];
    }
    [[nodiscard]] std::size_t Used() const
    {
        return m_used;
    }

private:
    std::span<Slot> m_slots;
    std::span<const Anything> m_standIns;
    std::size_t m_used = 0;
};

template <std::size_t count>
struct Room
{
    std::array<Slot, count> slots;
    std::array<Anything, count> standIns;
    Pool pool{slots, standIns};
};

template <std::size_t count, typename StandIns, std::size_t... slots>
Room<count> RoomOf(std::index_sequence<slots...>)
{
    return {{}, {reinterpret_cast<Anything>(StandIns::template At<slots>)...}};
}

/// Room for as many functions, in which StandIns::At<N> is the function that stands in for slot N.
template <std::size_t count, typename StandIns>
Room<count>& MakeRoom()
{
    static Room<count> room = RoomOf<count, StandIns>(std::make_index_sequence<count>());
    return room;
}

Pool& PoolOf(Callback type);

/// The room for callbacks of the bus.
/// \param type one of its kinds
Pool& BusPool(Callback type);

template <typename Function>
Function FunctionIn(Callback type, std::size_t slot)
{
    return reinterpret_cast<Function>(PoolOf(type).At(slot).function);
}

/// The function that the platform is given in place of the service's, and its number in a record, from 1; that of the
/// service and 0 where there is none or no room.
template <typename Function>
struct Given
{
    Function function;
    std::uint64_t number;
};

struct AnyGiven
{
    Anything function;
    std::uint64_t number;
};

AnyGiven GiveAny(Callback type, Anything function, void* userData);
AnyGiven FindAny(Callback type, Anything function);

template <typename Function>
Given<Function> Give(Callback type, Function function, void* userData)
{
    const AnyGiven given = GiveAny(type, reinterpret_cast<Anything>(function), userData);
    return {reinterpret_cast<Function>(given.function), given.number};
}

/// For functions that only name a callback that was given before.
template <typename Function>
Given<Function> Find(Callback type, Function function)
{
    const AnyGiven given = FindAny(type, reinterpret_cast<Anything>(function));
    return {reinterpret_cast<Function>(given.function), given.number};
}

/// How many times the function was given after the time at which it was given along with this, plus 1; 0 when that is
/// not remembered. Unlike a pointer, that is the same in each run.
std::uint64_t SinceGiven(Callback type, std::size_t slot, const void* userData);
/// The other way round.
std::optional<void*> UserData(Callback type, std::size_t slot, std::uint64_t since);

// What is called by those above.
Pool& GeneratedPool(Callback type);
Pool& NoPool();

} // namespace recorder
