#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace failures {

/// What befalls the sibling services with a message, and stays so.
enum class Siblings
{
    Answer, ///< as before
    Refuse, ///< each call is answered with an error
    Hang    ///< no call is answered any more
};

/// What becomes of the service's name on the bus.
enum class Name
{
    Stays,
    IsTaken, ///< another has it, so it never comes
    IsLost   ///< with the connection, after the service has got it
};

/// One way in which something that the service asks of the world can fail.
struct Way
{
    int code = 0; ///< what the call answers; of GDBus's functions as sim::Failures says
    bool throws = false;
    Siblings siblings = Siblings::Answer;
    Name name = Name::Stays;
};

/// How many of the ways that there are.
enum class Width
{
    Usual, ///< those that the service, or a service like it, would tell apart
    Every  ///< each code that the function's header names; log lines fail too
};

/// The ways of a function, none for one that is left alone. Of the codes of the Bluetooth functions, which are
/// eighteen, the usual ones are a failure, and the two that are no failure to some callers: done already, and under
/// way.
std::vector<Way> WaysOf(std::string_view function, Width width);

std::string ToText(const Way& way);

} // namespace failures
