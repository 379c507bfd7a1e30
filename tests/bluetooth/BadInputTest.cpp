#include "Bluetooth/BluetoothEventHandler.h"
#include "Bluetooth/BluetoothEventSubscriber.h"
#include "bluetooth/BluetoothTest.h"
#include "sim/Devices.h"
#include "sim/Features.h"
#include "sim/Queue.h"
#include "sim/Slot.h"
#include "sim/Television.h"
#include "support/RealTime.h"
#include "support/Siblings.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_adapter.h>
#include <bt_device.h>

#include <chrono>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

class BadInput : public BluetoothTest
{
protected:
    void SetUp() override
    {
        tv.features.Has(kHandsFreeFeature, true);
        StartsAndSettles();
        Forget();
    }

    /// A later event is served as if nothing had been.
    void ExpectServiceGoesOn()
    {
        Forget();
        BondDestroyed(0, kPhone);
        EXPECT_THAT(Received(), ElementsAre("connectionmanager.BondDestroied (s) ('AA:00:00:00:00:02',)"));
    }

    /// What the connection manager is told for a device of this name.
    std::string ToldFor(const std::string& name)
    {
        Forget();
        AuthorizationRequested(0, kPhone, name.c_str(), 3);
        AuthenticationRequested(0, 0, name.c_str(), kPhone, "1");
        ConsentRequested(0, name.c_str(), kPhone);
        EXPECT_THAT(Received(), SizeIs(3));
        return Received().empty() ? "" : Received().back();
    }
};

} // namespace

TEST_F(BadInput, NamesThatAreNotUtf8AreMadeValid)
{
    EXPECT_THAT(ToldFor("Sp\xFF\xC3"), EndsWith("'Sp\xEF\xBF\xBD\xEF\xBF\xBD', 0)"));
    EXPECT_THAT(ToldFor("\xED\xA0\x80"), HasSubstr("\xEF\xBF\xBD"));
    ExpectServiceGoesOn();
}

TEST_F(BadInput, NamesOfFullLengthArePassedOnWhole)
{
    const std::string longest(248, 'n');
    EXPECT_THAT(ToldFor(longest), EndsWith("'" + longest + "', 0)"));
    // Cut in the middle of a character, as radios do.
    EXPECT_THAT(ToldFor(std::string(246, 'n') + "\xE2\x82"), EndsWith("\xEF\xBF\xBD', 0)"));
    ExpectServiceGoesOn();
}

TEST_F(BadInput, EmptyNamesArePassedOn)
{
    EXPECT_THAT(ToldFor(""), EndsWith("('AA:00:00:00:00:02', '', 0)"));
}

TEST_F(BadInput, ControlCharactersAndPercentSignsArePassedOn)
{
    EXPECT_THAT(ToldFor("a\x01\x1b[2Jb"), EndsWith("'a\\u0001\\u001b[2Jb', 0)"));
    EXPECT_THAT(ToldFor("%s%n%100000d"), EndsWith("'%s%n%100000d', 0)"));
    EXPECT_THAT(ToldFor("it's \"so\""), HasSubstr("it's"));
    ExpectServiceGoesOn();
}

TEST_F(BadInput, NamesReachTheCollectorValid)
{
    IsBonded({.address = kSpeaker, .name = "S\xFF%s", .majorClass = 4, .minorClass = 20, .connected = true});
    AudioReports(0, true, kSpeaker, 2);
    RssiAnswers(kSpeaker, -1);

    EXPECT_THAT(Events(), ElementsAre("25_wireless BT_DEV EV003 {type=0x02;name=S\xEF\xBF\xBD%s;ble=0;btrssi=-1;"
                                      "numdevices=1;dualaudio=0}"));
}

TEST_F(BadInput, AddressesOfAnyFormArePassedOn)
{
    for (const std::string address :
         {"", "x", "AA:00:00:00:00:0", "AA-00-00-00-00-01", "%s%n", "aa:00:00:00:00:01:02"}) {
        Forget();
        BondDestroyed(0, address.c_str());
        EXPECT_THAT(Received(), ElementsAre("connectionmanager.BondDestroied (s) ('" + address + "',)"));
    }
    Forget();
    BondDestroyed(0, "\xFF\xFE");
    EXPECT_THAT(Received(), ElementsAre("connectionmanager.BondDestroied (s) ('\xEF\xBF\xBD\xEF\xBF\xBD',)"));
}

TEST_F(BadInput, EveryEventTakesAnAddressThatIsNotUtf8)
{
    const char* address = "AA\xFF";
    IsBonded({.address = address});
    AudioReports(0, true, address, 2);
    HidReports(0, true, address);
    GattReports(0, true, address);
    LinkReports(false, address, 1);
    SlcReports(true, address);
    AvrcpControlReports(true, address);
    AvrcpTargetReports(true, address);
    InterimVolume(address, 1);
    AbsoluteVolume(address, 1);
    AuthorizationRequested(0, address, "n", 18);
    AuthenticationRequested(0, 0, "n", address, "\xFF");
    ConsentRequested(0, "n", address);
    MaxReached(0, address);
    RssiAnswers(address, -1);

    EXPECT_THAT(Received(), SizeIs(12));
    EXPECT_THAT(Events(), SizeIs(1)) << "the last connection of this address";
    ExpectServiceGoesOn();
}

TEST_F(BadInput, AddressesThatAreNotThereAreLoggedAndDropped)
{
    AudioReports(0, true, nullptr, 2);
    HidReports(0, true, nullptr);
    GattReports(0, true, nullptr);
    SlcReports(true, nullptr);
    AvrcpControlReports(true, nullptr);
    AvrcpTargetReports(true, nullptr);
    InterimVolume(nullptr, 1);
    AbsoluteVolume(nullptr, 1);
    BondDestroyed(0, nullptr);

    EXPECT_THAT(Logs(), SizeIs(9));
    EXPECT_THAT(Logs(), Each("E address is NULL"));
    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Steps(), IsEmpty());
}

TEST_F(BadInput, TheLogNamesTheFunctionOfADroppedEvent)
{
    AudioReports(0, true, nullptr, 2);
    HidReports(0, true, nullptr);
    GattReports(0, true, nullptr);
    BondDestroyed(0, nullptr);
    AuthorizationRequested(0, nullptr, "n", 1);
    AuthenticationRequested(0, 0, "n", nullptr, "1");
    ConsentRequested(0, "n", nullptr);
    SlcReports(true, nullptr);
    AvrcpControlReports(true, nullptr);
    AvrcpTargetReports(true, nullptr);
    InterimVolume(nullptr, 1);
    AbsoluteVolume(nullptr, 1);

    EXPECT_THAT(LoggingFunctions(),
                ElementsAre("OnAudioConnectionStateChanged", "OnHidConnectionStateChanged",
                            "OnGattConnectionStateChanged", "OnBondDestroyed", "OnAuthorizationRequest",
                            "OnAuthenticaionRequest", "OnSspConcentRequest", "operator()", "operator()", "operator()",
                            "operator()", "operator()"));
}

TEST_F(BadInput, LinkRecordsThatAreNotThereAreLoggedAndDropped)
{
    LinkReportsRecord(true, nullptr);
    bt_device_connection_info_s link = {nullptr, 0, 0};
    LinkReportsRecord(false, &link);

    EXPECT_THAT(Logs(), ElementsAre("I enter", "E connInfo is NULL", "I exit", "I enter", "E remote_Address is NULL",
                                    "I exit"));
}

TEST_F(BadInput, EventsThatLostTheirReceiverAreLoggedAndDropped)
{
    for (sim::SlotBase* slot : sim::SlotBase::All()) {
        slot->LosesUserData();
    }
    bt_device_info_s info = {Writable(kPhone), Writable("n"), {0, 0}, true, true};
    BondCreated(0, &info);
    BondDestroyed(0, kPhone);
    LinkReports(true, kPhone, 0);
    GattReports(0, true, kPhone);
    AudioReports(0, true, kPhone, 2);
    HidReports(0, true, kPhone);
    MaxReached(0, kPhone);
    AuthorizationRequested(0, kPhone, "n", 18);
    AuthenticationRequested(0, 0, "n", kPhone, "1");
    ConsentRequested(0, "n", kPhone);
    AvrcpControlReports(true, kPhone);
    AvrcpTargetReports(true, kPhone);
    InterimVolume(kPhone, 1);
    AbsoluteVolume(kPhone, 1);
    SlcReports(true, kPhone);
    AdapterReports(0, 0);

    EXPECT_THAT(Logs(), SizeIs(16));
    EXPECT_THAT(Logs(), Each("E userData is NULL"));
    EXPECT_THAT(LoggingFunctions(),
                ElementsAre("OnBondCreatead", "OnBondDestroyed", "OnDeviceConnectionStateChanged",
                            "OnGattConnectionStateChanged", "OnAudioConnectionStateChanged",
                            "OnHidConnectionStateChanged", "OnMaxConnectionReached", "OnAuthorizationRequest",
                            "OnAuthenticaionRequest", "OnSspConcentRequest", "operator()", "operator()", "operator()",
                            "operator()", "operator()", "ForwardAdapterState"));
    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Steps(), IsEmpty());
}

TEST_F(BadInput, ASignalStrengthThatLostItsReceiverIsLoggedAndDropped)
{
    IsBonded({.address = kPhone});
    GattReports(0, true, kPhone);
    Forget();
    tv.devices.onRssi.LosesUserData();
    RssiAnswers(kPhone, -1);

    EXPECT_THAT(Logs(), ElementsAre("E userData is NULL"));
    EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(BadInput, ASignalStrengthWithoutAnAddressIsLoggedAndDropped)
{
    IsBonded({.address = kPhone});
    GattReports(0, true, kPhone);
    Forget();
    tv.queue.Post([this] { tv.devices.onRssi.Tell(nullptr, 0xFF, -1); });
    Settles();

    EXPECT_THAT(Logs(), ElementsAre("E address is NULL"));
    EXPECT_THAT(Events(), IsEmpty());
}

TEST_F(BadInput, EventsAfterDeinitAreDropped)
{
    handler->Deinit();
    Forget();
    AudioReports(0, true, kSpeaker, 2);
    HidReports(0, true, kKeyboard);
    GattReports(0, true, kPhone);
    LinkReports(true, kPhone, 0);
    SlcReports(true, kPhone);
    AvrcpControlReports(true, kSpeaker);
    AvrcpTargetReports(true, kSpeaker);
    InterimVolume(kSpeaker, 1);
    AbsoluteVolume(kSpeaker, 1);
    BondDestroyed(0, kPhone);
    AuthorizationRequested(0, kPhone, "Phone", 18);
    AuthenticationRequested(0, 0, "Phone", kPhone, "1");
    ConsentRequested(0, "Phone", kPhone);
    AdapterReports(0, 0);
    AdapterReports(0, 1);

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Events(), IsEmpty());
    EXPECT_THAT(Steps(), IsEmpty());
    EXPECT_THAT(Logs(), SizeIs(4)) << "volume and players stay open";
    EXPECT_THAT(Logs(), Each("E userData is NULL"));
}

TEST_F(BadInput, OperationsAfterDeinitAreLoggedAndDropped)
{
    handler->Deinit();
    Forget();
    handler->onAdapterStateChange(0, BT_ADAPTER_DISABLED);
    handler->onAdapterStateChange(0, BT_ADAPTER_ENABLED);
    handler->handleConnectedDevice();
    handler->onAuthorizationRequest();

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Logs(), Contains("E no bus client, AdapterDisabled is dropped"));
    EXPECT_THAT(Logs(), Contains("E no remote handler, the loss is not recorded"));
}

TEST_F(BadInput, OperationsOfASubscriberWithoutAClientAreLoggedAndDropped)
{
    CBluetoothEventSubscriber subscriber;
    subscriber.HandleBondDestroyed(0, kPhone);
    subscriber.HandleAudioConnecionStateChanged(0, true, kPhone, 2);
    subscriber.HandleSspConcentRequest(0, "n", kPhone);
    subscriber.HandleAuthorizationRequest(0, kPhone, "n", 18);

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Logs(), Contains("E no bus client, BondDestroied is dropped"));
    EXPECT_THAT(Logs(), Contains("E connection manager is not working. reject"));
}

// --- Siblings that misbehave ---

TEST_F(BadInput, ASiblingThatIsNotThereCostsNothing)
{
    connectionManager.Vanishes();
    const auto start = support::RealTime::Now();
    BondDestroyed(0, kPhone);
    AudioReports(0, true, kSpeaker, 2);
    EXPECT_LT(support::RealTime::Now() - start, std::chrono::milliseconds(1000));
    EXPECT_THAT(Received(), ElementsAre(HasSubstr("connectionshift.UpdateConnectedDeviceList")));
}

TEST_F(BadInput, ASiblingThatAnswersWithAnErrorIsServedNextTime)
{
    connectionManager.AnswersWithError("BondDestroied", "org.freedesktop.DBus.Error.Failed", "%s%n");
    BondDestroyed(0, kPhone);
    ExpectServiceGoesOn();
}

TEST_F(BadInput, ASiblingThatAnswersWithAnyBodyIsServedNextTime)
{
    connectionManager.Answers("BondDestroied", g_variant_new_parsed("(%s, {'a': <5>}, 7)", "%s%n"));
    BondDestroyed(0, kPhone);
    connectionManager.Answers("BondDestroied", g_variant_new_parsed("([byte 0xff],)"));
    BondDestroyed(0, kPhone);
    ExpectServiceGoesOn();
}

TEST_F(BadInput, ASiblingThatVanishesBeforeItAnswersDoesNotBlock)
{
    connectionManager.VanishesOn("BondDestroied");
    const auto start = support::RealTime::Now();
    BondDestroyed(0, kPhone);
    EXPECT_LT(support::RealTime::Now() - start, std::chrono::milliseconds(2000));
    SlcReports(true, kPhone);

    EXPECT_THAT(Received(), Contains("hfpAgent.StartDaemon (s) ('AA:00:00:00:00:02',)"));
}

TEST_F(BadInput, AHandsFreeAgentThatHangsBlocksForOneSecond)
{
    handsFreeAgent.Stalls("StartDaemon");
    const auto start = support::RealTime::Now();
    SlcReports(true, kPhone);
    const auto blocked = support::RealTime::Now() - start;

    EXPECT_GE(blocked, std::chrono::milliseconds(950));
    EXPECT_LT(blocked, std::chrono::milliseconds(3000));
    ExpectServiceGoesOn();
}
