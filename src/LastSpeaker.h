#pragma once

#include <sound_manager.h>

/// The Bluetooth speaker that the set's sound went to last. Some time after a start of the service, and after the set
/// was switched on, the connection manager is asked to call it back; after a start, only if it has not come by itself.
namespace LastSpeaker {

/// The time it is given to come back by itself, in milliseconds.
inline constexpr unsigned int kCallBackDelay = 10000;

/// True for the values of DB_VYREL_LASTSOUNDROUTE that stand for such a speaker: two of the three Bluetooth routes.
constexpr bool IsRouteTo(sound_tv_output_route_e route)
{
    return route == SOUND_TV_OUTPUT_BLUETOOTH || route == SOUND_TV_OUTPUT_BLUETOOTH_2;
}

} // namespace LastSpeaker
