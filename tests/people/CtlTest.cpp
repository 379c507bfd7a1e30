// vyrel-ctl, as a shell runs it, on a box whose platform is this process.

#include "linux/BluezTest.h"
#include "linux/FakeBluez.h"
#include "linux/FakeRemotes.h"
#include "linux/Logind.h"
#include "linux/Policy.h"
#include "linux/RemotesTest.h"
#include "linux/Root.h"
#include "people/Caller.h"
#include "people/Command.h"
#include "support/MainLoop.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"

#include <gio/gio.h>
#include <gmock/gmock.h>

#include <bluez_dbus.h>
#include <device_power.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace people_test {
namespace {

using linux_test::FakeRemotes;
using linux_test::Logind;
using linux_test::RemotesTest;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

Outcome Ctl(std::vector<std::string> words, const std::string& redirection = {})
{
    words.insert(words.begin(), VYREL_CTL);
    return RunToEnd(std::move(words), redirection);
}

/// What a command that succeeds prints.
std::string OutputOf(std::vector<std::string> words)
{
    const Outcome outcome = Ctl(std::move(words));
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_EQ(outcome.error, "");
    return outcome.output;
}

/// The part of the status under this title.
std::string PartOf(const std::string& status, const std::string& title)
{
    const std::size_t begin = ("\n" + status).find("\n" + title + "\n");
    if (begin == std::string::npos) {
        return "no " + title;
    }
    std::istringstream lines(status.substr(begin + title.size() + 1));
    std::string part;
    for (std::string line; std::getline(lines, line) && line.starts_with("  ");) {
        part += line.substr(2) + "\n";
    }
    return part;
}

/// The box as it is most often: daemon and adapter are there, the platform is open and listened to.
class CtlTest : public RemotesTest
{
protected:
    ~CtlTest() override
    {
        device_power_unsubscribe_standby(OnStandby);
    }

    void StartsBox()
    {
        Starts();
        device_power_subscribe_standby(OnStandby, nullptr);
        ASSERT_TRUE(support::IterateUntil([] { return Ctl({"power"}).status == 0; }));
    }

    std::string AddPhone()
    {
        return daemon.AddDevice(kPhone, [](BluezDevice1* device) {
            const char* uuids[] = {kSource, nullptr};
            bluez_device1_set_name(device, "Phone");
            bluez_device1_set_uuids(device, uuids);
            bluez_device1_set_paired(device, TRUE);
            bluez_device1_set_bonded(device, TRUE);
            bluez_device1_set_connected(device, TRUE);
        });
    }

    int Asks(const std::string& method, GVariant* arguments)
    {
        const int call = daemon.Asks(method, arguments);
        EXPECT_TRUE(support::IterateUntil([] { return Ctl({"--json", "pairing", "list"}).output != "[]\n"; }));
        return call;
    }

    bool Ends(int call, const std::string& outcome)
    {
        return support::IterateUntil([&] { return daemon.Outcome(call) == outcome; });
    }

    static int OnStandby(int, void*)
    {
        return 0;
    }
};

TEST_F(CtlTest, DevicesThatArePairedOrConnectedAreListed)
{
    AddPhone();
    daemon.AddDevice(kSpeaker, [](BluezDevice1* device) { bluez_device1_set_name(device, "Passer-by"); });
    StartsBox();
    EXPECT_EQ(OutputOf({"devices"}), "ADDRESS            NAME   KIND    PAIRED  TRUSTED  CONNECTED  BATTERY\n"
                                     "AA:BB:CC:DD:EE:01  Phone  player  yes     no       yes\n");
    EXPECT_EQ(OutputOf({"devices", "--json"}),
              "[{\"address\":\"AA:BB:CC:DD:EE:01\",\"name\":\"Phone\",\"kind\":\"player\",\"paired\":true,"
              "\"trusted\":false,\"connected\":true,\"battery_percent\":null}]\n");
    EXPECT_THAT(OutputOf({"devices", "--all"}), AllOf(HasSubstr("Phone"), HasSubstr("Passer-by")));
}

TEST_F(CtlTest, WithoutDevicesTheListSaysSo)
{
    StartsBox();
    EXPECT_EQ(OutputOf({"devices"}), "none\n");
    EXPECT_EQ(OutputOf({"--json", "devices"}), "[]\n");
    EXPECT_EQ(OutputOf({"remotes"}), "none\n");
    EXPECT_EQ(OutputOf({"features"}), "none\n");
    EXPECT_EQ(OutputOf({"pairing", "list"}), "none\n");
}

TEST_F(CtlTest, AThousandDevicesAreListed)
{
    for (unsigned number = 0; number < 1000; ++number) {
        char address[18];
        std::snprintf(address, sizeof address, "00:00:00:00:%02X:%02X", number / 256U, number % 256U);
        daemon.AddDevice(address, [](BluezDevice1* device) { bluez_device1_set_paired(device, TRUE); });
    }
    StartsBox();
    const std::string lines = OutputOf({"devices"});
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1001);
    EXPECT_THAT(lines, HasSubstr("\n00:00:00:00:03:E7"));
}

TEST_F(CtlTest, WhatANameWouldDoToATerminalIsTakenOutOfIt)
{
    daemon.AddDevice(kPhone, [](BluezDevice1* device) {
        bluez_device1_set_name(device, "\x1b[2Jred\n\xe2\x80\xaeturned");
        bluez_device1_set_paired(device, TRUE);
    });
    StartsBox();
    EXPECT_THAT(OutputOf({"devices"}),
                AllOf(HasSubstr("\xef\xbf\xbd[2Jred\xef\xbf\xbd\xef\xbf\xbdturned"), Not(HasSubstr("\x1b"))));
    EXPECT_THAT(OutputOf({"devices", "--json"}), HasSubstr("\"name\":\"\\u001b[2Jred\\u000a\xe2\x80\xaeturned\""));
}

TEST_F(CtlTest, ALongNameIsCutInATableAndWholeForPrograms)
{
    const std::string name(248, 'x');
    daemon.AddDevice(kPhone, [&](BluezDevice1* device) {
        bluez_device1_set_name(device, name.c_str());
        bluez_device1_set_paired(device, TRUE);
    });
    StartsBox();
    EXPECT_THAT(OutputOf({"devices"}), AllOf(HasSubstr(" " + std::string(39, 'x') + "… "), Not(HasSubstr(name))));
    EXPECT_THAT(OutputOf({"devices", "--json"}), HasSubstr("\"" + name + "\""));
}

TEST_F(CtlTest, ARemoteIsShownWithItsBatteryAndItsAge)
{
    StartsBox();
    HasRemote();
    remotes.Reports({0x20, 31 << 3 | 3, 0});
    ASSERT_TRUE(Told("battery " + std::to_string(31 << 3 | 3) + " " + kRemote));
    EXPECT_THAT(OutputOf({"remotes"}),
                MatchesRegex("ADDRESS +KIND +CONNECTED +BATTERY +REPORTED +TYPE +FIRMWARE +PROTOCOL\n"
                             "AA:BB:CC:DD:EE:10 +smart-remote +yes +31/31 +[0-9] s ago +[0-9]+ +0x[0-9a-f]+ +yes\n"));
    EXPECT_TRUE(std::regex_match(
        OutputOf({"remotes", "--json"}),
        std::regex("\\[\\{\"address\":\"AA:BB:CC:DD:EE:10\",\"kind\":\"smart-remote\",\"connected\":true,"
                   "\"battery_level\":3,\"battery_reading\":31,\"battery_age_ms\":[0-9]{1,4},\"type\":[0-9]+,"
                   "\"firmware\":[0-9]+,\"protocol\":true\\}\\]\n")));
}

TEST_F(CtlTest, ARemoteThatHasGoneIsStillShown)
{
    StartsBox();
    HasRemote();
    remotes.Reports({0x20, 3 << 3 | 5, 0});
    ASSERT_TRUE(Told("battery " + std::to_string(3 << 3 | 5) + " " + kRemote));
    remotes.Unplugs();
    ASSERT_TRUE(Told(std::string("smart remote down ") + kRemote + " ?"));
    EXPECT_THAT(OutputOf({"remotes"}), HasSubstr("AA:BB:CC:DD:EE:10  smart-remote  no         3/31 low"));
}

TEST_F(CtlTest, ABatteryThatWasNeverReportedIsUnknown)
{
    StartsBox();
    HasBasicRemote();
    EXPECT_THAT(OutputOf({"remotes"}), MatchesRegex("[^\n]*\nAA:BB:CC:DD:EE:10 +smart-remote +yes +unknown +no\n"));
    EXPECT_THAT(OutputOf({"remotes", "--json"}),
                HasSubstr("\"battery_level\":null,\"battery_reading\":null,\"battery_age_ms\":null,\"type\":null,"
                          "\"firmware\":null,\"protocol\":false"));
}

TEST_F(CtlTest, PowerStatesAreShownAndSet)
{
    Logind logind([](const std::string&) {});
    StartsBox();
    EXPECT_EQ(OutputOf({"power"}), "normal\n");
    for (const char* state : {"picture-off", "standby", "normal"}) {
        EXPECT_EQ(OutputOf({"power", state}), "");
        EXPECT_EQ(OutputOf({"power"}), std::string(state) + "\n");
    }
    EXPECT_EQ(OutputOf({"power", "--json"}),
              "{\"state\":\"normal\",\"ambient\":\"none\",\"wakeup_reason\":0,\"locked\":false}\n");
}

TEST_F(CtlTest, LocksAmbientAndWakeReasonAreShown)
{
    StartsBox();
    device_power_set_wakeup_reason(95);
    device_power_lock_state(DEVICE_POWER_STATE_STANDBY, 60000);
    EXPECT_EQ(OutputOf({"power"}), "normal, woken for reason 95, locked\n");
}

class WayOut : public CtlTest, public ::testing::WithParamInterface<std::pair<const char*, const char*>>
{};

TEST_P(WayOut, EndsWhereItIsTold)
{
    const auto [state, request] = GetParam();
    std::atomic<int> requests = 0;
    std::string asked;
    Logind logind([&](const std::string& what) {
        asked = what;
        ++requests;
    });
    StartsBox();
    EXPECT_EQ(OutputOf({"power", state}), "");
    ASSERT_TRUE(support::IterateUntil([&] { return requests.load() > 0; }));
    EXPECT_EQ(asked, request);
}

INSTANTIATE_TEST_SUITE_P(Ctl, WayOut,
                         ::testing::Values(std::pair("suspend", "Suspend"), std::pair("off", "PowerOff"),
                                           std::pair("reboot", "Reboot")),
                         [](const auto& one) { return std::string(one.param.second); });

TEST_F(CtlTest, ABoxOnItsWayOutRefusesAnother)
{
    Logind logind([](const std::string&) {});
    logind.Behaves(Logind::Behaviour::Stalls);
    StartsBox();
    EXPECT_EQ(OutputOf({"power", "off"}), "");
    Outcome outcome;
    ASSERT_TRUE(support::IterateUntil([&] {
        outcome = Ctl({"power", "normal"});
        return outcome.status != 0;
    }));
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.error, "vyrel-ctl: the box is on its way out\n");
}

TEST_F(CtlTest, AConfirmationIsListedAndAccepted)
{
    const std::string phone = AddPhone();
    StartsBox();
    const int call = Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 42U));
    EXPECT_THAT(OutputOf({"pairing", "list"}),
                MatchesRegex("ADDRESS            NAME   QUESTION              LEFT\n"
                             "AA:BB:CC:DD:EE:01  Phone  does it show 000042\\?  2[0-9] s\n"));
    EXPECT_THAT(OutputOf({"pairing", "list", "--json"}),
                StartsWith("[{\"id\":1,\"kind\":\"authentication\",\"address\":\"AA:BB:CC:DD:EE:01\","
                           "\"name\":\"Phone\",\"code\":2,\"passkey\":\"000042\",\"uuid\":null,\"left_ms\":2"));
    EXPECT_EQ(OutputOf({"pairing", "accept", "aa:bb:cc:dd:ee:01"}), "");
    EXPECT_TRUE(Ends(call, "ok"));
}

TEST_F(CtlTest, APairingIsAcceptedWithTrust)
{
    const std::string phone = AddPhone();
    StartsBox();
    const int call = Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 42U));
    EXPECT_EQ(OutputOf({"pairing", "accept", kPhone, "--trust"}), "");
    EXPECT_TRUE(Ends(call, "ok"));
    EXPECT_EQ(daemon.CallsOf("Set Trusted true"), 1);
}

TEST_F(CtlTest, APairingIsAcceptedWithoutTrust)
{
    const std::string phone = AddPhone();
    StartsBox();
    const int call = Asks("RequestAuthorization", g_variant_new("(o)", phone.c_str()));
    EXPECT_EQ(OutputOf({"pairing", "accept", kPhone}), "");
    EXPECT_TRUE(Ends(call, "ok"));
    Settles();
    EXPECT_EQ(daemon.CallsOf("Set Trusted true"), 0);
}

TEST_F(CtlTest, NobodyIsTrustedWhoIsRefused)
{
    const std::string phone = AddPhone();
    StartsBox();
    const int call = Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 42U));
    EXPECT_EQ(Ctl({"pairing", "refuse", kPhone, "--trust"}).status, 2);
    EXPECT_EQ(OutputOf({"pairing", "refuse", kPhone}), "");
    EXPECT_TRUE(Ends(call, "org.bluez.Error.Rejected"));
    Settles();
    EXPECT_EQ(daemon.CallsOf("Set Trusted true"), 0);
}

TEST_F(CtlTest, ARequestIsRefused)
{
    const std::string phone = AddPhone();
    StartsBox();
    const int call = Asks("RequestAuthorization", g_variant_new("(o)", phone.c_str()));
    EXPECT_EQ(OutputOf({"pairing", "refuse", kPhone}), "");
    EXPECT_TRUE(Ends(call, "org.bluez.Error.Rejected"));
}

TEST_F(CtlTest, AServiceIsAcceptedWithTrust)
{
    const std::string phone = AddPhone();
    StartsBox();
    const int call = Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), kSource));
    EXPECT_THAT(OutputOf({"pairing", "list"}), HasSubstr("may it use audio?"));
    EXPECT_EQ(OutputOf({"pairing", "accept", kPhone, "--trust"}), "");
    EXPECT_TRUE(Ends(call, "ok"));
    EXPECT_TRUE(WaitForCall("Set Trusted true"));
}

TEST_F(CtlTest, AServiceIsAcceptedOnceWithoutTrust)
{
    const std::string phone = AddPhone();
    StartsBox();
    const int call = Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), kSource));
    EXPECT_EQ(OutputOf({"pairing", "accept", kPhone}), "");
    EXPECT_TRUE(Ends(call, "ok"));
    Settles();
    EXPECT_EQ(daemon.CallsOf("Set Trusted true"), 0);
}

TEST_F(CtlTest, APinHasToBeGiven)
{
    const std::string phone = AddPhone();
    StartsBox();
    const int call = Asks("RequestPinCode", g_variant_new("(o)", phone.c_str()));
    const Outcome without = Ctl({"pairing", "accept", kPhone});
    EXPECT_EQ(without.status, 2);
    EXPECT_EQ(without.error, "vyrel-ctl: AA:BB:CC:DD:EE:01 needs --code, its PIN or passkey\n");
    const Outcome tooLong = Ctl({"pairing", "accept", kPhone, "--code", "12345678901234567"});
    EXPECT_EQ(tooLong.status, 7);
    EXPECT_THAT(tooLong.error, HasSubstr("a PIN has 1 to 16 characters"));
    EXPECT_EQ(OutputOf({"pairing", "accept", kPhone, "--code", "0000"}), "");
    EXPECT_TRUE(Ends(call, "ok '0000'"));
}

TEST_F(CtlTest, WhoDoesNotWaitCannotBeAnswered)
{
    StartsBox();
    for (const char* answer : {"accept", "refuse"}) {
        const Outcome outcome = Ctl({"pairing", answer, "00:11:22:33:44:55"});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.error, "vyrel-ctl: 00:11:22:33:44:55 does not wait for an answer\n");
    }
}

TEST_F(CtlTest, FeaturesAreThoseThatTheServiceHasRead)
{
    linux_test::WriteFile("/etc/vyrel-lite/features.d/box.conf",
                          "[com.quorix/featureconf]\nble_support=true\nnonsense\n[value]\n0=Small \"Box\"\n");
    StartsBox();
    EXPECT_EQ(OutputOf({"features"}), "GROUP                   KEY          VALUE\n"
                                      "com.quorix/featureconf  ble_support  true\n"
                                      "value                   0            Small \"Box\"\n");
    EXPECT_THAT(OutputOf({"features", "--json"}), HasSubstr("\"value\":\"Small \\\"Box\\\"\"}]"));
}

TEST_F(CtlTest, TheStatusShowsAllAtAGlance)
{
    AddPhone();
    StartsBox();
    HasRemote();
    const support::Peer service("org.vantor.vyrel.lite");
    const support::Peer manager("com.quorix.tv.bt.connectionmanager");
    const std::string status = OutputOf({"status"});
    EXPECT_EQ(PartOf(status, "Service"), "running\n");
    EXPECT_EQ(PartOf(status, "Adapter"), "hci0  00:11:22:33:44:55  \"box\"  on\n");
    EXPECT_EQ(PartOf(status, "Power"), "normal\n");
    EXPECT_THAT(PartOf(status, "Remotes"), HasSubstr("AA:BB:CC:DD:EE:10  smart-remote"));
    EXPECT_THAT(PartOf(status, "Devices"), HasSubstr("AA:BB:CC:DD:EE:01  Phone"));
    EXPECT_EQ(PartOf(status, "Siblings"), "connection manager  here\n"
                                          "connection shift    absent\n"
                                          "hands-free agent    absent\n"
                                          "update manager      absent\n"
                                          "touch-IR monitor    absent\n");
    EXPECT_THAT(PartOf(status, "Last wakes"),
                MatchesRegex("WHEN +WHAT +ADAPTER ON +FIRST REMOTE +LAST SPEAKER\n"
                             "20[0-9]{2}-[0-9-]+ [0-9:]+ +start +([0-9]+ ms|-) +[0-9]+ ms +-\n"));
    EXPECT_THAT(OutputOf({"status", "--json"}),
                AllOf(StartsWith("{\"service\":true,\"adapters\":[{\"index\":0,\"address\":\"00:11:22:33:44:55\","
                                 "\"name\":\"box\",\"powered\":true,\"discoverable\":false}],\"devices\":[{"),
                      HasSubstr("\"wakes\":[{\"cause\":\"start\",\"time\":"),
                      HasSubstr("\"siblings\":{\"com.quorix.tv.bt.connectionmanager\":true,"
                                "\"com.quorix.tv.bt.connectionshift\":false,")));
}

TEST(CtlWithoutServiceTest, TheStatusShowsWhatThereIsAndFails)
{
    const support::PrivateBus bus;
    const Outcome outcome = Ctl({"status"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(PartOf(outcome.output, "Service"), "not running\n");
    EXPECT_EQ(PartOf(outcome.output, "Adapter"), "the Bluetooth daemon does not run\n");
    EXPECT_EQ(PartOf(outcome.output, "Power"), "the service does not run\n");
    EXPECT_EQ(PartOf(outcome.output, "Remotes"), "the service does not run\n");
    const Outcome forPrograms = Ctl({"status", "--json"});
    EXPECT_EQ(forPrograms.status, 5);
    EXPECT_THAT(forPrograms.output,
                StartsWith("{\"service\":false,\"adapters\":null,\"devices\":null,\"power\":null,\"wakes\":null,"
                           "\"remotes\":null,\"siblings\":{"));
}

TEST(CtlWithoutServiceTest, WhatTheServiceIsNeededForFails)
{
    const support::PrivateBus bus;
    const std::vector<std::vector<std::string>> commands = {
        {"remotes"},  {"power"},           {"power", "off"},
        {"features"}, {"pairing", "list"}, {"pairing", "accept", "00:11:22:33:44:55"}};
    for (const auto& words : commands) {
        const Outcome outcome = Ctl(words);
        EXPECT_EQ(outcome.status, 5);
        EXPECT_EQ(outcome.error, "vyrel-ctl: the service does not run\n");
        EXPECT_EQ(outcome.output, "");
    }
    const Outcome devices = Ctl({"devices"});
    EXPECT_EQ(devices.status, 5);
    EXPECT_EQ(devices.error, "vyrel-ctl: the Bluetooth daemon does not run\n");
}

TEST(CtlWithoutServiceTest, WithoutABusItSaysSo)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    for (const char* command : {"status", "devices", "watch"}) {
        const Outcome outcome = Ctl({command});
        EXPECT_EQ(outcome.status, 4);
        EXPECT_THAT(outcome.error, StartsWith("vyrel-ctl: no message bus: "));
    }
}

TEST(CtlWithoutServiceTest, AServiceOfAnotherVersionIsNamed)
{
    const support::PrivateBus bus;
    support::Peer platform("org.vantor.platform");
    platform.AnswersWithError("ListRemotes", "org.freedesktop.DBus.Error.UnknownMethod", "what?");
    const Outcome outcome = Ctl({"remotes"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.error, HasSubstr("does not offer this"));
}

TEST(CtlWithoutServiceTest, AnAnswerOfAWrongTypeIsAFailure)
{
    const support::PrivateBus bus;
    support::Peer platform("org.vantor.platform");
    for (const char* member : {"ListRemotes", "ListPending", "ListFeatures", "GetAll"}) {
        platform.Answers(member, g_variant_new("(as)", nullptr));
    }
    const std::vector<std::vector<std::string>> commands = {{"remotes"}, {"power"}, {"features"}, {"pairing", "list"}};
    for (const auto& words : commands) {
        const Outcome outcome = Ctl(words);
        EXPECT_EQ(outcome.status, 4);
        EXPECT_EQ(outcome.error, "vyrel-ctl: the service gave an answer that makes no sense\n");
    }
}

TEST(CtlWithoutServiceTest, ObjectsOfWrongTypesAreLeftOut)
{
    const support::PrivateBus bus;
    support::Peer daemon("org.bluez");
    daemon.Answers(
        "GetManagedObjects",
        g_variant_new_parsed("({objectpath '/org/bluez/hci0': {'org.bluez.Adapter1': {'Alias': <7>, "
                             "'Address': <'00:11:22:33:44:55'>, 'Powered': <'yes'>}},"
                             "'/org/bluez/hci0/dev_AA_BB_CC_DD_EE_01': {'org.bluez.Device1': {'Name': <true>, "
                             "'Address': <'AA:BB:CC:DD:EE:01'>, 'Paired': <true>, 'UUIDs': <'x'>, "
                             "'Connected': <[1, 2]>}},"
                             "'/org/bluez/nonsense': {'org.bluez.Device1': {'Paired': <true>}}},)"));
    EXPECT_THAT(OutputOf({"devices"}),
                AllOf(HasSubstr("AA:BB:CC:DD:EE:01"), HasSubstr("yes     no       no"), Not(HasSubstr("true"))));
    EXPECT_EQ(PartOf(Ctl({"status"}).output, "Adapter"), "hci0  00:11:22:33:44:55  \"\"  off\n");
}

TEST(CtlWithoutServiceTest, ADaemonThatAnswersWithAnErrorIsNamed)
{
    const support::PrivateBus bus;
    support::Peer daemon("org.bluez");
    daemon.AnswersWithError("GetManagedObjects", "org.bluez.Error.Failed", "not today");
    const Outcome outcome = Ctl({"devices"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.error, "vyrel-ctl: the Bluetooth daemon: not today\n");
}

TEST(CtlWithoutServiceTest, AServiceThatHangsIsNotWaitedForForever)
{
    const support::PrivateBus bus;
    support::Peer platform("org.vantor.platform");
    platform.Stalls("ListFeatures");
    const Outcome outcome = Ctl({"features"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.error, "vyrel-ctl: the service does not answer\n");
}

/// A bus on which this user is nobody.
class StrangeBus : public support::PrivateBus
{
public:
    StrangeBus()
        : PrivateBus(linux_test::RulesForEverybodyElse(VYREL_POLICY,
                                                       "<deny send_interface=\"org.freedesktop.DBus.Monitoring\"/>"))
    {}
};

TEST(CtlWithoutRightTest, EverybodyMayLookButNotTouch)
{
    const StrangeBus bus;
    const support::Peer daemon("org.bluez");
    support::Peer platform("org.vantor.platform");
    platform.Answers("ListRemotes", g_variant_new("(a(ssbbiixiu))", nullptr));
    platform.Answers("ListFeatures", g_variant_new("(a(sss))", nullptr));
    platform.Answers("GetAll", g_variant_new("(a{sv})", nullptr));
    EXPECT_EQ(OutputOf({"remotes"}), "none\n");
    EXPECT_EQ(OutputOf({"features"}), "none\n");
    EXPECT_EQ(OutputOf({"power"}), "normal\n");
    const std::vector<std::vector<std::string>> commands = {
        {"power", "off"}, {"power", "normal"}, {"pairing", "list"}, {"pairing", "accept", "00:11:22:33:44:55"}};
    for (const auto& words : commands) {
        const Outcome outcome = Ctl(words);
        EXPECT_EQ(outcome.status, 6);
        EXPECT_EQ(outcome.error, "vyrel-ctl: you may not: be root or a member of the group \"vyrel\"\n");
    }
}

TEST(CtlWithoutRightTest, OnlyRootMayWatch)
{
    const StrangeBus bus;
    const Outcome outcome = Ctl({"watch"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_EQ(outcome.error, "vyrel-ctl: the bus lets only root see what others are told: sudo vyrel-ctl watch\n");
}

TEST(CtlCommandLineTest, WhatCannotBeUnderstoodIsRefused)
{
    const std::vector<std::vector<std::string>> commands = {{},
                                                            {"dance"},
                                                            {"power", "sideways"},
                                                            {"pairing"},
                                                            {"pairing", "accept"},
                                                            {"pairing", "accept", "11:22:33"},
                                                            {"pairing", "accept", "00:11:22:33:44:GG"},
                                                            {"status", "more"},
                                                            {"watch", "--count", "0"},
                                                            {"watch", "--timeout", "soon"},
                                                            {"watch", "--count", "99999999999"},
                                                            {"devices", "--al"}};
    for (const auto& words : commands) {
        const Outcome outcome = Ctl(words);
        EXPECT_EQ(outcome.status, 2) << ::testing::PrintToString(words);
        EXPECT_THAT(outcome.error, HasSubstr("Try 'vyrel-ctl --help'.")) << ::testing::PrintToString(words);
        EXPECT_EQ(outcome.output, "");
    }
}

TEST(CtlCommandLineTest, HelpNeedsNoBus)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    EXPECT_THAT(OutputOf({"--help"}), AllOf(StartsWith("usage: vyrel-ctl"), HasSubstr("exit status:")));
}

TEST(CtlCommandLineTest, AFullDiskIsAFailure)
{
    const Outcome outcome = Ctl({"--help"}, "> /dev/full");
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.error, "vyrel-ctl: cannot write the output: No space left on device\n");
}

constexpr const char* kManager = "com.quorix.tv.bt.connectionmanager";
constexpr const char* kShift = "com.quorix.tv.bt.connectionshift";

class CtlWatchTest : public ::testing::Test
{
protected:
    Command Watches(std::vector<std::string> words = {})
    {
        words.insert(words.begin(), {VYREL_CTL, "watch"});
        return Command(std::move(words));
    }

    const support::PrivateBus bus;
    Caller service{"org.vantor.vyrel.lite"};
    Caller platform{"org.vantor.platform"};
};

TEST_F(CtlWatchTest, WhatSiblingsAreToldIsShownInWords)
{
    const support::Peer manager(kManager);
    Command watch = Watches({"--count", "7"});
    ASSERT_TRUE(watch.Says("watching\n"));
    service.Calls(kManager, "Hello", nullptr);
    service.Calls(kManager, "AuthenticaionRequest",
                  g_variant_new("(sssii)", "AA:BB:CC:DD:EE:01", "Phone\x1b", "000042", 2, 0));
    service.Calls(kManager, "AudioConnectionStateChanged", g_variant_new("(siii)", "AA:BB:CC:DD:EE:02", 2, 0, 1));
    service.Calls(kShift, "UpdateConnectedDeviceList", g_variant_new("(bs)", FALSE, "AA:BB:CC:DD:EE:02"));
    service.Emits(manager.BusName().c_str(), kManager, "PowerStateChanged",
                  g_variant_new("(iiiiii)", 0, 0, 0, 2, 0, 0));
    service.Calls(kManager, "SmartRcBatteryNotify", g_variant_new("(i)", 7));
    platform.Emits(nullptr, "org.vantor.platform.Pairing1", "Done", g_variant_new("(ts)", guint64{3}, "accepted"));
    const Outcome outcome = watch.WaitForEnd();
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    const std::string lines = std::regex_replace(outcome.output, std::regex("(^|\n)[0-9:]{8}"), "$1");
    EXPECT_EQ(lines,
              "  connection manager  are you there?\n"
              "  connection manager  AA:BB:CC:DD:EE:01 \"Phone\xef\xbf\xbd\" wants to pair: does it show 000042?\n"
              "  connection manager  AA:BB:CC:DD:EE:02 is connected, a speaker\n"
              "  connection shift    AA:BB:CC:DD:EE:02 is disconnected\n"
              "  connection manager  power: normal -> standby\n"
              "  connection manager  SmartRcBatteryNotify(7,)\n"
              "  all                 request 3 is accepted\n");
}

TEST_F(CtlWatchTest, ProgramsGetOneValueOnALine)
{
    Command watch = Watches({"--json", "--count", "1"});
    ASSERT_TRUE(watch.Says("watching\n"));
    service.Calls(kManager, "BondDestroied", g_variant_new("(s)", "AA:BB:CC:DD:EE:02"));
    const Outcome outcome = watch.WaitForEnd();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(std::regex_match(
        outcome.output,
        std::regex("\\{\"time\":[0-9]{13},\"to\":\"connection manager\",\"interface\":\"com.quorix.tv.bt."
                   "connectionmanager\",\"member\":\"BondDestroied\",\"body\":\"\\('AA:BB:CC:DD:EE:02',\\)\","
                   "\"words\":\"the pairing with AA:BB:CC:DD:EE:02 is gone\"\\}\n")))
        << outcome.output;
}

TEST_F(CtlWatchTest, WhatTheServiceAsksOfOthersIsNotShown)
{
    Command watch = Watches({"--count", "1"});
    ASSERT_TRUE(watch.Says("watching\n"));
    service.Calls("org.bluez", "Hello", nullptr);
    service.Emits(nullptr, "org.example.Other", "Noise", nullptr);
    service.Calls(kManager, "DeleteDatabase", nullptr);
    const Outcome outcome = watch.WaitForEnd();
    EXPECT_THAT(outcome.output, AllOf(HasSubstr("forget all"), Not(HasSubstr("Noise"))));
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1);
}

TEST_F(CtlWatchTest, ItEndsWithASignal)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        Command watch = Watches();
        ASSERT_TRUE(watch.Says("watching\n"));
        watch.Send(signal);
        EXPECT_EQ(watch.WaitForEnd().status, 0);
    }
}

TEST_F(CtlWatchTest, ItEndsWithItsTime)
{
    EXPECT_EQ(Ctl({"watch", "--timeout", "1"}).status, 0);
    EXPECT_EQ(Ctl({"watch", "--timeout", "1", "--count", "1"}).status, 1);
}

TEST_F(CtlWatchTest, ItEndsWithTheOutput)
{
    Command watch({VYREL_CTL, "watch"}, "> /dev/full");
    ASSERT_TRUE(watch.Says("watching\n"));
    service.Calls(kManager, "Hello", nullptr);
    const Outcome outcome = watch.WaitForEnd();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.error, HasSubstr("cannot write the output: No space left on device"));
}

TEST(CtlWatchAloneTest, ItEndsWithTheBus)
{
    support::PrivateBus bus;
    Command watch({VYREL_CTL, "watch"});
    ASSERT_TRUE(watch.Says("watching\n"));
    bus.Dies();
    const Outcome outcome = watch.WaitForEnd();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.error, HasSubstr("vyrel-ctl: the message bus is gone"));
}

} // namespace
} // namespace people_test
