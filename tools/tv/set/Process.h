#pragma once

#include "tv/set/Wire.h"

#include <string>
#include <vector>

namespace set {

/// The process with the television and, once it is plugged in, the service: reads command lines from a socket, carries
/// each out, and tells what happened.
///
/// Before the first line that the user gives come those of the furniture, each with a "+" before it: they are carried
/// out without being told. The process ends after the service has ended, in whatever way, or when the other end of the
/// socket is closed; what is to be known of the set in its next life was told by then as `{"furniture":[…]}`.
struct ProcessOptions
{
    int descriptor = -1; ///< a stream socket
    std::string root;    ///< the set's folder
    Wire::Start start;
};

/// \return the exit status
int RunProcess(const ProcessOptions& options);

/// The same for the main function of a program that starts itself for it.
/// \param arguments as front::SetProcess gives them, with its word as the first
int RunProcess(const std::vector<std::string>& arguments);

} // namespace set
