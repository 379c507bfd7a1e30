#include "DbusClient/DbusClient.h"
#include "GlibPointers.h"
#include "sim/Adapter.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"
#include "support/Settle.h"
#include "support/Siblings.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <bt_error.h>

#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using support::Settle;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr const char* kRouterPath = "/com/tarnwick/dbus/ping";
constexpr const char* kRouterInterface = "keyrouter.dbus.Signal";
constexpr const char* kPairingPath = "/org/vantor/vyrel/lite";
constexpr const char* kAdapterOff = "db/low-power-support/bt-disable";

class Incoming : public ::testing::Test
{
protected:
    support::PrivateBus m_bus;
    sim::Television m_tv;
    support::Peer m_sender{""};
    std::shared_ptr<CDbusClient> m_client = std::make_shared<CDbusClient>();
};

class KeyCombination : public Incoming
{
protected:
    void SetUp() override
    {
        m_client->AddSignalHandler();
        Settle();
        m_tv.tape.Clear();
    }

    void Arrives(GVariant* body, const char* member = "KEY_COMBINATION")
    {
        m_sender.Emits(kRouterPath, kRouterInterface, member, body);
        Settle({&m_sender});
    }
};

TEST_F(KeyCombination, FiftyOneSwitchesTheAdapterOffAndWritesFalse)
{
    m_tv.adapter.state = BT_ADAPTER_ENABLED;
    m_tv.settings.Writes(kAdapterOff, true);
    m_tv.tape.Clear();
    Arrives(g_variant_new("(i)", 51));
    EXPECT_THAT(m_tv.tape.Actions(), ElementsAre("bt_adapter_disable() = 0",
                                                 R"(vconf_set_bool("db/low-power-support/bt-disable", false) = 0)"));
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("I KEY_COMBINATION recieved", "I KeyCombination : 51",
                                                      "E <Not Error> bt_adapter_disable, ret = [0]"));
    EXPECT_EQ(m_tv.settings.Bool(kAdapterOff), false);
    EXPECT_EQ(m_tv.adapter.state, BT_ADAPTER_DISABLED);
}

TEST_F(KeyCombination, FiftyTwoSwitchesTheAdapterOnAndWritesTrue)
{
    Arrives(g_variant_new("(i)", 52));
    EXPECT_THAT(m_tv.tape.Actions(), ElementsAre("bt_adapter_enable() = 0",
                                                 R"(vconf_set_bool("db/low-power-support/bt-disable", true) = 0)"));
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("I KEY_COMBINATION recieved", "I KeyCombination : 52",
                                                      "E <Not Error> bt_adapter_enable, ret = [0]"));
    EXPECT_EQ(m_tv.settings.Bool(kAdapterOff), true);
}

TEST_F(KeyCombination, TheSettingIsWrittenWhateverTheAdapterSays)
{
    m_tv.Fails("bt_adapter_disable", BT_ERROR_OPERATION_FAILED);
    m_tv.Fails("bt_adapter_enable", BT_ERROR_ALREADY_DONE);
    Arrives(g_variant_new("(i)", 51));
    EXPECT_EQ(m_tv.settings.Bool(kAdapterOff), false);
    Arrives(g_variant_new("(i)", 52));
    EXPECT_EQ(m_tv.settings.Bool(kAdapterOff), true);
    EXPECT_THAT(m_tv.tape.MessagesFrom("OnCombinationKeyRecived"),
                ElementsAre("I KeyCombination : 51", "E <Not Error> bt_adapter_disable, ret = [-29359868]",
                            "I KeyCombination : 52", "E <Not Error> bt_adapter_enable, ret = [-29359869]"));
}

TEST_F(KeyCombination, AnyOtherCodeIsNotForUs)
{
    for (const int code : {50, 53, 0, -51}) {
        m_tv.tape.Clear();
        Arrives(g_variant_new("(i)", code));
        EXPECT_THAT(m_tv.tape.Actions(), IsEmpty());
        EXPECT_THAT(m_tv.tape.Messages(true),
                    ElementsAre("I KEY_COMBINATION recieved", "I KeyCombination : " + std::to_string(code),
                                "I KEY_COMBINATION Signal NOT for VYREL"));
    }
}

TEST_F(KeyCombination, ABodyOfAnyOtherTypeCountsAsZero)
{
    const std::vector<GVariant*> bodies = {nullptr,
                                           g_variant_new("()"),
                                           g_variant_new("(s)", "51"),
                                           g_variant_new("(u)", 51U),
                                           g_variant_new("(ii)", 51, 51),
                                           g_variant_new("(x)", static_cast<gint64>(51)),
                                           g_variant_new("(v)", g_variant_new_int32(51)),
                                           g_variant_new("(ay)", nullptr)};
    for (GVariant* body : bodies) {
        m_tv.tape.Clear();
        Arrives(body);
        EXPECT_THAT(m_tv.tape.Actions(), IsEmpty());
        EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("I KEY_COMBINATION recieved", "I KeyCombination : 0",
                                                          "I KEY_COMBINATION Signal NOT for VYREL"));
    }
}

TEST_F(KeyCombination, OnlyItsOwnSignalOnItsOwnPathIsHeard)
{
    m_sender.Emits("/another/path", kRouterInterface, "KEY_COMBINATION", g_variant_new("(i)", 51));
    m_sender.Emits(kRouterPath, "another.Interface", "KEY_COMBINATION", g_variant_new("(i)", 51));
    m_sender.Emits(kRouterPath, kRouterInterface, "ANOTHER", g_variant_new("(i)", 51));
    Settle({&m_sender});
    EXPECT_THAT(m_tv.tape.All(), IsEmpty());
}

TEST_F(KeyCombination, ASignalOfAnotherNameIsLoggedAndIgnored)
{
    m_client->OnSiganl(nullptr, "ANOTHER", g_variant_ref_sink(g_variant_new("(i)", 51)));
    EXPECT_THAT(m_tv.tape.Actions(), IsEmpty());
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("I ANOTHER recieved"));
}

TEST_F(KeyCombination, ASignalWithoutANameIsAnErrorThatStaysInside)
{
    m_client->OnSiganl(nullptr, nullptr, nullptr);
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("E Exception : signal_name is nullptr"));
    EXPECT_THAT(m_tv.tape.Actions(), IsEmpty());
}

TEST_F(KeyCombination, ASignalForAClientThatIsGoneIsLoggedAndDropped)
{
    m_client.reset();
    Arrives(g_variant_new("(i)", 51));
    EXPECT_THAT(m_tv.tape.Actions(), IsEmpty());
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("E user_data is nullptr"));
}

TEST_F(KeyCombination, IsServedOnceForEachClientThatLives)
{
    const auto second = std::make_shared<CDbusClient>();
    second->AddSignalHandler();
    Settle();
    m_tv.tape.Clear();
    Arrives(g_variant_new("(i)", 50));
    EXPECT_THAT(m_tv.tape.MessagesFrom("OnSiganl"),
                ElementsAre("I KEY_COMBINATION recieved", "I KEY_COMBINATION recieved"));

    m_client.reset();
    m_tv.tape.Clear();
    Arrives(g_variant_new("(i)", 50));
    EXPECT_THAT(m_tv.tape.Messages(true),
                ElementsAre("E user_data is nullptr", "I KEY_COMBINATION recieved", "I KeyCombination : 50",
                            "I KEY_COMBINATION Signal NOT for VYREL"));
}

class EasyPairing : public Incoming
{
protected:
    void Arrives(GVariant* body, const char* interface = "any.Interface", const char* member = "Any")
    {
        m_sender.Emits(kPairingPath, interface, member, body);
        Settle({&m_sender});
    }

    /// Installs a handler that keeps what it is told, and subscribes.
    void Listens()
    {
        m_client->AddEasyPairingSignalHandler([this](int value) { m_values.push_back(value); });
        Settle();
        m_tv.tape.Clear();
    }

    std::vector<int> m_values;
};

TEST_F(EasyPairing, EverySignalOnThePathReachesTheHandler)
{
    Listens();
    Arrives(g_variant_new("(i)", -70));
    Arrives(g_variant_new("(i)", 3), "another.Interface", "Another");
    EXPECT_THAT(m_values, ElementsAre(-70, 3));
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("I signal callback called", "I signal callback called"));
}

TEST_F(EasyPairing, ASignalOnAnotherPathDoesNot)
{
    Listens();
    m_sender.Emits("/org/vantor/vyrel/lite/child", "any.Interface", "Any", g_variant_new("(i)", 1));
    Settle({&m_sender});
    EXPECT_THAT(m_values, IsEmpty());
}

TEST_F(EasyPairing, ABodyOfAnyOtherTypeCountsAsZero)
{
    Listens();
    Arrives(g_variant_new("(s)", "70"));
    Arrives(nullptr);
    EXPECT_THAT(m_values, ElementsAre(0, 0));
}

TEST_F(EasyPairing, EachCallSubscribesOnceMoreAndTheLastHandlerIsCalled)
{
    std::vector<int> first;
    m_client->AddEasyPairingSignalHandler([&](int value) { first.push_back(value); });
    Listens();
    Arrives(g_variant_new("(i)", 5));
    EXPECT_THAT(first, IsEmpty());
    EXPECT_THAT(m_values, ElementsAre(5, 5));
}

TEST_F(EasyPairing, WithoutAHandlerASignalIsLoggedAndDropped)
{
    m_client->AddEasyPairingSignalHandler({});
    Settle();
    Arrives(g_variant_new("(i)", 5));
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("I signal callback called", "E callback is nullptr"));
}

TEST_F(EasyPairing, WithoutParametersNothingIsRead)
{
    Listens();
    m_client->OnEasyPairingSiganl(nullptr, "Any", nullptr);
    EXPECT_THAT(m_values, IsEmpty());
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("E parameters is nullptr"));
}

TEST_F(EasyPairing, ASignalForAClientThatIsGoneIsLoggedAndDropped)
{
    Listens();
    m_client.reset();
    Arrives(g_variant_new("(i)", 5));
    EXPECT_THAT(m_values, IsEmpty());
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("E user_data is nullptr"));
}

TEST_F(EasyPairing, AnExceptionOfTheHandlerStaysInside)
{
    m_client->AddEasyPairingSignalHandler([](int) { throw std::runtime_error("not today"); });
    Settle();
    Arrives(g_variant_new("(i)", 5));
    EXPECT_THAT(m_tv.tape.Messages(true), ElementsAre("I signal callback called", "E Exception : not today"));
}

TEST_F(EasyPairing, IsNotListenedToUnlessAskedFor)
{
    m_client->Init();
    Settle();
    m_tv.tape.Clear();
    Arrives(g_variant_new("(i)", 5));
    EXPECT_THAT(m_tv.tape.All(), IsEmpty());
    m_client->Deinit();
}

} // namespace
