#pragma once

#include "Stage.h"

namespace demo {

/// What kind of set it is, and what is connected to it.
void PlugsTheSetIn(Stage& stage);
/// A set that has been in use: named, with a speaker as its last sound output.
void FurnishesTheSet(Stage& stage);
/// From power on to the factory reset.
void PlaysTheEvening(Stage& stage);
/// The first start after the reset.
void PlaysTheNextStart(Stage& stage);
/// The start alone, then how to talk to the service.
void PlaysTheStart(Stage& stage);

} // namespace demo
