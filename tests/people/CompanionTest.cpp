// vyrel-companion as a process. The platform is in this one, and the test speaks for the service.

#include "linux/BluezTest.h"
#include "linux/FakeBluez.h"
#include "linux/Root.h"
#include "people/Caller.h"
#include "people/Command.h"
#include "people/Pty.h"
#include "settings/KeyNode.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/MainLoop.h"
#include "support/Peer.h"
#include "support/PrivateBus.h"
#include "support/TempDir.h"

#include <gio/gio.h>
#include <gmock/gmock.h>

#include <bluez_dbus.h>
#include <bt_adapter.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace people_test {
namespace {

using linux_test::BluezTest;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* kManager = "com.quorix.tv.bt.connectionmanager";
constexpr const char* kReady = "waiting for the service's word\n";
constexpr const char* kRejected = "org.bluez.Error.Rejected";

/// The command with a root of its own.
class CompanionCommandTest : public ::testing::Test
{
protected:
    std::string Root() const
    {
        return m_folder.Path().string();
    }

    std::vector<std::string> Words(std::vector<std::string> words = {}) const
    {
        words.insert(words.begin(), {VYREL_COMPANION, "--root", Root()});
        return words;
    }

    Outcome Companion(std::vector<std::string> words) const
    {
        return RunToEnd(Words(std::move(words)));
    }

    void Writes(const std::string& path, const std::string& text) const
    {
        std::filesystem::create_directories(std::filesystem::path(Root() + path).parent_path());
        std::ofstream(Root() + path, std::ios::binary) << text;
    }

    const support::TempDir m_folder;
};

/// A box whose platform is open, with the companion on the bus beside it.
class CompanionTest : public BluezTest
{
protected:
    void StartsBox(std::vector<std::string> words = {"--rule", "known-only"}, const std::string& redirection = {})
    {
        phone = daemon.AddDevice(kPhone, [](BluezDevice1* device) { bluez_device1_set_name(device, "Phone"); });
        speaker = daemon.AddDevice(kSpeaker, [](BluezDevice1* device) {
            const char* uuids[] = {kSink, nullptr};
            bluez_device1_set_name(device, "Speaker");
            bluez_device1_set_uuids(device, uuids);
        });
        Starts();
        service = std::make_unique<Caller>("org.vantor.vyrel.lite");
        words.insert(words.begin(), {VYREL_COMPANION, "--root", Root()});
        companion = std::make_unique<Command>(std::move(words), redirection);
        if (redirection.empty()) {
            ASSERT_TRUE(companion->Says(kReady)) << companion->Error();
        }
    }

    std::string Root() const
    {
        return m_folder.Path().string();
    }

    void Knows(const std::string& address) const
    {
        EXPECT_EQ(RunToEnd({VYREL_COMPANION, "--root", Root(), "trust", address}).status, 0);
    }

    std::string Known() const
    {
        return RunToEnd({VYREL_COMPANION, "--root", Root(), "known"}).output;
    }

    void Tells(const char* member, GVariant* body = nullptr)
    {
        service->Calls(kManager, member, body);
    }

    /// A device asks, and the service passes it on.
    int Asks(const std::string& method, GVariant* arguments)
    {
        const std::size_t before = record.size();
        const int call = daemon.Asks(method, arguments);
        EXPECT_TRUE(support::IterateUntil([&] { return record.size() > before; }));
        Tells("SspConcentRequest", g_variant_new("(ssi)", kPhone, "Phone", 0));
        return call;
    }

    bool Ends(int call, const std::string& outcome)
    {
        const bool isSo = support::IterateUntil([&] { return daemon.Outcome(call) == outcome; });
        EXPECT_TRUE(isSo) << daemon.Outcome(call);
        return isSo;
    }

    GVariant* Phone() const
    {
        return g_variant_new("(o)", phone.c_str());
    }

    std::optional<std::string> TextSetting(const char* key) const
    {
        std::string text;
        settings::Store store(settings::FoldersUnder(Root()));
        return store.GetString(key, &text) == settings::kOk ? std::optional(text) : std::nullopt;
    }
    int Route() const
    {
        int route = -1;
        settings::Store store(settings::FoldersUnder(Root()));
        store.GetInt("db/vyrel/lastSoundRoute", &route);
        return route;
    }
    void SetsLast(const std::string& address) const
    {
        settings::Store store(settings::FoldersUnder(Root()));
        ASSERT_EQ(store.Set("db/vyrel/last_btspk_addr", address), settings::kOk);
    }

    const support::TempDir m_folder;
    std::string phone;
    std::string speaker;
    std::unique_ptr<Caller> service;
    std::unique_ptr<Command> companion;
};

TEST_F(CompanionTest, AnswersASignOfLifeAtOnce)
{
    StartsBox();
    EXPECT_EQ(service->Asks(kManager, "Hello", nullptr), "()");
}

TEST_F(CompanionTest, AnswersEveryCallThatTheServiceMakes)
{
    StartsBox();
    EXPECT_EQ(service->Asks(kManager, "AdapterDisabled", nullptr), "()");
    EXPECT_EQ(service->Asks(kManager, "AvrcpInterimReceived", g_variant_new("(si)", kSpeaker, 64)), "()");
    EXPECT_EQ(service->Asks(kManager, "SmartRcBatteryNotify", g_variant_new("(ssi)", "5", kPhone, 1)), "()");
    EXPECT_EQ(service->Asks(kManager, "GripSensorDetected", nullptr), "()");
    service->Emits(kManager, kManager, "PowerStateChanged", g_variant_new("(iiiiii)", 0, 0, 0, 2, 0, 0));
    EXPECT_TRUE(companion->Says("power: normal -> standby\n"));
    EXPECT_THAT(companion->Output(), AllOf(HasSubstr("the adapter is off\n"), HasSubstr("has volume 64 of 127\n"),
                                           HasSubstr("battery of remote AA:BB:CC:DD:EE:01: low\n"),
                                           HasSubstr("somebody grips the remote\n")));
}

TEST_F(CompanionTest, ACallWithWrongTypesChangesNothing)
{
    StartsBox();
    Knows(kPhone);
    const std::string invalid = "org.freedesktop.DBus.Error.InvalidArgs";
    EXPECT_EQ(service->Asks(kManager, "BondDestroied", g_variant_new("(i)", 7)), invalid);
    EXPECT_EQ(service->Asks(kManager, "AudioConnectionStateChanged", g_variant_new("(s)", kSpeaker)), invalid);
    EXPECT_EQ(service->Asks(kManager, "Dance", nullptr), "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(service->Asks(kManager, "BondDestroied", g_variant_new("(s)", "nonsense")), "()");
    EXPECT_EQ(service->Asks(kManager, "A2dpPowerOn", g_variant_new("(s)", "")), "()");
    service->Emits(kManager, kManager, "PowerStateChanged", g_variant_new("(s)", "\x1b[2J"));
    EXPECT_TRUE(companion->Says("PowerStateChanged('\\u001b[2J',)\n"));
    EXPECT_EQ(service->Asks(kManager, "Hello", nullptr), "()");
    EXPECT_THAT(Known(), HasSubstr(kPhone));
}

TEST_F(CompanionTest, AStrangerIsRefusedAtOnceWithoutATerminal)
{
    StartsBox({});
    EXPECT_TRUE(Ends(Asks("RequestAuthorization", Phone()), kRejected));
    EXPECT_TRUE(Ends(Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 42U)), kRejected));
    EXPECT_TRUE(Ends(Asks("RequestPinCode", Phone()), kRejected));
    EXPECT_TRUE(Ends(Asks("RequestPasskey", Phone()), kRejected));
    EXPECT_TRUE(Ends(Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), kSource)), kRejected));
    EXPECT_THAT(companion->Output(), HasSubstr("AA:BB:CC:DD:EE:01 \"Phone\" is refused\n"));
    EXPECT_EQ(Known(), "none\n");
}

TEST_F(CompanionTest, AKnownDeviceIsLetInWithoutAQuestion)
{
    Knows(kPhone);
    StartsBox();
    EXPECT_TRUE(Ends(Asks("RequestAuthorization", Phone()), "ok"));
    EXPECT_TRUE(Ends(Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 42U)), "ok"));
    EXPECT_TRUE(Ends(Asks("RequestPinCode", Phone()), "ok '0000'"));
    EXPECT_TRUE(Ends(Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), kSource)), "ok"));
    EXPECT_TRUE(WaitForCall("Set Trusted true"));
}

TEST_F(CompanionTest, APasskeyThatOnlyAPersonKnowsIsRefusedToAKnownDeviceToo)
{
    Knows(kPhone);
    StartsBox();
    EXPECT_TRUE(Ends(Asks("RequestPasskey", Phone()), kRejected));
}

TEST_F(CompanionTest, ATrustedDeviceIsKnownToACompanionThatRuns)
{
    StartsBox();
    EXPECT_TRUE(Ends(Asks("RequestAuthorization", Phone()), kRejected));
    Knows(kPhone);
    EXPECT_TRUE(Ends(Asks("RequestAuthorization", Phone()), "ok"));
    EXPECT_EQ(RunToEnd({VYREL_COMPANION, "--root", Root(), "forget", kPhone}).status, 0);
    EXPECT_TRUE(Ends(Asks("RequestAuthorization", Phone()), kRejected));
}

TEST_F(CompanionTest, TheRuleNeverRefusesKnownDevicesToo)
{
    Knows(kPhone);
    StartsBox({"--rule", "never"});
    EXPECT_TRUE(Ends(Asks("RequestAuthorization", Phone()), kRejected));
}

TEST_F(CompanionTest, WhoWaitedBeforeItRanIsAnswered)
{
    Knows(kPhone);
    StartsBox();
    companion.reset();
    const int call = daemon.Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(Told(std::string("consent Phone ") + kPhone));
    companion = std::make_unique<Command>(std::vector<std::string>{VYREL_COMPANION, "--root", Root()});
    EXPECT_TRUE(Ends(call, "ok"));
}

TEST_F(CompanionTest, APinOfTheKeyFileIsGiven)
{
    Knows(kPhone);
    std::filesystem::create_directories(Root() + "/etc/vyrel-lite");
    std::ofstream(Root() + "/etc/vyrel-lite/companion.conf") << "[pairing]\npin=1234\nrule=known-only\n";
    StartsBox({});
    EXPECT_TRUE(Ends(Asks("RequestPinCode", Phone()), "ok '1234'"));
}

TEST_F(CompanionTest, ADeviceWhosePairingIsGoneIsAStranger)
{
    Knows(kPhone);
    StartsBox();
    Tells("BondDestroied", g_variant_new("(s)", kPhone));
    EXPECT_TRUE(Ends(Asks("RequestAuthorization", Phone()), kRejected));
    EXPECT_EQ(Known(), "none\n");
}

TEST_F(CompanionTest, AfterAResetEverybodyIsAStranger)
{
    Knows(kPhone);
    Knows(kSpeaker);
    StartsBox();
    SetsLast(kSpeaker);
    EXPECT_EQ(service->Asks(kManager, "DeleteDatabase", nullptr), "()");
    EXPECT_TRUE(support::IterateUntil([&] { return Known() == "none\n"; }));
    EXPECT_TRUE(support::IterateUntil([&] { return TextSetting("db/vyrel/last_btspk_addr") == ""; }));
}

TEST_F(CompanionTest, APersonAtTheTerminalLetsADeviceIn)
{
    Pty terminal;
    StartsBox({}, terminal.Redirection());
    ASSERT_TRUE(terminal.Shows(kReady));
    const int call = Asks("RequestConfirmation", g_variant_new("(ou)", phone.c_str(), 42U));
    ASSERT_TRUE(terminal.Shows("AA:BB:CC:DD:EE:01 \"Phone\": does it show 000042? [y/N] "));
    terminal.Types("y\n");
    EXPECT_TRUE(Ends(call, "ok"));
    EXPECT_THAT(Known(), HasSubstr("AA:BB:CC:DD:EE:01  Phone"));
    EXPECT_TRUE(Ends(Asks("AuthorizeService", g_variant_new("(os)", phone.c_str(), kSource)), "ok"));
}

TEST_F(CompanionTest, EverythingButYesRefuses)
{
    Pty terminal;
    StartsBox({}, terminal.Redirection());
    ASSERT_TRUE(terminal.Shows(kReady));
    const int call = Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(terminal.Shows("may it pair? [y/N] "));
    terminal.Types("\n");
    EXPECT_TRUE(Ends(call, kRejected));
    EXPECT_EQ(Known(), "none\n");
}

TEST_F(CompanionTest, APersonEntersThePin)
{
    Pty terminal;
    StartsBox({}, terminal.Redirection());
    ASSERT_TRUE(terminal.Shows(kReady));
    const int call = Asks("RequestPinCode", Phone());
    ASSERT_TRUE(terminal.Shows("enter its PIN (nothing refuses it): "));
    terminal.Types("8421\n");
    EXPECT_TRUE(Ends(call, "ok '8421'"));
}

TEST_F(CompanionTest, APasskeyToBeTypedThereIsShown)
{
    StartsBox();
    Asks("DisplayPasskey", g_variant_new("(ouq)", phone.c_str(), 123U, 0));
    EXPECT_TRUE(companion->Says("AA:BB:CC:DD:EE:01 \"Phone\": type passkey 000123 there\n"));
}

TEST_F(CompanionTest, AQuestionThatHasSettledItselfIsTakenBack)
{
    Pty terminal;
    StartsBox({}, terminal.Redirection());
    ASSERT_TRUE(terminal.Shows(kReady));
    const int call = Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(terminal.Shows("may it pair? [y/N] "));
    daemon.Asks("Cancel", nullptr);
    EXPECT_TRUE(Ends(call, "org.bluez.Error.Canceled"));
    EXPECT_TRUE(terminal.Shows("\ntoo late: cancelled"));
    terminal.Types("y\n"); // comes too late, and answers nothing
    EXPECT_EQ(service->Asks(kManager, "Hello", nullptr), "()");
    EXPECT_EQ(Known(), "none\n");
}

TEST_F(CompanionTest, WithTheTerminalGoneTheRuleDecides)
{
    Pty terminal;
    StartsBox({}, terminal.Redirection());
    ASSERT_TRUE(terminal.Shows(kReady));
    const int call = Asks("RequestAuthorization", Phone());
    ASSERT_TRUE(terminal.Shows("may it pair? [y/N] "));
    terminal.HangsUp();
    EXPECT_TRUE(Ends(call, kRejected));
    EXPECT_TRUE(Ends(Asks("RequestAuthorization", Phone()), kRejected));
}

TEST_F(CompanionTest, TheSpeakerThatPlaysIsRemembered)
{
    StartsBox();
    Tells("AudioConnectionStateChanged", g_variant_new("(siii)", kSpeaker, 2, 0, 1));
    EXPECT_TRUE(support::IterateUntil([&] { return Route() == 3; }));
    EXPECT_EQ(TextSetting("db/vyrel/last_btspk_addr"), kSpeaker);
    EXPECT_EQ(TextSetting("db/vyrel/last_btspk_name"), "Speaker");
}

TEST_F(CompanionTest, WhatIsNoSpeakerIsNotRemembered)
{
    StartsBox();
    settings::Store store(settings::FoldersUnder(Root()));
    std::vector<std::string> remembered;
    ASSERT_EQ(store.Watch(
                  "db/vyrel/last_btspk_addr",
                  [](keynode* node, void* list) {
                      static_cast<std::vector<std::string>*>(list)->push_back(std::get<std::string>(node->value));
                  },
                  &remembered),
              settings::kOk);
    Tells("AudioConnectionStateChanged", g_variant_new("(siii)", kPhone, 16, 0, 1));
    Tells("AudioConnectionStateChanged", g_variant_new("(siii)", kPhone, 1, 0, 1));
    Tells("AudioConnectionStateChanged", g_variant_new("(siii)", kPhone, 2, 0, 0));
    Tells("AudioConnectionStateChanged", g_variant_new("(siii)", kSpeaker, 2, 0, 1));
    EXPECT_TRUE(support::IterateUntil([&] { return !remembered.empty() && remembered.back() == kSpeaker; }));
    EXPECT_THAT(remembered, ElementsAre(kSpeaker));
}

TEST_F(CompanionTest, ASpeakerThatWasThereBeforeIsRemembered)
{
    StartsBox();
    daemon.SetDevice(speaker, [](BluezDevice1* device) { bluez_device1_set_connected(device, TRUE); });
    Tells("CheckConnectedDevice");
    EXPECT_TRUE(support::IterateUntil([&] { return Route() == 3; }));
    EXPECT_EQ(TextSetting("db/vyrel/last_btspk_addr"), kSpeaker);
}

TEST_F(CompanionTest, TheLastSpeakerIsCalled)
{
    StartsBox();
    SetsLast(kSpeaker);
    Tells("LastConnectedBtSpk");
    EXPECT_TRUE(WaitForCall("Connect"));
    EXPECT_TRUE(companion->Says("calling AA:BB:CC:DD:EE:02\n"));
}

TEST_F(CompanionTest, ASpeakerThatDoesNotListenYetIsCalledAgain)
{
    StartsBox();
    SetsLast(kSpeaker);
    daemon.AnswersWithError("Connect", "org.bluez.Error.Failed");
    Tells("LastConnectedBtSpk");
    EXPECT_TRUE(companion->Says("AA:BB:CC:DD:EE:02 does not come yet: no\n"));
    daemon.Behaves();
    EXPECT_TRUE(WaitForCall("Connect", 2));
}

TEST_F(CompanionTest, ASpeakerThatHasComeIsNotCalledAgain)
{
    StartsBox();
    SetsLast(kSpeaker);
    daemon.AnswersWithError("Connect", "org.bluez.Error.Failed");
    Tells("LastConnectedBtSpk");
    ASSERT_TRUE(companion->Says("does not come yet"));
    Tells("AudioConnectionStateChanged", g_variant_new("(siii)", kSpeaker, 2, 0, 1));
    ASSERT_TRUE(support::IterateUntil([&] { return Route() == 3; }));
    Passes(std::chrono::milliseconds(3500)); // it would be called again after 2 s
    EXPECT_EQ(daemon.CallsOf("Connect"), 1);
}

TEST_F(CompanionTest, TheSpeakerThatSwitchedTheBoxOnIsCalled)
{
    StartsBox();
    Tells("A2dpPowerOn", g_variant_new("(s)", kSpeaker));
    EXPECT_TRUE(WaitForCall("Connect"));
}

TEST_F(CompanionTest, WhoeverIsNotPairedAnyMoreIsNotCalled)
{
    StartsBox();
    SetsLast("00:00:00:00:00:01");
    Tells("LastConnectedBtSpk");
    EXPECT_TRUE(companion->Says("00:00:00:00:00:01 is not paired any more\n"));
    EXPECT_EQ(daemon.CallsOf("Connect"), 0);
}

TEST_F(CompanionTest, WithoutALastSpeakerNobodyIsCalled)
{
    StartsBox();
    Tells("LastConnectedBtSpk");
    EXPECT_TRUE(companion->Says("the last speaker is wanted, and there has been none\n"));
    EXPECT_EQ(daemon.CallsOf("Connect"), 0);
}

TEST_F(CompanionTest, ItOutlivesTheBluetoothDaemon)
{
    StartsBox();
    SetsLast(kSpeaker);
    daemon.Dies();
    Tells("LastConnectedBtSpk");
    EXPECT_TRUE(companion->Says("AA:BB:CC:DD:EE:02 does not come yet: there is no adapter\n"));
    daemon.AddAdapter(true);
    daemon.AddDevice(kSpeaker);
    daemon.Starts();
    EXPECT_TRUE(WaitForCall("Connect"));
}

TEST_F(CompanionTest, ItEndsWithASignal)
{
    for (const int signal : {SIGINT, SIGTERM}) {
        if (companion == nullptr) {
            StartsBox();
        } else {
            companion = std::make_unique<Command>(std::vector<std::string>{VYREL_COMPANION, "--root", Root()});
            ASSERT_TRUE(companion->Says(kReady));
        }
        companion->Send(signal);
        EXPECT_EQ(companion->WaitForEnd().status, 0);
    }
}

TEST_F(CompanionTest, ItsOutputMayBeFull)
{
    StartsBox({}, "> /dev/full 2> /dev/full");
    EXPECT_TRUE(support::IterateUntil([&] { return service->Asks(kManager, "Hello", nullptr) == "()"; }));
    EXPECT_EQ(service->Asks(kManager, "GripSensorDetected", nullptr), "()");
    EXPECT_TRUE(Ends(Asks("RequestAuthorization", Phone()), kRejected));
}

TEST_F(CompanionCommandTest, ASecondConnectionManagerGivesWay)
{
    const support::PrivateBus bus;
    const support::Peer manager(kManager);
    const Outcome outcome = Companion({});
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.error, "vyrel-companion: another connection manager runs\n");
}

TEST_F(CompanionCommandTest, WithoutTheRightToItsNameItSaysSo)
{
    const support::PrivateBus bus("<policy context=\"mandatory\"><deny own=\"*\"/></policy>");
    const Outcome outcome = Companion({});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.error, StartsWith("vyrel-companion: this user may not be the connection manager"));
}

TEST_F(CompanionCommandTest, ItEndsWithTheBus)
{
    support::PrivateBus bus;
    Command companion(Words());
    ASSERT_TRUE(companion.Says(kReady));
    bus.Dies();
    const Outcome outcome = companion.WaitForEnd();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(outcome.error, "vyrel-companion: the message bus is gone\n");
}

TEST_F(CompanionCommandTest, WithoutABusItSaysSo)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    const Outcome outcome = Companion({});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.error, StartsWith("vyrel-companion: no message bus: "));
}

TEST_F(CompanionCommandTest, KnownDevicesAreListedAddedAndForgotten)
{
    EXPECT_EQ(Companion({"known"}).output, "none\n");
    EXPECT_EQ(Companion({"trust", "aa:bb:cc:dd:ee:01"}).status, 0);
    EXPECT_EQ(Companion({"known"}).output, "ADDRESS            NAME\nAA:BB:CC:DD:EE:01\n");
    EXPECT_EQ(Companion({"forget", "AA:BB:CC:DD:EE:01"}).status, 0);
    EXPECT_EQ(Companion({"known"}).output, "none\n");
    const Outcome again = Companion({"forget", "AA:BB:CC:DD:EE:01"});
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.error, "vyrel-companion: AA:BB:CC:DD:EE:01 is not known\n");
}

TEST_F(CompanionCommandTest, AMemoryOfNonsenseIsKeptBesideTheNewOne)
{
    Writes("/var/lib/vyrel-companion/known.conf", "\x01\x02 nonsense");
    const Outcome known = Companion({"known"});
    EXPECT_EQ(known.status, 4);
    EXPECT_EQ(known.output, "");
    EXPECT_THAT(known.error, HasSubstr("makes no sense: nobody is known"));
    EXPECT_EQ(Companion({"forget", "AA:BB:CC:DD:EE:01"}).status, 4);
    EXPECT_EQ(Companion({"trust", "AA:BB:CC:DD:EE:01"}).status, 0);
    EXPECT_THAT(Companion({"known"}).output, HasSubstr("AA:BB:CC:DD:EE:01"));
    EXPECT_TRUE(std::filesystem::exists(Root() + "/var/lib/vyrel-companion/known.conf.bad"));
}

TEST_F(CompanionCommandTest, AMemoryThatCannotBeWrittenIsAFailure)
{
    Writes("/var/lib/vyrel-companion", "a file where the folder should be");
    const Outcome outcome = Companion({"trust", "AA:BB:CC:DD:EE:01"});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.error, HasSubstr("cannot be written: Not a directory"));
}

TEST_F(CompanionCommandTest, NonsenseInTheKeyFileIsNamed)
{
    const support::PrivateBus bus;
    const std::pair<const char*, const char*> files[] = {
        {"[pairing]\nrule=perhaps\n", "the rule \"perhaps\" is none of ask, known-only and never"},
        {"[pairing]\nrule=\n", "the rule \"\" is none of"},
        {"[pairing]\npin=12345678901234567\n", "has not 1 to 16 bytes: 0000 it is"},
        {"nonsense", "is no key file: only known devices are let in"},
        {"[pairing]\nrule=\xff\xfe\n", "is none of"},
    };
    for (const auto& [text, complaint] : files) {
        Writes("/etc/vyrel-lite/companion.conf", text);
        Command companion(Words());
        ASSERT_TRUE(companion.Says(kReady));
        EXPECT_THAT(companion.Error(), HasSubstr(complaint)) << text;
    }
}

TEST_F(CompanionCommandTest, WhatCannotBeUnderstoodIsRefused)
{
    const std::vector<std::vector<std::string>> commands = {{"dance"},       {"--rule", "perhaps"}, {"trust"},
                                                            {"trust", "me"}, {"forget", "1", "2"},  {"--root"}};
    for (const auto& words : commands) {
        const Outcome outcome = Companion(words);
        EXPECT_EQ(outcome.status, 2) << ::testing::PrintToString(words);
        EXPECT_THAT(outcome.error, HasSubstr("Try 'vyrel-companion --help'."));
    }
}

TEST_F(CompanionCommandTest, HelpNeedsNoBus)
{
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    const Outcome outcome = Companion({"--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.output, AllOf(StartsWith("usage: vyrel-companion"), HasSubstr("exit status:")));
    EXPECT_EQ(RunToEnd(Words({"known"}), "> /dev/full").status, 4);
}

} // namespace
} // namespace people_test
