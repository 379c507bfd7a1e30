#include "recorder/Pool.h"

#include "recorder/Recording.h"
#include "recorder/Schema.h"

#include <string>

namespace recorder {

std::optional<std::size_t> Pool::Find(Anything function)
{
    for (std::size_t slot = 0; slot < m_used; ++slot) {
        if (m_slots[slot].function == function) {
            return slot;
        }
    }
    if (m_used == m_slots.size()) {
        return std::nullopt;
    }
    m_slots[m_used].function = function;
    return m_used++;
}

Pool& NoPool()
{
    static Pool none({}, {});
    return none;
}

AnyGiven FindAny(Callback type, Anything function)
{
    if (function == nullptr) {
        return {nullptr, 0};
    }
    Pool& pool = PoolOf(type);
    const std::optional<std::size_t> slot = pool.Find(function);
    if (!slot) {
        TellLost("what " + std::string(Callbacks()[static_cast<std::size_t>(type)].name) +
                 " is told, because the service has too many of them");
        return {function, 0};
    }
    return {pool.StandInOf(*slot), *slot + 1};
}

AnyGiven GiveAny(Callback type, Anything function, void* userData)
{
    const AnyGiven given = FindAny(type, function);
    if (given.number != 0) {
        Slot& slot = PoolOf(type).At(given.number - 1);
        slot.given[slot.count++ % Slot::kRemembered] = userData;
    }
    return given;
}

std::uint64_t SinceGiven(Callback type, std::size_t slot, const void* userData)
{
    const Slot& one = PoolOf(type).At(slot);
    for (std::size_t since = 0; since < one.count && since < Slot::kRemembered; ++since) {
        if (one.given[(one.count - 1 - since) % Slot::kRemembered] == userData) {
            return since + 1;
        }
    }
    return 0;
}

std::optional<void*> UserData(Callback type, std::size_t slot, std::uint64_t since)
{
    const Pool& pool = PoolOf(type);
    if (slot >= pool.Used()) {
        return std::nullopt;
    }
    const Slot& one = pool.At(slot);
    if (since == 0 || since > one.count || since > Slot::kRemembered) {
        return std::nullopt;
    }
    return one.given[(one.count - since) % Slot::kRemembered];
}

} // namespace recorder
