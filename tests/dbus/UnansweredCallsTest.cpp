// What the bus does to a service whose sibling leaves its calls without an answer, and what a bus can be told about it.

#include "DbusClient/DbusClient.h"
#include "DbusClient/Sibling.h"
#include "GlibPointers.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/MainLoop.h"
#include "support/MessageMatchers.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"
#include "support/Settle.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using support::Settle;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

constexpr int kBusLimit = 128; // dbus-daemon's, unless its configuration sets "max_replies_per_connection"
constexpr const char* kRefusal = "('The maximum number of pending replies per connection has been reached',)";

/// A hanging connection manager and a healthy agent, on a bus with these limits.
class Siblings
{
public:
    explicit Siblings(const std::string& limits = {}) : bus(limits)
    {
        hanging.Stalls("Notice");
        healthy.Answers("Hello", g_variant_new("(s)", "well"));
    }

    void LeavesUnanswered(int count)
    {
        for (int call = 0; call < count; ++call) {
            Call(&client, kConnectionManager, "Notice");
        }
        Settle({&hanging});
        tv.tape.Clear();
    }

    /// The text of the answer to a blocking call, "" for none.
    std::string AskHealthy()
    {
        const Util::VariantPtr answer = Ask(&client, kHandsFreeAgent, "Hello");
        if (!answer) {
            return "";
        }
        return Util::GlibString(g_variant_print(answer.get(), FALSE)).get();
    }

    bool IsAgentAlive()
    {
        return client.IsServiceAlive(kHandsFreeAgent.name, kHandsFreeAgent.path, kHandsFreeAgent.interface, "Hello",
                                     kAnswerTimeout);
    }

    support::PrivateBus bus;
    sim::Television tv;
    support::Peer hanging{"com.quorix.tv.bt.connectionmanager"};
    support::Peer healthy{"com.quorix.tv.hfpAgent"};
    CDbusClient client;
};

TEST(UnansweredCalls, LeaveRoomForAHealthySiblingUpToTheLimitOfTheBus)
{
    Siblings siblings;
    siblings.LeavesUnanswered(kBusLimit - 1);
    EXPECT_EQ(siblings.AskHealthy(), "('well',)");
}

TEST(UnansweredCalls, AtTheLimitOfTheBusAreAnsweredByItForHealthySiblingsTooAndNoErrorIsLogged)
{
    Siblings siblings;
    siblings.LeavesUnanswered(kBusLimit);
    EXPECT_EQ(siblings.AskHealthy(), kRefusal);
    EXPECT_FALSE(siblings.IsAgentAlive());
    Call(&siblings.client, kHandsFreeAgent, "Hello");
    Settle({&siblings.healthy});
    EXPECT_THAT(siblings.healthy.Calls(), IsEmpty());
    EXPECT_THAT(siblings.tv.tape.Messages(true),
                ElementsAre(StartsWith("I name = "), StartsWith("I name = "), StartsWith("I name = ")));
}

TEST(UnansweredCalls, DoNotKeepASignalBack)
{
    Siblings siblings;
    siblings.LeavesUnanswered(kBusLimit);
    Signal(&siblings.client, kHandsFreeAgent, "News");
    Settle({&siblings.healthy});
    EXPECT_THAT(siblings.healthy.Messages(), ElementsAre(support::Signal("News")));
}

TEST(UnansweredCalls, AreForgottenOnceTheyAreAnsweredOrTheirSiblingGoes)
{
    Siblings siblings;
    siblings.LeavesUnanswered(kBusLimit);
    siblings.hanging.Releases("Notice");
    Settle({&siblings.hanging});
    EXPECT_EQ(siblings.AskHealthy(), "('well',)");

    siblings.hanging.Stalls("Notice");
    siblings.LeavesUnanswered(kBusLimit);
    EXPECT_EQ(siblings.AskHealthy(), kRefusal);
    siblings.hanging.Vanishes();
    EXPECT_EQ(siblings.AskHealthy(), "('well',)");
}

TEST(UnansweredCalls, AreMoreOnABusThatAllowsMore)
{
    Siblings siblings(R"(<limit name="max_replies_per_connection">200</limit>)");
    siblings.LeavesUnanswered(199);
    EXPECT_EQ(siblings.AskHealthy(), "('well',)");
    siblings.LeavesUnanswered(1);
    EXPECT_EQ(siblings.AskHealthy(), kRefusal);
}

TEST(UnansweredCalls, OfDaysLeaveRoomOnABusWithTheInstalledPolicy)
{
    Siblings siblings("<include>" VYREL_POLICY "</include>");
    siblings.LeavesUnanswered(4 * kBusLimit);
    EXPECT_EQ(siblings.AskHealthy(), "('well',)");
}

TEST(UnansweredCalls, EndByThemselvesOnABusWithAReplyTimeout)
{
    Siblings siblings(R"(<limit name="reply_timeout">300</limit>)");
    siblings.LeavesUnanswered(kBusLimit);
    EXPECT_TRUE(support::IterateUntil([&] { return siblings.AskHealthy() == "('well',)"; }));
}

TEST(UnansweredCalls, OfAnUpdateManagerEndTheUpdatesOnABusWithAReplyTimeout)
{
    Siblings siblings(R"(<limit name="reply_timeout">300</limit>)");
    support::Peer manager("com.quorix.tv.bt.updatemanager");
    manager.Stalls("CHIP");
    siblings.client.RequestBTChipUpdate();
    ASSERT_TRUE(manager.WaitForMessages(2));
    EXPECT_THAT(manager.Calls(), ElementsAre(support::Call("CHIP"), support::Call("EXIT")));
    EXPECT_THAT(siblings.tv.tape.Messages(), Contains("I Result(-1)"));
}

} // namespace
