#include "sim/VirtualClock.h"
#include "support/RealTime.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <time.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

using namespace std::chrono_literals;
using ::testing::ElementsAre;

namespace {

std::vector<std::string>& Fired()
{
    static std::vector<std::string> fired;
    return fired;
}

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

gboolean Note(gpointer name)
{
    Fired().emplace_back(static_cast<const char*>(name));
    return G_SOURCE_REMOVE;
}

gpointer Name(const char* name)
{
    return const_cast<char*>(name);
}

TEST(VirtualClock, TimersFireInTheOrderInWhichTheyAreDueTheLastOneAtTheBound)
{
    sim::VirtualClock clock;
    g_timeout_add(300, Note, Name("third"));
    g_timeout_add(100, Note, Name("first"));
    g_timeout_add(200, Note, Name("second"));
    const guint beyond = g_timeout_add(1'000, Note, Name("beyond"));

    clock.Advance(300ms);

    EXPECT_THAT(Fired(), ElementsAre("first", "second", "third"));
    g_source_remove(beyond);
}

TEST(VirtualClock, ATimerMadeByAnotherFiresInItsTurn)
{
    sim::VirtualClock clock;
    g_timeout_add(
        100,
        [](gpointer) {
            g_timeout_add(100, Note, Name("made by the first"));
            return G_SOURCE_REMOVE;
        },
        nullptr);
    g_timeout_add(150, Note, Name("second"));

    clock.Advance(250ms);

    EXPECT_THAT(Fired(), ElementsAre("second", "made by the first"));
}

TEST(VirtualClock, ASleepInsideATimerPassesTimeForTheOthers)
{
    sim::VirtualClock clock;
    g_timeout_add(
        100,
        [](gpointer) {
            usleep(800'000);
            return G_SOURCE_REMOVE;
        },
        nullptr);
    g_timeout_add(500, Note, Name("overslept"));

    clock.Advance(200ms);

    EXPECT_THAT(Fired(), ElementsAre("overslept"));
    EXPECT_GE(clock.Elapsed(), 900ms);
}

TEST(VirtualClock, OutsideAdvanceALoopReallyWaits)
{
    sim::VirtualClock clock;
    const auto start = support::RealTime::Now();
    g_timeout_add(30, Note, Name("waited for"));

    while (Fired().empty()) {
        g_main_context_iteration(nullptr, TRUE);
    }

    EXPECT_GE(support::RealTime::Now() - start, 29ms);
}

TEST(VirtualClock, OtherThreadsSeeItAndNeverMoveIt)
{
    sim::VirtualClock clock;
    int sleeps = 0;
    clock.OnSleep([&](std::chrono::microseconds) { ++sleeps; });
    const gint64 start = g_get_monotonic_time();
    clock.Advance(1h);
    gint64 seen = 0;
    std::chrono::milliseconds waited{0};

    std::thread([&] {
        seen = g_get_monotonic_time();
        const auto before = support::RealTime::Now();
        usleep(20'000);
        GMainContext* context = g_main_context_new();
        GSource* timer = g_timeout_source_new(20);
        g_source_set_callback(
            timer, [](gpointer) { return G_SOURCE_REMOVE; }, nullptr, nullptr);
        g_source_attach(timer, context);
        g_source_unref(timer);
        g_main_context_iteration(context, TRUE);
        g_main_context_unref(context);
        waited = support::RealTime::Now() - before;
    }).join();

    EXPECT_GE(seen - start, std::chrono::microseconds(1h).count());
    EXPECT_GE(waited, 39ms);
    EXPECT_LT(clock.Elapsed(), 1h + 10s);
    EXPECT_EQ(sleeps, 0);
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
