// A box with its service, its companion and a Bluetooth daemon: a speaker pairs and plays, and comes back by itself
// after the next start.

#include "linux/FakeBluez.h"
#include "linux/Root.h"
#include "people/Command.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Child.h"
#include "support/ChildProcess.h"
#include "support/MainLoop.h"
#include "support/PrivateBus.h"

#include <gio/gio.h>
#include <gmock/gmock.h>

#include <bluez_dbus.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" int service_main();

namespace people_test {
namespace {

using linux_test::FakeBluez;
using support::ChildProcess;
using ::testing::HasSubstr;

constexpr const char* kSpeaker = "AA:BB:CC:DD:EE:02";
constexpr const char* kSink = "0000110b-0000-1000-8000-00805f9b34fb";
constexpr const char* kSource = "0000110a-0000-1000-8000-00805f9b34fb";
constexpr auto kLong = std::chrono::seconds(60);

/// The product's own entry point; without a journal its log comes out of the standard error.
int Service()
{
    if (dup2(STDOUT_FILENO, STDERR_FILENO) < 0) {
        throw std::runtime_error("no standard error");
    }
    return service_main();
}

class SpeakerComesBackTest : public ::testing::Test
{
protected:
    /// The service and its companion, as systemd starts them. A service can be started only once; both were forked
    /// before there was a thread.
    void BoxStarts(ChildProcess& service)
    {
        m_companion = std::make_unique<Command>(
            std::vector<std::string>{VYREL_COMPANION, "--root", root, "--rule", "known-only"});
        ASSERT_TRUE(m_companion->Says("waiting for the service's word"));
        service.Begins();
        ASSERT_TRUE(service.WaitForOutput("run main loop of vyrel-lite", kLong)) << service.Output();
        ASSERT_TRUE(support::IterateUntil(
            [&] { return daemon.CallsOf("RequestDefaultAgent /org/vantor/platform/agent") > 0; }, kLong));
    }

    void BoxStops(ChildProcess& service)
    {
        service.Send(SIGTERM);
        EXPECT_EQ(service.WaitForEnd(kLong), support::Exited(1));
        EXPECT_THAT(service.Output(), ::testing::Not(HasSubstr("CRITICAL")));
        m_companion.reset();
    }

    std::string AddSpeaker()
    {
        return daemon.AddDevice(kSpeaker, [](BluezDevice1* device) {
            const char* uuids[] = {kSink, nullptr};
            bluez_device1_set_name(device, "Speaker");
            bluez_device1_set_uuids(device, uuids);
        });
    }

    void Plays(const std::string& speaker)
    {
        daemon.SetDevice(speaker, [](BluezDevice1* device) { bluez_device1_set_connected(device, TRUE); });
        daemon.AddTransport(speaker + "/fd0", speaker, kSource);
    }

    bool Ends(int call, const std::string& outcome)
    {
        return support::IterateUntil([&] { return daemon.Outcome(call) == outcome; }, kLong);
    }

    int Route() const
    {
        int route = -1;
        settings::Store store(settings::FoldersUnder(root));
        store.GetInt("db/vyrel/lastSoundRoute", &route);
        return route;
    }

    /// Where an installed box counts its resets: without it each start would be one after a reset.
    static std::string Installed()
    {
        std::filesystem::create_directories(linux_test::InRoot("/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data"));
        return linux_test::InRoot("").string();
    }

    const std::string root = Installed();
    const support::PrivateBus bus;
    ChildProcess first{Service, ChildProcess::Start::WhenTold};
    ChildProcess second{Service, ChildProcess::Start::WhenTold};
    FakeBluez daemon;
    std::unique_ptr<Command> m_companion;
};

TEST_F(SpeakerComesBackTest, AfterTheNextStart)
{
    daemon.AddAdapter(true);
    std::string speaker = AddSpeaker();
    daemon.Starts();
    EXPECT_EQ(RunToEnd({VYREL_COMPANION, "--root", root, "trust", kSpeaker}).status, 0);
    BoxStarts(first);

    EXPECT_TRUE(Ends(daemon.Asks("RequestAuthorization", g_variant_new("(o)", speaker.c_str())), "ok"))
        << m_companion->Output() << m_companion->Error();
    daemon.SetDevice(speaker, [](BluezDevice1* device) {
        bluez_device1_set_paired(device, TRUE);
        bluez_device1_set_bonded(device, TRUE);
    });
    EXPECT_TRUE(Ends(daemon.Asks("AuthorizeService", g_variant_new("(os)", speaker.c_str(), kSource)), "ok"));
    EXPECT_TRUE(support::IterateUntil([&] { return daemon.CallsOf("Set Trusted true") > 0; }, kLong));
    Plays(speaker);
    EXPECT_TRUE(support::IterateUntil([&] { return Route() == 3; }, kLong)) << m_companion->Output();
    BoxStops(first);

    daemon.Remove(speaker + "/fd0");
    daemon.SetDevice(speaker, [](BluezDevice1* device) { bluez_device1_set_connected(device, FALSE); });
    daemon.ForgetCalls();
    BoxStarts(second);
    // The service gives the speaker ten seconds to come by itself.
    EXPECT_TRUE(support::IterateUntil([&] { return daemon.CallsOf("Connect") > 0; }, kLong)) << m_companion->Output();
    EXPECT_EQ(Route(), 0);
    Plays(speaker);
    EXPECT_TRUE(support::IterateUntil([&] { return Route() == 3; }, kLong)) << m_companion->Output();
    EXPECT_EQ(daemon.CallsOf("Connect"), 1);
    BoxStops(second);
}

TEST_F(SpeakerComesBackTest, NobodyIsLetInThatNobodyKnows)
{
    daemon.AddAdapter(true);
    const std::string speaker = AddSpeaker();
    daemon.Starts();
    BoxStarts(first);
    EXPECT_TRUE(
        Ends(daemon.Asks("RequestAuthorization", g_variant_new("(o)", speaker.c_str())), "org.bluez.Error.Rejected"));
    EXPECT_TRUE(Ends(daemon.Asks("AuthorizeService", g_variant_new("(os)", speaker.c_str(), kSource)),
                     "org.bluez.Error.Rejected"));
    BoxStops(first);
}

} // namespace
} // namespace people_test
