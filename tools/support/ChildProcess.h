#pragma once

#include "settings/FileDescriptor.h"
#include "support/Child.h"
#include "support/MainLoop.h"

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>

namespace support {

/// A piece of code in a process of its own, forked from the test; its standard output comes back through a pipe.
///
/// Make it before anything starts a thread, GDBus too: a fork takes along only the thread that called it. Where the
/// code needs peers on the bus, make it with Start::WhenTold, then the peers, then tell it. It is killed and waited for
/// when its owner goes, and killed when the test's process dies.
class ChildProcess
{
public:
    enum class Start
    {
        AtOnce,
        WhenTold
    };

    /// \param body what the child does; its result is the exit status. When it throws, what() goes to the standard
    /// error and the exit status is Child::kThrew.
    /// Throws std::system_error when there can be no further process or pipe.
    explicit ChildProcess(const std::function<int()>& body, Start start = Start::AtOnce);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// -1 once its end has been seen.
    [[nodiscard]] pid_t Pid() const
    {
        return m_child.Pid();
    }

    /// Lets a child start that waits to be told.
    void Begins();

    /// Does nothing once its end has been seen.
    void Send(int signal) const;

    /// All that has come out of it so far.
    [[nodiscard]] const std::string& Output();

    /// Runs the default main context until \p text has come out of it.
    /// \return false when the deadline or the end of the output came first
    [[nodiscard]] bool WaitForOutput(const std::string& text, std::chrono::milliseconds deadline = kDeadline);

    /// Runs the default main context until it has ended. All its output is read then.
    /// \return StillRunning() when the deadline came first
    [[nodiscard]] ProcessEnd WaitForEnd(std::chrono::milliseconds deadline = kDeadline);

private:
    bool HasEnded();
    void ReadOutput();
    void CloseGate();

    settings::FileDescriptor m_output;
    settings::FileDescriptor m_gate; ///< closing it lets a child start that waits to be told
    bool m_outputEnded = false;
    std::string m_text;
    Child m_child;
};

} // namespace support
