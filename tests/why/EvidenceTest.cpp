// The column "seen in" of the tables: what its words mean, and which are refused.

#include "tv/why/Evidence.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

using why::Evidence;
using why::IsLike;
using why::ParseEvidence;
using why::Sight;

std::string Refusal(const std::string& cell)
{
    try {
        ParseEvidence(cell);
    } catch (const std::invalid_argument& wrong) {
        return wrong.what();
    }
    return "";
}

TEST(Pattern, AStarStandsForAnyCharactersAndAQuestionMarkForOne)
{
    EXPECT_TRUE(IsLike("", ""));
    EXPECT_TRUE(IsLike("", "*"));
    EXPECT_TRUE(IsLike("abc", "abc"));
    EXPECT_TRUE(IsLike("abc", "a*"));
    EXPECT_TRUE(IsLike("abc", "*c"));
    EXPECT_TRUE(IsLike("abcabd", "*ab?"));
    EXPECT_TRUE(IsLike("a*b", "a?b"));
    EXPECT_FALSE(IsLike("abc", "ab"));
    EXPECT_FALSE(IsLike("ab", "abc"));
    EXPECT_FALSE(IsLike("", "?"));
    EXPECT_FALSE(IsLike("abcabe", "*abd"));
}

TEST(Pattern, BracketsAndParenthesesAreTheyThemselves)
{
    EXPECT_TRUE(IsLike("f(1, [24 07]) = 0", "f(*, [24 *) = 0"));
    EXPECT_FALSE(IsLike("f(1, [31 07]) = 0", "f(*, [24 *) = 0"));
}

TEST(Evidence, IsAllOfWhatASemicolonPartsAndOneOfWhatOrParts)
{
    const Evidence evidence = ParseEvidence("`event f(*`; `call g() = 0` or `call g() = 1`");

    ASSERT_EQ(evidence.size(), 2U);
    ASSERT_EQ(evidence[0].size(), 1U);
    EXPECT_EQ(evidence[0][0].pattern.kind, "event");
    EXPECT_EQ(evidence[0][0].pattern.text, "f(*");
    ASSERT_EQ(evidence[1].size(), 2U);
    EXPECT_EQ(evidence[1][1].pattern.text, "g() = 1");
    EXPECT_EQ(evidence[1][1].sense, Sight::Sense::Came);
}

TEST(Evidence, MayBeThatSomethingDidNotCome)
{
    const Evidence evidence =
        ParseEvidence("`no log a b`; `since no call c`; `never log d since event e since event f`");

    ASSERT_EQ(evidence.size(), 3U);
    EXPECT_EQ(evidence[0][0].sense, Sight::Sense::DidNotCome);
    EXPECT_EQ(evidence[0][0].pattern.text, "a b");
    EXPECT_EQ(evidence[1][0].sense, Sight::Sense::NotSince);
    EXPECT_EQ(evidence[2][0].sense, Sight::Sense::Never);
    ASSERT_EQ(evidence[2][0].since.size(), 2U);
    EXPECT_EQ(evidence[2][0].since[1].text, "f");
}

TEST(Evidence, MayHaveToComeBeforeSomethingElse)
{
    const Evidence evidence = ParseEvidence("`log a before call b`");

    ASSERT_EQ(evidence.size(), 1U);
    EXPECT_EQ(evidence[0][0].pattern.text, "a");
    ASSERT_EQ(evidence[0][0].before.size(), 1U);
    EXPECT_EQ(evidence[0][0].before[0].kind, "call");
}

TEST(Evidence, OfADashIsNone)
{
    EXPECT_THAT(ParseEvidence("—"), IsEmpty());
}

TEST(Evidence, ThatNobodyUnderstandsIsRefused)
{
    EXPECT_THAT(Refusal(""), HasSubstr("stands in code quotes"));
    EXPECT_THAT(Refusal("log a"), HasSubstr("stands in code quotes"));
    EXPECT_THAT(Refusal("`log a"), HasSubstr("stands in code quotes"));
    EXPECT_THAT(Refusal("`log a`, `log b`"), HasSubstr("stands \" or \" or \"; \""));
    EXPECT_THAT(Refusal("`log a`; "), HasSubstr("stands in code quotes"));
    EXPECT_THAT(Refusal("`lgo a`"), HasSubstr("no kind of entry is called \"lgo\""));
    EXPECT_THAT(Refusal("`log`"), HasSubstr("no kind and text"));
    EXPECT_THAT(Refusal("`no log a before log b`"), HasSubstr("\"before\" is for one thing"));
    EXPECT_THAT(Refusal("`log a since log b`"), HasSubstr("\"since\" at the end"));
}

} // namespace
