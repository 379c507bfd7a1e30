#include "bluetooth/BluetoothTest.h"
#include "support/RealTime.h"
#include "support/Siblings.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <initializer_list>
#include <string>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr int kAudioService = 18;
constexpr const char* kRejection = "E connection manager is not working. reject";

class PairingRequests : public BluetoothTest
{
protected:
    void SetUp() override
    {
        StartsAndSettles();
        Forget();
    }
};

} // namespace

TEST_F(PairingRequests, AnAuthorizationRequestIsPassedOnAndNotAnswered)
{
    AuthorizationRequested(7, kPhone, "Phone", 3);

    EXPECT_THAT(Received(),
                ElementsAre("connectionmanager.AuthorizationRequest (ssii) ('AA:00:00:00:00:02', 'Phone', 3, 7)"));
    EXPECT_THAT(Logs(), Contains("I enter: result[7], address[AA:00:00:00:00:02], name[Phone], serviceid[3]"));
    EXPECT_THAT(Calls("bt_device_reject_authorization"), IsEmpty());
}

TEST_F(PairingRequests, AudioWithoutASpeakerAsksForLifeFirst)
{
    AuthorizationRequested(0, kPhone, "Phone", kAudioService);

    EXPECT_THAT(Received(),
                ElementsAre("connectionmanager.Hello",
                            "connectionmanager.AuthorizationRequest (ssii) ('AA:00:00:00:00:02', 'Phone', 18, 0)"));
    EXPECT_THAT(Calls("bt_audio_get_connected_info"),
                ElementsAre(HasSubstr("bt_audio_get_connected_info(2"), HasSubstr("bt_audio_get_connected_info(16")));
    EXPECT_THAT(Calls("bt_device_reject_authorization"), IsEmpty());
}

TEST_F(PairingRequests, AudioWithASpeakerIsPassedOnDirectly)
{
    HasAudio(2, kSpeaker);
    AuthorizationRequested(0, kPhone, "Phone", kAudioService);

    EXPECT_THAT(Received(),
                ElementsAre("connectionmanager.AuthorizationRequest (ssii) ('AA:00:00:00:00:02', 'Phone', 18, 0)"));
}

TEST_F(PairingRequests, AudioWithAPhoneThatPlaysIsPassedOnDirectly)
{
    HasAudio(16, kPhone);
    AuthorizationRequested(0, kPhone, "Phone", kAudioService);

    EXPECT_THAT(Received(),
                ElementsAre("connectionmanager.AuthorizationRequest (ssii) ('AA:00:00:00:00:02', 'Phone', 18, 0)"));
}

TEST_F(PairingRequests, HandsFreeAloneIsNoSpeaker)
{
    HasAudio(1, kPhone);
    AuthorizationRequested(0, kPhone, "Phone", kAudioService);

    EXPECT_THAT(Received(), Contains("connectionmanager.Hello"));
}

TEST_F(PairingRequests, AudioIsRejectedWhenTheConnectionManagerIsNotThere)
{
    connectionManager.Vanishes();
    AuthorizationRequested(0, kPhone, "Phone", kAudioService);

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Calls("bt_device_reject_authorization"),
                ElementsAre(HasSubstr("bt_device_reject_authorization(\"AA:00:00:00:00:02\", 18)")));
    EXPECT_THAT(Logs(), Contains(kRejection));
    EXPECT_THAT(Logs(), Not(Contains(HasSubstr("method = AuthorizationRequest"))));
}

// The one place where these tests wait as long as the set would: the longest time-out there is.
TEST_F(PairingRequests, AudioIsRejectedWhenTheConnectionManagerDoesNotAnswerForFiveSeconds)
{
    connectionManager.Stalls("Hello");
    const auto start = support::RealTime::Now();
    AuthorizationRequested(0, kPhone, "Phone", kAudioService);
    const auto blocked = support::RealTime::Now() - start;

    EXPECT_GE(blocked, std::chrono::milliseconds(4900));
    EXPECT_LT(blocked, std::chrono::milliseconds(20000)) << "that is the 25 s which the bus library waits by itself";
    EXPECT_THAT(Received(), ElementsAre("connectionmanager.Hello"));
    EXPECT_THAT(Calls("bt_device_reject_authorization"), testing::SizeIs(1));
    EXPECT_THAT(Logs(), Contains(kRejection));

    Forget();
    AuthorizationRequested(0, kPhone, "Phone", 1);
    EXPECT_THAT(Received(), ElementsAre(HasSubstr("connectionmanager.AuthorizationRequest")))
        << "later events are served";
}

TEST_F(PairingRequests, AudioIsRejectedWhenTheConnectionManagerVanishesBeforeItAnswers)
{
    connectionManager.VanishesOn("Hello");
    AuthorizationRequested(0, kPhone, "Phone", kAudioService);

    EXPECT_THAT(Calls("bt_device_reject_authorization"), testing::SizeIs(1));
    EXPECT_THAT(Logs(), Contains(kRejection));
}

TEST_F(PairingRequests, AnErrorFromTheConnectionManagerItselfIsASignOfLife)
{
    connectionManager.AnswersWithError("Hello", "org.freedesktop.DBus.Error.Failed", "%s%n");
    AuthorizationRequested(0, kPhone, "Phone", kAudioService);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.Hello", HasSubstr("AuthorizationRequest")));
    EXPECT_THAT(Calls("bt_device_reject_authorization"), IsEmpty());
}

TEST_F(PairingRequests, AnyBodyFromTheConnectionManagerIsASignOfLife)
{
    connectionManager.Answers("Hello", g_variant_new_parsed("(%s, 5)", "%s%n"));
    AuthorizationRequested(0, kPhone, "Phone", kAudioService);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.Hello", HasSubstr("AuthorizationRequest")));
    EXPECT_THAT(Calls("bt_device_reject_authorization"), IsEmpty());
}

TEST_F(PairingRequests, AnyOtherServiceIsNeverRejected)
{
    connectionManager.Vanishes();
    for (const int service : {0, 17, 19, -1, 1 << 30}) {
        AuthorizationRequested(0, kPhone, "Phone", service);
    }

    EXPECT_THAT(Calls("bt_device_reject_authorization"), IsEmpty());
    EXPECT_THAT(Logs(), Not(Contains(HasSubstr("method = Hello"))));
}

TEST_F(PairingRequests, AnAuthenticationRequestIsPassedOn)
{
    AuthenticationRequested(5, 2, "Phone", kPhone, "123456");

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.AuthenticaionRequest (sssii) "
                                        "('AA:00:00:00:00:02', 'Phone', '123456', 2, 5)"));
}

TEST_F(PairingRequests, AMissingPassKeyIsAnEmptyOne)
{
    AuthenticationRequested(0, 0, "Phone", kPhone, nullptr);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.AuthenticaionRequest (sssii) "
                                        "('AA:00:00:00:00:02', 'Phone', '', 0, 0)"));
}

TEST_F(PairingRequests, AConsentRequestIsPassedOnWithTheAddressFirst)
{
    ConsentRequested(3, "Phone", kPhone);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.SspConcentRequest (ssi) ('AA:00:00:00:00:02', 'Phone', 3)"));
}

TEST_F(PairingRequests, OnlyAuthorizationLooksAtTheBus)
{
    connectionManager.Vanishes();
    AuthenticationRequested(0, 2, "Phone", kPhone, "123456");
    ConsentRequested(0, "Phone", kPhone);

    EXPECT_THAT(Calls("bt_device_"), IsEmpty());
    EXPECT_THAT(Logs(), Not(Contains(kRejection)));
}

TEST_F(PairingRequests, ARequestThatLacksSomethingIsDroppedWithoutAnAnswer)
{
    AuthorizationRequested(0, nullptr, "Phone", kAudioService);
    AuthorizationRequested(0, kPhone, nullptr, kAudioService);
    AuthenticationRequested(0, 0, "Phone", nullptr, "1");
    AuthenticationRequested(0, 0, nullptr, kPhone, "1");
    ConsentRequested(0, "Phone", nullptr);
    ConsentRequested(0, nullptr, kPhone);

    EXPECT_THAT(Logs(), ElementsAre("E address is NULL", "E name is NULL", "E address is NULL", "E name is NULL",
                                    "E address is NULL", "E deviceName is NULL"));
    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Steps(), IsEmpty());
}
