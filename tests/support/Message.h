#pragma once

#include <gio/gio.h>
#include <gmock/gmock.h>

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

/// Match a Message by its member, the type of its body and the body's text. Each may be a text or a matcher.
/// Example: `ElementsAre(Call("Hello"), Call("AvrcpInterimReceived", "(si)", "('AA:BB:CC:DD:EE:FF', 40)"))`
::testing::Matcher<Message> Call(const ::testing::Matcher<std::string>& member,
                                 const ::testing::Matcher<std::string>& signature = "",
                                 const ::testing::Matcher<std::string>& body = "");
::testing::Matcher<Message> Signal(const ::testing::Matcher<std::string>& member,
                                   const ::testing::Matcher<std::string>& signature = "",
                                   const ::testing::Matcher<std::string>& body = "");

} // namespace support
