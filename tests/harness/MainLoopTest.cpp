#include "support/MainLoop.h"

#include "support/LoopThread.h"
#include "support/RealTime.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using support::DrainMainLoop;
using support::IterateUntil;
using support::LoopThread;
using support::RealTime;
using ::testing::ElementsAre;

gboolean CountDown(gpointer count)
{
    return --*static_cast<int*>(count) > 0 ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

TEST(MainLoopTest, WhatIsDoneAlreadyNeedsNoIteration)
{
    int count = 1;
    const guint source = g_idle_add(CountDown, &count);
    EXPECT_TRUE(IterateUntil([] { return true; }));
    EXPECT_EQ(count, 1);
    g_source_remove(source);
}

TEST(MainLoopTest, IteratesUntilItIsDone)
{
    int count = 3;
    g_idle_add(CountDown, &count);
    EXPECT_TRUE(IterateUntil([&] { return count == 1; }));
    EXPECT_EQ(count, 1);
    DrainMainLoop();
    EXPECT_EQ(count, 0);
}

TEST(MainLoopTest, GivesUpAtTheDeadlineAndNotBefore)
{
    constexpr auto kDeadline = std::chrono::milliseconds(30);
    const auto begin = RealTime::Now();
    EXPECT_FALSE(IterateUntil([] { return false; }, kDeadline));
    EXPECT_GE(RealTime::Now() - begin, kDeadline);
}

TEST(MainLoopTest, TheDeadlineHoldsAlsoInALoopThatIsNeverIdle)
{
    const guint source = g_idle_add([](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
    EXPECT_FALSE(IterateUntil([] { return false; }, std::chrono::milliseconds(30)));
    g_source_remove(source);
}

TEST(MainLoopTest, DrainsWhatIsReadyAndWhatThatMakesReady)
{
    int count = 3;
    g_idle_add(CountDown, &count);
    EXPECT_TRUE(DrainMainLoop());
    EXPECT_EQ(count, 0);
    EXPECT_FALSE(DrainMainLoop());
}

TEST(MainLoopTest, DrainsNoTimerThatIsNotDue)
{
    int count = 1;
    const guint timer = g_timeout_add_seconds(3600, CountDown, &count);
    EXPECT_FALSE(DrainMainLoop());
    EXPECT_EQ(count, 1);
    g_source_remove(timer);
}

TEST(LoopThreadTest, WorksOnAThreadOfItsOwnAndWaitsForIt)
{
    const LoopThread thread;
    std::thread::id worker;
    thread.Run([&] { worker = std::this_thread::get_id(); });
    EXPECT_NE(worker, std::thread::id());
    EXPECT_NE(worker, std::this_thread::get_id());
}

TEST(LoopThreadTest, ItsContextIsTheDefaultOfItsThread)
{
    const LoopThread thread;
    GMainContext* context = nullptr;
    thread.Run([&] { context = g_main_context_get_thread_default(); });
    EXPECT_EQ(context, thread.Context().get());
}

TEST(LoopThreadTest, WhatTheWorkThrowsIsThrownHere)
{
    const LoopThread thread;
    EXPECT_THROW(thread.Run([] { throw std::runtime_error("oops"); }), std::runtime_error);
    bool works = false;
    thread.Run([&] { works = true; });
    EXPECT_TRUE(works);
}

TEST(LoopThreadTest, WorksInTheOrderOfPosting)
{
    const LoopThread thread;
    std::vector<int> done;
    LoopThread::Post(thread.Context().get(), [&] { done.push_back(1); });
    LoopThread::Post(thread.Context().get(), [&] { done.push_back(2); });
    thread.Run([&] { done.push_back(3); });
    EXPECT_THAT(done, ElementsAre(1, 2, 3));
}

TEST(LoopThreadTest, DoesWhatWasPostedBeforeItEnds)
{
    int done = 0;
    {
        const LoopThread thread;
        LoopThread::Post(thread.Context().get(), [&] { ++done; });
        LoopThread::Post(thread.Context().get(), [&] { ++done; });
    }
    EXPECT_EQ(done, 2);
}

TEST(LoopThreadTest, DestroysWorkThatCameTooLate)
{
    LoopThread::ContextPtr context;
    {
        const LoopThread thread;
        context = thread.Context();
    }
    const auto held = std::make_shared<std::string>("held by the work");
    bool wasDone = false;
    LoopThread::Post(context.get(), [held, &wasDone] { wasDone = true; });
    EXPECT_EQ(held.use_count(), 2);
    context.reset();
    EXPECT_EQ(held.use_count(), 1);
    EXPECT_FALSE(wasDone);
}

} // namespace
