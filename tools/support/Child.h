#pragma once

#include <sys/types.h>

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace support {

/// How a process ended, if it did.
struct ProcessEnd
{
    enum class How
    {
        StillRunning,
        Exited,
        Killed,
        Unknown ///< somebody else waited for it
    };

    How how = How::StillRunning;
    int number = 0; ///< its exit status, or the signal that killed it

    bool operator==(const ProcessEnd&) const = default;
};

ProcessEnd Exited(int status);
ProcessEnd KilledBy(int signal);
ProcessEnd StillRunning();

void PrintTo(const ProcessEnd& end, std::ostream* out);

/// A process that this one started; killed and waited for when its owner goes. For a child whose output is wanted, or
/// that waits to be told to start, see ChildProcess.
///
/// It is the only way to a process here, because a start that fails must not be mistaken for a child: the id -1 means
/// "every process" to kill, and "any child" to waitpid. No signal goes to an id that is not that of a child which runs
/// or has not been waited for, and none from a fork that got a copy of this object.
class Child
{
public:
    /// Runs \p body in a fork of this process. Its result is the exit status; when it throws, what() goes to the
    /// standard error and the exit status is kThrew. It leaves by exit, so that coverage is written and leaks are
    /// looked for. No signal is blocked in it, and it is killed when the thread that started it ends.
    ///
    /// A fork takes along only the thread that called it: start it before there are others, GDBus's too.
    /// Throws std::system_error when there can be no further process.
    [[nodiscard]] static Child Fork(const std::function<int()>& body);

    /// Starts a program.
    /// \param command its path, which is not searched for, and its arguments
    /// Throws std::system_error when it cannot be started.
    [[nodiscard]] static Child Spawn(std::vector<std::string> command);

    /// Starts a program that the terminal does not reach: in a session of its own, with nothing to read, with its
    /// standard output joined to the standard error, and without blocked signals.
    /// \param descriptor stays open in it under its number, though it is closed in other programs
    [[nodiscard]] static Child SpawnApart(std::vector<std::string> command, int descriptor);

    /// None: it counts as ended in a way that nobody knows.
    Child() = default;
    ~Child();
    Child(Child&& other) noexcept;
    Child& operator=(Child&& other) noexcept;
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    static constexpr int kThrew = 125;

    /// -1 when there is none, also once its end has been seen.
    [[nodiscard]] pid_t Pid() const
    {
        return m_pid;
    }

    /// Does nothing once its end has been seen.
    void Send(int signal) const;

    /// Looks whether it has ended, without waiting.
    const ProcessEnd& Poll();

    /// Waits for its end. Not for a child that waits for the main loop of this process.
    const ProcessEnd& Wait();

    /// Kills it, if it still runs, and waits for its end.
    const ProcessEnd& Kill();

private:
    explicit Child(pid_t pid);
    const ProcessEnd& Await(int options);
    [[nodiscard]] bool IsOurs() const;

    pid_t m_pid = -1; ///< greater than 0 while it has not been waited for
    pid_t m_parent = -1;
    ProcessEnd m_end = {ProcessEnd::How::Unknown, 0};
};

} // namespace support
