#pragma once

#include <initializer_list>

namespace support {

class Peer;

/// Brings the bus to rest, as far as the service and these peers are concerned: all that either side has sent has
/// arrived on the other, is recorded, answered and handled, and so is all that this made them send. Timers that are not
/// due and calls that a peer stalls stay as they are.
///
/// A bus that does not come to rest, because somebody answers each message with another, is a finding. To be called on
/// the main thread, outside the main loop. It needs no waiting, so a virtual clock stands still.
void Settle(std::initializer_list<Peer*> peers);

/// The same for the service alone: what the bus had for it is handled.
void Settle();

} // namespace support
