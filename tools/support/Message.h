#pragma once

#include <gio/gio.h>

#include <iosfwd>
#include <string>

namespace support {

/// A method call or a signal as its receiver saw it.
struct Message
{
    enum class Kind
    {
        Call,
        Signal
    };

    Kind kind = Kind::Call;
    std::string destination; ///< the name that the sender wrote on it
    std::string path;
    std::string interface;
    std::string member;
    std::string signature; ///< the type of the body, such as "(ssii)"; empty for no body
    std::string body;      ///< GVariant text without type annotations, such as "('name', 18)"; empty for no body

    bool operator==(const Message&) const = default;
};

/// \param message a method call or a signal
Message ToMessage(GDBusMessage* message);

void PrintTo(const Message& message, std::ostream* out);

} // namespace support
