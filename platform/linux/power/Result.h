#pragma once

#include "NotSupported.h"
#include "power/PowerManager.h"

namespace power {

/// What a platform function answers.
/// \param function its name, static
inline int ResultOf(PowerManager::Outcome outcome, const char* function)
{
    constexpr int kFailed = -1;
    constexpr int kNotFound = -2;
    switch (outcome) {
    case PowerManager::Outcome::Done:
        return 0;
    case PowerManager::Outcome::NotHeld:
        return kNotFound;
    case PowerManager::Outcome::NotSupported:
        return NotSupported(function, "the box can only be kept in standby");
    case PowerManager::Outcome::Invalid:
    case PowerManager::Outcome::Busy:
        break;
    }
    return kFailed;
}

} // namespace power
