// What is taken away of a story, on its own: with something that is wrong when certain things come in a certain order.

#include "soak/Shrink.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr std::size_t kEnough = 10'000;

using Items = std::vector<int>;

Items UpTo(int count)
{
    Items items(static_cast<std::size_t>(count));
    std::iota(items.begin(), items.end(), 0);
    return items;
}

/// True where all of \p wanted are there, in this order.
bool HasInOrder(const Items& items, const Items& wanted)
{
    auto place = items.begin();
    for (const int one : wanted) {
        place = std::find(place, items.end(), one);
        if (place == items.end()) {
            return false;
        }
        ++place;
    }
    return true;
}

TEST(Shrink, FindsTheThreeOfAThousandThatAreNeeded)
{
    std::size_t asked = 0;
    const Items left = soak::Shrink<int>(
        UpTo(1000),
        [&](const Items& items) {
            ++asked;
            return HasInOrder(items, {17, 500, 998});
        },
        kEnough);
    EXPECT_THAT(left, ElementsAre(17, 500, 998));
    EXPECT_LT(asked, 100U);
}

TEST(Shrink, KeepsTheOrder)
{
    const Items left = soak::Shrink<int>(
        {5, 3, 9, 3, 5},
        [](const Items& items) {
            return HasInOrder(items, {9, 3});
        },
        kEnough);
    EXPECT_THAT(left, ElementsAre(9, 3));
}

TEST(Shrink, TakesAwayWhatBecomesNeedlessLaterOnly)
{
    // 1 is needed as long as 2 is there, which comes behind it.
    const auto isWrong = [](const Items& items) {
        const bool first = std::ranges::find(items, 1) != items.end();
        const bool second = std::ranges::find(items, 2) != items.end();
        return std::ranges::find(items, 0) != items.end() && (first || !second);
    };
    EXPECT_THAT(soak::Shrink<int>({0, 1, 2}, isWrong, kEnough), ElementsAre(0));
}

TEST(Shrink, KeepsAllWhereAllIsNeeded)
{
    const Items all = UpTo(7);
    EXPECT_EQ(soak::Shrink<int>(
                  all, [&](const Items& items) { return items == all; }, kEnough),
              all);
}

TEST(Shrink, EndsWithNothingWhereNothingIsNeeded)
{
    EXPECT_THAT(soak::Shrink<int>(
                    UpTo(100), [](const Items&) { return true; }, kEnough),
                IsEmpty());
    EXPECT_THAT(soak::Shrink<int>(
                    {}, [](const Items&) { return true; }, kEnough),
                IsEmpty());
}

TEST(Shrink, OneIsKeptOrNot)
{
    EXPECT_THAT(soak::Shrink<int>(
                    {4}, [](const Items& items) { return !items.empty(); }, kEnough),
                ElementsAre(4));
}

TEST(Shrink, AsksNoMoreOftenThanItMay)
{
    std::size_t asked = 0;
    const Items left = soak::Shrink<int>(
        UpTo(100),
        [&](const Items& items) {
            ++asked;
            return HasInOrder(items, {99});
        },
        3);
    EXPECT_EQ(asked, 3U);
    EXPECT_TRUE(HasInOrder(left, {99}));
    EXPECT_LT(left.size(), 100U);
}

} // namespace
