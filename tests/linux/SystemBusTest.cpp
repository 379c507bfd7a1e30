#include "bus/SystemBus.h"

#include "bus/Handles.h"
#include "linux/PlatformLog.h"
#include "support/MainLoop.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"

#include <gio/gio.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace {

using bus::SystemBus;
using support::IterateUntil;

/// What the bus itself answers a question of this process's shared connection.
bus::VariantPtr AskTheBus(const char* method, GVariant* arguments, const char* type)
{
    const bus::ObjectPtr<GDBusConnection> connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
    return bus::VariantPtr(g_dbus_connection_call_sync(
        connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", method, arguments,
        G_VARIANT_TYPE(type), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
}

bool IsOwned(const char* name)
{
    gboolean isOwned = FALSE;
    g_variant_get(AskTheBus("NameHasOwner", g_variant_new("(s)", name), "(b)").get(), "(b)", &isOwned);
    return isOwned != FALSE;
}

/// How many names there are on the bus: a new connection has one of its own.
gsize CountNames()
{
    const bus::VariantPtr answer = AskTheBus("ListNames", nullptr, "(as)");
    const bus::VariantPtr names(g_variant_get_child_value(answer.get(), 0));
    return g_variant_n_children(names.get());
}

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
    void BusSettled(GDBusConnection* connection) override
    {
        ++settled;
        EXPECT_GT(came, went);
        EXPECT_EQ(connection, m_bus.Connection());
        if (onSettled) {
            onSettled();
        }
    }
    void BusWent(GDBusConnection* connection) override
    {
        ++went;
        EXPECT_NE(connection, nullptr);
    }

    int came = 0;
    int settled = 0;
    int went = 0;
    std::function<void()> onSettled;

private:
    SystemBus& m_bus;
};

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

TEST(SystemBusTest, TellsAGuestTheRestFromTheLoopBeforeItsNameIsOwned)
{
    const support::PrivateBus privateBus;
    SystemBus bus;
    Visitor first(bus);
    Visitor second(bus);
    std::optional<bool> wasOwned;
    second.onSettled = [&] { wasOwned = IsOwned(bus::kOwnName); };
    bus.Enter(first);
    bus.Enter(second);
    EXPECT_EQ(first.settled, 0);
    EXPECT_EQ(second.settled, 0);

    EXPECT_TRUE(IterateUntil([] { return IsOwned(bus::kOwnName); }));

    EXPECT_EQ(first.settled, 1);
    EXPECT_EQ(second.settled, 1);
    EXPECT_EQ(wasOwned, false);
}

TEST(SystemBusTest, TellsTheRestToAGuestWhoEntersLater)
{
    const support::PrivateBus privateBus;
    SystemBus bus;
    Visitor first(bus);
    bus.Enter(first);
    EXPECT_TRUE(IterateUntil([] { return IsOwned(bus::kOwnName); }));
    Visitor late(bus);

    bus.Enter(late);

    EXPECT_EQ(late.settled, 0);
    EXPECT_TRUE(IterateUntil([&] { return late.settled == 1; }));
    EXPECT_EQ(first.settled, 1);
}

TEST(SystemBusTest, DoesNotTellTheRestToAGuestWhoHasLeft)
{
    const support::PrivateBus privateBus;
    SystemBus bus;
    Visitor stays(bus);
    Visitor leaves(bus);
    bus.Enter(leaves);
    bus.Enter(stays);

    bus.Leave(leaves);

    EXPECT_TRUE(IterateUntil([&] { return stays.settled == 1; }));
    EXPECT_EQ(leaves.settled, 0);
    EXPECT_EQ(leaves.went, 1);
}

TEST(SystemBusTest, IsOpenAtOnceForAGuestWhenItWasPrepared)
{
    const support::PrivateBus privateBus;
    const gsize names = CountNames();
    SystemBus bus;
    Visitor visitor(bus);
    bus.Prepare();
    bus.Prepare();
    EXPECT_TRUE(IterateUntil([&] { return CountNames() == names + 1; }));

    // Whoever had still to connect would wait in vain.
    privateBus.Send(SIGSTOP);
    bus.Enter(visitor);
    privateBus.Send(SIGCONT);

    EXPECT_EQ(visitor.came, 1);
    EXPECT_EQ(CountNames(), names + 1);
}

TEST(SystemBusTest, IsLookedForAgainAfterItWasPreparedInVain)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    SystemBus bus;
    Visitor visitor(bus);
    bus.Prepare();
    bus.Enter(visitor);
    EXPECT_EQ(linux_test::LogLinesWith("no system bus"), 1);

    const support::PrivateBus privateBus;

    EXPECT_TRUE(IterateUntil([&] { return visitor.came == 1; }));
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
