#include "sim/Handles.h"
#include "sim/Side.h"
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

TEST(VirtualClock, StandsStillWhereItIsToldTo)
{
    sim::VirtualClock clock(true);
    const gint64 start = g_get_monotonic_time();
    const auto realStart = support::RealTime::Now();
    while (support::RealTime::Now() - realStart < 5ms) {
    }
    EXPECT_EQ(g_get_monotonic_time(), start);
    clock.Advance(100ms);
    EXPECT_EQ(g_get_monotonic_time(), start + 100'000);
    usleep(2'000);
    EXPECT_EQ(g_get_monotonic_time(), start + 102'000);
    sim::VirtualClock::Waits(1s);
    EXPECT_EQ(g_get_monotonic_time(), start + 1'102'000);
}

TEST(VirtualClock, BeginsOnAWholeSecondWhereItStands)
{
    const sim::VirtualClock clock(true);
    EXPECT_EQ(g_get_monotonic_time() % G_USEC_PER_SEC, 0);
}

TEST(VirtualClock, GoesOnFromWhereItStood)
{
    sim::VirtualClock clock(true);
    const auto realStart = support::RealTime::Now();
    while (support::RealTime::Now() - realStart < 200ms) {
    }
    const gint64 stood = g_get_monotonic_time();
    clock.Stands(false);
    const gint64 runs = g_get_monotonic_time();
    EXPECT_GE(runs, stood);
    EXPECT_LT(runs, stood + 100'000); // not the 200 ms for which it stood
    while (g_get_monotonic_time() == runs) {
    }
}

TEST(VirtualClock, AdvancesToTheNextThatIsDueAndNoFurther)
{
    sim::VirtualClock clock(true);
    int fired = 0;
    const guint timer = g_timeout_add(1'000, Count, &fired);
    EXPECT_EQ(clock.AdvanceToNext(1h), 1s);
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(clock.AdvanceToNext(400ms), 400ms);
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(clock.AdvanceToNext(1h), 600ms);
    EXPECT_EQ(fired, 2);
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

TEST(VirtualClock, IsSetOnTheWallAndNoTimerGoesByThat)
{
    sim::VirtualClock clock(true);
    int fired = 0;
    const guint timer = g_timeout_add(60'000, Count, &fired);
    const time_t before = time(nullptr);

    sim::VirtualClock::SetsWall(1h);
    EXPECT_EQ(time(nullptr) - before, 3600);
    clock.Advance(59s);
    EXPECT_EQ(fired, 0);
    EXPECT_EQ(clock.Elapsed(), 59s);
    sim::VirtualClock::SetsWall(-2h);
    clock.Advance(1s);
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(time(nullptr) - before, 60 - 3600);
    g_source_remove(timer);
}

TEST(VirtualClock, MayBeSetToBeforeTheBeginOfItsCount)
{
    const sim::VirtualClock clock(true);
    struct timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    sim::VirtualClock::SetsWall(-std::chrono::seconds(now.tv_sec) - 10s);
    clock_gettime(CLOCK_REALTIME, &now);
    EXPECT_EQ(now.tv_sec, -10);
    EXPECT_GE(now.tv_nsec, 0);
    EXPECT_LT(now.tv_nsec, 1'000'000'000);
}

TEST(VirtualClock, TellsHowLongTheLoopWasKeptFromLookingAround)
{
    sim::VirtualClock clock(true);
    const auto sleeps = [](gpointer) -> gboolean {
        usleep(700'000);
        return G_SOURCE_CONTINUE;
    };
    const guint timer = g_timeout_add(10'000, sleeps, nullptr);
    static_cast<void>(sim::VirtualClock::TakeLongestTurn());
    clock.Advance(9s);
    EXPECT_EQ(sim::VirtualClock::TakeLongestTurn(), 0ms) << "time that passes by itself is no turn";
    clock.Advance(25s);
    EXPECT_EQ(sim::VirtualClock::TakeLongestTurn(), 700ms);
    EXPECT_EQ(sim::VirtualClock::TakeLongestTurn(), 0ms);
    g_source_remove(timer);
}

TEST(VirtualClock, AddsUpHowLongTheServiceHeldOneTurnOfTheLoopInRealTime)
{
    const sim::VirtualClock clock(true);
    static_cast<void>(sim::VirtualClock::TakeLongestRealTurn());
    sim::VirtualClock::LoopWasHeld(3ms);
    sim::VirtualClock::LoopWasHeld(2ms);
    g_main_context_iteration(nullptr, FALSE);
    sim::VirtualClock::LoopWasHeld(4ms);
    g_main_context_iteration(nullptr, FALSE);
    EXPECT_EQ(sim::VirtualClock::TakeLongestRealTurn(), 5ms);
    EXPECT_EQ(sim::VirtualClock::TakeLongestRealTurn(), 0ms);
    sim::VirtualClock::LoopWasHeld(1ms);
    EXPECT_EQ(sim::VirtualClock::TakeLongestRealTurn(), 1ms) << "the turn that is not over counts";
}

TEST(VirtualClock, WhatTheServiceHandlesHoldsTheLoop)
{
    const sim::VirtualClock clock(true);
    static_cast<void>(sim::VirtualClock::TakeLongestRealTurn());
    {
        const sim::Handles holdsLoop;
        EXPECT_EQ(sim::Runs::Now(), sim::Side::Service);
        const auto begin = sim::VirtualClock::RealTime();
        while (sim::VirtualClock::RealTime() - begin < 2ms) {
            usleep(1'000'000); // of the clock that stands: takes none
        }
    }
    EXPECT_EQ(sim::Runs::Now(), sim::Side::Television);
    EXPECT_GE(sim::VirtualClock::TakeLongestRealTurn(), 2ms);
}

TEST(VirtualClock, WithoutOneTimePassesAsOnTheWall)
{
    struct timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto wall = support::RealTime::Now();
    EXPECT_LE(std::chrono::abs(wall - std::chrono::seconds(now.tv_sec)), 1'500ms);
}

} // namespace
