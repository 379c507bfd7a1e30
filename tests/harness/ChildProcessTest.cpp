#include "support/ChildProcess.h"

#include "support/Child.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>

namespace {

using support::ChildProcess;
using support::Exited;
using support::KilledBy;
using support::StillRunning;

constexpr auto kShort = std::chrono::milliseconds(20);

int WaitForSignal()
{
    std::puts("ready");
    std::fflush(stdout);
    while (true) {
        ::pause();
    }
}

bool IsAlive(pid_t pid)
{
    return ::kill(pid, 0) == 0;
}

TEST(ChildProcessTest, ReportsItsExitStatus)
{
    ChildProcess child([] { return 1; });
    EXPECT_EQ(child.WaitForEnd(), Exited(1));
    EXPECT_EQ(child.WaitForEnd(), Exited(1));
}

TEST(ChildProcessTest, BringsBackItsOutput)
{
    ChildProcess child([] {
        std::puts("one");
        std::puts("two");
        return 0;
    });
    EXPECT_EQ(child.WaitForEnd(), Exited(0));
    EXPECT_EQ(child.Output(), "one\ntwo\n");
}

TEST(ChildProcessTest, MayWriteMoreThanThePipeHolds)
{
    ChildProcess child([] {
        for (int line = 0; line < 50000; ++line) {
            std::puts("a line of output");
        }
        return 0;
    });
    EXPECT_EQ(child.WaitForEnd(), Exited(0));
    EXPECT_EQ(child.Output().size(), 50000U * 17U);
}

TEST(ChildProcessTest, IsStillRunningAtTheDeadline)
{
    ChildProcess child(WaitForSignal);
    EXPECT_EQ(child.WaitForEnd(kShort), StillRunning());
    EXPECT_TRUE(IsAlive(child.Pid()));
}

TEST(ChildProcessTest, ReportsTheSignalThatKilledIt)
{
    ChildProcess child(WaitForSignal);
    ASSERT_TRUE(child.WaitForOutput("ready\n"));
    child.Send(SIGTERM);
    EXPECT_EQ(child.WaitForEnd(), KilledBy(SIGTERM));
    child.Send(SIGTERM);
}

TEST(ChildProcessTest, HandlesASignalItIsSent)
{
    ChildProcess child([] {
        ::signal(SIGUSR1, [](int) { ::_exit(7); });
        return WaitForSignal();
    });
    ASSERT_TRUE(child.WaitForOutput("ready\n"));
    child.Send(SIGUSR1);
    EXPECT_EQ(child.WaitForEnd(), Exited(7));
}

TEST(ChildProcessTest, OutputThatDoesNotComeIsNotWaitedForAfterItsEnd)
{
    ChildProcess child([] { return 0; });
    EXPECT_FALSE(child.WaitForOutput("ready\n"));
    ChildProcess other(WaitForSignal);
    EXPECT_FALSE(other.WaitForOutput("something else", kShort));
}

TEST(ChildProcessTest, ThrowingEndsItWithAStatusOfItsOwn)
{
    ChildProcess child([]() -> int { throw std::runtime_error("oops"); });
    EXPECT_EQ(child.WaitForEnd(), Exited(support::Child::kThrew));
}

TEST(ChildProcessTest, BeginsWhenTold)
{
    ChildProcess child(
        [] {
            std::puts("begun");
            return 0;
        },
        ChildProcess::Start::WhenTold);
    EXPECT_EQ(child.WaitForEnd(kShort), StillRunning());
    EXPECT_EQ(child.Output(), "");
    child.Begins();
    EXPECT_EQ(child.WaitForEnd(), Exited(0));
    EXPECT_EQ(child.Output(), "begun\n");
}

TEST(ChildProcessTest, IsKilledAndReapedWithItsOwner)
{
    pid_t pid = -1;
    {
        ChildProcess child(WaitForSignal);
        pid = child.Pid();
        ASSERT_TRUE(IsAlive(pid));
    }
    EXPECT_FALSE(IsAlive(pid));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST(ChildProcessTest, IsKilledWithItsOwnerBeforeItBegan)
{
    {
        const ChildProcess child([] { return 0; }, ChildProcess::Start::WhenTold);
    }
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(ChildProcessTest, EndsPrintThemselves)
{
    EXPECT_EQ(::testing::PrintToString(Exited(1)), "exited with 1");
    EXPECT_EQ(::testing::PrintToString(KilledBy(9)), "killed by signal 9");
    EXPECT_EQ(::testing::PrintToString(StillRunning()), "still running");
}

} // namespace
