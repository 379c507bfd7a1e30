#include "support/MessageMatchers.h"

#include <gmock/gmock.h>

namespace support {

namespace {

using ::testing::AllOf;
using ::testing::Field;
using ::testing::Matcher;

Matcher<Message> Matches(Message::Kind kind, const Matcher<std::string>& member, const Matcher<std::string>& signature,
                         const Matcher<std::string>& body)
{
    return AllOf(Field("kind", &Message::kind, kind), Field("member", &Message::member, member),
                 Field("signature", &Message::signature, signature), Field("body", &Message::body, body));
}

} // namespace

Matcher<Message> Call(const Matcher<std::string>& member, const Matcher<std::string>& signature,
                      const Matcher<std::string>& body)
{
    return Matches(Message::Kind::Call, member, signature, body);
}

Matcher<Message> Signal(const Matcher<std::string>& member, const Matcher<std::string>& signature,
                        const Matcher<std::string>& body)
{
    return Matches(Message::Kind::Signal, member, signature, body);
}

} // namespace support
