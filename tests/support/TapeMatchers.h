#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace support {

using TextMatchers = std::vector<::testing::Matcher<const std::string&>>;

/// Matches the texts of a tape in which each of the matchers has its text, each after the one before. Other texts may
/// stand between them. The text that is missing, or too early, is named.
MATCHER_P(HasInOrderMatching, matchers, "has in this order: " + ::testing::PrintToString(matchers.size()) + " texts")
{
    auto from = arg.begin();
    for (const auto& matcher : matchers) {
        from = std::find_if(from, arg.end(), [&](const std::string& text) { return matcher.Matches(text); });
        if (from == arg.end()) {
            *result_listener << "missing, or too early: a text that ";
            if (result_listener->stream() != nullptr) {
                matcher.DescribeTo(result_listener->stream());
            }
            return false;
        }
        ++from;
    }
    return true;
}

/// Each argument is a text or a matcher: `EXPECT_THAT(tv.tape.All(), HasInOrder("timer 1: 200 ms", HasSubstr("0x06")))`
template <typename... Texts>
auto HasInOrder(const Texts&... texts)
{
    return HasInOrderMatching(TextMatchers{::testing::Matcher<const std::string&>(texts)...});
}

} // namespace support
