#include "linux/PlatformLog.h"
#include "linux/Root.h"
#include "linux/SoundServer.h"
#include "support/RealTime.h"

#include <gtest/gtest.h>

#include <sound_manager.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

using namespace std::chrono_literals;
using linux_test::InRoot;
using linux_test::LogLinesWith;
using linux_test::SoundServer;
using linux_test::WriteFile;

/// What half a second of waiting is at most on a machine that has much else to do; the library alone would wait longer.
constexpr auto kBusy = 4s;

constexpr int kSpeaker = SOUND_DEVICE_TV_SPEAKER;

TEST(SoundTest, MutesTheSinkThatSoundsGoTo)
{
    const SoundServer server;
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), 0);
    EXPECT_TRUE(server.IsMuted("one"));
    EXPECT_FALSE(server.IsMuted("two"));
    EXPECT_EQ(sound_manager_set_tv_master_mute(false), 0);
    EXPECT_FALSE(server.IsMuted("one"));
}

TEST(SoundTest, TheSpeakerIsTheSameSinkUntilItHasAName)
{
    const SoundServer server;
    EXPECT_EQ(sound_manager_set_device_mute(kSpeaker, true), 0);
    EXPECT_TRUE(server.IsMuted("one"));
    bool mute = false;
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), 0);
    EXPECT_TRUE(mute);
    server.Mutes("one", false);
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), 0);
    EXPECT_FALSE(mute);
}

TEST(SoundTest, TheSpeakerIsTheSinkThatTheBoxNames)
{
    WriteFile("/etc/vyrel-lite/features.d/speaker.conf", "[platform]\nsink.0=two\n");
    const SoundServer server;
    EXPECT_EQ(sound_manager_set_device_mute(kSpeaker, true), 0);
    EXPECT_FALSE(server.IsMuted("one"));
    EXPECT_TRUE(server.IsMuted("two"));
    bool mute = false;
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), 0);
    EXPECT_TRUE(mute);
}

TEST(SoundTest, AnotherDefaultSinkIsFollowed)
{
    const SoundServer server;
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), 0);
    server.ChoosesDefault("two");
    bool mute = true;
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), 0);
    EXPECT_FALSE(mute);
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), 0);
    EXPECT_TRUE(server.IsMuted("two"));
    server.LosesDefault();
    EXPECT_EQ(sound_manager_set_tv_master_mute(false), 0);
    EXPECT_FALSE(server.IsMuted("two"));
}

TEST(SoundTest, ASinkThatIsNotThereFailsThisTime)
{
    WriteFile("/etc/vyrel-lite/features.d/speaker.conf", "[platform]\nsink.0=three\n");
    const SoundServer server;
    bool mute = true;
    EXPECT_EQ(sound_manager_set_device_mute(kSpeaker, true), -1);
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), -1);
    EXPECT_TRUE(mute);
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), 0);
}

TEST(SoundTest, OtherDevicesAreNone)
{
    const SoundServer server;
    bool mute = true;
    EXPECT_EQ(sound_manager_set_device_mute(1, true), -2);
    EXPECT_EQ(sound_manager_get_device_mute(-1, &mute), -2);
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, nullptr), -1);
    EXPECT_TRUE(mute);
    EXPECT_FALSE(server.IsMuted("one"));
}

TEST(SoundTest, WithoutAServerItIsNotSupportedAndSaysSoOnce)
{
    const SoundServer server(SoundServer::Start::Later);
    bool mute = true;
    const auto start = support::RealTime::Now();
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), -95);
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), -95);
    EXPECT_EQ(sound_manager_set_device_mute(kSpeaker, true), -95);
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), -95);
    EXPECT_LT(support::RealTime::Now() - start, kBusy);
    EXPECT_TRUE(mute);
    EXPECT_EQ(LogLinesWith("no sound server: "), 1);
    EXPECT_EQ(LogLinesWith("sound_manager_get_device_mute is not supported: "), 1);
    EXPECT_EQ(LogLinesWith("is not supported: "), 3);
}

TEST(SoundTest, AServerThatComesLaterIsFound)
{
    SoundServer server(SoundServer::Start::Later);
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), -95);
    server.Comes();
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), 0);
    EXPECT_TRUE(server.IsMuted("one"));
}

TEST(SoundTest, AServerThatWasRestartedIsFoundAgain)
{
    SoundServer server;
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), 0);
    server.Dies();
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), -95);
    server.Comes();
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), 0);
    EXPECT_TRUE(server.IsMuted("one"));
    // And when nobody asked while it was away.
    server.Dies();
    server.Comes();
    bool mute = true;
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), 0);
    EXPECT_FALSE(mute);
}

TEST(SoundTest, AServerThatDoesNotAnswerIsNotWaitedForAgainAtOnce)
{
    const SoundServer server;
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), 0);
    server.Freezes();
    const auto start = support::RealTime::Now();
    bool mute = true;
    EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), -95);
    const auto once = support::RealTime::Now() - start;
    EXPECT_GE(once, 450ms);
    EXPECT_LT(once, kBusy);
    for (int time = 0; time < 3; ++time) {
        EXPECT_EQ(sound_manager_get_device_mute(kSpeaker, &mute), -95);
    }
    EXPECT_EQ(LogLinesWith("the sound server does not answer"), 1);
    server.Thaws();
}

TEST(SoundTest, SomethingThatTakesTheCallAndNeverAnswersIsLeftInTime)
{
    const SoundServer server(SoundServer::Start::Later);
    const std::string path = InRoot("/tmp/mute").string();
    WriteFile("/etc/vyrel-lite/features.d/zz.conf", "[platform]\nsound.server=unix:" + path + "\n");
    std::filesystem::create_directories(InRoot("/tmp"));
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(::bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(::listen(listening, 1), 0);
    const auto start = support::RealTime::Now();
    EXPECT_EQ(sound_manager_set_tv_master_mute(true), -95);
    EXPECT_LT(support::RealTime::Now() - start, kBusy);
    ::close(listening);
}

} // namespace
