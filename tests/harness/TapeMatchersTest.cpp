#include "support/TapeMatchers.h"

#include <string>
#include <vector>

using support::HasInOrder;
using ::testing::HasSubstr;
using ::testing::Not;

namespace {

const std::vector<std::string> kTape = {"one", "two", "three", "two"};

TEST(TapeMatchers, FindTextsInTheirOrderWithOthersBetween)
{
    EXPECT_THAT(kTape, HasInOrder("one", "three"));
    EXPECT_THAT(kTape, HasInOrder("one", HasSubstr("hre"), "two"));
    EXPECT_THAT(kTape, HasInOrder("two", "two"));
}

TEST(TapeMatchers, DoNotFindWhatIsMissingOrTooEarly)
{
    EXPECT_THAT(kTape, Not(HasInOrder("four")));
    EXPECT_THAT(kTape, Not(HasInOrder("three", "one")));
    EXPECT_THAT(kTape, Not(HasInOrder("one", "one")));
}

TEST(TapeMatchers, NameTheTextThatIsMissing)
{
    ::testing::StringMatchResultListener listener;
    EXPECT_FALSE(::testing::ExplainMatchResult(HasInOrder("three", "one"), kTape, &listener));
    EXPECT_EQ(listener.str(), "missing, or too early: a text that is equal to \"one\"");
}

} // namespace
