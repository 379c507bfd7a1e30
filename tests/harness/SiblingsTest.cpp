#include "support/Siblings.h"

#include "GlibPointers.h"
#include "support/Description.h"
#include "support/MessageMatchers.h"
#include "support/PrivateBus.h"
#include "support/Settle.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using support::Call;
using support::ConnectionManager;
using support::Settle;
using support::Signal;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kManager = "com.quorix.tv.bt.connectionmanager";
constexpr const char* kManagerPath = "/com/quorix/tv/bt/connectionmanager";

class SiblingsTest : public ::testing::Test
{
protected:
    SiblingsTest() : m_connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr)) {}

    void Calls(const char* name, const char* path, const char* interface, const char* member, GVariant* body = nullptr)
    {
        const Util::MessagePtr call(g_dbus_message_new_method_call(name, path, interface, member));
        if (body != nullptr) {
            g_dbus_message_set_body(call.get(), body);
        }
        g_dbus_connection_send_message(m_connection.get(), call.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                       nullptr);
    }

    void CallsManager(const char* member, GVariant* body = nullptr)
    {
        Calls(kManager, kManagerPath, kManager, member, body);
    }

    void Signals(const char* member, GVariant* body = nullptr)
    {
        g_dbus_connection_emit_signal(m_connection.get(), kManager, kManagerPath, kManager, member, body, nullptr);
    }

    /// What the connection manager has to say against what was sent.
    std::vector<std::string> ViolationsOf(ConnectionManager& manager)
    {
        manager.ExpectViolations();
        Settle({&manager});
        return manager.Violations();
    }

    support::PrivateBus bus;
    std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>> m_connection;
};

TEST_F(SiblingsTest, WhatFitsTheDescriptionIsNoViolation)
{
    ConnectionManager manager;
    CallsManager("Hello");
    CallsManager("AuthorizationRequest", g_variant_new("(ssii)", "AA:BB:CC:DD:EE:FF", "name", 18, 0));
    Signals("PowerStateChanged", g_variant_new("(iiiiii)", 1, 2, 3, 4, 5, 6));
    Signals("StandbyPowerStatefromNormal");
    Settle({&manager});
    EXPECT_THAT(manager.Messages(),
                ElementsAre(Call("Hello"),
                            Call("AuthorizationRequest", "(ssii)", "('AA:BB:CC:DD:EE:FF', 'name', 18, 0)"),
                            Signal("PowerStateChanged", "(iiiiii)", "(1, 2, 3, 4, 5, 6)"),
                            Signal("StandbyPowerStatefromNormal")));
    EXPECT_THAT(manager.Violations(), IsEmpty());
}

TEST_F(SiblingsTest, AnUnknownMethodIsAViolation)
{
    ConnectionManager manager;
    CallsManager("Helo");
    EXPECT_THAT(ViolationsOf(manager), ElementsAre(HasSubstr("there is no such member")));
}

TEST_F(SiblingsTest, AnUnknownSignalIsAViolation)
{
    ConnectionManager manager;
    Signals("PowerStateChange", g_variant_new("(iiiiii)", 1, 2, 3, 4, 5, 6));
    EXPECT_THAT(ViolationsOf(manager), ElementsAre(HasSubstr("there is no such member")));
}

TEST_F(SiblingsTest, ASignalIsNoMethodAndAMethodNoSignal)
{
    ConnectionManager manager;
    CallsManager("StandbyPowerStatefromNormal");
    Signals("Hello");
    EXPECT_THAT(ViolationsOf(manager),
                ElementsAre(HasSubstr("there is no such member"), HasSubstr("there is no such member")));
}

TEST_F(SiblingsTest, AnotherSignatureIsAViolation)
{
    ConnectionManager manager;
    CallsManager("AvrcpInterimReceived", g_variant_new("(sq)", "AA:BB:CC:DD:EE:FF", 40));
    CallsManager("BondDestroied");
    CallsManager("Hello", g_variant_new("(i)", 1));
    Signals("PowerStateChanged", g_variant_new("(iiiii)", 1, 2, 3, 4, 5));
    EXPECT_THAT(ViolationsOf(manager),
                ElementsAre(HasSubstr("the body should be (si)"), HasSubstr("the body should be (s)"),
                            HasSubstr("the body should be empty"), HasSubstr("the body should be (iiiiii)")));
}

TEST_F(SiblingsTest, AnotherPathIsAViolation)
{
    ConnectionManager manager;
    Calls(kManager, "/elsewhere", kManager, "Hello");
    EXPECT_THAT(ViolationsOf(manager),
                ElementsAre(HasSubstr("the path should be /com/quorix/tv/bt/connectionmanager")));
}

TEST_F(SiblingsTest, AnotherInterfaceIsAViolation)
{
    ConnectionManager manager;
    Calls(kManager, kManagerPath, "org.example.Else", "Hello");
    EXPECT_THAT(ViolationsOf(manager), ElementsAre(HasSubstr("there is no such interface")));
}

TEST_F(SiblingsTest, AViolationFailsTheTest)
{
    std::optional<ConnectionManager> manager;
    manager.emplace();
    CallsManager("Helo");
    Settle({&*manager});
    EXPECT_NONFATAL_FAILURE(manager.reset(), "there is no such member");
}

TEST_F(SiblingsTest, AViolationOnItsWayFailsTheTestToo)
{
    std::optional<ConnectionManager> manager;
    manager.emplace();
    constexpr int kManyAhead = 500; // so that it is not handled yet when the manager goes
    for (int count = 0; count < kManyAhead; ++count) {
        Signals("StandbyPowerStatefromNormal");
    }
    CallsManager("Helo");
    Settle();
    EXPECT_NONFATAL_FAILURE(manager.reset(), "there is no such member");
}

TEST_F(SiblingsTest, AnExpectedViolationDoesNotFailTheTest)
{
    ConnectionManager manager;
    manager.ExpectViolations();
    CallsManager("Helo");
    Settle({&manager});
}

TEST_F(SiblingsTest, EachHasItsNamePathAndInterface)
{
    ConnectionManager manager;
    support::ConnectionShift shift;
    support::HandsFreeAgent agent;
    support::UpdateManager updates;
    support::IrMonitor monitor;
    CallsManager("AdapterDisabled");
    Calls("com.quorix.tv.bt.connectionshift", "/com/quorix/tv/bt/connectionshift", "com.quorix.tv.bt.connectionshift",
          "UpdateConnectedDeviceList", g_variant_new("(bs)", TRUE, "AA:BB:CC:DD:EE:FF"));
    Calls("com.quorix.tv.hfpAgent", "/com/quorix/tv/hfpAgent", "com.quorix.tv.hfpAgent.api", "StartDaemon",
          g_variant_new("(s)", "AA:BB:CC:DD:EE:FF"));
    for (const char* member : {"CHIP", "SCFW", "HALVO", "EXIT"}) {
        Calls("com.quorix.tv.bt.updatemanager", "/com/quorix/tv/bt/updatemanager", "com.quorix.tv.bt.updatemanager",
              member);
    }
    for (const char* member : {"Start", "Stop", "Reset"}) {
        Calls("com.quorix.tv.bt.irmonitor", "/com/quorix/tv/bt/irmonitor", "com.quorix.tv.bt.irmonitor", member);
    }
    Settle({&manager, &shift, &agent, &updates, &monitor});
    EXPECT_THAT(manager.Calls(), ElementsAre(Call("AdapterDisabled")));
    EXPECT_THAT(shift.Calls(), ElementsAre(Call("UpdateConnectedDeviceList", "(bs)", "(true, 'AA:BB:CC:DD:EE:FF')")));
    EXPECT_THAT(agent.Calls(), ElementsAre(Call("StartDaemon", "(s)", "('AA:BB:CC:DD:EE:FF',)")));
    EXPECT_THAT(updates.Calls(), ElementsAre(Call("CHIP"), Call("SCFW"), Call("HALVO"), Call("EXIT")));
    EXPECT_THAT(monitor.Calls(), ElementsAre(Call("Start"), Call("Stop"), Call("Reset")));
}

void Remember(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* body, gpointer code)
{
    g_variant_get(body, "(i)", static_cast<int*>(code));
}

TEST_F(SiblingsTest, TheKeyRouterReportsCombinations)
{
    support::KeyRouter router;
    int code = 0;
    g_dbus_connection_signal_subscribe(m_connection.get(), nullptr, "keyrouter.dbus.Signal", "KEY_COMBINATION",
                                       "/com/tarnwick/dbus/ping", nullptr, G_DBUS_SIGNAL_FLAGS_NONE, Remember, &code,
                                       nullptr);
    Settle({&router});
    router.ReportsCombination(51);
    Settle({&router});
    EXPECT_EQ(code, 51);
}

TEST(DescriptionTest, AnInterfaceWithoutAFileIsRefused)
{
    EXPECT_THROW(const support::Description none("org.example.None"), std::runtime_error);
}

constexpr const char* kDocString = "org.gtk.GDBus.DocString";

void ExpectDocumented(const std::string& what, GDBusAnnotationInfo** annotations)
{
    EXPECT_NE(g_dbus_annotation_info_lookup(annotations, kDocString), nullptr) << what << " is not described";
}

void ExpectDocumented(const std::string& member, GDBusArgInfo** arguments)
{
    for (; arguments != nullptr && *arguments != nullptr; ++arguments) {
        ASSERT_NE((*arguments)->name, nullptr) << member;
        ExpectDocumented(member + "." + (*arguments)->name, (*arguments)->annotations);
    }
}

void ExpectDocumented(const GDBusInterfaceInfo& interface)
{
    ExpectDocumented(interface.name, interface.annotations);
    for (GDBusMethodInfo** method = interface.methods; method != nullptr && *method != nullptr; ++method) {
        ExpectDocumented((*method)->name, (*method)->annotations);
        ExpectDocumented((*method)->name, (*method)->in_args);
        ExpectDocumented((*method)->name, (*method)->out_args);
    }
    for (GDBusSignalInfo** signal = interface.signals; signal != nullptr && *signal != nullptr; ++signal) {
        ExpectDocumented((*signal)->name, (*signal)->annotations);
        ExpectDocumented((*signal)->name, (*signal)->args);
    }
}

TEST(DescriptionTest, EveryMemberAndArgumentIsDescribedInWords)
{
    int files = 0;
    for (const auto& file : std::filesystem::directory_iterator(VYREL_INTERFACES)) {
        std::ostringstream text;
        text << std::ifstream(file.path()).rdbuf();
        GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(text.str().c_str(), nullptr);
        ASSERT_NE(node, nullptr) << file.path();
        ASSERT_NE(node->interfaces[0], nullptr) << file.path();
        EXPECT_EQ(file.path().stem(), node->interfaces[0]->name);
        ExpectDocumented(*node->interfaces[0]);
        g_dbus_node_info_unref(node);
        ++files;
    }
    EXPECT_EQ(files, 9);
}

} // namespace
