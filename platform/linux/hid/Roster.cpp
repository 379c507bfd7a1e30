#include "hid/Roster.h"

#include <time.h>

#include <algorithm>
#include <utility>

namespace hid {

gint64 Roster::Now()
{
    constexpr gint64 kMsPerSecond = 1000;
    constexpr gint64 kNsPerMs = 1000000;
    struct timespec now = {};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return now.tv_sec * kMsPerSecond + now.tv_nsec / kNsPerMs;
}

void Roster::Note(const Remote& remote, std::optional<std::uint8_t> battery)
{
    const auto known = std::ranges::find(m_entries, remote.Address(), &RosterEntry::address);
    if (known == m_entries.end()) {
        m_entries.emplace_front().address = remote.Address();
        if (m_entries.size() > kKept) {
            m_entries.pop_back();
        }
    } else {
        m_entries.splice(m_entries.begin(), m_entries, known);
    }
    RosterEntry& entry = m_entries.front();
    entry.role = remote.TheRole();
    entry.isConnected = remote.IsUp();
    entry.speaks = entry.isConnected ? remote.Speaks() : entry.speaks;
    entry.identity = remote.KnownIdentity() ? remote.KnownIdentity() : entry.identity;
    if (battery) {
        entry.battery = battery;
        entry.batteryTime = Now();
    }
}

} // namespace hid
