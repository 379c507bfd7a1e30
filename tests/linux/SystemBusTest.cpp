#include "bus/SystemBus.h"

#include "linux/PlatformLog.h"
#include "support/MainLoop.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

namespace {

using bus::SystemBus;
using support::IterateUntil;

class Visitor final : public bus::Guest
{
public:
    explicit Visitor(SystemBus& bus) : m_bus(bus) {}
    ~Visitor()
    {
        m_bus.Leave(*this);
    }
    Visitor(const Visitor&) = delete;
    Visitor& operator=(const Visitor&) = delete;

    void BusCame(GDBusConnection* connection) override
    {
        ++came;
        EXPECT_EQ(connection, m_bus.Connection());
    }
    void BusWent(GDBusConnection* connection) override
    {
        ++went;
        EXPECT_NE(connection, nullptr);
    }

    int came = 0;
    int went = 0;

private:
    SystemBus& m_bus;
};

bool IsOwned(const char* name)
{
    GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    GVariant* answer = g_dbus_connection_call_sync(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                   "org.freedesktop.DBus", "NameHasOwner", g_variant_new("(s)", name),
                                                   G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    gboolean isOwned = FALSE;
    g_variant_get(answer, "(b)", &isOwned);
    g_variant_unref(answer);
    g_object_unref(connection);
    return isOwned != FALSE;
}

TEST(SystemBusTest, IsOpenWhenItsFirstGuestHasEntered)
{
    const support::PrivateBus privateBus;
    SystemBus bus;
    Visitor visitor(bus);
    EXPECT_EQ(bus.Connection(), nullptr);

    bus.Enter(visitor);

    EXPECT_NE(bus.Connection(), nullptr);
    EXPECT_EQ(visitor.came, 1);
}

TEST(SystemBusTest, IsNotTheSharedConnectionOfTheProcess)
{
    const support::PrivateBus privateBus;
    SystemBus bus;
    Visitor visitor(bus);
    bus.Enter(visitor);

    GDBusConnection* shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);

    EXPECT_NE(shared, bus.Connection());
    EXPECT_FALSE(g_dbus_connection_get_exit_on_close(bus.Connection()));
    g_object_unref(shared);
}

TEST(SystemBusTest, OwnsItsNameOnceTheLoopRuns)
{
    const support::PrivateBus privateBus;
    SystemBus bus;
    Visitor visitor(bus);
    bus.Enter(visitor);

    EXPECT_TRUE(IterateUntil([] { return IsOwned(bus::kOwnName); }));
}

TEST(SystemBusTest, SaysThatAnotherHasItsName)
{
    const support::PrivateBus privateBus;
    const support::Peer other(bus::kOwnName);
    SystemBus bus;
    Visitor visitor(bus);
    bus.Enter(visitor);

    EXPECT_TRUE(IterateUntil([] { return linux_test::LogLinesWith("cannot own org.vantor.platform") == 1; }));
}

TEST(SystemBusTest, ServesASecondGuestWithTheSameConnection)
{
    const support::PrivateBus privateBus;
    SystemBus bus;
    Visitor first(bus);
    Visitor second(bus);
    bus.Enter(first);
    GDBusConnection* connection = bus.Connection();

    bus.Enter(second);
    bus.Enter(second);

    EXPECT_EQ(bus.Connection(), connection);
    EXPECT_EQ(first.came, 1);
    EXPECT_EQ(second.came, 1);
}

TEST(SystemBusTest, IsClosedWhenItsLastGuestLeaves)
{
    const support::PrivateBus privateBus;
    SystemBus bus;
    Visitor first(bus);
    Visitor second(bus);
    bus.Enter(first);
    bus.Enter(second);

    bus.Leave(first);
    EXPECT_NE(bus.Connection(), nullptr);
    bus.Leave(second);

    EXPECT_EQ(bus.Connection(), nullptr);
    EXPECT_EQ(first.went, 1);
    EXPECT_EQ(second.went, 1);
}

TEST(SystemBusTest, ComesWhenThereIsABusAtLast)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    SystemBus bus;
    Visitor visitor(bus);
    bus.Enter(visitor);
    EXPECT_EQ(bus.Connection(), nullptr);
    EXPECT_EQ(visitor.came, 0);
    EXPECT_EQ(linux_test::LogLinesWith("no system bus"), 1);

    const support::PrivateBus privateBus;

    EXPECT_TRUE(IterateUntil([&] { return visitor.came == 1; }));
    EXPECT_NE(bus.Connection(), nullptr);
}

TEST(SystemBusTest, ComesBackAfterTheBusDied)
{
    auto privateBus = std::make_unique<support::PrivateBus>();
    SystemBus bus;
    Visitor visitor(bus);
    bus.Enter(visitor);

    privateBus->Dies();
    EXPECT_TRUE(IterateUntil([&] { return visitor.went == 1; }));
    EXPECT_EQ(bus.Connection(), nullptr);
    privateBus.reset();
    privateBus = std::make_unique<support::PrivateBus>();

    EXPECT_TRUE(IterateUntil([&] { return visitor.came == 2; }));
    EXPECT_TRUE(IterateUntil([] { return IsOwned(bus::kOwnName); }));
}

TEST(SystemBusTest, WaitsNoLongerThanASecondForABusThatDoesNotAnswer)
{
    const support::PrivateBus privateBus;
    privateBus.Send(SIGSTOP);
    SystemBus bus;
    Visitor visitor(bus);

    const auto begin = std::chrono::steady_clock::now();
    bus.Enter(visitor);
    const auto end = std::chrono::steady_clock::now();
    privateBus.Send(SIGCONT);

    EXPECT_EQ(visitor.came, 0);
    EXPECT_LT(end - begin, std::chrono::milliseconds(1500));
    EXPECT_TRUE(IterateUntil([&] { return visitor.came == 1; }));
}

TEST(SystemBusTest, LeavesABusThatDoesNotAnswerWithoutALeak)
{
    const support::PrivateBus privateBus;
    privateBus.Send(SIGSTOP);
    {
        SystemBus bus;
        Visitor visitor(bus);
        bus.Enter(visitor);
        EXPECT_EQ(visitor.came, 0);
    }
    privateBus.Send(SIGCONT);
}

} // namespace
