#pragma once

#include "failures/Life.h"

#include <vector>

namespace failures {

/// What the service lives through, one life after the other on the same set.
using Story = std::vector<Life>;

/// The service starts on a set in use, and finds both remotes there; Bluetooth is switched off and on by keys.
Story AStart();
/// The smart remote and the wheel come, report, are told things, and go.
Story ARemotesDay();
/// A phone and a speaker are paired and play; a keyboard comes; they go, and one is forgotten.
Story PairingAndASpeaker();
/// Standby, the low-power picture and the way back, with an adapter that comes up after both.
Story ANight();
/// The set is switched off, with updates first; then for a reset; then it starts once more.
Story PowerOffWithAResetAndTheNextStart();

} // namespace failures
