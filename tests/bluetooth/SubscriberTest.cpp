#include "Bluetooth/BluetoothEventSubscriber.h"
#include "Bluetooth/IBluetoothEventSubscriber.h"
#include "bluetooth/BluetoothTest.h"
#include "sim/Features.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_audio.h>
#include <bt_device.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

/// A subscriber of its own, with callbacks that write down what they are told.
class Subscriber : public BluetoothTest
{
protected:
    void Listens()
    {
        subscriber->setAuthorizationCallback([this] { told.emplace_back("authorization"); });
        subscriber->setAclConnectionStateChangedCallback([this](bool connected, bt_device_connection_info_s* info) {
            told.push_back(std::string("acl ") + (connected ? "up " : "down ") + info->remote_address + " " +
                           std::to_string(info->disconnect_reason));
        });
        subscriber->setAudioConnectedCallback([this](const std::string& address, bt_audio_profile_type_e type) {
            told.push_back("audio " + address + " " + std::to_string(type));
        });
        subscriber->setHidConnetedCallback([this](const std::string& address) { told.push_back("hid " + address); });
        subscriber->setGattConnectedCallback([this](const std::string& address) { told.push_back("gatt " + address); });
        subscriber->init(dbus);
        Forget();
    }

    void ListensWithoutCallbacks()
    {
        subscriber->init(dbus);
        Forget();
    }

    std::unique_ptr<CBluetoothEventSubscriber> subscriber = std::make_unique<CBluetoothEventSubscriber>();
    std::vector<std::string> told;
};

} // namespace

TEST_F(Subscriber, RegistersInOrderBetweenItsLogLines)
{
    tv.features.Has(kHandsFreeFeature, true);
    tv.tape.Clear();
    subscriber->init(dbus);

    EXPECT_THAT(StepsAndLogs(),
                ElementsAre("bt_audio_initialize", "I Register connection request callbacks",
                            "bt_adapter_set_authentication_req_cb", "bt_adapter_set_ssp_consent_request_cb",
                            "bt_device_set_auth_event_cb", "I Register connection state changed callbacks",
                            "bt_device_set_bond_created_cb", "bt_device_set_bond_destroyed_cb",
                            "bt_device_set_connection_state_changed_cb", "bt_gatt_set_connection_state_changed_cb",
                            "bt_audio_set_connection_state_changed_cb", "bt_hid_host_initialize",
                            "I Register avrcp callbacks", "bt_avrcp_control_initialize", "bt_avrcp_target_initialize",
                            "bt_avrcp_set_interim_volume_notify_cb", "bt_avrcp_set_absolute_volume_changed_cb",
                            "I Register other connection callbackes", "bt_adapter_set_max_device_connected_cb",
                            "bt_audio_set_slc_state_changed_cb"));
}

TEST_F(Subscriber, WithoutHandsFreeNoServiceLevelCallbackIsSetOrUnset)
{
    tv.features.Has(kHandsFreeFeature, false);
    subscriber->init(dbus);
    subscriber->deinit();

    EXPECT_THAT(Calls("bt_audio_set_slc_state_changed_cb"), IsEmpty());
    EXPECT_THAT(Calls("bt_audio_unset_slc_state_changed_cb"), IsEmpty());
}

TEST_F(Subscriber, AProductThatDoesNotSayHasNoHandsFree)
{
    subscriber->init(dbus);

    EXPECT_THAT(Calls("bt_audio_set_slc_state_changed_cb"), IsEmpty());
}

TEST_F(Subscriber, RegistrationsThatFailAreNotLookedAt)
{
    tv.Fails("bt_audio_initialize", kFailed);
    tv.Fails("bt_adapter_set_authentication_req_cb", kFailed);
    tv.Fails("bt_hid_host_initialize", kFailed);
    tv.Fails("bt_avrcp_control_initialize", kFailed);
    subscriber->init(dbus);

    EXPECT_THAT(Steps(), Contains("bt_adapter_set_max_device_connected_cb"));
    EXPECT_THAT(Logs(), Not(Contains(HasSubstr("fail"))));
}

TEST_F(Subscriber, UnregistersInOrderBetweenItsLogLines)
{
    tv.features.Has(kHandsFreeFeature, true);
    subscriber->init(dbus);
    tv.tape.Clear();
    subscriber->deinit();

    EXPECT_THAT(StepsAndLogs(),
                ElementsAre("I Unregister connection request callbacks", "bt_adapter_unset_authentication_req_cb",
                            "bt_adapter_unset_ssp_consent_request_cb", "bt_device_unset_auth_event_cb",
                            "bt_adapter_unset_max_device_connected_cb",
                            "I Unregister connection state changed callbacks", "bt_device_unset_bond_created_cb",
                            "bt_device_unset_bond_destroyed_cb", "bt_device_unset_connection_state_changed_cb",
                            "bt_hid_host_deinitialize", "bt_gatt_unset_connection_state_changed_cb",
                            "bt_adapter_unset_max_device_connected_cb", "bt_audio_unset_slc_state_changed_cb",
                            "bt_audio_unset_connection_state_changed_cb", "bt_audio_deinitialize"));
}

TEST_F(Subscriber, WithoutCallbacksDeinitOnlyUnregisters)
{
    subscriber->deinit();

    EXPECT_THAT(Calls("bt_audio_deinitialize"), testing::SizeIs(1));
}

TEST_F(Subscriber, EmptiesItsCallbacksBeforeItUnregisters)
{
    Listens();
    subscriber->deinit();
    // What would be told from outside is told here directly, because the stack drops it from now on.
    bt_device_connection_info_s link = {Writable(kSpeaker), 0, 0};
    subscriber->HandleDeviceConnectionStateChanged(true, &link);
    subscriber->HandleGattConnectionStateChanged(true, kSpeaker);
    subscriber->HandleHidConnectionStateChanged(0, true, kSpeaker);
    subscriber->HandleAudioConnecionStateChanged(0, true, kSpeaker, 2);
    subscriber->HandleAuthorizationRequest(0, kSpeaker, "Speaker", 1);

    EXPECT_THAT(told, IsEmpty());
    EXPECT_THAT(Logs(), Contains("E m_aclConnectionCallback is nullptr"));
}

TEST_F(Subscriber, ItsEndGivesTheBusClientBack)
{
    Listens();
    EXPECT_EQ(dbus.use_count(), 2);
    subscriber->deinit();
    subscriber.reset();
    EXPECT_EQ(dbus.use_count(), 1);
}

TEST_F(Subscriber, IsUsedThroughItsInterface)
{
    std::unique_ptr<IBluetoothEventSubscriber> listener = std::move(subscriber);
    listener->setGattConnectedCallback([this](const std::string& address) { told.push_back(address); });
    listener->init(dbus);
    GattReports(0, true, kSpeaker);
    listener->deinit();
    listener.reset();

    EXPECT_THAT(told, ElementsAre(kSpeaker));
    EXPECT_EQ(dbus.use_count(), 1);
}

// --- Service level connection ---

TEST_F(Subscriber, AServiceLevelConnectionStartsTheHandsFreeAgent)
{
    tv.features.Has(kHandsFreeFeature, true);
    Listens();
    SlcReports(true, kPhone);

    EXPECT_THAT(Received(), ElementsAre("hfpAgent.StartDaemon (s) ('AA:00:00:00:00:02',)"));
    EXPECT_THAT(Logs(), Contains("I send signal to launch hfp agent"));
}

TEST_F(Subscriber, TheEndOfAServiceLevelConnectionDoesNothing)
{
    tv.features.Has(kHandsFreeFeature, true);
    Listens();
    SlcReports(false, kPhone);

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Logs(), Not(Contains("I send signal to launch hfp agent")));
}

// --- Volume and players ---

TEST_F(Subscriber, AVolumeThatADeviceStatesIsPassedOn)
{
    Listens();
    InterimVolume(kSpeaker, 64);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.AvrcpInterimReceived (si) ('AA:00:00:00:00:01', 64)"));
}

TEST_F(Subscriber, AVolumeThatADeviceChangesIsPassedOnAlike)
{
    Listens();
    AbsoluteVolume(kSpeaker, 127);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.AvrcpInterimReceived (si) ('AA:00:00:00:00:01', 127)"));
}

TEST_F(Subscriber, AVolumeIsSixteenBitsWide)
{
    Listens();
    AbsoluteVolume(kSpeaker, 65535);
    AbsoluteVolume(kSpeaker, 65536 + 5);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.AvrcpInterimReceived (si) ('AA:00:00:00:00:01', 65535)",
                                        "connectionmanager.AvrcpInterimReceived (si) ('AA:00:00:00:00:01', 5)"));
}

TEST_F(Subscriber, TargetConnectionsArePassedOn)
{
    Listens();
    AvrcpTargetReports(true, kSpeaker);
    AvrcpTargetReports(false, kSpeaker);

    EXPECT_THAT(Received(),
                ElementsAre("connectionmanager.AvrcpTgConnectionChanged (bs) (true, 'AA:00:00:00:00:01')",
                            "connectionmanager.AvrcpTgConnectionChanged (bs) (false, 'AA:00:00:00:00:01')"));
}

TEST_F(Subscriber, ControllerConnectionsArePassedOn)
{
    Listens();
    AvrcpControlReports(true, kSpeaker);
    AvrcpControlReports(false, kSpeaker);

    EXPECT_THAT(Received(),
                ElementsAre("connectionmanager.AvrcpCtConnectionChanged (bs) (true, 'AA:00:00:00:00:01')",
                            "connectionmanager.AvrcpCtConnectionChanged (bs) (false, 'AA:00:00:00:00:01')"));
}

// --- Input devices ---

TEST_F(Subscriber, AKeyboardThatConnectsIsToldFirstHereAndThenToTheConnectionManager)
{
    IsBonded({.address = kKeyboard, .name = "Keys", .vendor = 0x1234, .product = 0x5678});
    Listens();
    HidReports(0, true, kKeyboard);

    EXPECT_THAT(told, ElementsAre("hid AA:00:00:00:00:05"));
    EXPECT_THAT(Received(), ElementsAre("connectionmanager.HidConStateChanged (sii) ('AA:00:00:00:00:05', 0, 1)"));
    EXPECT_THAT(Logs(), Contains("I hid connetion state changed address : AA:00:00:00:00:05 connected : 1"));
}

TEST_F(Subscriber, AKeyboardsResultIsPassedOnAndNotLookedAt)
{
    IsBonded({.address = kKeyboard, .name = "Keys"});
    Listens();
    HidReports(kFailed, true, kKeyboard);

    EXPECT_THAT(told, ElementsAre("hid AA:00:00:00:00:05"));
    EXPECT_THAT(Received(),
                ElementsAre("connectionmanager.HidConStateChanged (sii) ('AA:00:00:00:00:05', -29359868, 1)"));
}

TEST_F(Subscriber, AKeyboardThatGoesIsOnlyLogged)
{
    IsBonded({.address = kKeyboard, .name = "Keys"});
    Listens();
    HidReports(0, false, kKeyboard);

    EXPECT_THAT(told, IsEmpty());
    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre("I hid connetion state changed address : AA:00:00:00:00:05 connected : 0"));
}

TEST_F(Subscriber, TheSetsOwnRemotesAreToldHereAndToNobodyElse)
{
    IsBonded({.address = kRemote, .name = "Remote", .vendor = 0x04E8, .product = 0x2075});
    IsBonded({.address = kWheel, .name = "Wheel", .vendor = 0x04E8, .product = 0x2084});
    Listens();
    HidReports(0, true, kRemote);
    HidReports(0, true, kWheel);

    EXPECT_THAT(told, ElementsAre("hid AA:00:00:00:00:03", "hid AA:00:00:00:00:04"));
    EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(Subscriber, AKeyboardIsReportedAlsoWhenNobodyListensHere)
{
    IsBonded({.address = kKeyboard, .name = "Keys"});
    ListensWithoutCallbacks();
    HidReports(0, true, kKeyboard);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.HidConStateChanged (sii) ('AA:00:00:00:00:05', 0, 1)"));
}

// --- Low energy ---

TEST_F(Subscriber, ALowEnergyConnectionIsToldHereOnly)
{
    Listens();
    GattReports(0, true, kPhone);

    EXPECT_THAT(told, ElementsAre("gatt AA:00:00:00:00:02"));
    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre("I enter", "I exit"));
}

TEST_F(Subscriber, ALowEnergyConnectionsResultIsNotLookedAt)
{
    Listens();
    GattReports(kFailed, true, kPhone);

    EXPECT_THAT(told, ElementsAre("gatt AA:00:00:00:00:02"));
}

TEST_F(Subscriber, TheEndOfALowEnergyConnectionIsToldToNobody)
{
    Listens();
    GattReports(0, false, kPhone);

    EXPECT_THAT(told, IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre("I enter", "I exit"));
}

TEST_F(Subscriber, ALowEnergyConnectionWithoutAListenerIsHarmless)
{
    ListensWithoutCallbacks();
    GattReports(0, true, kPhone);

    EXPECT_THAT(Logs(), ElementsAre("I enter", "I exit"));
}

// --- Links ---

TEST_F(Subscriber, LinksAreToldHereWithTheirReason)
{
    Listens();
    LinkReports(true, kPhone, 0);
    LinkReports(false, kPhone, 2);

    EXPECT_THAT(told, ElementsAre("acl up AA:00:00:00:00:02 0", "acl down AA:00:00:00:00:02 2"));
    EXPECT_THAT(Logs(), ElementsAre("I enter", "I address : AA:00:00:00:00:02", "I exit", "I enter",
                                    "I address : AA:00:00:00:00:02", "I exit"));
    EXPECT_THAT(Received(), IsEmpty());
}

TEST_F(Subscriber, ALinkWithoutAListenerIsLogged)
{
    ListensWithoutCallbacks();
    LinkReports(true, kPhone, 0);

    EXPECT_THAT(Logs(), ElementsAre("I enter", "I address : AA:00:00:00:00:02", "E m_aclConnectionCallback is nullptr",
                                    "I exit"));
}

// --- Sound ---

TEST_F(Subscriber, ASpeakerThatConnectsIsToldToTheManagerThenToTheShiftServiceThenHere)
{
    Listens();
    AudioReports(0, true, kSpeaker, 2);

    EXPECT_THAT(Received(),
                ElementsAre("connectionmanager.AudioConnectionStateChanged (siii) ('AA:00:00:00:00:01', 2, 0, 1)",
                            "connectionshift.UpdateConnectedDeviceList (bs) (true, 'AA:00:00:00:00:01')"));
    EXPECT_THAT(told, ElementsAre("audio AA:00:00:00:00:01 2"));
    EXPECT_THAT(Logs(),
                ElementsAre("I result = 0 connected = 1 address = AA:00:00:00:00:01 type = 2",
                            "I name = com.quorix.tv.bt.connectionmanager, path = /com/quorix/tv/bt/connectionmanager, "
                            "interface = com.quorix.tv.bt.connectionmanager, method = AudioConnectionStateChanged",
                            "I name = com.quorix.tv.bt.connectionshift, path = /com/quorix/tv/bt/connectionshift, "
                            "interface = com.quorix.tv.bt.connectionshift, method = UpdateConnectedDeviceList"));
}

TEST_F(Subscriber, ASpeakerThatGoesIsToldToBothServices)
{
    Listens();
    AudioReports(0, false, kSpeaker, 2);

    EXPECT_THAT(Received(),
                ElementsAre("connectionmanager.AudioConnectionStateChanged (siii) ('AA:00:00:00:00:01', 2, 0, 0)",
                            "connectionshift.UpdateConnectedDeviceList (bs) (false, 'AA:00:00:00:00:01')"));
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(Subscriber, ASpeakerThatFailsToConnectIsToldToTheShiftServiceAndHere)
{
    Listens();
    AudioReports(kFailed, true, kSpeaker, 2);

    EXPECT_THAT(Received(), ElementsAre("connectionshift.UpdateConnectedDeviceList (bs) (true, 'AA:00:00:00:00:01')"));
    EXPECT_THAT(told, ElementsAre("audio AA:00:00:00:00:01 2"));
}

TEST_F(Subscriber, ASpeakerThatFailsToGoIsToldToTheShiftServiceOnly)
{
    Listens();
    AudioReports(kFailed, false, kSpeaker, 2);

    EXPECT_THAT(Received(), ElementsAre("connectionshift.UpdateConnectedDeviceList (bs) (false, 'AA:00:00:00:00:01')"));
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(Subscriber, HandsFreeAndOtherProfilesAreToldToTheManagerOnly)
{
    Listens();
    for (const int type : {0, 1, 3, 16}) {
        Forget();
        told.clear();
        AudioReports(0, true, kPhone, type);
        EXPECT_THAT(Received(), ElementsAre("connectionmanager.AudioConnectionStateChanged (siii) "
                                            "('AA:00:00:00:00:02', " +
                                            std::to_string(type) + ", 0, 1)"));
        EXPECT_THAT(told, ElementsAre("audio AA:00:00:00:00:02 " + std::to_string(type)));
    }
}

TEST_F(Subscriber, AFailedHandsFreeConnectionIsToldHereOnly)
{
    Listens();
    AudioReports(kFailed, true, kPhone, 1);

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(told, ElementsAre("audio AA:00:00:00:00:02 1"));
}

// --- Bonds ---

TEST_F(Subscriber, ARemovedBondIsPassedOn)
{
    Listens();
    BondDestroyed(0, kPhone);

    EXPECT_THAT(Received(), ElementsAre("connectionmanager.BondDestroied (s) ('AA:00:00:00:00:02',)"));
}

TEST_F(Subscriber, AFailedRemovalIsOnlyLogged)
{
    Listens();
    BondDestroyed(kFailed, kPhone);

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Logs(), ElementsAre("E Destroy Bond failed"));
}

TEST_F(Subscriber, ANewBondIsPassedOnToNobody)
{
    Listens();
    bt_device_info_s info = {Writable(kPhone), Writable("Phone"), {2, 4}, true, true};
    BondCreated(0, &info);
    BondCreated(kFailed, &info);

    EXPECT_THAT(Received(), IsEmpty());
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(Subscriber, ANewBondThatLacksSomethingIsLogged)
{
    Listens();
    bt_device_info_s nameless = {Writable(kPhone), nullptr, {2, 4}, true, true};
    bt_device_info_s addressless = {nullptr, Writable("Phone"), {2, 4}, true, true};
    BondCreated(0, nullptr);
    BondCreated(0, &addressless);
    BondCreated(0, &nameless);

    EXPECT_THAT(Logs(), ElementsAre("E deviceInfo is NULL", "E remote_Address is NULL", "E remote_name is NULL"));
}

TEST_F(Subscriber, TooManyDevicesAreOnlyLogged)
{
    Listens();
    MaxReached(0, kPhone);
    MaxReached(kFailed, nullptr);

    EXPECT_THAT(Logs(), ElementsAre("I enter", "I exit", "I enter", "I exit"));
    EXPECT_THAT(Received(), IsEmpty());
}

// --- How long the loop stands still at most ---

TEST_F(Subscriber, EveryCallWaitsForItsOwnTimeOut)
{
    tv.features.Has(kHandsFreeFeature, true);
    Listens();
    SlcReports(true, kPhone);
    AbsoluteVolume(kPhone, 1);
    AvrcpTargetReports(true, kPhone);
    AvrcpControlReports(true, kPhone);
    HidReports(0, true, kPhone);
    AudioReports(0, true, kPhone, 2);
    BondDestroyed(0, kPhone);
    AuthorizationRequested(0, kPhone, "n", 1);
    AuthenticationRequested(0, 0, "n", kPhone, "1");
    ConsentRequested(0, "n", kPhone);

    for (const sim::Entry& entry : tv.tape.Entries()) {
        if (entry.kind == sim::Kind::Bus && entry.text.starts_with("ask ")) {
            EXPECT_EQ(entry.timeout, entry.text.find("StartDaemon") != std::string::npos ? 1000 : 5000) << entry.text;
        }
    }
    EXPECT_THAT(Received(), testing::SizeIs(11));
}
