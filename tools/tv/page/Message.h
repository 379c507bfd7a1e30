#pragma once

#include "tv/front/Feed.h"

#include <string>
#include <string_view>

namespace page {

/// What a page says: a command line, as `{"line":"remote connect"}`.
struct Message
{
    std::string line = {};
    std::string error = {}; ///< why it is no such message, in words for a person; empty when it is
};

/// The longest message that is read: a line of front::Feed::kLongestLine, each byte of it written as \u00XX.
inline constexpr unsigned kLongestMessage = 6 * front::Feed::kLongestLine + 64;

/// Never throws for what comes from outside, and does not follow nested values into the depth.
Message ReadMessage(std::string_view text);

/// \param error in words for a person, UTF-8
/// \return the object that a page is told of it
std::string ErrorObject(const std::string& error);

} // namespace page
