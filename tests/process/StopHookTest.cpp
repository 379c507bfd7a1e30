#include "StopHook/StopHook.h"

#include "GlibPointers.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <initializer_list>
#include <string>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using Effect = void (*)(int);

Effect EffectOf(int signal)
{
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    return action.sa_handler;
}

bool HaveDefaultEffect()
{
    return EffectOf(SIGTERM) == SIG_DFL && EffectOf(SIGINT) == SIG_DFL;
}

/// No file can be opened while it lives.
class OutOfDescriptors
{
public:
    OutOfDescriptors()
    {
        getrlimit(RLIMIT_NOFILE, &m_before);
        const int lowest = open("/dev/null", O_RDONLY | O_CLOEXEC);
        close(lowest);
        rlimit limit = m_before;
        limit.rlim_cur = static_cast<rlim_t>(lowest);
        setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~OutOfDescriptors()
    {
        setrlimit(RLIMIT_NOFILE, &m_before);
    }
    OutOfDescriptors(const OutOfDescriptors&) = delete;
    OutOfDescriptors& operator=(const OutOfDescriptors&) = delete;

private:
    rlimit m_before = {};
};

class StopHookTest : public ::testing::Test
{
protected:
    sim::Television m_tv;
    Util::MainLoopPtr m_loop{g_main_loop_new(nullptr, FALSE)};
};

TEST_F(StopHookTest, TheFirstSignalEndsTheLoopAndGivesBothTheirDefaultEffectBack)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        // A hook after another that was used is as good as the first.
        const StopHook hook(m_loop.get());
        EXPECT_FALSE(HaveDefaultEffect());
        raise(signal);
        EXPECT_TRUE(HaveDefaultEffect());
        g_main_loop_run(m_loop.get());
    }
}

TEST_F(StopHookTest, ALoopThatIsRunOnceMoreAfterTheSignalEndsAtOnce)
{
    const StopHook hook(m_loop.get());
    raise(SIGTERM);
    g_main_loop_run(m_loop.get());
    g_main_loop_run(m_loop.get());
}

TEST_F(StopHookTest, TheSignalsHaveTheirDefaultEffectAgainWhenItIsGone)
{
    {
        const StopHook hook(m_loop.get());
    }
    EXPECT_TRUE(HaveDefaultEffect());
}

TEST_F(StopHookTest, WithoutADescriptorForItTheSignalsKeepTheirEffectAndTheLogSaysSo)
{
    const Effect before = EffectOf(SIGTERM);
    GMainLoop* const loop = m_loop.get(); // not within: a sanitizer needs a descriptor to look at this object
    {
        const OutOfDescriptors shortage;
        const StopHook hook(loop);
        EXPECT_EQ(EffectOf(SIGTERM), before);
    }
    EXPECT_EQ(EffectOf(SIGTERM), before);
    EXPECT_THAT(m_tv.tape.Messages(),
                ElementsAre("E SIGTERM and SIGINT end the process without a stop in order: Too many open files"));
}

TEST_F(StopHookTest, WorksWithTheDescriptorOfAStandardInputThatIsClosed)
{
    const int input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO);
    close(STDIN_FILENO);
    {
        const StopHook hook(m_loop.get());
        EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1) << "the hook has not taken the lowest number";
        ASSERT_FALSE(HaveDefaultEffect());
        raise(SIGTERM);
        g_main_loop_run(m_loop.get());
    }
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "the hook is gone, and its descriptor is not";
    EXPECT_THAT(m_tv.tape.All(), IsEmpty());
    dup2(input, STDIN_FILENO);
    close(input);
}

TEST_F(StopHookTest, SaysNothingOtherwise)
{
    {
        const StopHook hook(m_loop.get());
    }
    EXPECT_THAT(m_tv.tape.All(), IsEmpty());
}

} // namespace
