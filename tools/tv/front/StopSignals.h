#pragma once

#include "settings/FileDescriptor.h"

#include <optional>

namespace front {

/// Somebody ends it with a signal.
struct Stopped
{
    int signal;
};

/// Ctrl-C (SIGINT), SIGTERM and SIGHUP wait, from the making of this object on, until they are looked at; so none can
/// come between the making of something and the promise to clear it away. A SIGHUP that is ignored stays so, as nohup
/// wants it. There is one in a program, made before it has a second thread.
class StopSignals
{
public:
    /// Throws std::system_error when there is no descriptor for them.
    StopSignals();

    /// Readable while a signal waits.
    [[nodiscard]] int Descriptor() const
    {
        return m_descriptor.Get();
    }
    /// Takes one that waits.
    [[nodiscard]] std::optional<int> Take() const;

    /// Ends this process as the signal does, for those who look at how it ended.
    [[noreturn]] static void EndBy(int signal);

private:
    settings::FileDescriptor m_descriptor;
};

} // namespace front
