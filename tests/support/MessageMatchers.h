#pragma once

#include "support/Message.h"

#include <gmock/gmock.h>

#include <string>

namespace support {

/// Match a Message by its member, the type of its body and the body's text. Each may be a text or a matcher.
/// Example: `ElementsAre(Call("Hello"), Call("AvrcpInterimReceived", "(si)", "('AA:BB:CC:DD:EE:FF', 40)"))`
::testing::Matcher<Message> Call(const ::testing::Matcher<std::string>& member,
                                 const ::testing::Matcher<std::string>& signature = "",
                                 const ::testing::Matcher<std::string>& body = "");
::testing::Matcher<Message> Signal(const ::testing::Matcher<std::string>& member,
                                   const ::testing::Matcher<std::string>& signature = "",
                                   const ::testing::Matcher<std::string>& body = "");

} // namespace support
