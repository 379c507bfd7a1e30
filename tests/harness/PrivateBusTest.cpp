#include "support/PrivateBus.h"

#include "GlibPointers.h"
#include "support/Child.h"
#include "support/ChildProcess.h"
#include "support/MainLoop.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

using support::ChildProcess;
using support::Exited;
using support::IterateUntil;
using support::KilledBy;
using support::PrivateBus;
using ::testing::StartsWith;

constexpr const char* kAddressVariable = "DBUS_SYSTEM_BUS_ADDRESS";

using ConnectionPtr = std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>>;

ConnectionPtr SharedConnection()
{
    return ConnectionPtr(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
}

/// The process that serves a connection, as the bus itself gives it; 0 when it does not answer.
pid_t ServerOf(GDBusConnection* connection)
{
    const Util::VariantPtr reply(
        g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                                    "GetConnectionUnixProcessID", g_variant_new("(s)", "org.freedesktop.DBus"),
                                    G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr, nullptr));
    guint32 pid = 0;
    if (reply) {
        g_variant_get(reply.get(), "(u)", &pid);
    }
    return static_cast<pid_t>(pid);
}

bool HasNoChildren()
{
    return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

/// The folder that a bus keeps its socket in.
std::filesystem::path FolderOf(const std::string& address)
{
    const std::string::size_type begin = address.find('=') + 1;
    return std::filesystem::path(address.substr(begin, address.find(',') - begin)).parent_path();
}

TEST(PrivateBusTest, IsTheSystemBusOfThisProcess)
{
    const PrivateBus bus;
    EXPECT_THAT(bus.Address(), StartsWith("unix:path="));
    EXPECT_STREQ(std::getenv(kAddressVariable), bus.Address().c_str());
    const ConnectionPtr connection = SharedConnection();
    ASSERT_TRUE(connection);
    EXPECT_EQ(ServerOf(connection.get()), bus.Pid());
}

TEST(PrivateBusTest, IsTheSystemBusOfChildrenToo)
{
    const PrivateBus bus;
    ChildProcess child([pid = bus.Pid()] {
        const ConnectionPtr connection = SharedConnection();
        return connection && ServerOf(connection.get()) == pid ? 0 : 1;
    });
    EXPECT_EQ(child.WaitForEnd(), Exited(0));
}

TEST(PrivateBusTest, LeavesNothingBehind)
{
    std::filesystem::path folder;
    pid_t pid = -1;
    {
        const PrivateBus bus;
        folder = FolderOf(bus.Address());
        pid = bus.Pid();
        ASSERT_TRUE(std::filesystem::is_directory(folder)) << folder;
        ASSERT_EQ(::kill(pid, 0), 0);
    }
    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_TRUE(HasNoChildren());
    EXPECT_FALSE(std::filesystem::exists(folder));
    EXPECT_EQ(std::getenv(kAddressVariable), nullptr);
}

TEST(PrivateBusTest, DyingItTakesTheConnectionsAlong)
{
    PrivateBus bus;
    const pid_t pid = bus.Pid();
    const ConnectionPtr connection = SharedConnection();
    g_dbus_connection_set_exit_on_close(connection.get(), FALSE);
    bus.Dies();
    EXPECT_TRUE(IterateUntil([&] { return g_dbus_connection_is_closed(connection.get()) != FALSE; }));
    EXPECT_EQ(::kill(pid, 0), -1);
    EXPECT_TRUE(HasNoChildren());
}

volatile sig_atomic_t g_wasTerminated = 0;

/// Iterates the main loop until GDBus has told that the connection is closed, which is also when it would end the
/// process. \return the exit status for a child
int AwaitClosing(GDBusConnection* connection)
{
    bool wasTold = false;
    g_signal_connect(connection, "closed", G_CALLBACK(+[](GDBusConnection*, gboolean, GError*, gpointer told) {
                         *static_cast<bool*>(told) = true;
                     }),
                     &wasTold);
    const bool inTime = IterateUntil([&] { return wasTold; });
    support::DrainMainLoop();
    return !inTime ? 3 : g_wasTerminated;
}

int UseBus(bool dies)
{
    ::signal(SIGTERM, [](int) { g_wasTerminated = 1; });
    ConnectionPtr connection;
    {
        PrivateBus bus;
        connection = SharedConnection();
        if (dies) {
            bus.Dies();
        }
    }
    return AwaitClosing(connection.get());
}

TEST(PrivateBusTest, ItsOrderlyEndDoesNotEndAConnectedProcess)
{
    ChildProcess child([] { return UseBus(false); });
    EXPECT_EQ(child.WaitForEnd(), Exited(0));
}

TEST(PrivateBusTest, DyingItEndsAConnectedProcessAsAnyBusWould)
{
    ChildProcess child([] { return UseBus(true); });
    EXPECT_EQ(child.WaitForEnd(), Exited(1));
}

/// Puts up a bus, tells of it and is never done.
int HoldBus()
{
    const PrivateBus bus;
    std::printf("%d %s\n", static_cast<int>(bus.Pid()), FolderOf(bus.Address()).c_str());
    std::fflush(stdout);
    while (true) {
        ::pause();
    }
}

TEST(PrivateBusTest, ItsDaemonDiesWithTheProcessThatWasKilled)
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1); // the orphan comes here, where it can be waited for
    ChildProcess child(HoldBus);
    ASSERT_TRUE(child.WaitForOutput("\n"));
    int daemon = 0;
    std::string folder;
    std::istringstream(child.Output()) >> daemon >> folder;
    ASSERT_GT(daemon, 1);
    child.Send(SIGKILL);
    ASSERT_EQ(child.WaitForEnd(), KilledBy(SIGKILL));

    const bool isGone = IterateUntil([&] { return ::waitpid(daemon, nullptr, WNOHANG) == daemon; });
    EXPECT_TRUE(isGone);
    if (!isGone) {
        ::kill(daemon, SIGKILL);
        ::waitpid(daemon, nullptr, 0);
    }
    std::filesystem::remove_all(folder);
}

TEST(PrivateBusTest, ADaemonThatCannotBeStartedIsReported)
{
    ::setenv("PATH", "/nowhere", 1);
    EXPECT_THROW(const PrivateBus bus, std::runtime_error);
    EXPECT_TRUE(HasNoChildren());
    EXPECT_EQ(std::getenv(kAddressVariable), nullptr);
}

} // namespace
