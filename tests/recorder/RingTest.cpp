// The memory through which records go from the service to the process that writes them.

#include "recorder/Ring.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <span>
#include <string>

namespace {

using recorder::Ring;

constexpr std::size_t kSmall = 64; // bytes
constexpr std::size_t kPrefix = 4; // bytes before each record

bool Put(Ring& ring, const std::string& record)
{
    const bool wasPut = ring.Put(std::as_bytes(std::span(record)));
    if (!wasPut) {
        ring.Lose();
    }
    return wasPut;
}

/// The oldest record, or how many were lost; "none" where there is nothing.
std::string Take(Ring& ring)
{
    Ring::Frame frame;
    if (!ring.Look(frame)) {
        return "none";
    }
    std::string taken = frame.lost > 0 ? "lost " + std::to_string(frame.lost) : "";
    taken.append(reinterpret_cast<const char*>(frame.front.data()), frame.front.size());
    taken.append(reinterpret_cast<const char*>(frame.back.data()), frame.back.size());
    ring.Drop(frame);
    return taken;
}

TEST(Ring, GivesBackInOrderWhatWentInAlsoOverItsEnd)
{
    Ring ring(kSmall);
    for (int i = 0; i < 200; ++i) {
        const std::string one(static_cast<std::size_t>(i % 25), static_cast<char>('a' + i % 26));
        const std::string other(static_cast<std::size_t>(i % 23), 'z');
        ASSERT_TRUE(Put(ring, one));
        ASSERT_TRUE(Put(ring, other));
        ASSERT_EQ(Take(ring), one);
        ASSERT_EQ(Take(ring), other);
        ASSERT_TRUE(ring.IsEmpty());
        ASSERT_EQ(Take(ring), "none");
    }
}

TEST(Ring, IsFullToTheLastByte)
{
    Ring ring(kSmall);
    EXPECT_FALSE(Put(ring, std::string(kSmall - kPrefix + 1, 'x')));
    EXPECT_TRUE(Put(ring, std::string(kSmall - 2 * kPrefix, 'x'))); // with the number of those that were lost
    EXPECT_FALSE(Put(ring, ""));
    EXPECT_EQ(Take(ring), "lost 1");
    EXPECT_EQ(Take(ring), std::string(kSmall - 2 * kPrefix, 'x'));
    EXPECT_TRUE(Put(ring, std::string(kSmall - 2 * kPrefix, 'y')));
}

TEST(Ring, SaysHowManyWereLostBeforeTheNextThatFits)
{
    Ring ring(kSmall);
    const std::string large(kSmall / 2, 'x');
    EXPECT_TRUE(Put(ring, large));
    EXPECT_FALSE(Put(ring, large));
    EXPECT_FALSE(Put(ring, large));
    EXPECT_TRUE(Put(ring, "next"));
    EXPECT_TRUE(Put(ring, "last"));
    EXPECT_EQ(Take(ring), large);
    EXPECT_EQ(Take(ring), "lost 2");
    EXPECT_EQ(Take(ring), "next");
    EXPECT_EQ(Take(ring), "last");
    EXPECT_EQ(Take(ring), "none");
}

TEST(Ring, KnowsWhatItCanNeverHold)
{
    const Ring ring(kSmall);
    EXPECT_FALSE(ring.IsTooLarge(kSmall - 2 * kPrefix));
    EXPECT_TRUE(ring.IsTooLarge(kSmall - 2 * kPrefix + 1));
}

TEST(Ring, WakesOnceWhoSleeps)
{
    Ring ring(kSmall);
    EXPECT_TRUE(Put(ring, "a"));
    EXPECT_FALSE(ring.HasToWake()); // nobody sleeps yet
    ring.Says(Ring::Taker::Asleep);
    EXPECT_TRUE(Put(ring, "b"));
    EXPECT_TRUE(ring.HasToWake());
    EXPECT_TRUE(Put(ring, "c"));
    EXPECT_FALSE(ring.HasToWake());
}

TEST(Ring, WakesWhoLingersOnlyWhenItFillsUp)
{
    Ring ring(kSmall);
    ring.Says(Ring::Taker::Lingers);
    EXPECT_TRUE(Put(ring, std::string(kSmall / 2 - kPrefix - 1, 'x')));
    EXPECT_FALSE(ring.HasToWake());
    EXPECT_TRUE(Put(ring, ""));
    EXPECT_TRUE(ring.HasToWake());
    EXPECT_FALSE(ring.HasToWake());
}

TEST(Ring, IsGivenUpForBothSides)
{
    Ring ring(kSmall);
    EXPECT_FALSE(ring.IsGivenUp());
    ring.GiveUp();
    EXPECT_TRUE(ring.IsGivenUp());
}

} // namespace
