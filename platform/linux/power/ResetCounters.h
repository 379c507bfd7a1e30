#pragma once

namespace power {

// The settings by which the next start finds out that there was a reset: it holds them against what it counted itself.

/// A box that nobody has prepared lacks them, and whoever cannot read them takes each start for one after a reset and
/// forgets the last speaker. So they begin with 0. Before anybody looks at them.
void BeginToCountResets();

/// The way out with this option is a reset, or it is none.
void CountReset(int option);

} // namespace power
