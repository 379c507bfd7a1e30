#pragma once

#include <map>

namespace sim {

/// The screen manager's ambient mode and lock, and the sound manager's mutes.
class ScreenAndSound
{
public:
    int ambientLock = 0;
    bool masterMute = false;
    std::map<int, bool> deviceMute; ///< by device, 0 is the television's own speaker
};

} // namespace sim
