#pragma once

#include "power/PowerManager.h"

namespace power {

/// What a platform function answers. For one that may be not supported, see NotSupported.h.
inline int ResultOf(PowerManager::Outcome outcome)
{
    constexpr int kFailed = -1;
    constexpr int kNotFound = -2;
    switch (outcome) {
    case PowerManager::Outcome::Done:
        return 0;
    case PowerManager::Outcome::NotHeld:
        return kNotFound;
    case PowerManager::Outcome::Invalid:
    case PowerManager::Outcome::Busy:
    case PowerManager::Outcome::NotSupported:
        break;
    }
    return kFailed;
}

} // namespace power
