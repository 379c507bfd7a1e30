#include "support/Peer.h"

#include "GlibPointers.h"
#include "SharedBus.h"
#include "support/MainLoop.h"
#include "support/Message.h"
#include "support/MessageMatchers.h"
#include "support/PrivateBus.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using harness::SharedBus;
using support::Call;
using support::IterateUntil;
using support::Peer;
using support::PrivateBus;
using support::Signal;
using ::testing::_;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* kInterface = SharedBus::kName;

class PeerTest : public ::testing::Test
{
protected:
    PrivateBus bus;
    Peer peer{SharedBus::kName};
    SharedBus service;
};

TEST_F(PeerTest, OwnsItsNameAtOnce)
{
    EXPECT_EQ(service.CallSync("Anything"), "empty");
    EXPECT_TRUE(peer.IsThere());
    EXPECT_EQ(peer.BusName(), SharedBus::kName);
}

TEST_F(PeerTest, OwnsFurtherNamesUntilItVanishes)
{
    peer.OwnsToo("org.example.Other");
    EXPECT_THROW(Peer("org.example.Other"), std::runtime_error);
    EXPECT_THROW(peer.OwnsToo("no name"), std::runtime_error);
    peer.Vanishes();
    EXPECT_NO_THROW(Peer("org.example.Other"));
}

TEST_F(PeerTest, DoesNotShareItsName)
{
    EXPECT_THROW(const Peer other(SharedBus::kName), std::runtime_error);
}

TEST_F(PeerTest, RecordsCallsInOrder)
{
    EXPECT_EQ(service.CallSync("First", g_variant_new("(ssii)", "AA:BB:CC:DD:EE:FF", "name", 18, 0)), "empty");
    EXPECT_EQ(service.CallSync("Second", g_variant_new("(y)", 5)), "empty");
    EXPECT_EQ(service.CallSync("Third"), "empty");
    EXPECT_THAT(peer.Calls(), ElementsAre(Call("First", "(ssii)", "('AA:BB:CC:DD:EE:FF', 'name', 18, 0)"),
                                          Call("Second", "(y)", "(0x05,)"), Call("Third")));
}

TEST_F(PeerTest, RecordsWhereAMessageWasSent)
{
    EXPECT_EQ(service.CallSync("First"), "empty");
    const support::Message expected = {
        support::Message::Kind::Call, SharedBus::kName, SharedBus::kPath, kInterface, "First", "", ""};
    EXPECT_THAT(peer.Calls(), ElementsAre(expected));
}

TEST_F(PeerTest, RecordsSignalsThatAreAddressedToIt)
{
    service.Signal(SharedBus::kName, "Told", g_variant_new("(i)", 3));
    service.Signal(nullptr, "Shouted", g_variant_new("(i)", 4));
    service.Send("Asked");
    ASSERT_TRUE(peer.WaitForMessages(2));
    EXPECT_THAT(peer.Messages(), ElementsAre(Signal("Told", "(i)", "(3,)"), Call("Asked")));
    EXPECT_THAT(peer.Signals(), ElementsAre(Signal("Told", "(i)", "(3,)")));
    EXPECT_THAT(peer.Calls(), ElementsAre(Call("Asked")));
}

TEST_F(PeerTest, ForgetsWhatItIsToldToForget)
{
    EXPECT_EQ(service.CallSync("First"), "empty");
    peer.Clear();
    EXPECT_THAT(peer.Messages(), IsEmpty());
    EXPECT_EQ(service.CallSync("Second"), "empty");
    EXPECT_THAT(peer.Messages(), ElementsAre(Call("Second")));
}

TEST_F(PeerTest, WaitsNoLongerThanItsDeadline)
{
    EXPECT_FALSE(peer.WaitForMessages(1, std::chrono::milliseconds(20)));
}

TEST_F(PeerTest, AnswersAsTold)
{
    peer.Answers("Chip", g_variant_new("(i)", 8));
    EXPECT_EQ(service.CallSync("Chip"), "(8,)");
    EXPECT_EQ(service.CallSync("Chip"), "(8,)");
    EXPECT_EQ(service.CallSync("Other"), "empty");
    peer.Answers("Chip", nullptr);
    EXPECT_EQ(service.CallSync("Chip"), "empty");
}

TEST_F(PeerTest, RefusesAnAnswerThatIsNoTuple)
{
    EXPECT_THROW(peer.Answers("Chip", g_variant_new_int32(8)), std::runtime_error);
}

TEST_F(PeerTest, AnswersWithAnError)
{
    peer.AnswersWithError("Chip", "org.example.Error.Busy", "come back later");
    EXPECT_EQ(service.CallSync("Chip"), "org.example.Error.Busy ('come back later',)");
}

TEST_F(PeerTest, StallsUntilItIsReleased)
{
    peer.Answers("Chip", g_variant_new("(i)", 1));
    peer.Stalls("Chip");
    std::optional<std::string> reply;
    service.CallAsync("Chip", reply);
    ASSERT_TRUE(peer.WaitForMessages(1));
    EXPECT_EQ(service.CallSync("Other"), "empty");
    EXPECT_EQ(reply, std::nullopt);
    peer.Releases("Chip");
    ASSERT_TRUE(IterateUntil([&] { return reply.has_value(); }));
    EXPECT_EQ(*reply, "(1,)");
    EXPECT_EQ(service.CallSync("Chip"), "(1,)");
}

TEST_F(PeerTest, StallsEverythingAndReleasesTheOldestFirst)
{
    peer.Answers("Chip", g_variant_new("(i)", 1));
    peer.StallsEverything();
    std::optional<std::string> chip;
    std::optional<std::string> wheel;
    service.CallAsync("Chip", chip);
    service.CallAsync("Wheel", wheel);
    ASSERT_TRUE(peer.WaitForMessages(2));
    EXPECT_EQ(peer.StalledCalls(), 2U);
    peer.ReleasesOldest();
    ASSERT_TRUE(IterateUntil([&] { return chip.has_value(); }));
    EXPECT_EQ(*chip, "(1,)");
    EXPECT_EQ(wheel, std::nullopt);
    peer.AnswersEverything();
    ASSERT_TRUE(IterateUntil([&] { return wheel.has_value(); }));
    EXPECT_EQ(*wheel, "empty");
    EXPECT_EQ(peer.StalledCalls(), 0U);
    peer.ReleasesOldest(); // there is none
    EXPECT_EQ(service.CallSync("Chip"), "(1,)");
}

TEST_F(PeerTest, AnswersTheNextCallOfAMemberAlsoWhileEverythingIsStalled)
{
    peer.StallsEverything();
    peer.AnswersNext("Chip");
    EXPECT_EQ(service.CallSync("Chip"), "empty");
    std::optional<std::string> reply;
    service.CallAsync("Chip", reply);
    ASSERT_TRUE(peer.WaitForMessages(2));
    EXPECT_EQ(peer.StalledCalls(), 1U);
    EXPECT_EQ(reply, std::nullopt);
    peer.AnswersEverything();
    ASSERT_TRUE(IterateUntil([&] { return reply.has_value(); }));
}

TEST_F(PeerTest, ReleasesOneMemberAndKeepsTheOthers)
{
    peer.Stalls("Chip");
    peer.Stalls("Wheel");
    std::optional<std::string> chip;
    std::optional<std::string> wheel;
    service.CallAsync("Wheel", wheel);
    service.CallAsync("Chip", chip);
    ASSERT_TRUE(peer.WaitForMessages(2));
    peer.Releases("Chip");
    ASSERT_TRUE(IterateUntil([&] { return chip.has_value(); }));
    EXPECT_EQ(wheel, std::nullopt);
    peer.Releases("Wheel");
    ASSERT_TRUE(IterateUntil([&] { return wheel.has_value(); }));
}

TEST_F(PeerTest, ReleasesInTheOrderOfArrival)
{
    peer.Stalls("Chip");
    std::vector<int> released;
    const auto remember = [&](int number) { released.push_back(number); };
    for (int number = 1; number <= 3; ++number) {
        service.CallAsync("Chip", [=] { remember(number); });
    }
    ASSERT_TRUE(peer.WaitForMessages(3));
    peer.Releases("Chip");
    ASSERT_TRUE(IterateUntil([&] { return released.size() >= 3; }));
    EXPECT_THAT(released, ElementsAre(1, 2, 3));
}

TEST_F(PeerTest, StallsPastTheCallersTimeout)
{
    peer.Stalls("Chip");
    EXPECT_EQ(service.CallSync("Chip", nullptr, 20), "no reply");
    ASSERT_TRUE(peer.WaitForMessages(1));
    EXPECT_THAT(peer.Calls(), ElementsAre(Call("Chip")));
}

TEST_F(PeerTest, VanishesInsteadOfAnswering)
{
    peer.VanishesOn("Chip");
    EXPECT_EQ(service.CallSync("Other"), "empty");
    EXPECT_THAT(service.CallSync("Chip"), HasSubstr("org.freedesktop.DBus.Error.NoReply"));
    EXPECT_FALSE(peer.IsThere());
    EXPECT_THAT(peer.Calls(), ElementsAre(Call("Other"), Call("Chip")));
    peer.Reappears();
    EXPECT_EQ(service.CallSync("Chip"), "empty");
}

TEST_F(PeerTest, VanishesAndReappears)
{
    peer.Answers("Chip", g_variant_new("(i)", 1));
    peer.Vanishes();
    peer.Vanishes();
    EXPECT_FALSE(peer.IsThere());
    EXPECT_THAT(service.CallSync("Chip"), HasSubstr("org.freedesktop.DBus.Error.ServiceUnknown"));
    EXPECT_THAT(peer.Messages(), IsEmpty());
    peer.Reappears();
    EXPECT_TRUE(peer.IsThere());
    EXPECT_EQ(service.CallSync("Chip"), "(1,)");
}

TEST_F(PeerTest, ForgetsStalledCallsWhenItVanishes)
{
    peer.Stalls("Chip");
    std::optional<std::string> reply;
    service.CallAsync("Chip", reply);
    ASSERT_TRUE(peer.WaitForMessages(1));
    peer.Vanishes();
    ASSERT_TRUE(IterateUntil([&] { return reply.has_value(); }));
    EXPECT_THAT(*reply, HasSubstr("org.freedesktop.DBus.Error.NoReply"));
    peer.Reappears();
    peer.Releases("Chip");
    EXPECT_EQ(service.CallSync("Chip"), "empty");
}

TEST_F(PeerTest, SurvivesTheEndOfTheBus)
{
    bus.Dies();
    ASSERT_TRUE(IterateUntil([&] { return !peer.IsThere(); }));
    peer.Synchronize();
    EXPECT_THROW(peer.Emits(SharedBus::kPath, kInterface, "Told", nullptr), std::runtime_error);
    EXPECT_THROW(peer.Reappears(), std::runtime_error);
}

TEST_F(PeerTest, NeedsABus)
{
    bus.Dies();
    EXPECT_THROW(const Peer other("org.example.Other"), std::runtime_error);
}

class Listener
{
public:
    explicit Listener(const SharedBus& bus)
    {
        g_dbus_connection_signal_subscribe(bus.Connection(), nullptr, kInterface, nullptr, SharedBus::kPath, nullptr,
                                           G_DBUS_SIGNAL_FLAGS_NONE, OnSignal, this, nullptr);
    }
    std::vector<std::string> heard;

private:
    static void OnSignal(GDBusConnection*, const char*, const char*, const char*, const char* member, GVariant* body,
                         gpointer self)
    {
        const Util::GlibString text(g_variant_print(body, FALSE));
        static_cast<Listener*>(self)->heard.push_back(std::string(member) + text.get());
    }
};

TEST_F(PeerTest, EmitsSignals)
{
    Listener listener(service);
    peer.Emits(SharedBus::kPath, kInterface, "Shouted", g_variant_new("(i)", 51));
    peer.Emits(SharedBus::kPath, kInterface, "Whispered", nullptr,
               g_dbus_connection_get_unique_name(service.Connection()));
    ASSERT_TRUE(IterateUntil([&] { return listener.heard.size() >= 2; }));
    EXPECT_THAT(listener.heard, ElementsAre("Shouted(51,)", "Whispered()"));
}

TEST_F(PeerTest, VanishesAfterAllThatItHasSent)
{
    constexpr std::size_t kMany = 500;
    Listener listener(service);
    EXPECT_EQ(service.CallSync("Other"), "empty"); // the subscription is with the bus
    for (std::size_t count = 0; count < kMany; ++count) {
        peer.Emits(SharedBus::kPath, kInterface, "Shouted", nullptr);
    }
    peer.Vanishes();
    EXPECT_TRUE(IterateUntil([&] { return listener.heard.size() >= kMany; }, std::chrono::seconds(2)));
}

TEST_F(PeerTest, EmitsNothingWhileItHasVanished)
{
    peer.Vanishes();
    EXPECT_THROW(peer.Emits(SharedBus::kPath, kInterface, "Shouted", nullptr), std::runtime_error);
}

TEST_F(PeerTest, ReportsWhatItsCheckFinds)
{
    Peer strict("org.example.Strict",
                [](const support::Message& message) { return message.member == "Bad" ? "bad manners" : ""; });
    EXPECT_THAT(strict.Violations(), IsEmpty());
    service.Signal("org.example.Strict", "Good");
    service.Signal("org.example.Strict", "Bad");
    ASSERT_TRUE(strict.WaitForMessages(2));
    strict.Clear();
    EXPECT_THAT(strict.Violations(), ElementsAre("bad manners"));
    EXPECT_THAT(strict.TakeViolations(), ElementsAre("bad manners"));
    EXPECT_THAT(strict.TakeViolations(), IsEmpty());
}

TEST_F(PeerTest, CountsWhatItHasReceivedWhateverIsForgotten)
{
    EXPECT_EQ(peer.Received(), 0U);
    service.Signal(SharedBus::kName, "First");
    service.Signal(SharedBus::kName, "Second");
    ASSERT_TRUE(peer.WaitForMessages(2));
    peer.Clear();
    EXPECT_EQ(peer.Received(), 2U);
}

TEST_F(PeerTest, SeveralPeersKeepApart)
{
    Peer other("org.example.Other");
    service.Signal("org.example.Other", "ForTheOther");
    service.Signal(SharedBus::kName, "ForThePeer");
    ASSERT_TRUE(other.WaitForMessages(1));
    ASSERT_TRUE(peer.WaitForMessages(1));
    EXPECT_THAT(other.Messages(), ElementsAre(Signal("ForTheOther")));
    EXPECT_THAT(peer.Messages(), ElementsAre(Signal("ForThePeer")));
}

TEST(MessageTest, MatchersTellMembersKindsTypesAndBodiesApart)
{
    const support::Message message = {support::Message::Kind::Call, "a.b", "/c", "d.e", "Ask", "(i)", "(1,)"};
    EXPECT_THAT(message, Call("Ask", "(i)", "(1,)"));
    EXPECT_THAT(message, Call("Ask", _, _));
    EXPECT_THAT(message, Not(Signal("Ask", "(i)", "(1,)")));
    EXPECT_THAT(message, Not(Call("Ask")));
    EXPECT_THAT(message, Not(Call("Tell", "(i)", "(1,)")));
    EXPECT_THAT(message, Not(Call("Ask", "(u)", "(1,)")));
    EXPECT_THAT(message, Not(Call("Ask", "(i)", "(2,)")));
}

TEST(MessageTest, PrintsItself)
{
    const support::Message call = {support::Message::Kind::Call, "a.b", "/c", "d.e", "Ask", "(i)", "(1,)"};
    EXPECT_EQ(::testing::PrintToString(call), "call Ask (i) (1,)  [to a.b, path /c, interface d.e]");
    const support::Message signal = {support::Message::Kind::Signal, "a.b", "/c", "d.e", "Tell", "", ""};
    EXPECT_EQ(::testing::PrintToString(signal), "signal Tell  [to a.b, path /c, interface d.e]");
}

} // namespace
