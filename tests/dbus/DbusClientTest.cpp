#include "DbusClient/DbusClient.h"

#include "GlibPointers.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/MainLoop.h"
#include "support/MessageMatchers.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"
#include "support/Settle.h"
#include "support/Siblings.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdlib.h>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

using namespace std::chrono_literals;
using support::Call;
using support::Settle;
using support::Signal;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

namespace {

constexpr const char* kName = "com.quorix.tv.bt.connectionmanager";
constexpr const char* kPath = "/com/quorix/tv/bt/connectionmanager";
constexpr const char* kAbsent = "org.vantor.nobody.here";
constexpr const char* kOwnName = "org.vantor.vyrel.lite";

std::string CallLine(const std::string& name, const std::string& method)
{
    return "I name = " + name + ", path = " + kPath + ", interface = " + kName + ", method = " + method;
}

/// The text of a reply's body, "" for none.
std::string TextOf(GVariant* body)
{
    const Util::VariantPtr owned(body);
    if (!owned) {
        return "";
    }
    const Util::GlibString text(g_variant_print(owned.get(), TRUE));
    return text.get();
}

bool NameIsOwned(const char* name)
{
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    const Util::VariantPtr reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
        g_variant_new("(s)", name), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error));
    gboolean owned = FALSE;
    g_variant_get(reply.get(), "(b)", &owned);
    g_object_unref(bus);
    return owned != FALSE;
}

class DbusClient : public ::testing::Test
{
protected:
    GVariant* Ask(const char* method, GVariant* params = nullptr, unsigned int timeout = 5000)
    {
        return m_client->SendDbusMethodSync(kName, kPath, kName, method, params, timeout);
    }

    support::PrivateBus m_bus;
    sim::Television m_tv;
    support::Peer m_peer{kName};
    std::shared_ptr<CDbusClient> m_client = std::make_shared<CDbusClient>();
};

TEST_F(DbusClient, OwnsItsNameFromInitToDeinit)
{
    EXPECT_FALSE(NameIsOwned(kOwnName));
    m_client->Init();
    EXPECT_TRUE(support::IterateUntil([] { return NameIsOwned(kOwnName); }));
    m_client->Deinit();
    EXPECT_TRUE(support::IterateUntil([] { return !NameIsOwned(kOwnName); }));
}

TEST_F(DbusClient, SharesOneConnectionWithTheProcess)
{
    GDBusConnection* shared = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    EXPECT_EQ(m_client->GetSystemConnection(), shared);
    EXPECT_EQ(m_client->GetSystemConnection(), shared);
    g_object_unref(shared);
}

TEST_F(DbusClient, ABlockingCallLogsSendsAndGivesTheBody)
{
    m_peer.Answers("Hello", g_variant_new("(i)", 5));
    EXPECT_EQ(TextOf(Ask("Hello", g_variant_new("(si)", "100% %s", 3))), "(5,)");
    EXPECT_THAT(m_peer.Calls(), ElementsAre(Call("Hello", "(si)", "('100% %s', 3)")));
    EXPECT_EQ(m_peer.Calls().front().path, kPath);
    EXPECT_EQ(m_peer.Calls().front().interface, kName);
    EXPECT_EQ(m_peer.Calls().front().destination, kName);
    EXPECT_THAT(m_tv.tape.Of({sim::Kind::Log, sim::Kind::Bus}),
                ElementsAre(HasSubstr(CallLine(kName, "Hello").substr(2)),
                            "ask com.quorix.tv.bt.connectionmanager Hello (si) ('100% %s', 3)"));
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre(CallLine(kName, "Hello")));
}

TEST_F(DbusClient, ABodyOfAnyTypeComesBackAsItWas)
{
    const char* const texts[] = {"('a%s%n', [1, 2], {'k': <'v'>}, (true, 0x07))", "('',)", "(-1, 'ü')"};
    for (const char* text : texts) {
        const Util::VariantPtr body(g_variant_ref_sink(g_variant_new_parsed(text)));
        m_peer.Answers("Hello", body.get());
        const Util::VariantPtr reply(Ask("Hello"));
        ASSERT_TRUE(reply) << text;
        EXPECT_TRUE(g_variant_equal(reply.get(), body.get())) << text;
        EXPECT_FALSE(g_variant_is_floating(reply.get()));
    }
}

TEST_F(DbusClient, AReplyWithoutABodyGivesNull)
{
    EXPECT_EQ(Ask("Hello"), nullptr);
    EXPECT_THAT(m_peer.Calls(), ElementsAre(Call("Hello")));
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(CallLine(kName, "Hello")));
}

TEST_F(DbusClient, AnErrorReplyIsAReplyLikeAnyOther)
{
    m_peer.AnswersWithError("Hello", "org.vantor.Error.Broken", "it is broken");
    EXPECT_EQ(TextOf(Ask("Hello")), "('it is broken',)");
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(CallLine(kName, "Hello")));
}

TEST_F(DbusClient, AnAbsentServiceIsAnsweredForByTheBus)
{
    EXPECT_THAT(TextOf(m_client->SendDbusMethodSync(kAbsent, kPath, kName, "Hello", nullptr, 5000)),
                HasSubstr(kAbsent));
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(CallLine(kAbsent, "Hello")));
}

TEST_F(DbusClient, ACallThatNobodyAnswersEndsWithItsTimeOut)
{
    m_peer.Stalls("Hello");
    const auto start = support::RealTime::Now();
    EXPECT_EQ(Ask("Hello", nullptr, 200), nullptr);
    const auto took = support::RealTime::Now() - start;
    EXPECT_GE(took, 190ms);
    EXPECT_LT(took, 2s);
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(CallLine(kName, "Hello"), StartsWith("E GDbus error : ")));
}

TEST_F(DbusClient, ATimeOutBeyondWhatTheBusKnowsIsNoFailure)
{
    m_peer.Answers("Hello", g_variant_new("(i)", 5));
    EXPECT_EQ(TextOf(Ask("Hello", nullptr, 0xFFFFFFFF)), "(5,)");
}

TEST_F(DbusClient, AServiceThatVanishesBetweenCallAndReplyIsAnsweredForByTheBus)
{
    m_peer.VanishesOn("Hello");
    EXPECT_NE(TextOf(Ask("Hello")), "");
}

TEST_F(DbusClient, AFloatingBodyIsConsumedAndAFullOneIsNot)
{
    const Util::VariantPtr body(g_variant_ref_sink(g_variant_new("(i)", 9)));
    Ask("Hello", body.get());
    m_client->SendDbusMethod(kName, kPath, kName, "Hello", body.get());
    m_client->SendDbusSignal(kName, kPath, kName, "Signal", body.get());
    Settle({&m_peer});
    EXPECT_EQ(TextOf(g_variant_ref(body.get())), "(9,)");
    EXPECT_THAT(m_peer.Messages(), ElementsAre(Call("Hello", "(i)", "(9,)"), Call("Hello", "(i)", "(9,)"),
                                               Signal("Signal", "(i)", "(9,)")));
}

TEST_F(DbusClient, ACallToForgetIsSentAndThenLogged)
{
    m_client->SendDbusMethod(kName, kPath, kName, "AdapterDisabled", nullptr);
    m_client->SendDbusMethod(kName, kPath, kName, "A2dpPowerOn", g_variant_new("(s)", "AA"));
    Settle({&m_peer});
    EXPECT_THAT(m_peer.Calls(), ElementsAre(Call("AdapterDisabled"), Call("A2dpPowerOn", "(s)", "('AA',)")));
    EXPECT_THAT(m_tv.tape.Messages(true),
                ElementsAre(CallLine(kName, "AdapterDisabled"), CallLine(kName, "A2dpPowerOn")));
    EXPECT_EQ(m_tv.tape.Entries().front().kind, sim::Kind::Bus);
}

TEST_F(DbusClient, ACallToForgetIgnoresItsReply)
{
    m_peer.AnswersWithError("Hello", "org.vantor.Error.Broken", "it is broken");
    m_client->SendDbusMethod(kName, kPath, kName, "Hello", nullptr);
    Settle({&m_peer});
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre(CallLine(kName, "Hello")));
}

TEST_F(DbusClient, ASignalGoesToItsReceiverAlone)
{
    support::Peer other("org.vantor.other");
    EXPECT_TRUE(m_client->SendDbusSignal(kName, kPath, kName, "PowerStateChanged", g_variant_new("(i)", 1)));
    Settle({&m_peer, &other});
    EXPECT_THAT(m_peer.Signals(), ElementsAre(Signal("PowerStateChanged", "(i)", "(1,)")));
    EXPECT_EQ(m_peer.Signals().front().destination, kName);
    EXPECT_THAT(other.Messages(), IsEmpty());
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre(std::string("I name = ") + kName + ", path = " + kPath +
                                                      ", interface = " + kName + ", signal = PowerStateChanged"));
    EXPECT_EQ(m_tv.tape.Entries().front().kind, sim::Kind::Log);
}

struct Refused
{
    const char* what;
    std::string name;
    std::string path;
    std::string interface;
    std::string member;
};

class DbusClientRefuses : public DbusClient, public ::testing::WithParamInterface<Refused>
{};

TEST_P(DbusClientRefuses, WhatTheBusWouldNotTake)
{
    constexpr const char* kRefusedLine = "E GDbus error : invalid name, path, interface, method or body";
    const Refused& refused = GetParam();
    EXPECT_EQ(m_client->SendDbusMethodSync(refused.name, refused.path, refused.interface, refused.member,
                                           g_variant_new("(s)", "body"), 5000),
              nullptr);
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(StartsWith("I name = "), kRefusedLine));
    m_tv.tape.Clear();
    m_client->SendDbusMethod(refused.name, refused.path, refused.interface, refused.member, nullptr);
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(kRefusedLine, StartsWith("I name = ")));
    m_tv.tape.Clear();
    EXPECT_TRUE(m_client->SendDbusSignal(refused.name, refused.path, refused.interface, refused.member, nullptr));
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(StartsWith("I name = "), "E g_dbus_connection_emit_signal = failed"));
    Settle({&m_peer});
    EXPECT_THAT(m_peer.Messages(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    All, DbusClientRefuses,
    ::testing::Values(Refused{"NoName", "", kPath, kName, "M"}, Refused{"BadName", "not a name", kPath, kName, "M"},
                      Refused{"NoPath", kName, "", kName, "M"}, Refused{"BadPath", kName, "com/quorix", kName, "M"},
                      Refused{"BadInterface", kName, kPath, "interface", "M"},
                      Refused{"NoMember", kName, kPath, kName, ""}, Refused{"BadMember", kName, kPath, kName, "A.B"},
                      Refused{"NotUtf8", kName, kPath, kName, "\xFF"}),
    [](const auto& tested) { return std::string(tested.param.what); });

TEST_F(DbusClient, RefusesABodyThatIsNoTuple)
{
    EXPECT_EQ(Ask("Hello", g_variant_new_string("bare")), nullptr);
    m_client->SendDbusMethod(kName, kPath, kName, "Hello", g_variant_new_string("bare"));
    EXPECT_TRUE(m_client->SendDbusSignal(kName, kPath, kName, "Hello", g_variant_new_string("bare")));
    Settle({&m_peer});
    EXPECT_THAT(m_peer.Messages(), IsEmpty());
}

constexpr gsize kLargestMessage = 32UL * 1024 * 1024;

/// Bytes of a call of this member with this body, as they travel.
gsize SizeOf(const char* member, GVariant* body)
{
    GDBusMessage* message = g_dbus_message_new_method_call(kName, kPath, kName, member);
    g_dbus_message_set_body(message, body);
    gsize size = 0;
    g_free(g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr));
    g_object_unref(message);
    return size;
}

/// A body with which a call of this member is a message of so many bytes.
Util::VariantPtr BodyFor(const char* member, gsize size)
{
    const auto bodyOf = [](gsize length) {
        return Util::VariantPtr(g_variant_ref_sink(g_variant_new("(s)", std::string(length, 'x').c_str())));
    };
    return bodyOf(size - SizeOf(member, bodyOf(0).get()));
}

TEST_F(DbusClient, TheLargestMessageThatTheBusTakesIsSent)
{
    m_peer.Answers("Hello", g_variant_new("(i)", 5));
    const Util::VariantPtr body = BodyFor("Hello", kLargestMessage);
    ASSERT_EQ(SizeOf("Hello", body.get()), kLargestMessage);
    EXPECT_EQ(TextOf(Ask("Hello", body.get(), 60'000)), "(5,)");
}

TEST_F(DbusClient, TheBusDropsTheConnectionOfWhoeverSendsOneByteMore)
{
    GDBusConnection* connection = g_dbus_connection_new_for_address_sync(
        m_bus.Address().c_str(),
        static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                          G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
        nullptr, nullptr, nullptr);
    ASSERT_NE(connection, nullptr);
    const Util::MessagePtr message(g_dbus_message_new_method_call(kName, kPath, kName, "Hello"));
    g_dbus_message_set_body(message.get(), BodyFor("Hello", kLargestMessage + 1).get());
    EXPECT_TRUE(
        g_dbus_connection_send_message(connection, message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr, nullptr));
    EXPECT_TRUE(support::IterateUntil([&] { return g_dbus_connection_is_closed(connection) != FALSE; }));
    g_object_unref(connection);
    EXPECT_THAT(m_peer.Messages(), IsEmpty());
}

TEST_F(DbusClient, AMessageThatTheBusWouldNotTakeIsAFailedCallAndTheConnectionLives)
{
    const Util::VariantPtr body = BodyFor("Hello", kLargestMessage + 1);
    EXPECT_EQ(Ask("Hello", body.get()), nullptr);
    EXPECT_THAT(m_tv.tape.Messages(),
                ElementsAre(CallLine(kName, "Hello"), "E GDbus error : the bus takes no message of 33554433 bytes"));
    m_tv.tape.Clear();
    m_client->SendDbusMethod(kName, kPath, kName, "Hello", body.get());
    EXPECT_THAT(m_tv.tape.Messages(),
                ElementsAre("E GDbus error : the bus takes no message of 33554433 bytes", CallLine(kName, "Hello")));
    m_tv.tape.Clear();
    EXPECT_FALSE(m_client->SendDbusSignal(kName, kPath, kName, "Hello", body.get()));
    EXPECT_THAT(m_tv.tape.Messages(),
                ElementsAre(StartsWith("I name = "), "E g_dbus_connection_emit_signal = failed",
                            "E g_dbus_connection_emit_signal, reason : the bus takes no message of 33554433 bytes"));
    EXPECT_THAT(m_tv.tape.Bus(), IsEmpty());

    m_peer.Answers("Hello", g_variant_new("(i)", 5));
    EXPECT_EQ(TextOf(Ask("Hello")), "(5,)");
    EXPECT_THAT(m_peer.Messages(), ElementsAre(Call("Hello")));
}

TEST_F(DbusClient, WhatIsSmallOnlyUntilItTravelsIsRefusedToo)
{
    // Five million empty arrays take about four bytes each here, and eight on their way.
    GVariantBuilder arrays;
    g_variant_builder_init(&arrays, G_VARIANT_TYPE("aax"));
    const Util::VariantPtr empty(g_variant_ref_sink(g_variant_new_array(G_VARIANT_TYPE_INT64, nullptr, 0)));
    for (int count = 0; count < 5'000'000; ++count) {
        g_variant_builder_add_value(&arrays, empty.get());
    }
    const Util::VariantPtr body(g_variant_ref_sink(g_variant_new("(aax)", &arrays)));
    ASSERT_LT(g_variant_get_size(body.get()), kLargestMessage);
    EXPECT_EQ(Ask("Hello", body.get()), nullptr);
    EXPECT_THAT(m_tv.tape.Bus(), IsEmpty());
}

TEST_F(DbusClient, ABodyThatNoMessageCanHoldIsAFailedCall)
{
    // An array ends at 64 MiB.
    const std::vector<guchar> bytes(65UL * 1024 * 1024);
    const Util::VariantPtr body(g_variant_ref_sink(
        g_variant_new("(@ay)", g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, bytes.data(), bytes.size(), 1))));
    EXPECT_EQ(Ask("Hello", body.get()), nullptr);
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(CallLine(kName, "Hello"), StartsWith("E GDbus error : ")));
    EXPECT_EQ(TextOf(Ask("Other")), "") << "and the connection lives";
    EXPECT_THAT(m_peer.Messages(), ElementsAre(Call("Other")));
}

TEST_F(DbusClient, AnyReplyOfAServiceIsASignOfLife)
{
    const auto isAlive = [this](const char* name) {
        return m_client->IsServiceAlive(name, kPath, kName, "Hello", 200);
    };
    EXPECT_TRUE(isAlive(kName)) << "an empty one";
    m_peer.Answers("Hello", g_variant_new("(i)", 0));
    EXPECT_TRUE(isAlive(kName));
    m_peer.AnswersWithError("Hello", "org.freedesktop.DBus.Error.UnknownMethod", "no such method");
    EXPECT_TRUE(isAlive(kName)) << "an error of its own";
    EXPECT_THAT(m_tv.tape.Messages(),
                ElementsAre(CallLine(kName, "Hello"), CallLine(kName, "Hello"), CallLine(kName, "Hello")));
    EXPECT_FALSE(isAlive(kAbsent)) << "the bus answered for it";
    EXPECT_FALSE(isAlive("not a name"));
    m_peer.Stalls("Hello");
    EXPECT_FALSE(isAlive(kName)) << "it did not answer in time";
}

TEST_F(DbusClient, AfterTheBusHasGoneEveryCallFailsWithALogLine)
{
    GDBusConnection* connection = m_client->GetSystemConnection();
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    m_bus.Dies();
    ASSERT_TRUE(support::IterateUntil([&] { return g_dbus_connection_is_closed(connection) != FALSE; }));
    EXPECT_EQ(Ask("Hello"), nullptr);
    m_client->SendDbusMethod(kName, kPath, kName, "Hello", nullptr);
    EXPECT_FALSE(m_client->SendDbusSignal(kName, kPath, kName, "Hello", nullptr));
    EXPECT_THAT(m_tv.tape.Messages(),
                ElementsAre(StartsWith("I name"), StartsWith("E GDbus error : "), StartsWith("E GDbus error : "),
                            StartsWith("I name"), StartsWith("I name"), "E g_dbus_connection_emit_signal = failed",
                            StartsWith("E g_dbus_connection_emit_signal, reason : ")));
}

class DbusClientWithoutABus : public ::testing::Test
{
protected:
    void SetUp() override
    {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    }

    sim::Television m_tv;
    CDbusClient m_client;
};

TEST_F(DbusClientWithoutABus, SaysSoAtEachTryAndGivesWhatAFailedCallGives)
{
    EXPECT_EQ(m_client.GetSystemConnection(), nullptr);
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(StartsWith("E g_bus_get_sync fail, reason: ")));
    m_tv.tape.Clear();
    EXPECT_EQ(m_client.SendDbusMethodSync(kName, kPath, kName, "M", g_variant_new("(i)", 1), 1000), nullptr);
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(StartsWith("I name"), StartsWith("E g_bus_get_sync fail, reason: ")));
    m_client.SendDbusMethod(kName, kPath, kName, "M", g_variant_new("(i)", 1));
    EXPECT_TRUE(m_client.SendDbusSignal(kName, kPath, kName, "M", g_variant_new("(i)", 1)));
    EXPECT_FALSE(m_client.IsServiceAlive(kName, kPath, kName, "M", 1000));
    EXPECT_THAT(m_tv.tape.Messages(), Contains("E g_dbus_connection_emit_signal = failed"));
}

TEST_F(DbusClientWithoutABus, SaysOnceForEachSubscriptionThatItCannotListenAndStopsInSilence)
{
    m_client.Init();
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(StartsWith("E g_bus_get_sync fail, reason: ")));
    m_client.AddEasyPairingSignalHandler([](int) {});
    EXPECT_THAT(m_tv.tape.Messages(), ElementsAre(StartsWith("E g_bus_get_sync fail, reason: "),
                                                  StartsWith("E g_bus_get_sync fail, reason: ")));
    m_tv.tape.Clear();
    support::DrainMainLoop();
    m_client.Deinit();
    EXPECT_THAT(m_tv.tape.All(), IsEmpty());
}

TEST_F(DbusClientWithoutABus, TriesAgainWithTheNextCall)
{
    EXPECT_EQ(m_client.GetSystemConnection(), nullptr);
    const support::PrivateBus bus;
    EXPECT_NE(m_client.GetSystemConnection(), nullptr);
}

TEST(DbusClientDeinit, BeforeInitGivesUpANameThatItNeverHad)
{
    // GLib warns of an id that it does not know; this is the one place where that is expected.
    static std::vector<std::string> warnings;
    g_log_set_always_fatal(static_cast<GLogLevelFlags>(G_LOG_FATAL_MASK));
    g_log_set_default_handler(
        [](const gchar*, GLogLevelFlags, const gchar* message, gpointer) { warnings.emplace_back(message); }, nullptr);
    sim::Television tv;
    CDbusClient client;
    client.Deinit();
    EXPECT_THAT(warnings, ElementsAre(HasSubstr("Invalid id -1 passed")));
    EXPECT_THAT(tv.tape.All(), IsEmpty());
}

class IrMonitorCommand : public DbusClient
{
protected:
    support::IrMonitor m_monitor;
};

TEST_F(IrMonitorCommand, ResetAndStopGoToARunningMonitorOnly)
{
    for (const char* command : {"Reset", "Stop"}) {
        m_client->SendToTouchIrMonitor(command);
    }
    Settle({&m_monitor});
    EXPECT_THAT(m_monitor.Calls(), IsEmpty());
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("E Reset command but irmonitor is not running",
                                                      "E Stop command but irmonitor is not running"));
    EXPECT_THAT(m_tv.tape.Calls(),
                ElementsAre("LwipcIsDone(\"/tmp/.bt_irmonitor\") = 0", "LwipcIsDone(\"/tmp/.bt_irmonitor\") = 0"));

    m_tv.PostsFlag("/tmp/.bt_irmonitor");
    for (const char* command : {"Reset", "Stop"}) {
        m_client->SendToTouchIrMonitor(command);
    }
    Settle({&m_monitor});
    EXPECT_THAT(m_monitor.Calls(), ElementsAre(Call("Reset"), Call("Stop")));
}

TEST_F(IrMonitorCommand, AnyOtherGoesOutWithoutAsking)
{
    m_client->SendToTouchIrMonitor("Start");
    Settle({&m_monitor});
    EXPECT_THAT(m_monitor.Calls(), ElementsAre(Call("Start")));
    EXPECT_THAT(m_tv.tape.Calls(), IsEmpty());
    EXPECT_THAT(m_tv.tape.Messages(true),
                ElementsAre("I name = com.quorix.tv.bt.irmonitor, path = /com/quorix/tv/bt/irmonitor, interface = "
                            "com.quorix.tv.bt.irmonitor, method = Start"));
}

} // namespace
