#include "sim/Capture.h"

#include "GlibPointers.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"
#include "support/Settle.h"
#include "support/Siblings.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using ::testing::Contains;
using ::testing::Not;

namespace {

std::vector<std::string> Members(const std::vector<sim::Capture::Message>& messages)
{
    std::vector<std::string> members;
    for (const sim::Capture::Message& message : messages) {
        std::string bytes = message.message;
        const Util::MessagePtr parsed(g_dbus_message_new_from_blob(
            reinterpret_cast<guchar*>(bytes.data()), bytes.size(), G_DBUS_CAPABILITY_FLAGS_NONE, nullptr));
        EXPECT_NE(parsed, nullptr);
        EXPECT_NE(g_dbus_message_get_serial(parsed.get()), 0U);
        const char* member = g_dbus_message_get_member(parsed.get());
        const bool isReply = g_dbus_message_get_message_type(parsed.get()) == G_DBUS_MESSAGE_TYPE_METHOD_RETURN;
        members.push_back(std::string(message.comesIn ? "in " : "out ") + (isReply             ? "reply"
                                                                           : member != nullptr ? member
                                                                                               : "?"));
    }
    return members;
}

class Capture : public ::testing::Test
{
protected:
    void Asks(const char* member) const
    {
        const Util::MessagePtr message(g_dbus_message_new_method_call(manager.BusName().c_str(), "/a", "a.b", member));
        const Util::MessagePtr reply(g_dbus_connection_send_message_with_reply_sync(
            connection.get(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, 5000, nullptr, nullptr, nullptr));
        EXPECT_NE(reply, nullptr);
    }

    support::PrivateBus bus;
    sim::Television tv;
    support::Peer manager{"com.quorix.tv.bt.connectionmanager"};
    std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>> connection{
        g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)};
};

TEST_F(Capture, SeesWhatGoesOverTheConnectionEitherWay)
{
    Asks("Before");
    sim::Capture capture;
    Asks("Method");
    const std::vector<sim::Capture::Message> messages = capture.Take();
    EXPECT_THAT(Members(messages), ::testing::ElementsAre("out Method", "in reply"));
    EXPECT_GE(messages[0].at, 0);
    EXPECT_LE(messages[0].at, messages[1].at);
    EXPECT_LE(messages[1].at, tv.tape.Now());
    EXPECT_THAT(capture.Take(), ::testing::IsEmpty()) << "each message is taken once";
}

TEST_F(Capture, SeesWhatTheTapeDoesNotShow)
{
    sim::Capture capture;
    const guint name = g_bus_own_name_on_connection(connection.get(), "org.vantor.some", G_BUS_NAME_OWNER_FLAGS_NONE,
                                                    nullptr, nullptr, nullptr, nullptr);
    support::Settle({&manager});
    const std::vector<std::string> members = Members(capture.Take());
    EXPECT_THAT(members, Contains("out RequestName"));
    EXPECT_THAT(members, Not(Contains("out GetId"))) << "the question with which the bus is brought to rest";
    EXPECT_EQ(std::ranges::count(members, "out RequestName"), std::ranges::count(members, "in reply"));
    g_bus_unown_name(name);
}

} // namespace
