// Which remote is there, what it is, and why it was lost.

#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "remotes/RemotesTest.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bt_device.h>
#include <bt_error.h>

#include <initializer_list>
#include <memory>
#include <string>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

using RemoteQueriesTest = RemotesTest;

// --- Why a remote was lost ---

TEST_F(RemoteQueriesTest, ALostRemoteIsRecordedWithItsReason)
{
    Starts();
    const char* const reasons[] = {"Unknown", "Timeout", "Reset", ""};
    RemoteConnects();
    WheelConnects();
    for (int reason = 0; reason < 4; ++reason) {
        tv.tape.Clear();
        remotes->SetHsmVconf(kRemote, reason);
        EXPECT_THAT(Deeds(), ElementsAre(Set(kLostRemote, kRemote), Set(kLostRemoteReason, reasons[reason])));
        tv.tape.Clear();
        remotes->SetHsmVconf(kWheel, reason);
        EXPECT_THAT(Deeds(), ElementsAre(Set(kLostWheel, kWheel), Set(kLostWheelReason, reasons[reason])));
    }
}

TEST_F(RemoteQueriesTest, AReasonOutOfRangeIsNotRecorded)
{
    Starts();
    RemoteConnects();
    tv.tape.Clear();
    for (const int reason : {4, -1, 1000000, -2147483647 - 1}) {
        remotes->SetHsmVconf(kRemote, reason);
    }
    EXPECT_THAT(Deeds(), IsEmpty());
    EXPECT_EQ(TimesSaid("E Out of range"), 4);
}

TEST_F(RemoteQueriesTest, TheLossOfAnotherDeviceIsNotRecorded)
{
    Starts();
    remotes->SetHsmVconf(kRemote, 1);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E Connected remote device is none"));
    RemoteConnects();
    tv.tape.Clear();
    remotes->SetHsmVconf(kWheel, 1);
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E Not supported type"));
    tv.tape.Clear();
    remotes->SetHsmVconf(kWheel, 9); // the type is looked at before the reason
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E Not supported type"));
    EXPECT_THAT(Deeds(), IsEmpty());
}

TEST_F(RemoteQueriesTest, AnAdapterThatGoesOffIsTheReasonForAllThatIsConnected)
{
    Starts();
    remotes->SetHsmVconf("Adapter");
    EXPECT_THAT(Deeds(), IsEmpty());
    WheelConnects();
    tv.tape.Clear();
    remotes->SetHsmVconf("Adapter");
    EXPECT_THAT(Deeds(), ElementsAre(Set(kLostWheel, kWheel), Set(kLostWheelReason, "Adapter")));
    RemoteConnects();
    tv.tape.Clear();
    remotes->SetHsmVconf("Adapter");
    EXPECT_THAT(Deeds(), ElementsAre(Set(kLostRemote, kRemote), Set(kLostRemoteReason, "Adapter"),
                                     Set(kLostWheel, kWheel), Set(kLostWheelReason, "Adapter")));
}

TEST_F(RemoteQueriesTest, ARecordIsClearedByType)
{
    Starts();
    remotes->ResetHsmVconf(SmartRc);
    remotes->ResetHsmVconf(HalvoWheel);
    EXPECT_THAT(Deeds(), ElementsAre(Set(kLostRemote, ""), Set(kLostRemoteReason, ""), Set(kLostWheel, ""),
                                     Set(kLostWheelReason, "")));
    tv.tape.Clear();
    remotes->ResetHsmVconf(static_cast<Remote_Control_Device_Type>(2));
    remotes->ResetHsmVconf(static_cast<Remote_Control_Device_Type>(-1));
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E Not supported type", "E Not supported type"));
    EXPECT_THAT(Deeds(), IsEmpty());
}

/// Who hears of a link first decides: only while the remote is still known is its loss recorded.
class LinkLossTest : public RemotesTest
{
protected:
    void Listens()
    {
        bt_device_set_connection_state_changed_cb(
            [](bool connected, bt_device_connection_info_s* info, void* handler) {
                if (!connected) {
                    static_cast<CSmartRcEventHandler*>(handler)->SetHsmVconf(info->remote_address,
                                                                             info->disconnect_reason);
                }
            },
            remotes.get());
    }
};

TEST_F(LinkLossTest, ALinkThatIsLostIsRecorded)
{
    Listens();
    Starts();
    RemoteConnects();
    tv.smartRemote.LosesLink(1);
    Settle();
    EXPECT_EQ(tv.settings.Text(kLostRemote), kRemote);
    EXPECT_EQ(tv.settings.Text(kLostRemoteReason), "Timeout");
    RemoteConnects();
    EXPECT_EQ(tv.settings.Text(kLostRemote), "");
    EXPECT_EQ(tv.settings.Text(kLostRemoteReason), "");
}

TEST_F(LinkLossTest, AnOrderlyDisconnectionIsNotRecorded)
{
    Listens();
    Starts();
    WheelConnects();
    tv.wheel.Disconnects(2);
    Settle();
    EXPECT_EQ(tv.settings.Text(kLostWheel), "");
    EXPECT_TRUE(HasSaid("E Connected remote device is none"));
    WheelConnects();
    tv.wheel.LosesLink(2);
    Settle();
    EXPECT_EQ(tv.settings.Text(kLostWheelReason), "Reset");
}

// --- Which remote is there ---

TEST_F(RemoteQueriesTest, WhatIsConnectedIsThePlatformsAnswer)
{
    EXPECT_FALSE(remotes->IsSmartRcConnected());
    EXPECT_FALSE(remotes->IsHalvoWheelConnected());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I Smart RC ConnStatus = 0", "I Halvo wheel ConnStatus = 0"));
    tv.smartRemote.IsConnected(kRemote);
    tv.wheel.IsConnected(kWheel);
    tv.tape.Clear();
    EXPECT_TRUE(remotes->IsRemoteDeviceConnected(SmartRc));
    EXPECT_TRUE(remotes->IsRemoteDeviceConnected(HalvoWheel));
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("I Smart RC ConnStatus = 1", "I Halvo wheel ConnStatus = 1"));
    tv.tape.Clear();
    tv.Fails("bt_hid_get_smart_remote_conn_status", BT_ERROR_NOT_ENABLED);
    tv.Fails("bt_hid_get_halvo_switch_connection_state", BT_ERROR_NOT_ENABLED);
    EXPECT_FALSE(remotes->IsRemoteDeviceConnected(SmartRc));
    EXPECT_FALSE(remotes->IsRemoteDeviceConnected(HalvoWheel));
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E get remote conn status is failed NOT_ENABLED",
                                                "E getting halvo wheel connecton status is failed NOT_ENABLED"));
    tv.tape.Clear();
    EXPECT_FALSE(remotes->IsRemoteDeviceConnected(static_cast<Remote_Control_Device_Type>(2)));
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E invalid device type"));
}

TEST_F(RemoteQueriesTest, AddressesAreThePlatformsAnswer)
{
    std::string address = "untouched";
    EXPECT_FALSE(remotes->GetDeviceAddress(address, SmartRc));
    EXPECT_FALSE(remotes->GetDeviceAddress(address, HalvoWheel));
    EXPECT_FALSE(remotes->GetDeviceAddress(address, static_cast<Remote_Control_Device_Type>(2)));
    EXPECT_EQ(address, "untouched");
    tv.smartRemote.IsConnected(kRemote);
    tv.wheel.IsConnected(kWheel);
    EXPECT_TRUE(remotes->GetDeviceAddress(address, SmartRc));
    EXPECT_EQ(address, kRemote);
    tv.tape.Clear();
    EXPECT_TRUE(remotes->GetDeviceAddress(address, HalvoWheel));
    EXPECT_EQ(address, kWheel);
    EXPECT_TRUE(HasSaid(std::string("I Halvo wheel address = ") + kWheel));
    tv.Fails("bt_hid_get_smart_rc_address", BT_ERROR_OPERATION_FAILED);
    tv.Fails("bt_hid_get_halvo_switch_address", BT_ERROR_OPERATION_FAILED);
    address = "untouched";
    EXPECT_FALSE(remotes->GetDeviceAddress(address, SmartRc));
    EXPECT_FALSE(remotes->GetHalvoWheelAddress(address));
    EXPECT_EQ(address, "untouched");
    EXPECT_TRUE(HasSaid("E fail to get connected smartrc address OPERATION_FAILED"));
    EXPECT_TRUE(HasSaid("E fail to get connected halvowheel address OPERATION_FAILED"));
}

TEST_F(RemoteQueriesTest, AnAddressIsComparedWithTheConnectedOne)
{
    EXPECT_FALSE(remotes->IsSmartRcAddress(kRemote));
    EXPECT_FALSE(remotes->IsHalvoWheelAddress(kWheel));
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E fail to get connected smartrc address REMOTE_DEVICE_NOT_CONNECTED",
                                                "E failed to get halvo wheel address"));
    tv.smartRemote.IsConnected(kRemote);
    tv.wheel.IsConnected(kWheel);
    tv.tape.Clear();
    EXPECT_TRUE(remotes->IsSmartRcAddress(kRemote));
    EXPECT_TRUE(remotes->IsHalvoWheelAddress(kWheel));
    EXPECT_FALSE(remotes->IsSmartRcAddress(kWheel));
    EXPECT_FALSE(remotes->IsHalvoWheelAddress(kRemote));
    EXPECT_FALSE(remotes->IsSmartRcAddress(""));
    EXPECT_THAT(tv.tape.Messages(),
                ElementsAre(std::string("I SmartRc address = ") + kRemote + " , Connected Address = " + kRemote,
                            std::string("I SmartRc address = ") + kWheel + " , Connected Address = " + kWheel,
                            std::string("I SmartRc address = ") + kRemote + " , Connected Address = " + kWheel,
                            std::string("I SmartRc address = ") + kWheel + " , Connected Address = " + kRemote,
                            std::string("I SmartRc address = ") + kRemote + " , Connected Address = "));
}

TEST_F(RemoteQueriesTest, TheDeviceTypeIsABytePassedOnOrZero)
{
    tv.smartRemote.IsConnected(kRemote);
    for (const int type : {0, 17, 35, 255}) {
        tv.smartRemote.deviceType = static_cast<unsigned char>(type);
        EXPECT_EQ(remotes->GetSmartRcDeviceType(), type);
    }
    tv.Fails("bt_hid_get_smart_rc_device_type", BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(remotes->GetSmartRcDeviceType(), 0);
}

TEST_F(RemoteQueriesTest, TwoMicrophonesShowInThreeBitsOfTheVersion)
{
    Starts();
    RemoteConnects();
    tv.tape.Clear();
    for (const unsigned int version : {0xB0000000U, 0xF0000000U, 0xB1234567U, 0xFFFFFFFFU}) {
        tv.smartRemote.fwVersion = version;
        EXPECT_TRUE(remotes->Is2MicSmartRc()) << version;
    }
    EXPECT_THAT(tv.tape.Messages(), IsEmpty());
    for (const unsigned int version : {0U, 0xA0000000U, 0x90000000U, 0x30000000U, 0x4FFFFFFFU, 0x0B000000U}) {
        tv.smartRemote.fwVersion = version;
        EXPECT_FALSE(remotes->Is2MicSmartRc()) << version;
    }
    EXPECT_EQ(TimesSaid("I Not 2mic SmartRC"), 6);
    tv.smartRemote.fwVersion = 0xB0000000U;
    tv.Fails("bt_hid_get_smart_rc_fw_version", BT_ERROR_OPERATION_FAILED);
    EXPECT_FALSE(remotes->Is2MicSmartRc());
}

TEST_F(RemoteQueriesTest, WithoutARemoteTheVersionIsAskedForAllTheSame)
{
    EXPECT_FALSE(remotes->Is2MicSmartRc());
    EXPECT_THAT(tv.tape.Messages(), ElementsAre("E Connected Smart rc is None", "I Not 2mic SmartRC"));
    EXPECT_THAT(tv.tape.Calls(), ElementsAre(StartsWith("bt_hid_get_smart_rc_fw_version(\"\"")));
}

} // namespace
