#pragma once

#include "support/Child.h"
#include "support/TempDir.h"

#include <sys/types.h>

#include <string>

namespace support {

/// A message bus of this test's own: a real daemon with the policy of a system bus on which everybody may own, send and
/// receive anything. While it lives it is the system bus of this process and of its children.
///
/// Make it before anything connects to the system bus. When it goes, the process's shared connection is told not to
/// end the process with it.
class PrivateBus
{
public:
    /// Returns when the bus takes connections. Throws std::runtime_error when no daemon could be started,
    /// with a text that says why.
    /// \param limits what its configuration says of limits, such as `<limit name="reply_timeout">1000</limit>`
    explicit PrivateBus(const std::string& limits = {});
    ~PrivateBus();
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    [[nodiscard]] const std::string& Address() const
    {
        return m_address;
    }
    /// The daemon's; -1 once it has died.
    [[nodiscard]] pid_t Pid() const
    {
        return m_daemon.Pid();
    }

    /// Has the daemon hang with SIGSTOP, or go on with SIGCONT; does nothing once it has died.
    void Send(int signal) const
    {
        m_daemon.Send(signal);
    }

    /// The bus goes away in the middle of it all, with all connections. Once more does nothing.
    void Dies();

private:
    std::string WriteConfiguration(const std::string& limits) const;
    void Start(const std::string& configuration);

    TempDir m_dir;
    std::string m_address;
    Child m_daemon; ///< last, so that it ends before its folder goes
};

} // namespace support
