#include "sim/VirtualClock.h"
#include "support/RealTime.h"

#include <glib.h>

#include <time.h>
#include <unistd.h>

#include <chrono>
#include <vector>

using namespace std::chrono_literals;
using ::testing::ElementsAre;

namespace {

gboolean Count(gpointer count)
{
    ++*static_cast<int*>(count);
    return G_SOURCE_CONTINUE;
}

TEST(VirtualClock, AnHourlyTimerFiresForAMonthAndNobodyWaits)
{
    sim::VirtualClock clock;
    int fired = 0;
    const guint timer = g_timeout_add(3'600'000, Count, &fired);
    const auto start = support::RealTime::Now();

    clock.Advance(24h * 30 + 1min);

    EXPECT_EQ(fired, 24 * 30);
    EXPECT_LT(support::RealTime::Now() - start, 2s);
    g_source_remove(timer);
}

TEST(VirtualClock, ATimerFiresOnTheFarSideOfItsTimeOnly)
{
    sim::VirtualClock clock;
    int fired = 0;
    const guint timer = g_timeout_add(10'000, Count, &fired);

    clock.Advance(9'900ms);
    EXPECT_EQ(fired, 0);
    clock.Advance(200ms);
    EXPECT_EQ(fired, 1);
    g_source_remove(timer);
}

TEST(VirtualClock, ATimerInSecondsComesAtMostASecondLate)
{
    sim::VirtualClock clock;
    int fired = 0;
    const guint timer = g_timeout_add_seconds(10, Count, &fired);

    clock.Advance(9'500ms);
    EXPECT_EQ(fired, 0);
    clock.Advance(1'600ms);
    EXPECT_EQ(fired, 1);
    g_source_remove(timer);
}

TEST(VirtualClock, SleepsTakeNoTimeAndAreTold)
{
    sim::VirtualClock clock;
    std::vector<std::chrono::microseconds> sleeps;
    clock.OnSleep([&](std::chrono::microseconds time) { sleeps.push_back(time); });
    const auto start = support::RealTime::Now();

    g_usleep(1'500'000);
    usleep(50'000);

    EXPECT_THAT(sleeps, ElementsAre(1'500'000us, 50'000us));
    EXPECT_GE(clock.Elapsed(), 1'550ms);
    EXPECT_LT(support::RealTime::Now() - start, 500ms);
}

TEST(VirtualClock, TheDateMovesToo)
{
    sim::VirtualClock clock;
    const time_t before = time(nullptr);
    clock.Advance(2h);
    EXPECT_NEAR(static_cast<double>(time(nullptr) - before), 7200, 2);
}

TEST(VirtualClock, WithoutOneTimePassesAsOnTheWall)
{
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto wall = support::RealTime::Now();
    EXPECT_LE(std::chrono::abs(wall - std::chrono::seconds(now.tv_sec)), 1'500ms);
}

} // namespace
