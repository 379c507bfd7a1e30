#pragma once

#include "support/Child.h"

#include <optional>

namespace demo {

/// Somebody has ended the story before it was told.
struct Stopped
{
    int signal;
};

/// From now on Ctrl-C (SIGINT), SIGTERM and SIGHUP wait until AwaitEnd takes them in, so that none can come between the
/// making of something and the promise to clear it away. A SIGHUP that is ignored stays so, as nohup wants it.
void HoldStopSignals();

/// \return a signal that waits to be taken in. Others may not have been spared it: what failed may have failed for it.
std::optional<int> WaitingStopSignal();

enum class WhenStopped
{
    Kill, ///< the process is in the middle of something that has no other end
    Tell  ///< it is told by SIGTERM, once, and has ten seconds to end by itself
};

/// Waits for the end of a process that never sees the signals of the terminal.
/// Throws Stopped, after the process has been killed, when a signal ends it; std::runtime_error when it was told to end
/// and does not.
support::ProcessEnd AwaitEnd(support::Child& process, WhenStopped whenStopped);

/// For a process of its own: the terminal's signals go past it, and SIGTERM waits until it is awaited.
void HoldSigterm();
void AwaitSigterm();

/// Ends this process as the signal does, for those who look at how it ended.
[[noreturn]] void EndBy(int signal);

} // namespace demo
