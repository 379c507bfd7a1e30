#pragma once

#include <cstdint>
#include <map>

namespace sim {

class Television;

/// The screen manager's lock of the low-power picture, and the sound manager's mutes.
class ScreenAndSound
{
public:
    explicit ScreenAndSound(Television& tv) : m_tv(tv) {}

    /// Holds the low-power picture until it is given free or the time is over; a second lock replaces the time.
    void LockAmbient(int timeoutMs);
    void UnlockAmbient();
    [[nodiscard]] bool IsAmbientLocked() const
    {
        return m_ambientLock != 0;
    }

    bool masterMute = false;
    std::map<int, bool> deviceMute; ///< by device, 0 is the television's own speaker

private:
    Television& m_tv;
    std::uint64_t m_ambientLock = 0; // the number of the lock that holds, so that an old time-out ends no new one
    std::uint64_t m_lockCount = 0;
};

} // namespace sim
