// What happens when the system has no process, no pipe and no folder left. The system calls come through this file, so
// that they can fail, and so that no signal leaves it that is not for a child of this process.

#include "settings/StoreFixture.h"
#include "support/Child.h"
#include "support/ChildProcess.h"
#include "support/PrivateBus.h"
#include "support/TempDir.h"
#include "support/WrappedProcessCalls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace {

/// How many calls of it succeed before one fails; negative for all.
int g_forksLeft = -1;
int g_pipesLeft = -1;
int g_foldersLeft = -1;
/// Ids that were to be signalled or waited for and are not those of children.
std::vector<pid_t> g_strangers;

bool Fails(int& left, int error)
{
    if (left < 0 || left-- > 0) {
        return false;
    }
    left = -1;
    errno = error;
    return true;
}

} // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): these names are the linker's
extern "C" {
int __real_pipe2(int* ends, int flags);
int __wrap_pipe2(int* ends, int flags);
char* __real_mkdtemp(char* pattern);
char* __wrap_mkdtemp(char* pattern);

pid_t __wrap_fork()
{
    return Fails(g_forksLeft, EAGAIN) ? -1 : __real_fork();
}

int __wrap_kill(pid_t pid, int signal)
{
    if (pid > 1) {
        return __real_kill(pid, signal);
    }
    g_strangers.push_back(pid);
    return 0;
}

pid_t __wrap_waitpid(pid_t pid, int* status, int options)
{
    if (pid > 1) {
        return __real_waitpid(pid, status, options);
    }
    g_strangers.push_back(pid);
    errno = ECHILD;
    return -1;
}

int __wrap_pipe2(int* ends, int flags)
{
    return Fails(g_pipesLeft, EMFILE) ? -1 : __real_pipe2(ends, flags);
}

char* __wrap_mkdtemp(char* pattern)
{
    return Fails(g_foldersLeft, ENOSPC) ? nullptr : __real_mkdtemp(pattern);
}
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

namespace {

using support::Child;
using support::ChildProcess;
using support::Exited;
using support::KilledBy;
using support::PrivateBus;
using support::TempDir;
using ::testing::IsEmpty;

std::ptrdiff_t CountOpenFiles()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

int CountFoldersOfTests()
{
    const std::filesystem::directory_iterator folders("/dev/shm");
    return static_cast<int>(std::count_if(begin(folders), end(folders), [](const auto& entry) {
        return entry.path().filename().string().starts_with("shortage-test");
    }));
}

bool HasNoChildren()
{
    return __real_waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

int WaitForSignal()
{
    while (true) {
        ::pause();
    }
}

class Shortage : public ::testing::Test
{
protected:
    ~Shortage() override
    {
        EXPECT_THAT(g_strangers, IsEmpty()) << "signalled, or waited for";
    }
};

TEST_F(Shortage, WithoutAFurtherProcessThereIsNoChild)
{
    g_forksLeft = 0;
    EXPECT_THROW(const Child child = Child::Fork([] { return 0; }), std::system_error);
}

TEST_F(Shortage, WithoutAFurtherProcessThereIsNoChildWithOutput)
{
    const std::ptrdiff_t before = CountOpenFiles();
    g_forksLeft = 0;
    EXPECT_THROW(const ChildProcess child([] { return 0; }), std::system_error);
    EXPECT_EQ(CountOpenFiles(), before);
}

TEST_F(Shortage, WithoutPipesThereIsNoChildWithOutput)
{
    const std::ptrdiff_t before = CountOpenFiles();
    for (const int succeed : {0, 1}) {
        g_pipesLeft = succeed;
        EXPECT_THROW(const ChildProcess child([] { return 0; }), std::system_error);
    }
    EXPECT_EQ(CountOpenFiles(), before);
    EXPECT_TRUE(HasNoChildren());
}

TEST_F(Shortage, WithoutAFurtherProcessThereIsNoBus)
{
    const std::ptrdiff_t before = CountOpenFiles();
    g_forksLeft = 0;
    EXPECT_THROW(const PrivateBus bus, std::system_error);
    EXPECT_EQ(CountOpenFiles(), before);
    EXPECT_EQ(std::getenv("DBUS_SYSTEM_BUS_ADDRESS"), nullptr);
}

TEST_F(Shortage, WithoutPipesThereIsNoBus)
{
    g_pipesLeft = 0;
    EXPECT_THROW(const PrivateBus bus, std::system_error);
    EXPECT_TRUE(HasNoChildren());
}

TEST_F(Shortage, ABusThatHasDiedCanDieOnceMore)
{
    PrivateBus bus;
    bus.Dies();
    bus.Dies();
    EXPECT_EQ(bus.Pid(), -1);
    EXPECT_TRUE(HasNoChildren());
}

TEST_F(Shortage, AChildThatEndedIsNotSignalledAgain)
{
    Child child = Child::Fork([] { return 3; });
    EXPECT_EQ(child.Wait(), Exited(3));
    child.Send(SIGKILL);
    EXPECT_EQ(child.Kill(), Exited(3));
    Child().Send(SIGKILL);
    EXPECT_EQ(Child().Kill().how, support::ProcessEnd::How::Unknown);
}

TEST_F(Shortage, AChildThatSomebodyElseWaitedForIsNotSignalledAgain)
{
    Child child = Child::Fork([] { return 3; });
    ASSERT_EQ(__real_waitpid(child.Pid(), nullptr, 0), child.Pid());
    EXPECT_EQ(child.Poll().how, support::ProcessEnd::How::Unknown);
    EXPECT_EQ(child.Pid(), -1);
    child.Send(SIGKILL);
}

TEST_F(Shortage, AForkDoesNotSignalTheChildrenOfItsParent)
{
    Child sleeper = Child::Fork(WaitForSignal);
    Child other = Child::Fork([&] {
        sleeper.Send(SIGKILL);
        return sleeper.Kill() == support::StillRunning() ? 0 : 1;
    });
    EXPECT_EQ(other.Wait(), Exited(0));
    EXPECT_EQ(sleeper.Poll(), support::StillRunning());
    EXPECT_EQ(sleeper.Kill(), KilledBy(SIGKILL));
}

TEST_F(Shortage, WithoutAFolderThereIsNone)
{
    g_foldersLeft = 0;
    EXPECT_THROW(const TempDir dir("shortage-test"), std::system_error);
    EXPECT_EQ(CountFoldersOfTests(), 0);
}

/// A test on the settings that is not run, only made.
class SettingsTest : public settings::StoreFixture
{
public:
    using StoreFixture::m_root;

private:
    void TestBody() override {}
};

TEST_F(Shortage, WithoutAFolderATestOnSettingsDoesNotEvenBegin)
{
    g_foldersLeft = 0;
    EXPECT_THROW(const SettingsTest test, std::system_error);
}

TEST_F(Shortage, ATestOnSettingsHasAFolderOfItsOwn)
{
    std::filesystem::path root;
    {
        const SettingsTest test;
        root = test.m_root;
        EXPECT_TRUE(std::filesystem::is_directory(root));
        EXPECT_NE(root, "/");
    }
    EXPECT_FALSE(std::filesystem::exists(root));
}

} // namespace
