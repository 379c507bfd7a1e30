// The stories themselves: the same from the same number, and made of lines that the television understands.

#include "soak/Story.h"

#include "soak/Dice.h"
#include "tv/language/Line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

using ::testing::Each;
using ::testing::Gt;

namespace {

constexpr soak::Wanted kLong = {.passages = 300, .isOneLife = false};

/// As it is known in the public domain: FNV-1a.
std::uint64_t HashOf(const std::vector<std::string>& lines)
{
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const std::string& line : lines) {
        for (const char character : line + "\n") {
            hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3;
        }
    }
    return hash;
}

TEST(Dice, ThrowTheSameWithTheSameNumberOnEachMachine)
{
    soak::Dice dice(1);
    EXPECT_EQ(dice.Below(1'000'000'007), 259'194'324U);
    EXPECT_EQ(dice.Below(6), 0U);
}

TEST(Dice, ThrowEachSideAndNoOther)
{
    soak::Dice dice(7);
    std::vector<int> thrown(6);
    for (int count = 0; count < 600; ++count) {
        ++thrown.at(dice.Below(6));
    }
    EXPECT_THAT(thrown, Each(Gt(60)));
    EXPECT_EQ(dice.Below(1), 0U);
    std::set<int> between;
    for (int count = 0; count < 100; ++count) {
        between.insert(dice.Between(-1, 1));
    }
    EXPECT_EQ(between, std::set({-1, 0, 1}));
}

TEST(Stories, AreTheSameFromTheSameNumberAndOthersFromOthers)
{
    EXPECT_EQ(soak::TellStory(5, kLong), soak::TellStory(5, kLong));
    EXPECT_NE(soak::TellStory(5, kLong), soak::TellStory(6, kLong));
}

TEST(Stories, AreTheSameWhateverTheCompiler)
{
    EXPECT_EQ(HashOf(soak::LinesOf(soak::TellStory(1, kLong))), 367'001'484'782'243'441U);
}

TEST(Stories, AreOfLinesThatTheTelevisionUnderstands)
{
    for (std::uint64_t number = 0; number < 100; ++number) {
        for (const std::string& line : soak::LinesOf(soak::TellStory(number, kLong))) {
            EXPECT_NO_THROW(language::Parse(line)) << line;
        }
    }
}

TEST(Stories, OfOneLifeAreWithoutAnEnd)
{
    for (std::uint64_t number = 0; number < 100; ++number) {
        const std::vector<std::string> lines = soak::LinesOf(soak::TellStory(number, {300, true}));
        EXPECT_EQ(std::ranges::count(lines, "plug"), 1);
        EXPECT_EQ(std::ranges::count(lines, "unplug") + std::ranges::count(lines, "bus restart"), 0);
    }
}

TEST(Stories, HaveAllKindsOfTroubleInThem)
{
    std::vector<std::string> all;
    for (std::uint64_t number = 0; number < 100; ++number) {
        const std::vector<std::string> lines = soak::LinesOf(soak::TellStory(number, kLong));
        all.insert(all.end(), lines.begin(), lines.end());
    }
    for (const char* begin : {"sibling updatemanager hang",
                              "sibling connectionmanager absent",
                              "sibling connectionmanager error",
                              "sibling connectionmanager slow",
                              "sibling updatemanager answer",
                              "disk full",
                              "disk roomy",
                              "bus restart",
                              "bus hidden",
                              "clock set back",
                              "clock set forth",
                              "fail ",
                              "recover ",
                              "power off",
                              "unplug",
                              "remote lose",
                              "expect log",
                              "set memory/wizard/wizard_mode",
                              "unset ",
                              "report ",
                              "next timer",
                              "wait 1d"}) {
        EXPECT_TRUE(std::ranges::any_of(all, [&](const std::string& line) { return line.starts_with(begin); }))
            << begin;
    }
}

} // namespace
