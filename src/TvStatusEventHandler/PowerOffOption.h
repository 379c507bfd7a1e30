#pragma once

#include <device_power.h>

/// How to read the option of a power-off: two whole values for a reset, and bits. The values of a reset are compared
/// whole, so an option that has them beside a bit is no reset.
namespace PowerOffOption {

constexpr bool IsReset(int option)
{
    return option == DEVICE_POWEROFF_OPTION_RESET || option == DEVICE_POWEROFF_OPTION_RESET_ALT;
}

/// Off for good instead of suspended.
constexpr bool IsSuspendOff(int option)
{
    return (option & DEVICE_POWEROFF_OPTION_SUSPEND_OFF) != 0;
}

/// Nobody may hold the set in standby.
constexpr bool IgnoresLock(int option)
{
    return (option & DEVICE_POWEROFF_OPTION_IGNORE_LOCK) != 0;
}

} // namespace PowerOffOption
