#include "Bluetooth/BluetoothUtil.h"
#include "bluetooth/BluetoothTest.h"
#include "sim/Audio.h"
#include "sim/Devices.h"
#include "sim/Tape.h"
#include "sim/Television.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <set>
#include <string>
#include <vector>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

using DeviceQueries = BluetoothTest;

std::string UtilityLine(const std::string& text)
{
    return "VYREL_UTIL " + text;
}

} // namespace

TEST_F(DeviceQueries, TheSmartRemoteIsKnownByBothIds)
{
    IsBonded({.address = kRemote, .name = "Remote", .vendor = 0x04E8, .product = 0x2075});
    tv.tape.Clear();

    EXPECT_TRUE(BluetoothUtil::isSmartRc(kRemote));
    EXPECT_THAT(TaggedLogs(), ElementsAre(UtilityLine("I connected hid device is smart rc so do not send signal")));
    EXPECT_THAT(Steps(), ElementsAre("bt_adapter_get_bonded_device_info", "bt_device_get_remote_vid_pid",
                                     "bt_adapter_free_device_info"));
    EXPECT_FALSE(BluetoothUtil::isHalvo(kRemote));
}

TEST_F(DeviceQueries, TheWheelIsKnownByBothIds)
{
    IsBonded({.address = kWheel, .name = "Wheel", .vendor = 0x04E8, .product = 0x2084});
    tv.tape.Clear();

    EXPECT_TRUE(BluetoothUtil::isHalvo(kWheel));
    EXPECT_THAT(TaggedLogs(), ElementsAre(UtilityLine("I connected hid device is halvo so do not send signal")));
    EXPECT_FALSE(BluetoothUtil::isSmartRc(kWheel));
}

TEST_F(DeviceQueries, NeighbouringIdsAreNeither)
{
    for (const auto& [vendor, product] : std::vector<std::array<unsigned int, 2>>{{0x04E7, 0x2075},
                                                                                  {0x04E9, 0x2084},
                                                                                  {0x04E8, 0x2074},
                                                                                  {0x04E8, 0x2076},
                                                                                  {0x04E8, 0x2083},
                                                                                  {0x04E8, 0x2085},
                                                                                  {0, 0}}) {
        IsBonded({.address = kPhone, .name = "Phone", .vendor = vendor, .product = product});
        tv.tape.Clear();
        EXPECT_FALSE(BluetoothUtil::isSmartRc(kPhone));
        EXPECT_FALSE(BluetoothUtil::isHalvo(kPhone));
        EXPECT_THAT(Logs(), IsEmpty());
        EXPECT_THAT(Calls("bt_adapter_free_device_info"), SizeIs(2));
        Unbonds(kPhone);
    }
}

TEST_F(DeviceQueries, AnUnbondedDeviceIsNeither)
{
    EXPECT_FALSE(BluetoothUtil::isSmartRc(kPhone));
    EXPECT_FALSE(BluetoothUtil::isHalvo(kPhone));
    EXPECT_THAT(TaggedLogs(), ElementsAre(UtilityLine("E deviceInfo is NULL"), UtilityLine("E deviceInfo is NULL")));
    EXPECT_THAT(Calls("bt_device_get_remote_vid_pid"), IsEmpty());
}

TEST_F(DeviceQueries, ADeviceWithoutANameIsNeither)
{
    IsBonded({.address = kRemote, .name = std::nullopt, .vendor = 0x04E8, .product = 0x2075});
    tv.tape.Clear();

    EXPECT_FALSE(BluetoothUtil::isSmartRc(kRemote));
    EXPECT_THAT(TaggedLogs(), ElementsAre(UtilityLine("E remote_name NULL for : AA:00:00:00:00:03, return")));
    EXPECT_THAT(Steps(), ElementsAre("bt_adapter_get_bonded_device_info", "bt_adapter_free_device_info"));
}

TEST_F(DeviceQueries, ADeviceWhoseIdsAreUnreadableIsNeither)
{
    IsBonded({.address = kRemote, .name = "Remote", .vendor = 0x04E8, .product = 0x2075});
    tv.Fails("bt_device_get_remote_vid_pid", kFailed);

    EXPECT_FALSE(BluetoothUtil::isSmartRc(kRemote));
}

TEST_F(DeviceQueries, NineMinorClassesAreAudio)
{
    const std::set<int> audio = {0, 4, 8, 16, 20, 24, 28, 32, 40};
    for (int minor = -4; minor <= 256; ++minor) {
        EXPECT_EQ(BluetoothUtil::isAudioMinorCOD(minor), audio.count(minor) == 1) << minor;
    }
}

TEST_F(DeviceQueries, ConnectedAudioDevicesAreThoseOfAudioClassesThatAreConnected)
{
    IsBonded({.address = "AA:00:00:00:01:01", .name = "a", .majorClass = 4, .minorClass = 0, .connected = true});
    IsBonded(
        {.address = "AA:00:00:00:01:02", .name = std::nullopt, .majorClass = 4, .minorClass = 40, .connected = true});
    IsBonded({.address = "AA:00:00:00:01:03", .name = "c", .majorClass = 4, .minorClass = 36, .connected = true});
    IsBonded({.address = "AA:00:00:00:01:04", .name = "d", .majorClass = 4, .minorClass = 12, .connected = true});
    IsBonded({.address = "AA:00:00:00:01:05", .name = "e", .majorClass = 4, .minorClass = 20, .connected = false});
    IsBonded({.address = "AA:00:00:00:01:06", .name = "f", .majorClass = 3, .minorClass = 20, .connected = true});
    IsBonded({.address = "AA:00:00:00:01:07", .name = "g", .majorClass = 5, .minorClass = 20, .connected = true});
    tv.tape.Clear();
    std::vector<std::string> addresses = {"kept"};
    BluetoothUtil::getConnectedAudioDevices(addresses);

    EXPECT_THAT(addresses, ElementsAre("kept", "AA:00:00:00:01:01", "AA:00:00:00:01:02"));
    EXPECT_THAT(TaggedLogs(),
                ElementsAre(UtilityLine("I found connected audio"), UtilityLine("I found connected audio")));
}

TEST_F(DeviceQueries, ConnectedDevicesAreOfAnyClass)
{
    IsBonded({.address = kSpeaker, .name = "a", .majorClass = 4, .minorClass = 20, .connected = true});
    IsBonded({.address = kPhone, .name = "b", .majorClass = 2, .minorClass = 12, .connected = false});
    IsBonded({.address = kKeyboard, .name = "c", .majorClass = 5, .minorClass = 64, .connected = true});
    tv.tape.Clear();
    std::vector<std::string> addresses;
    BluetoothUtil::getConnectedDevices(addresses);

    EXPECT_THAT(addresses, ElementsAre(kSpeaker, kKeyboard));
    EXPECT_THAT(TaggedLogs(), ElementsAre(UtilityLine("I AA:00:00:00:00:01 is connected"),
                                          UtilityLine("I AA:00:00:00:00:05 is connected")));
    EXPECT_EQ(BluetoothUtil::getNumberOfBtdevice(), 2);
}

TEST_F(DeviceQueries, NobodyIsConnectedWithoutBonds)
{
    EXPECT_EQ(BluetoothUtil::getNumberOfBtdevice(), 0);
    EXPECT_FALSE(BluetoothUtil::isDualAudio());
}

TEST_F(DeviceQueries, TwoSpeakersAreExactlyTwo)
{
    for (int count = 0; count <= 3; ++count) {
        EXPECT_EQ(BluetoothUtil::isDualAudio(), count == 2) << count;
        IsBonded({.address = "AA:00:00:00:02:0" + std::to_string(count),
                  .name = "s",
                  .majorClass = 4,
                  .minorClass = 20,
                  .connected = true});
    }
}

TEST_F(DeviceQueries, AListingThatFailsFindsNobody)
{
    IsBonded({.address = kSpeaker, .name = "a", .majorClass = 4, .minorClass = 20, .connected = true});
    tv.Fails("bt_adapter_foreach_bonded_device", kFailed);

    EXPECT_EQ(BluetoothUtil::getNumberOfBtdevice(), 0);
}

TEST_F(DeviceQueries, ADevicesNameIsCopied)
{
    IsBonded({.address = kSpeaker, .name = "Speaker"});
    std::string name = "before";

    EXPECT_TRUE(BluetoothUtil::getDeviceName(kSpeaker, name));
    EXPECT_EQ(name, "Speaker");
    EXPECT_THAT(Calls("bt_adapter_free_device_info"), SizeIs(1));
}

TEST_F(DeviceQueries, AnUnbondedDeviceHasNoName)
{
    std::string name = "before";

    EXPECT_FALSE(BluetoothUtil::getDeviceName(kSpeaker, name));
    EXPECT_EQ(name, "before");
}

TEST_F(DeviceQueries, AnUnknownNameIsNone)
{
    IsBonded({.address = kSpeaker, .name = std::nullopt});
    std::string name = "before";

    EXPECT_FALSE(BluetoothUtil::getDeviceName(kSpeaker, name));
    EXPECT_EQ(name, "before");
    EXPECT_THAT(Calls("bt_adapter_free_device_info"), SizeIs(1));
}

TEST_F(DeviceQueries, ADeviceWithoutAnAddressHasNoName)
{
    IsBonded({.address = kSpeaker, .hasAddress = false});
    tv.tape.Clear();
    std::string name = "before";

    EXPECT_FALSE(BluetoothUtil::getDeviceName(kSpeaker, name));
    EXPECT_EQ(name, "before");
    EXPECT_THAT(TaggedLogs(), ElementsAre(UtilityLine("E device_info->remote_address == NULL")));
    EXPECT_THAT(Calls("bt_adapter_free_device_info"), SizeIs(1));
}

TEST_F(DeviceQueries, ListingsGoOnPastDevicesThatSayTooLittle)
{
    IsBonded({.address = kKeyboard, .connected = true, .hasRecord = false});
    IsBonded({.address = kPhone, .connected = true, .hasAddress = false});
    IsBonded({.address = kSpeaker, .majorClass = 4, .minorClass = 20, .connected = true});
    tv.tape.Clear();
    std::vector<std::string> addresses;
    BluetoothUtil::getConnectedDevices(addresses);
    BluetoothUtil::getConnectedAudioDevices(addresses);

    EXPECT_THAT(addresses, ElementsAre(kSpeaker, kSpeaker));
    EXPECT_THAT(TaggedLogs(),
                ElementsAre(UtilityLine("E deviceInfo is NULL"), UtilityLine("E deviceInfo->remote_address is NULL"),
                            UtilityLine("I AA:00:00:00:00:01 is connected"), UtilityLine("E deviceInfo is NULL"),
                            UtilityLine("E deviceInfo->remote_address is NULL"),
                            UtilityLine("I found connected audio")));
}

TEST_F(DeviceQueries, ListingsThatLostTheirListFindNobody)
{
    IsBonded({.address = kSpeaker, .majorClass = 4, .minorClass = 20, .connected = true});
    IsBonded({.address = kPhone, .connected = true});
    tv.devices.listsWithoutUserData = true;
    tv.tape.Clear();

    EXPECT_EQ(BluetoothUtil::getNumberOfBtdevice(), 0);
    EXPECT_FALSE(BluetoothUtil::isDualAudio());
    EXPECT_THAT(TaggedLogs(), testing::Each(UtilityLine("E userData is NULL")));
    EXPECT_THAT(TaggedLogs(), SizeIs(4));
}

TEST_F(DeviceQueries, AudioConnectionsAreAskedByProfile)
{
    HasAudio(2, kSpeaker);
    tv.tape.Clear();

    EXPECT_TRUE(BluetoothUtil::isA2dpDeviceConnected(2));
    EXPECT_THAT(Steps(), ElementsAre("bt_audio_get_connected_info", "bt_audio_free_connected_info"));
    EXPECT_THAT(Logs(), IsEmpty());
    EXPECT_FALSE(BluetoothUtil::isA2dpDeviceConnected(16));
    EXPECT_THAT(TaggedLogs(), ElementsAre(UtilityLine("E bt_audio_get_connected_info failed : -29359861")));
}

TEST_F(DeviceQueries, EitherKindOfA2dpCountsTheFirstAskedFirst)
{
    EXPECT_FALSE(BluetoothUtil::isA2dpDeviceConnected());
    EXPECT_THAT(Calls("bt_audio_get_connected_info"),
                ElementsAre(HasSubstr("bt_audio_get_connected_info(2"), HasSubstr("bt_audio_get_connected_info(16")));

    HasAudio(16, kPhone);
    tv.tape.Clear();
    EXPECT_TRUE(BluetoothUtil::isA2dpDeviceConnected());
    EXPECT_THAT(Calls("bt_audio_get_connected_info"), SizeIs(2));

    HasAudio(2, kSpeaker);
    tv.tape.Clear();
    EXPECT_TRUE(BluetoothUtil::isA2dpDeviceConnected());
    EXPECT_THAT(Calls("bt_audio_get_connected_info"), ElementsAre(HasSubstr("bt_audio_get_connected_info(2")));
}

TEST_F(DeviceQueries, TheHandsFreeDeviceIsNamed)
{
    std::string address = "before";
    EXPECT_FALSE(BluetoothUtil::isHfpDeviceConnected(1, address));
    EXPECT_EQ(address, "before");

    HasAudio(1, kPhone);
    tv.tape.Clear();
    EXPECT_TRUE(BluetoothUtil::isHfpDeviceConnected(1, address));
    EXPECT_EQ(address, kPhone);
    EXPECT_THAT(Calls("bt_audio_free_connected_info"), SizeIs(1));
}

TEST_F(DeviceQueries, AHandsFreeDeviceOfUnknownAddressIsConnected)
{
    HasAudio(1, kPhone);
    tv.audio.recordsHaveAddress = false;
    std::string address = "before";

    EXPECT_TRUE(BluetoothUtil::isHfpDeviceConnected(1, address));
    EXPECT_EQ(address, "before");
    EXPECT_THAT(Calls("bt_audio_free_connected_info"), SizeIs(1));
}

TEST_F(DeviceQueries, ChangeNothing)
{
    IsBonded({.address = kSpeaker, .name = "a", .majorClass = 4, .minorClass = 20, .connected = true});
    HasAudio(2, kSpeaker);
    tv.tape.Clear();
    std::string text;
    BluetoothUtil::isSmartRc(kSpeaker);
    BluetoothUtil::isHalvo(kSpeaker);
    BluetoothUtil::getDeviceName(kSpeaker, text);
    BluetoothUtil::isA2dpDeviceConnected();
    BluetoothUtil::isHfpDeviceConnected(1, text);
    BluetoothUtil::isDualAudio();
    BluetoothUtil::getNumberOfBtdevice();

    EXPECT_THAT(Steps(),
                testing::Each(testing::AnyOf(HasSubstr("_get_"), HasSubstr("_free_"), HasSubstr("_foreach_"))));
}
