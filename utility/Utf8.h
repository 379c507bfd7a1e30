#pragma once

#include <string>
#include <string_view>

namespace Util {

/// Text that may enter a message body: what is not valid UTF-8, or a zero byte, becomes U+FFFD. Names and addresses
/// come over the air, and the bus takes nothing else.
std::string ToValidUtf8(std::string_view text);

} // namespace Util
