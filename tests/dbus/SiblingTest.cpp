// The three ways to speak to a sibling service.

#include "DbusClient/Sibling.h"

#include "DbusClient/DbusClient.h"
#include "GlibPointers.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/Message.h"
#include "support/MessageMatchers.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"
#include "support/Settle.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using support::Settle;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class SpeaksToASibling : public ::testing::Test
{
protected:
    support::PrivateBus m_bus;
    sim::Television m_tv;
    support::Peer m_agent{"com.quorix.tv.hfpAgent"};
    CDbusClient m_client;
};

TEST_F(SpeaksToASibling, InCallsQuestionsAndSignalsWithTheSiblingsOwnNames)
{
    m_agent.Answers("Ask", g_variant_new("(i)", 7));
    Call(&m_client, kHandsFreeAgent, "Call", g_variant_new("(i)", 1));
    const Util::VariantPtr answer = Ask(&m_client, kHandsFreeAgent, "Ask", g_variant_new("(i)", 2));
    Signal(&m_client, kHandsFreeAgent, "Signal", g_variant_new("(i)", 3));
    Settle({&m_agent});

    ASSERT_TRUE(answer);
    EXPECT_EQ(g_variant_get_int32(Util::VariantPtr(g_variant_get_child_value(answer.get(), 0)).get()), 7);
    EXPECT_THAT(m_agent.Messages(),
                ElementsAre(support::Call("Call", "(i)", "(1,)"), support::Call("Ask", "(i)", "(2,)"),
                            support::Signal("Signal", "(i)", "(3,)")));
    for (const support::Message& message : m_agent.Messages()) {
        EXPECT_EQ(message.destination, "com.quorix.tv.hfpAgent");
        EXPECT_EQ(message.path, "/com/quorix/tv/hfpAgent");
        EXPECT_EQ(message.interface, "com.quorix.tv.hfpAgent.api");
    }
}

TEST_F(SpeaksToASibling, WithoutABody)
{
    Call(&m_client, kHandsFreeAgent, "Call");
    EXPECT_EQ(Ask(&m_client, kHandsFreeAgent, "Ask"), nullptr);
    Signal(&m_client, kHandsFreeAgent, "Signal");
    Settle({&m_agent});
    EXPECT_THAT(m_agent.Messages(),
                ElementsAre(support::Call("Call"), support::Call("Ask"), support::Signal("Signal")));
}

TEST_F(SpeaksToASibling, AQuestionIsWaitedForAsLongAsItSaysOrFiveSeconds)
{
    m_agent.Stalls("Ask");
    const auto start = support::RealTime::Now();
    EXPECT_EQ(Ask(&m_client, kHandsFreeAgent, "Ask", nullptr, 100), nullptr);
    EXPECT_LT(support::RealTime::Now() - start, 2s);
    EXPECT_EQ(m_tv.tape.Entries().at(1).timeout, 100);
    m_agent.Answers("Other", g_variant_new("(i)", 1));
    EXPECT_NE(Ask(&m_client, kHandsFreeAgent, "Other"), nullptr);
    EXPECT_EQ(m_tv.tape.Entries().back().timeout, 5000);
}

TEST_F(SpeaksToASibling, WithoutAClientEachIsDroppedAndSaysSoAndItsBodyIsConsumed)
{
    const Util::VariantPtr body(g_variant_ref_sink(g_variant_new("(i)", 1)));
    Call(nullptr, kHandsFreeAgent, "Call", body.get());
    EXPECT_EQ(Ask(nullptr, kHandsFreeAgent, "Ask", g_variant_new("(i)", 2)), nullptr);
    Signal(nullptr, kHandsFreeAgent, "Signal", g_variant_new("(i)", 3));
    Settle({&m_agent});
    EXPECT_THAT(m_agent.Messages(), IsEmpty());
    EXPECT_THAT(m_tv.tape.Messages(true),
                ElementsAre("E no bus client, Call is dropped", "E no bus client, Ask is dropped",
                            "E no bus client, Signal is dropped"));
}

} // namespace
