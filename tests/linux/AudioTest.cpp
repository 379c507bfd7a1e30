#include "linux/BluezTest.h"
#include "linux/FakeBluez.h"
#include "linux/PlatformLog.h"

#include <glib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bluez_dbus.h>
#include <bt_audio.h>
#include <bt_error.h>
#include <bt_product.h>
#include <bt_socket.h>

#include <chrono>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace linux_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

class AudioTest : public BluezTest
{
protected:
    static constexpr const char* kHandsFree = "0000111e-0000-1000-8000-00805f9b34fb";
    static constexpr const char* kHeadset = "00001108-0000-1000-8000-00805f9b34fb";
    static constexpr const char* kTarget = "0000110C-0000-1000-8000-00805F9B34FB";
    static constexpr const char* kController = "0000110e-0000-1000-8000-00805f9b34fb";

    std::string Device(const char* address, std::vector<const char*> uuids, bool connected = false)
    {
        uuids.push_back(nullptr);
        return daemon.AddDevice(address, [&](BluezDevice1* device) {
            bluez_device1_set_uuids(device, uuids.data());
            bluez_device1_set_connected(device, connected ? TRUE : FALSE);
        });
    }

    /// \return 0 and the address, or the error
    static std::pair<int, std::string> Connected(int type)
    {
        bt_audio_connected_info_s* info = nullptr;
        const int result = bt_audio_get_connected_info(type, &info);
        std::string address = info != nullptr ? info->device_address : "";
        EXPECT_TRUE(info == nullptr || info->type == type);
        EXPECT_EQ(bt_audio_free_connected_info(info), BT_ERROR_NONE);
        return {result, address};
    }

    static const std::pair<int, std::string> kNone;
};

const std::pair<int, std::string> AudioTest::kNone = {BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED, ""};

TEST_F(AudioTest, ASpeakerAndAPhoneAreToldApart)
{
    Starts();
    EXPECT_EQ(bt_audio_initialize(), BT_ERROR_NONE);
    const std::string speaker = Device(kSpeaker, {kSink});
    const std::string phone = Device(kPhone, {kSource});

    daemon.AddTransport(speaker + "/fd0", speaker, kSource);
    daemon.AddTransport(phone + "/fd1", phone, kSink);

    EXPECT_TRUE(Told(std::string("audio up ") + kPhone + " 16"));
    EXPECT_THAT(record,
                ElementsAre(std::string("audio up ") + kSpeaker + " 2", std::string("audio up ") + kPhone + " 16"));
    EXPECT_EQ(Connected(2), std::pair(0, std::string(kSpeaker)));
    EXPECT_EQ(Connected(16), std::pair(0, std::string(kPhone)));
    EXPECT_EQ(Connected(1), kNone);
    EXPECT_EQ(bt_audio_get_connected_info(2, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_audio_deinitialize(), BT_ERROR_NONE);
}

TEST_F(AudioTest, TheSecondStreamOfADeviceIsNoSecondConnection)
{
    Starts();
    const std::string speaker = Device(kSpeaker, {kSink});
    daemon.AddTransport(speaker + "/fd0", speaker, kSource, 10);
    daemon.AddTransport(speaker + "/fd1", speaker, kSource, 10);
    Settles();
    record.clear();

    daemon.Remove(speaker + "/fd0");
    Settles();
    EXPECT_THAT(record, IsEmpty());
    daemon.Remove(speaker + "/fd1");

    EXPECT_TRUE(Told(std::string("audio down ") + kSpeaker + " 2"));
    EXPECT_EQ(Connected(2), kNone);
}

TEST_F(AudioTest, AStreamThatIsThereAtTheStartIsKnownButNotTold)
{
    const std::string speaker = Device(kSpeaker, {kSink}, true);
    daemon.AddTransport(speaker + "/fd0", speaker, kSource, 10);
    Starts();
    Settles();

    EXPECT_THAT(record, IsEmpty());
    EXPECT_EQ(Connected(2), std::pair(0, std::string(kSpeaker)));
}

TEST_F(AudioTest, AStreamComesAfterTheServicesWereResolved)
{
    Starts();
    const std::string speaker = Device(kSpeaker, {kSink});
    daemon.SetDevice(speaker, [](BluezDevice1* device) { bluez_device1_set_services_resolved(device, TRUE); });
    Settles();
    EXPECT_EQ(Connected(2), kNone);

    daemon.AddTransport(speaker + "/fd0", speaker, kSource);

    EXPECT_TRUE(Told(std::string("audio up ") + kSpeaker + " 2"));
}

TEST_F(AudioTest, StreamsOfOtherKindsAreNotOurs)
{
    Starts();
    const std::string speaker = Device(kSpeaker, {kSink});

    daemon.AddTransport(speaker + "/fd0", speaker, "00002bc9-0000-1000-8000-00805f9b34fb");
    daemon.AddTransport("/org/bluez/nobody/fd1", "/org/bluez/nobody", kSource);
    Settles();

    EXPECT_THAT(record, IsEmpty());
}

TEST_F(AudioTest, StreamsEndWithThePulledAdapterAndTheDaemon)
{
    Starts();
    std::string speaker = Device(kSpeaker, {kSink});
    daemon.AddTransport(speaker + "/fd0", speaker, kSource);
    ASSERT_TRUE(Told(std::string("audio up ") + kSpeaker + " 2"));
    daemon.PullAdapter();
    EXPECT_TRUE(Told(std::string("audio down ") + kSpeaker + " 2"));

    record.clear();
    daemon.AddAdapter(true);
    daemon.AddTransport(speaker + "/fd0", speaker, kSource);
    ASSERT_TRUE(Told(std::string("audio up ") + kSpeaker + " 2"));
    daemon.Dies();
    EXPECT_TRUE(Told(std::string("audio down ") + kSpeaker + " 2"));
}

TEST_F(AudioTest, AStreamIsEndedByItsService)
{
    Starts();
    const std::string speaker = Device(kSpeaker, {kSink});
    const std::string phone = Device(kPhone, {kSource});
    daemon.AddTransport(speaker + "/fd0", speaker, kSource);
    daemon.AddTransport(phone + "/fd1", phone, kSink);
    ASSERT_TRUE(Told(std::string("audio up ") + kPhone + " 16"));

    EXPECT_EQ(bt_audio_disconnect(kSpeaker, BT_AUDIO_PROFILE_A2DP_SOURCE), BT_ERROR_NONE);
    EXPECT_EQ(bt_audio_disconnect(kPhone, BT_AUDIO_PROFILE_A2DP_SINK), BT_ERROR_NONE);

    EXPECT_TRUE(WaitForCall(std::string("DisconnectProfile ") + kSink));
    EXPECT_TRUE(WaitForCall(std::string("DisconnectProfile ") + kSource));
    EXPECT_EQ(bt_audio_disconnect(kSpeaker, BT_AUDIO_PROFILE_A2DP_SINK), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
    EXPECT_EQ(bt_audio_disconnect("x", BT_AUDIO_PROFILE_A2DP_SINK), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_audio_disconnect(nullptr, BT_AUDIO_PROFILE_A2DP_SINK), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_audio_disconnect(kSpeaker, 3), BT_ERROR_INVALID_PARAMETER);
}

TEST_F(AudioTest, HandsFreeIsEndedByEachServiceThatTheDeviceHas)
{
    Starts();
    Device(kSpeaker, {kHandsFree, kHeadset, kSink}, true);
    Device(kPhone, {kHandsFree}, false);
    ASSERT_TRUE(Told(std::string("link up ") + kSpeaker + " 0 0"));
    Settles();

    EXPECT_EQ(bt_audio_disconnect(kSpeaker, BT_AUDIO_PROFILE_HANDS_FREE), BT_ERROR_NONE);

    EXPECT_TRUE(WaitForCall(std::string("DisconnectProfile ") + kHandsFree));
    EXPECT_TRUE(WaitForCall(std::string("DisconnectProfile ") + kHeadset));
    EXPECT_EQ(bt_audio_disconnect(kPhone, BT_AUDIO_PROFILE_HANDS_FREE), BT_ERROR_REMOTE_DEVICE_NOT_CONNECTED);
}

TEST_F(AudioTest, ServiceLevelConnectionsAreNotSupportedAndSayItOnce)
{
    const auto never = [](bool, const char*, void*) {};
    EXPECT_EQ(bt_audio_set_slc_state_changed_cb(never, nullptr), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(bt_audio_set_slc_state_changed_cb(never, nullptr), BT_ERROR_NOT_SUPPORTED);
    EXPECT_EQ(bt_audio_set_slc_state_changed_cb(nullptr, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_audio_unset_slc_state_changed_cb(), BT_ERROR_NOT_INITIALIZED);
    EXPECT_EQ(LogLinesWith("bt_audio_set_slc_state_changed_cb is not supported"), 1);
}

TEST_F(AudioTest, NothingIsToldAfterTheCallbackWasTakenOut)
{
    Starts();
    EXPECT_EQ(bt_audio_unset_connection_state_changed_cb(), BT_ERROR_NONE);
    EXPECT_EQ(bt_audio_unset_connection_state_changed_cb(), BT_ERROR_NOT_INITIALIZED);
    const std::string speaker = Device(kSpeaker, {kSink});
    daemon.AddTransport(speaker + "/fd0", speaker, kSource);
    Settles();

    EXPECT_THAT(record, IsEmpty());
}

TEST_F(AudioTest, TheFirstVolumeIsTheInterimOneAndEachOtherAChange)
{
    Starts();
    const std::string speaker = Device(kSpeaker, {kSink});
    daemon.AddTransport(speaker + "/fd0", speaker, kSource);
    ASSERT_TRUE(Told(std::string("audio up ") + kSpeaker + " 2"));
    record.clear();

    for (const int volume : {0, 127, 127, 128, 64}) {
        daemon.SetVolume(speaker + "/fd0", volume);
    }

    EXPECT_TRUE(Told(std::string("volume ") + kSpeaker + " 64"));
    EXPECT_THAT(record,
                ElementsAre(std::string("interim ") + kSpeaker + " 0", std::string("volume ") + kSpeaker + " 127",
                            std::string("volume ") + kSpeaker + " 64"));
}

TEST_F(AudioTest, MediaControlIsToldByTheDevicesServices)
{
    Starts();
    const std::string speaker = Device(kSpeaker, {kTarget, kController});
    const std::string phone = Device(kPhone, {kTarget});

    daemon.SetControl(speaker, true);
    daemon.SetControl(phone, true);
    ASSERT_TRUE(Told(std::string("control up ") + kPhone));
    daemon.SetControl(speaker, false);

    EXPECT_TRUE(Told(std::string("target down ") + kSpeaker));
    EXPECT_THAT(record, ElementsAre(std::string("control up ") + kSpeaker, std::string("target up ") + kSpeaker,
                                    std::string("control up ") + kPhone, std::string("control down ") + kSpeaker,
                                    std::string("target down ") + kSpeaker));
}

// Services offered over RFCOMM.

class RfcommTest : public BluezTest
{
protected:
    static constexpr const char* kUuid = "12345678-1234-5678-9ABC-DEF012345678";

    static std::string Registration(int number)
    {
        return "RegisterProfile /org/vantor/platform/rfcomm/" + std::to_string(number) +
               " 12345678-1234-5678-9abc-def012345678 named vyrel-lite";
    }
    static std::string Withdrawal(int number)
    {
        return "UnregisterProfile /org/vantor/platform/rfcomm/" + std::to_string(number);
    }

    static int Open()
    {
        int socket = 0;
        EXPECT_EQ(bt_socket_create_rfcomm(kUuid, &socket), BT_ERROR_NONE);
        return socket;
    }
};

TEST_F(RfcommTest, SocketsOfOneServiceShareItsRegistration)
{
    Starts();
    const int first = Open();
    const int second = Open();
    EXPECT_GE(first, 1);
    EXPECT_NE(first, second);

    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(first, 10), BT_ERROR_NONE);
    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(second, 10), BT_ERROR_NONE);
    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(second, 10), BT_ERROR_ALREADY_DONE);
    EXPECT_EQ(daemon.CallsOf(Registration(first)), 1);
    EXPECT_EQ(daemon.CallsOf(Registration(second)), 0);

    EXPECT_EQ(bt_socket_destroy_rfcomm(first), BT_ERROR_NONE);
    Settles();
    EXPECT_EQ(daemon.CallsOf(Withdrawal(first)), 0);
    EXPECT_EQ(bt_socket_destroy_rfcomm(second), BT_ERROR_NONE);
    EXPECT_TRUE(WaitForCall(Withdrawal(first)));
}

TEST_F(RfcommTest, WhatCannotBeIsRefused)
{
    Starts();
    int socket = 0;
    EXPECT_EQ(bt_socket_create_rfcomm(nullptr, &socket), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_socket_create_rfcomm(kUuid, nullptr), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_socket_create_rfcomm("12345678", &socket), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_socket_create_rfcomm("12345678-1234-5678-9ABC-DEF01234567g", &socket), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(socket, 0);
    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(99, 10), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_socket_destroy_rfcomm(99), BT_ERROR_INVALID_PARAMETER);
    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(Open(), -1), BT_ERROR_INVALID_PARAMETER);
}

TEST_F(RfcommTest, ARefusedServiceMayBeTriedAgain)
{
    Starts();
    const int socket = Open();
    daemon.AnswersWithError("RegisterProfile", "org.bluez.Error.NotPermitted");
    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(socket, 10), BT_ERROR_OPERATION_FAILED);
    EXPECT_EQ(LogLinesWith("cannot offer the service"), 1);
    daemon.Stalls("RegisterProfile");
    daemon.Behaves();

    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(socket, 10), BT_ERROR_NONE);
}

TEST_F(RfcommTest, WithoutADaemonNothingIsOffered)
{
    ASSERT_EQ(bt_product_init(), BT_ERROR_NONE);

    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(Open(), 10), BT_ERROR_NOT_INITIALIZED);
}

TEST_F(RfcommTest, ADaemonThatDoesNotAnswerIsWaitedForForASecondAtMost)
{
    Starts();
    daemon.Stalls("RegisterProfile");

    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(Open(), 10), BT_ERROR_TIMED_OUT);

    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1300));
}

TEST_F(RfcommTest, ADaemonStartedAnewIsToldAgain)
{
    Starts();
    const int socket = Open();
    EXPECT_EQ(bt_socket_listen_and_accept_rfcomm(socket, 10), BT_ERROR_NONE);
    daemon.Dies();
    ASSERT_TRUE(Told("state 0 0"));
    daemon.ForgetCalls();

    daemon.AddAdapter(true);
    daemon.Starts();

    EXPECT_TRUE(WaitForCall(Registration(socket)));
    ASSERT_TRUE(Told("state 0 1"));
    EXPECT_EQ(daemon.CallsOf(Registration(socket)), 1);
}

} // namespace
} // namespace linux_test
