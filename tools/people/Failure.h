#pragma once

#include <stdexcept>
#include <string>

namespace people {

/// How the programs for the people of a box end. 0, 2 and 4 mean what they mean for vyrel-settings; 3, another type, is
/// that command's alone.
enum ExitStatus
{
    kDone = 0,
    kNotThere = 1,  ///< what was named is not there: no such device, nothing that waits for an answer
    kUsage = 2,     ///< the command line is wrong
    kFailure = 4,   ///< of the bus, or of the output
    kNoService = 5, ///< the service, or the Bluetooth daemon, does not run
    kNoRight = 6,   ///< this user may not
    kRefused = 7    ///< the service will not now
};

/// Why a program cannot do what it was told, in words for whoever told it.
class Failure : public std::runtime_error
{
public:
    Failure(ExitStatus exitStatus, const std::string& text) : std::runtime_error(text), m_status(exitStatus) {}

    [[nodiscard]] ExitStatus Status() const
    {
        return m_status;
    }

private:
    ExitStatus m_status;
};

} // namespace people
