#include "bus/Handles.h"
#include "bus/Remote.h"
#include "bus/SystemBus.h"
#include "linux/BluezTest.h"
#include "linux/FakeBluez.h"
#include "linux/PlatformLog.h"
#include "sim/VirtualClock.h"
#include "support/MainLoop.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bluez_dbus.h>
#include <bt_adapter.h>
#include <bt_device.h>
#include <bt_error.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace linux_test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kRejected = "org.bluez.Error.Rejected";
constexpr const char* kAudioUuid = "0000110D-0000-1000-8000-00805F9B34FB";

/// A phone that is known, and a person's program that sees what is asked and may answer.
class PairingTest : public BluezTest
{
protected:
    void SetUp() override
    {
        Starts();
        phone = daemon.AddDevice(kPhone, [](BluezDevice1* device) { bluez_device1_set_name(device, "Phone"); });
        Settles();
        ui.reset(g_dbus_connection_new_for_address_sync(
            bus.Address().c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr));
        ASSERT_NE(ui, nullptr);
        m_signals = g_dbus_connection_signal_subscribe(
            ui.get(), nullptr, "org.vantor.platform.Pairing1", nullptr, "/org/vantor/platform", nullptr,
            G_DBUS_SIGNAL_FLAGS_NONE,
            [](GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar* signal, GVariant* arguments,
               gpointer self) {
                const bus::TextPtr text(g_variant_print(arguments, FALSE));
                static_cast<PairingTest*>(self)->seen.push_back(std::string(signal) + " " + text.get());
            },
            this, nullptr);
        // The bus has the subscription when it has answered.
        ASSERT_EQ(Answers("ListPending", nullptr), "([],)");
    }

    void TearDown() override
    {
        if (ui) {
            g_dbus_connection_signal_unsubscribe(ui.get(), m_signals);
        }
    }

    int Asks(const std::string& method, GVariant* arguments)
    {
        return daemon.Asks(method, arguments);
    }
    GVariant* Phone() const
    {
        return g_variant_new("(o)", phone.c_str());
    }

    /// Calls Pairing1 as another program. \return the reply in words, or the error's name
    std::string Answers(const char* method, GVariant* arguments)
    {
        std::string outcome;
        g_dbus_connection_call(ui.get(), bus::kOwnName, "/org/vantor/platform", "org.vantor.platform.Pairing1", method,
                               arguments, nullptr, G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, bus::OnDone,
                               bus::Done([&](GObject* connection, GAsyncResult* result) {
                                   GError* failure = nullptr;
                                   const bus::VariantPtr reply(
                                       g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &failure));
                                   const bus::ErrorPtr error(failure);
                                   const bus::TextPtr text(reply ? g_variant_print(reply.get(), FALSE)
                                                                 : g_dbus_error_get_remote_error(error.get()));
                                   outcome = text ? text.get() : error->message;
                               }));
        EXPECT_TRUE(support::IterateUntil([&] { return !outcome.empty(); }));
        return outcome;
    }

    bool Ended(int call, const std::string& outcome)
    {
        return support::IterateUntil([&] { return daemon.Outcome(call) == outcome; });
    }

    bool Seen(const std::string& what)
    {
        return support::IterateUntil([&] { return std::ranges::find(seen, what) != seen.end(); });
    }

    std::string phone;
    std::vector<std::string> seen; ///< the signals
    bus::ObjectPtr<GDBusConnection> ui;

private:
    guint m_signals = 0;
};

TEST_F(PairingTest, APasskeyIsConfirmed)
{
    const int call = Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 42U));
    ASSERT_TRUE(Told(std::string("authentication 2 Phone ") + kPhone + " 000042"));
    EXPECT_TRUE(Seen(std::string("Request (1, 'authentication', '") + kPhone + "', 'Phone', 2, '000042', '')"));
    EXPECT_EQ(daemon.Outcome(call), "pending");

    EXPECT_EQ(Answers("AnswerAuthentication", g_variant_new("(sbs)", "aa:bb:cc:dd:ee:01", TRUE, "")), "()");

    EXPECT_TRUE(Ended(call, "ok"));
    EXPECT_TRUE(Seen("Done (1, 'accepted')"));
}

TEST_F(PairingTest, APasskeyIsRefused)
{
    const int call = Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 999999U));
    ASSERT_TRUE(Told(std::string("authentication 2 Phone ") + kPhone + " 999999"));

    EXPECT_EQ(Answers("AnswerAuthentication", g_variant_new("(sbs)", kPhone, FALSE, "")), "()");

    EXPECT_TRUE(Ended(call, kRejected));
    EXPECT_TRUE(Seen("Done (1, 'rejected')"));
}

TEST_F(PairingTest, APinIsEnteredAndHasOneTo16Characters)
{
    const int call = Asks("RequestPinCode", Phone());
    ASSERT_TRUE(Told(std::string("authentication 0 Phone ") + kPhone + " "));

    const auto answer = [&](const char* pin) {
        return Answers("AnswerAuthentication", g_variant_new("(sbs)", kPhone, TRUE, pin));
    };
    EXPECT_EQ(answer(""), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(answer("12345678901234567"), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(daemon.Outcome(call), "pending");
    EXPECT_EQ(answer("1234567890123456"), "()");

    EXPECT_TRUE(Ended(call, "ok '1234567890123456'"));
}

TEST_F(PairingTest, APasskeyIsEnteredAndIsANumberOfSixDigitsAtMost)
{
    const int call = Asks("RequestPasskey", Phone());
    ASSERT_TRUE(Told(std::string("authentication 3 Phone ") + kPhone + " "));

    const auto answer = [&](const char* passkey) {
        return Answers("AnswerAuthentication", g_variant_new("(sbs)", kPhone, TRUE, passkey));
    };
    for (const char* wrong : {"", "1000000", "12a", " 12", "-1"}) {
        EXPECT_EQ(answer(wrong), "org.freedesktop.DBus.Error.InvalidArgs") << wrong;
    }
    EXPECT_EQ(answer("999999"), "()");

    EXPECT_TRUE(Ended(call, "ok 999999"));
}

TEST_F(PairingTest, WhatIsOnlyShownIsAnsweredAtOnceAndShownUntilThePairingEnds)
{
    EXPECT_TRUE(Ended(Asks("DisplayPasskey", g_variant_new("(ouq)", phone.c_str(), 7U, 0)), "ok"));
    ASSERT_TRUE(Told(std::string("authentication 4 Phone ") + kPhone + " 000007"));
    EXPECT_TRUE(Ended(Asks("DisplayPasskey", g_variant_new("(ouq)", phone.c_str(), 7U, 3)), "ok"));
    EXPECT_TRUE(Ended(Asks("DisplayPinCode", g_variant_new("(os)", phone.c_str(), "0815")), "ok"));
    ASSERT_TRUE(Told(std::string("authentication 1 Phone ") + kPhone + " 0815"));
    EXPECT_THAT(record, ::testing::SizeIs(2));

    daemon.SetDevice(phone, [](BluezDevice1* device) { bluez_device1_set_paired(device, TRUE); });

    EXPECT_TRUE(Seen("Done (1, 'accepted')"));
    EXPECT_TRUE(Seen("Done (2, 'accepted')"));
}

TEST_F(PairingTest, AConsentIsGivenAlsoToADeviceThatIsBondedAlready)
{
    daemon.SetDevice(phone, [](BluezDevice1* device) {
        bluez_device1_set_paired(device, TRUE);
        bluez_device1_set_bonded(device, TRUE);
    });
    const int call = Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(Told(std::string("consent Phone ") + kPhone));

    EXPECT_EQ(Answers("AnswerConsent", g_variant_new("(sb)", kPhone, TRUE)), "()");

    EXPECT_TRUE(Ended(call, "ok"));
}

TEST_F(PairingTest, AConsentIsRefused)
{
    const int call = Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(Told(std::string("consent Phone ") + kPhone));

    EXPECT_EQ(Answers("AnswerConsent", g_variant_new("(sb)", kPhone, FALSE)), "()");

    EXPECT_TRUE(Ended(call, kRejected));
}

TEST_F(PairingTest, AServiceIsAllowedAndItsDeviceTrusted)
{
    const int call = Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), kAudioUuid));
    ASSERT_TRUE(Told(std::string("service ") + kPhone + " Phone 18"));
    EXPECT_TRUE(Seen(std::string("Request (1, 'service', '") + kPhone +
                     "', 'Phone', 18, '', '0000110d-0000-1000-8000-00805f9b34fb')"));

    EXPECT_EQ(Answers("AnswerService", g_variant_new("(sibb)", kPhone, 5, TRUE, TRUE)),
              "org.vantor.platform.Error.NotPending");
    EXPECT_EQ(Answers("AnswerService", g_variant_new("(sibb)", kPhone, 18, TRUE, TRUE)), "()");

    EXPECT_TRUE(Ended(call, "ok"));
    EXPECT_TRUE(WaitForCall("Set Trusted true"));
}

TEST_F(PairingTest, EachKindOfServiceHasItsNumber)
{
    const std::vector<std::pair<std::string, int>> services = {{"110a", 18}, {"110b", 18}, {"110c", 18}, {"110e", 18},
                                                               {"111e", 7},  {"111f", 7},  {"1108", 7},  {"1112", 7},
                                                               {"1124", 5},  {"1105", 0}};
    for (const auto& [uuid, service] : services) {
        record.clear();
        const std::string whole = "0000" + uuid + "-0000-1000-8000-00805f9b34fb";
        const int call = Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), whole.c_str()));
        ASSERT_TRUE(Told(std::string("service ") + kPhone + " Phone " + std::to_string(service))) << uuid;
        EXPECT_EQ(bt_device_reject_authorization(kPhone, service), BT_ERROR_NONE);
        EXPECT_TRUE(Ended(call, kRejected));
    }
}

TEST_F(PairingTest, TheServiceRejectsFromWithinItsCallback)
{
    rejectsServices = true;

    const int call = Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), kAudioUuid));

    EXPECT_TRUE(Ended(call, kRejected));
    EXPECT_THAT(record, ElementsAre(std::string("service ") + kPhone + " Phone 18", "rejected 0"));
}

TEST_F(PairingTest, NothingPendingCannotBeRejected)
{
    EXPECT_EQ(bt_device_reject_authorization(kPhone, 18), BT_ERROR_NOT_IN_PROGRESS);
    EXPECT_EQ(bt_device_reject_authorization("", 18), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_device_reject_authorization(nullptr, 18), BT_ERROR_INVALID_PARAMETER);
}

TEST_F(PairingTest, NobodyThereToBeAskedIsANoAtOnce)
{
    EXPECT_EQ(bt_adapter_unset_authentication_req_cb(), BT_ERROR_NONE);
    EXPECT_EQ(bt_adapter_unset_ssp_consent_request_cb(), BT_ERROR_NONE);
    EXPECT_EQ(bt_device_unset_auth_event_cb(), BT_ERROR_NONE);

    EXPECT_TRUE(Ended(Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 1U)), kRejected));
    EXPECT_TRUE(Ended(Asks("RequestAuthorization", Phone()), kRejected));
    EXPECT_TRUE(Ended(Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), kAudioUuid)), kRejected));
    EXPECT_TRUE(Ended(Asks("DisplayPinCode", g_variant_new("(os)", phone.c_str(), "1")), kRejected));
    EXPECT_THAT(seen, IsEmpty());
}

TEST_F(PairingTest, WhatWaitsIsRefusedWhenItsReceiverGoes)
{
    const int call = Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(Told(std::string("consent Phone ") + kPhone));

    EXPECT_EQ(bt_adapter_unset_ssp_consent_request_cb(), BT_ERROR_NONE);

    EXPECT_TRUE(Ended(call, kRejected));
}

TEST_F(PairingTest, ADeviceThatDoesNotExistIsRefused)
{
    const int call = Asks("RequestAuthorization", g_variant_new("(o)", "/org/bluez/hci0/dev_00_00_00_00_00_00"));

    EXPECT_TRUE(Ended(call, kRejected));
    EXPECT_THAT(record, IsEmpty());
}

TEST_F(PairingTest, TheDaemonsCancelEndsWhatWaits)
{
    const int call = Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 1U));
    ASSERT_TRUE(Told(std::string("authentication 2 Phone ") + kPhone + " 000001"));

    EXPECT_TRUE(Ended(Asks("Cancel", nullptr), "ok"));

    EXPECT_TRUE(Ended(call, "org.bluez.Error.Canceled"));
    EXPECT_TRUE(Seen("Done (1, 'cancelled')"));
}

TEST_F(PairingTest, ADaemonThatDiesEndsWhatWaits)
{
    Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 1U));
    ASSERT_TRUE(Told(std::string("authentication 2 Phone ") + kPhone + " 000001"));

    daemon.Dies();

    EXPECT_TRUE(Seen("Done (1, 'cancelled')"));
    EXPECT_EQ(Answers("AnswerAuthentication", g_variant_new("(sbs)", kPhone, TRUE, "")),
              "org.vantor.platform.Error.NotPending");
}

TEST_F(PairingTest, WhatWaitsIsListedTheOldestFirst)
{
    Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), kAudioUuid));
    ASSERT_TRUE(Told(std::string("service ") + kPhone + " Phone 18"));
    Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(Told(std::string("consent Phone ") + kPhone));

    const std::string list = Answers("ListPending", nullptr);

    EXPECT_THAT(list, HasSubstr(std::string("([(1, 'service', '") + kPhone + "', 'Phone', 18, '', '0000110d"));
    EXPECT_THAT(list, HasSubstr(std::string("(2, 'consent', '") + kPhone + "', 'Phone', 0, '', '', 24"));
}

TEST_F(PairingTest, StrangersAndNonsenseChangeNothing)
{
    const int call = Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(Told(std::string("consent Phone ") + kPhone));

    constexpr const char* kNotPending = "org.vantor.platform.Error.NotPending";
    constexpr const char* kInvalid = "org.freedesktop.DBus.Error.InvalidArgs";
    EXPECT_EQ(Answers("AnswerConsent", g_variant_new("(sb)", kSpeaker, TRUE)), kNotPending);
    EXPECT_EQ(Answers("AnswerConsent", g_variant_new("(sb)", "", TRUE)), kNotPending);
    EXPECT_EQ(Answers("AnswerConsent", g_variant_new("(sb)", "no address", TRUE)), kNotPending);
    EXPECT_EQ(Answers("AnswerAuthentication", g_variant_new("(sbs)", kPhone, TRUE, "1")), kNotPending);
    EXPECT_EQ(Answers("AnswerConsent", g_variant_new("(ss)", kPhone, "yes")), kInvalid);
    EXPECT_EQ(Answers("AnswerConsent", nullptr), kInvalid);
    EXPECT_EQ(Answers("AnswerService", g_variant_new("(s)", kPhone)), kInvalid);
    EXPECT_EQ(Answers("AnswerEverything", nullptr), "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(daemon.Outcome(call), "pending");

    // The agent serves the daemon only.
    const std::string agent = daemon.AgentPath();
    std::string outcome;
    g_dbus_connection_call(
        ui.get(), bus::kOwnName, agent.c_str(), "org.bluez.Agent1", "Cancel", nullptr, nullptr, G_DBUS_CALL_FLAGS_NONE,
        -1, nullptr, bus::OnDone, bus::Done([&](GObject* connection, GAsyncResult* result) {
            GError* failure = nullptr;
            const bus::VariantPtr reply(g_dbus_connection_call_finish(G_DBUS_CONNECTION(connection), result, &failure));
            const bus::ErrorPtr error(failure);
            outcome = error ? error->message : "let in";
        }));
    EXPECT_TRUE(support::IterateUntil([&] { return !outcome.empty(); }));
    EXPECT_THAT(outcome, HasSubstr("AccessDenied"));
    EXPECT_EQ(daemon.Outcome(call), "pending");
}

TEST_F(PairingTest, AfterTheDaemonWasStartedAnewItsQuestionsAreAnswered)
{
    daemon.Dies();
    ASSERT_TRUE(Told("state 0 0"));
    daemon.ForgetCalls();
    daemon.AddAdapter(true);
    phone = daemon.AddDevice(kPhone, [](BluezDevice1* device) { bluez_device1_set_name(device, "Phone"); });
    daemon.Starts();
    ASSERT_TRUE(WaitForCall("RequestDefaultAgent /org/vantor/platform/agent"));
    ASSERT_TRUE(Told("state 0 1"));

    const int call = Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(Told(std::string("consent Phone ") + kPhone));
    EXPECT_EQ(Answers("AnswerConsent", g_variant_new("(sb)", kPhone, TRUE)), "()");

    EXPECT_TRUE(Ended(call, "ok"));
}

TEST_F(PairingTest, AnAgentThatIsKnownAlreadyIsMadeTheDefaultAllTheSame)
{
    daemon.Dies();
    ASSERT_TRUE(Told("state 0 0"));
    daemon.ForgetCalls();
    daemon.AnswersWithError("RegisterAgent", "org.bluez.Error.AlreadyExists");

    daemon.Starts();

    EXPECT_TRUE(WaitForCall("RequestDefaultAgent /org/vantor/platform/agent"));
    EXPECT_EQ(LogLinesWith("cannot become"), 0);
}

TEST_F(PairingTest, AnAgentThatIsRefusedIsLogged)
{
    daemon.Dies();
    ASSERT_TRUE(Told("state 0 0"));
    daemon.AnswersWithError("RegisterAgent", "org.bluez.Error.Failed");

    daemon.Starts();

    EXPECT_TRUE(support::IterateUntil([] { return LogLinesWith("cannot become the pairing agent") == 1; }));
}

TEST_F(PairingTest, UnansweredFor25SecondsIsANo)
{
    sim::VirtualClock clock;
    const int call = Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(Told(std::string("consent Phone ") + kPhone));

    clock.Advance(std::chrono::milliseconds(24900));
    support::DrainMainLoop();
    EXPECT_EQ(daemon.Outcome(call), "pending");
    clock.Advance(std::chrono::milliseconds(200));

    EXPECT_TRUE(Ended(call, kRejected));
    EXPECT_TRUE(Seen("Done (1, 'timeout')"));
}

} // namespace
} // namespace linux_test
