#include "support/Settle.h"

#include "GlibPointers.h"
#include "SharedBus.h"
#include "support/MainLoop.h"
#include "support/MessageMatchers.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>

namespace {

using harness::SharedBus;
using support::Call;
using support::Peer;
using support::PrivateBus;
using support::RealTime;
using support::Settle;
using support::Signal;
using ::testing::ElementsAre;
using ::testing::Optional;
using ::testing::SizeIs;
using ::testing::StrEq;

constexpr const char* kOtherName = "org.example.Other";

class SettleTest : public ::testing::Test
{
protected:
    PrivateBus bus;
    Peer peer{SharedBus::kName};
    SharedBus service;
};

TEST_F(SettleTest, AllThatWasSentHasArrived)
{
    constexpr int kMany = 100; // a bus lets a connection wait for 128 replies
    for (int count = 0; count < kMany; ++count) {
        service.Send("Asked");
        service.Signal(SharedBus::kName, "Told");
    }
    Settle({&peer});
    EXPECT_THAT(peer.Calls(), SizeIs(kMany));
    EXPECT_THAT(peer.Signals(), SizeIs(kMany));
}

TEST_F(SettleTest, SeveralPeersSettleTogether)
{
    Peer other(kOtherName);
    service.Signal(kOtherName, "Told");
    service.Send("Asked");
    Settle({&peer, &other});
    EXPECT_THAT(peer.Messages(), ElementsAre(Call("Asked")));
    EXPECT_THAT(other.Messages(), ElementsAre(Signal("Told")));
}

TEST_F(SettleTest, RepliesAreHandled)
{
    peer.Answers("Chip", g_variant_new("(i)", 1));
    std::optional<std::string> reply;
    service.CallAsync("Chip", reply);
    Settle({&peer});
    EXPECT_THAT(reply, Optional(StrEq("(1,)")));
}

TEST_F(SettleTest, StalledCallsStayAsTheyAre)
{
    peer.Stalls("Chip");
    std::optional<std::string> reply;
    service.CallAsync("Chip", reply);
    Settle({&peer});
    EXPECT_EQ(reply, std::nullopt);
    peer.Releases("Chip");
    Settle({&peer});
    EXPECT_THAT(reply, Optional(StrEq("empty")));
}

TEST_F(SettleTest, ErrorsForAnAbsentPeerAreHandledToo)
{
    peer.Vanishes();
    std::optional<std::string> reply;
    service.CallAsync("Chip", reply);
    Settle({&peer});
    EXPECT_THAT(reply, Optional(::testing::HasSubstr("ServiceUnknown")));
}

TEST_F(SettleTest, APeerMayVanishMeanwhile)
{
    peer.VanishesOn("Chip");
    std::optional<std::string> reply;
    service.CallAsync("Chip", reply);
    Settle({&peer});
    EXPECT_THAT(reply, Optional(::testing::HasSubstr("NoReply")));
}

/// Counts the signals, and lets each be followed by a call, as the service does.
class Follower
{
public:
    explicit Follower(const SharedBus& service) : m_service(service)
    {
        g_dbus_connection_signal_subscribe(service.Connection(), nullptr, SharedBus::kName, nullptr, SharedBus::kPath,
                                           nullptr, G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, this, nullptr);
    }
    int count = 0;

private:
    static void OnSignal(GDBusConnection*, const char*, const char*, const char*, const char* member, GVariant*,
                         gpointer self)
    {
        auto* follower = static_cast<Follower*>(self);
        ++follower->count;
        follower->m_service.Send(member);
    }

    const SharedBus& m_service;
};

TEST_F(SettleTest, SignalsOfAPeerAreHandledAndSoIsWhatFollows)
{
    Follower follower(service);
    Settle({&peer}); // the subscription is with the bus
    peer.Emits(SharedBus::kPath, SharedBus::kName, "Shouted", nullptr);
    Settle({&peer});
    EXPECT_EQ(follower.count, 1);
    EXPECT_THAT(peer.Calls(), ElementsAre(Call("Shouted")));
}

TEST_F(SettleTest, AFloodFromAPeerIsHandledWhole)
{
    constexpr int kMany = 100; // a bus lets a connection wait for 128 replies
    Follower follower(service);
    Settle({&peer});
    for (int count = 0; count < kMany; ++count) {
        peer.Emits(SharedBus::kPath, SharedBus::kName, "Shouted", nullptr);
    }
    Settle({&peer});
    EXPECT_EQ(follower.count, kMany);
    EXPECT_THAT(peer.Calls(), SizeIs(kMany));
}

TEST_F(SettleTest, TheServiceSettlesAlone)
{
    Follower follower(service);
    Settle();
    peer.Emits(SharedBus::kPath, SharedBus::kName, "Shouted", nullptr);
    peer.Synchronize();
    Settle();
    EXPECT_EQ(follower.count, 1);
}

TEST_F(SettleTest, DoesNotRunTimersThatAreNotDue)
{
    bool fired = false;
    const guint timer = g_timeout_add_seconds(
        3600,
        [](gpointer flag) -> gboolean {
            *static_cast<bool*>(flag) = true;
            return G_SOURCE_REMOVE;
        },
        &fired);
    Settle({&peer});
    EXPECT_FALSE(fired);
    g_source_remove(timer);
}

TEST_F(SettleTest, ReturnsWhenTheBusHasGone)
{
    peer.Stalls("Chip");
    std::optional<std::string> reply;
    service.CallAsync("Chip", reply);
    Settle({&peer});
    bus.Dies();
    const auto start = RealTime::Now();
    Settle({&peer});
    Settle();
    EXPECT_LT(RealTime::Now() - start, support::kDeadline / 2) << "it waited for answers of a bus that is no more";
    EXPECT_TRUE(g_dbus_connection_is_closed(service.Connection()));
    EXPECT_FALSE(peer.IsThere());
    EXPECT_TRUE(support::IterateUntil([&] { return reply.has_value(); }));
    EXPECT_THAT(reply, Optional(StrEq("no reply")));
}

/// Calls once more for each reply, without end.
void CallAgain(GObject* connection, GAsyncResult*, gpointer self)
{
    const Util::MessagePtr call(
        g_dbus_message_new_method_call(SharedBus::kName, SharedBus::kPath, SharedBus::kName, "Again"));
    g_dbus_connection_send_message_with_reply(reinterpret_cast<GDBusConnection*>(connection), call.get(),
                                              G_DBUS_SEND_MESSAGE_FLAGS_NONE, G_MAXINT, nullptr, nullptr, CallAgain,
                                              self);
}

TEST_F(SettleTest, AnEndlessExchangeFailsTheTest)
{
    CallAgain(G_OBJECT(service.Connection()), nullptr, nullptr);
    EXPECT_NONFATAL_FAILURE(Settle({&peer}), "does not come to rest");
    peer.Stalls("Again");
    Settle({&peer});
}

} // namespace
