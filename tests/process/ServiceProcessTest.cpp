// The whole service, entry point and all, in a process of its own beside a bus and a store that others use too.

#include "GlibPointers.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "sim/Audio.h"
#include "sim/Devices.h"
#include "sim/Features.h"
#include "sim/Power.h"
#include "sim/Queue.h"
#include "sim/Remotes.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "support/Child.h"
#include "support/ChildProcess.h"
#include "support/MainLoop.h"
#include "support/MessageMatchers.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"
#include "support/Settle.h"
#include "support/Siblings.h"
#include "support/TempDir.h"
#include "support/WaitedTime.h"

#include <gio/gio.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <string_view>

using namespace std::chrono_literals;
using support::Call;
using support::ChildProcess;
using support::Exited;
using support::KilledBy;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

extern "C" int service_main();

namespace {

using Sink = std::function<void(const sim::Entry&)>;

constexpr const char* kSpeaker = "AA:BB:CC:00:00:01";
constexpr const char* kPhone = "AA:BB:CC:00:00:02";
constexpr const char* kKeyboard = "AA:BB:CC:00:00:03";
constexpr const char* kRemote = "AA:BB:CC:00:00:04";

constexpr const char* kIn = "D VYREL_LITE LiteDebug.h: ApiTracker(117) > IN >> [int main()(15)]\n";
constexpr const char* kOut = "D VYREL_LITE LiteDebug.h: ~ApiTracker(121) > OUT << [int main()(15)]\n";
constexpr const char* kRuns = "E VYREL_LITE main.cpp: main(34) > run main loop of vyrel-lite\n";

void Print(const sim::Entry& entry)
{
    std::printf("%s\n", entry.text.c_str());
    std::fflush(stdout);
}

/// A service on a television in this folder, as it would be started on a set; its tape is the output.
/// \param prepare what the television is like before the service starts
/// \param sink    sees each entry after it was printed
std::function<int()> Service(std::string root, std::function<void(sim::Television&)> prepare = {}, Sink sink = {})
{
    return [=] {
        sim::Television tv(root);
        tv.tape.SetSink([&](const sim::Entry& entry) {
            Print(entry);
            if (sink) {
                sink(entry);
            }
        });
        if (prepare) {
            prepare(tv);
        }
        // Nothing is above the entry point of a process.
        return []() noexcept { return service_main(); }();
    };
}

/// A sink that throws when a log line with this text comes by.
template <typename Exception>
Sink ThrowsAt(const char* text, Exception exception)
{
    return [=](const sim::Entry& entry) {
        if (entry.message == text) {
            throw exception;
        }
    };
}

/// True when each text is in the output, each after the one before.
::testing::AssertionResult InThisOrder(const std::string& output, std::initializer_list<const char*> texts)
{
    std::size_t from = 0;
    for (const char* text : texts) {
        from = output.find(text, from);
        if (from == std::string::npos) {
            return ::testing::AssertionFailure() << "missing, or too early: " << text << "\n" << output;
        }
    }
    return ::testing::AssertionSuccess();
}

/// True once the service has heard a signal. Before that its subscription may be on its way to the bus, as may the
/// answer to its request for a name.
bool IsListening(ChildProcess& service, support::KeyRouter& router)
{
    const auto deadline = support::RealTime::Now() + support::kDeadline;
    while (support::RealTime::Now() < deadline) {
        router.ReportsCombination(50);
        if (service.WaitForOutput("KEY_COMBINATION Signal NOT for VYREL", 100ms)) {
            return true;
        }
    }
    return false;
}

class TheService : public ::testing::Test
{
protected:
    std::string Root() const
    {
        return m_root.Path();
    }

    support::TempDir m_root;
    support::PrivateBus m_bus;
};

TEST_F(TheService, TracesItsEntryPointFirstAndLastAndStopsWithStatusOne)
{
    ChildProcess service(Service(Root()));
    ASSERT_TRUE(service.WaitForOutput(kRuns));
    service.Send(SIGTERM);
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_THAT(service.Output(),
                StartsWith(std::string(kIn) + "E VYREL_LITE main.cpp: main(18) > enter vyrel-lite\n"));
    EXPECT_TRUE(InThisOrder(service.Output(), {kRuns, "E VYREL_LITE main.cpp: main(37) > Deinit vyrel-lite\n",
                                               "E VYREL_LITE main.cpp: main(43) > exit vyrel-lite\n", kOut}));
    EXPECT_THAT(service.Output(), EndsWith(kOut));
}

TEST_F(TheService, StopsOnAnInterruptToo)
{
    ChildProcess service(Service(Root()));
    ASSERT_TRUE(service.WaitForOutput(kRuns));
    service.Send(SIGINT);
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_THAT(service.Output(), EndsWith(kOut));
}

TEST_F(TheService, StartsAndStopsItsComponentsInOrder)
{
    ChildProcess service(Service(Root()));
    ASSERT_TRUE(service.WaitForOutput(kRuns));
    service.Send(SIGTERM);
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_TRUE(
        InThisOrder(service.Output(), {"enter vyrel-lite", "bt_product_init()", "bt_hid_set_smart_rc_connection_cb()",
                                       "Register Tv Status Event callbacks",
                                       R"(vconf_notify_key_changed("db/org.vantor.bleapp/added_mobile_keylist") = 0)",
                                       "Pemble has not been paired", "run main loop", "Deinit vyrel-lite",
                                       R"(vconf_ignore_key_changed("db/menu/network/devicename/tv_name") = 0)",
                                       "bt_product_deinit()", "Unregister Tv Status Event callbacks",
                                       R"(vconf_ignore_key_changed("db/org.vantor.bleapp/added_mobile_keylist") = -1)",
                                       "bt_hid_unset_smart_rc_connection_cb()", "exit vyrel-lite"}));
}

TEST_F(TheService, LetsItsObjectsGoAfterItHasSaidThatItExits)
{
    ChildProcess service(Service(
        Root(), [](sim::Television& tv) { tv.MakesFile("/opt/usr/apps/org.vantor.vyrel/data/launch_autoswitch"); }));
    ASSERT_TRUE(service.WaitForOutput(kRuns));
    service.Send(SIGTERM);
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    // The earphone launcher's timer is pending until the launcher goes.
    EXPECT_TRUE(InThisOrder(service.Output(), {": 10 s\n", "create /tmp/.launch_autoswitching", kRuns,
                                               "exit vyrel-lite\n", " removed\n", kOut}));
}

TEST_F(TheService, StopsAtOnceWhenItIsToldSoBeforeItsLoopRuns)
{
    ChildProcess service(Service(Root(), {}, [](const sim::Entry& entry) {
        if (entry.message == "Pemble has not been paired") {
            raise(SIGTERM);
        }
    }));
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_TRUE(InThisOrder(service.Output(), {kRuns, "Deinit vyrel-lite", kOut}));
}

TEST_F(TheService, EndsAtOnceOnASecondSignalAlsoWhileACallHoldsItsLoop)
{
    ChildProcess service(Service(Root(),
                                 [](sim::Television& tv) {
                                     tv.queue.PostAfter(1ms, [&tv] { tv.audio.Connects("AA:BB:CC:DD:EE:FF", 1); });
                                 }),
                         ChildProcess::Start::WhenTold);
    support::ConnectionManager manager;
    manager.Stalls("AudioConnectionStateChanged");
    service.Begins();
    ASSERT_TRUE(manager.WaitForMessages(1));
    service.Send(SIGTERM);
    service.Send(SIGINT);
    EXPECT_THAT(service.WaitForEnd(2s), AnyOf(KilledBy(SIGINT), KilledBy(SIGTERM)));
}

TEST_F(TheService, StopsAfterTheCallThatItWaitsForThoughManyMoreWritesAreToBeTold)
{
    const auto stopsAtACall = [](const sim::Entry& entry) {
        if (entry.message.ends_with("method = AudioMultiOutputChanged")) {
            raise(SIGTERM);
        }
    };
    ChildProcess service(Service(Root(), {}, stopsAtACall), ChildProcess::Start::WhenTold);
    support::ConnectionManager manager;
    manager.Stalls("AudioMultiOutputChanged");
    service.Begins();
    ASSERT_TRUE(service.WaitForOutput(kRuns));
    settings::Store store(settings::FoldersUnder(Root()));
    for (int value = 0; value < 300; ++value) {
        ASSERT_EQ(store.Set("db/vyrel/audio_multi_output_on_off", value), settings::kOk);
    }
    ASSERT_TRUE(manager.WaitForMessages(1));
    manager.Releases("AudioMultiOutputChanged");
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_THAT(manager.Messages(), ElementsAre(Call("AudioMultiOutputChanged", "(i)", "(0,)")));
    EXPECT_THAT(service.Output(), EndsWith(kOut));
}

TEST_F(TheService, LogsAnExceptionOfAStartCallAndStartsNothingMore)
{
    ChildProcess service(
        Service(Root(), {}, ThrowsAt("Register Tv Status Event callbacks", std::runtime_error("no power manager"))));
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_THAT(service.Output(),
                EndsWith(std::string("E VYREL_LITE main.cpp: main(47) > exception = no power manager\n") + kOut));
    EXPECT_THAT(service.Output(), Not(HasSubstr("db/org.vantor.bleapp/added_mobile_keylist")));
    EXPECT_THAT(service.Output(), Not(HasSubstr("Pemble")));
    EXPECT_THAT(service.Output(), Not(HasSubstr("Deinit vyrel-lite")));
}

TEST_F(TheService, LogsAnExceptionOfALoopCallback)
{
    ChildProcess service(Service(
        Root(), [](sim::Television& tv) { tv.queue.Post([&tv] { tv.power.GoesTo(3); }); },
        ThrowsAt("power state is changed from 0 to 3", std::runtime_error("in the loop"))));
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_TRUE(InThisOrder(service.Output(), {kRuns, "main(47) > exception = in the loop\n", kOut}));
    EXPECT_THAT(service.Output(), Not(HasSubstr("Deinit vyrel-lite")));
}

TEST_F(TheService, LogsAnExceptionOfAStopCall)
{
    ChildProcess service(
        Service(Root(), {}, ThrowsAt("Unregister Tv Status Event callbacks", std::runtime_error("while stopping"))));
    ASSERT_TRUE(service.WaitForOutput(kRuns));
    service.Send(SIGTERM);
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_TRUE(InThisOrder(service.Output(), {"Deinit vyrel-lite", "exception = while stopping", kOut}));
    EXPECT_THAT(service.Output(), Not(HasSubstr("exit vyrel-lite")));
}

TEST_F(TheService, EndsAbnormallyOnAnyOtherExceptionButClosesItsTrace)
{
    ChildProcess service(Service(Root(), {}, ThrowsAt("Register Tv Status Event callbacks", 42)));
    EXPECT_EQ(service.WaitForEnd(), KilledBy(SIGABRT));
    EXPECT_THAT(service.Output(), EndsWith(kOut));
    EXPECT_THAT(service.Output(), Not(HasSubstr("exception =")));
}

TEST_F(TheService, SwitchesTheAdapterAtAnotherProgramsKeyCombination)
{
    ChildProcess service(Service(Root()), ChildProcess::Start::WhenTold);
    support::KeyRouter router;
    service.Begins();
    ASSERT_TRUE(IsListening(service, router));
    router.ReportsCombination(51);
    ASSERT_TRUE(service.WaitForOutput("KeyCombination : 51"));
    router.ReportsCombination(52);
    ASSERT_TRUE(service.WaitForOutput(R"(vconf_set_bool("db/low-power-support/bt-disable", true))"));
    EXPECT_TRUE(InThisOrder(service.Output(),
                            {"KeyCombination : 51", "bt_adapter_disable()",
                             R"(vconf_set_bool("db/low-power-support/bt-disable", false) = 0)", "KeyCombination : 52",
                             "bt_adapter_enable()", R"(vconf_set_bool("db/low-power-support/bt-disable", true) = 0)"}));
}

TEST_F(TheService, HearsASettingThatAnotherProcessWrites)
{
    ChildProcess service(Service(Root()));
    ASSERT_TRUE(service.WaitForOutput(kRuns));
    settings::Store store(settings::FoldersUnder(Root()));
    store.Set("db/menu/network/devicename/tv_name", std::string("Kitchen"));
    EXPECT_TRUE(service.WaitForOutput("bt_adapter_set_name(\"Kitchen\") = 0"));
}

/// A phone, a speaker, a keyboard and the set's own remote come and go.
void DevicesComeAndGo(sim::Television& tv)
{
    tv.devices.Knows({.address = kSpeaker, .name = "Speaker", .majorClass = 4, .minorClass = 20});
    tv.devices.Knows({.address = kPhone, .name = "Phone"});
    tv.devices.Knows({.address = kKeyboard, .name = "Keyboard"});
    tv.devices.AsksForConsent(kPhone, "Phone");
    tv.devices.AsksForAuthentication(kPhone, "Phone", 2, "123456");
    tv.devices.AsksForAuthorization(kSpeaker, "Speaker", 18);
    tv.devices.Connects(kSpeaker);
    tv.audio.Connects(kSpeaker, 2);
    tv.audio.ServiceLevel(true, kPhone);
    tv.devices.ConnectsHid(kKeyboard);
    tv.smartRemote.Connects(kRemote);
    tv.devices.ConnectsHid(kRemote);
    tv.smartRemote.LosesLink(1);
    tv.audio.Disconnects(kSpeaker, 2);
    tv.devices.Unbonds(kPhone);
}

TEST_F(TheService, TellsItsSiblingsInOtherProcessesOfDevicesThatComeAndGo)
{
    ChildProcess service(Service(Root(),
                                 [](sim::Television& tv) {
                                     tv.features.Has("bluetooth.hfp_support");
                                     tv.queue.PostAfter(1ms, [&tv] { DevicesComeAndGo(tv); });
                                 }),
                         ChildProcess::Start::WhenTold);
    support::ConnectionManager manager;
    support::ConnectionShift shift;
    support::HandsFreeAgent agent;
    service.Begins();
    ASSERT_TRUE(manager.WaitForMessages(8));
    service.Send(SIGTERM);
    EXPECT_EQ(service.WaitForEnd(), Exited(1));

    EXPECT_THAT(manager.Messages(),
                ElementsAre(Call("SspConcentRequest", "(ssi)", "('AA:BB:CC:00:00:02', 'Phone', 0)"),
                            Call("AuthenticaionRequest", "(sssii)", "('AA:BB:CC:00:00:02', 'Phone', '123456', 2, 0)"),
                            Call("Hello"),
                            Call("AuthorizationRequest", "(ssii)", "('AA:BB:CC:00:00:01', 'Speaker', 18, 0)"),
                            Call("AudioConnectionStateChanged", "(siii)", "('AA:BB:CC:00:00:01', 2, 0, 1)"),
                            Call("HidConStateChanged", "(sii)", "('AA:BB:CC:00:00:03', 0, 1)"),
                            Call("AudioConnectionStateChanged", "(siii)", "('AA:BB:CC:00:00:01', 2, 0, 0)"),
                            Call("BondDestroied", "(s)", "('AA:BB:CC:00:00:02',)")));
    EXPECT_THAT(shift.Messages(),
                ElementsAre(Call("UpdateConnectedDeviceList", "(bs)", "(true, 'AA:BB:CC:00:00:01')"),
                            Call("UpdateConnectedDeviceList", "(bs)", "(false, 'AA:BB:CC:00:00:01')")));
    EXPECT_THAT(agent.Messages(), ElementsAre(Call("StartDaemon", "(s)", "('AA:BB:CC:00:00:02',)")));
}

TEST_F(TheService, GoesDownInOrderWhenTheBusGoesAway)
{
    ChildProcess service(Service(Root()), ChildProcess::Start::WhenTold);
    support::KeyRouter router;
    service.Begins();
    ASSERT_TRUE(IsListening(service, router));
    m_bus.Dies();
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_TRUE(InThisOrder(service.Output(), {kRuns, "Deinit vyrel-lite", "exit vyrel-lite", kOut}));
}

/// The process that owns the service's name, -1 for none.
pid_t OwnerOfTheName()
{
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    const Util::VariantPtr reply(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetConnectionUnixProcessID",
        g_variant_new("(s)", "org.vantor.vyrel.lite"), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
    g_object_unref(bus);
    guint32 pid = 0;
    if (!reply) {
        return -1;
    }
    g_variant_get(reply.get(), "(u)", &pid);
    return static_cast<pid_t>(pid);
}

TEST_F(TheService, WaitsForItsNameBehindAFirstInstance)
{
    ChildProcess first(Service(Root()), ChildProcess::Start::WhenTold);
    const support::TempDir secondRoot;
    ChildProcess second(Service(secondRoot.Path()), ChildProcess::Start::WhenTold);
    support::KeyRouter router;
    first.Begins();
    ASSERT_TRUE(support::IterateUntil([&] { return OwnerOfTheName() == first.Pid(); }));
    second.Begins();
    EXPECT_TRUE(IsListening(second, router));
    EXPECT_TRUE(IsListening(first, router));
    EXPECT_EQ(OwnerOfTheName(), first.Pid());

    first.Send(SIGTERM);
    EXPECT_EQ(first.WaitForEnd(), Exited(1));
    EXPECT_TRUE(support::IterateUntil([&] { return OwnerOfTheName() == second.Pid(); }));
    second.Send(SIGTERM);
    EXPECT_EQ(second.WaitForEnd(), Exited(1));
    EXPECT_EQ(OwnerOfTheName(), -1);
}

TEST_F(TheService, StartsOnDefaultsWithSettingsThatCannotBeRead)
{
    const settings::Folders folders = settings::FoldersUnder(Root());
    std::filesystem::create_directories(folders.persistent);
    std::ofstream(std::filesystem::path(folders.persistent) / settings::kPersistentFile)
        << "this is no settings file, and never was one; it is longer than a header would be ..................";
    ChildProcess service(Service(Root()));
    ASSERT_TRUE(service.WaitForOutput(kRuns));
    EXPECT_THAT(service.Output(), HasSubstr("bt_adapter_enable() = 0"));
    EXPECT_THAT(service.Output(), HasSubstr("fail to get vconfkey db/low-power-support/bt-disable[26]"));
    service.Send(SIGTERM);
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
}

/// Holds all locks of both files, as nobody should, until it is killed.
int HoldTheSettings(const settings::Folders& folders)
{
    for (const std::string& file : {folders.persistent + "/" + std::string(settings::kPersistentFile),
                                    folders.memory + "/" + std::string(settings::kMemoryFile)}) {
        for (const char* companion : {"", "-shm", "-lock"}) {
            const int descriptor = ::open((file + companion).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
            struct flock all = {};
            all.l_type = F_WRLCK;
            if (::fcntl(descriptor, F_SETLK, &all) != 0 || ::flock(descriptor, LOCK_EX) != 0) {
                return 1;
            }
        }
    }
    std::puts("held");
    std::fflush(stdout);
    for (;;) {
        ::pause();
    }
}

TEST_F(TheService, StartsLittleLaterWhoeverHoldsItsSettingsAndUsesThemOnceItCan)
{
    ChildProcess undisturbed(Service(Root()), ChildProcess::Start::WhenTold);
    ChildProcess holder([this] { return HoldTheSettings(settings::FoldersUnder(Root())); },
                        ChildProcess::Start::WhenTold);
    ChildProcess service(Service(Root()), ChildProcess::Start::WhenTold);
    support::KeyRouter router;
    const auto start = [](ChildProcess& process) {
        const support::WaitedTime waiting(process.Pid());
        process.Begins();
        EXPECT_TRUE(process.WaitForOutput(kRuns));
        return waiting.SoFar();
    };
    const auto usual = start(undisturbed);
    undisturbed.Send(SIGTERM);
    EXPECT_EQ(undisturbed.WaitForEnd(), Exited(1));
    holder.Begins();
    ASSERT_TRUE(holder.WaitForOutput("held"));

    EXPECT_LT(start(service) - usual, 1500ms);

    ASSERT_TRUE(IsListening(service, router));
    holder.Send(SIGKILL);
    ASSERT_EQ(holder.WaitForEnd(), KilledBy(SIGKILL));
    router.ReportsCombination(52);
    EXPECT_TRUE(service.WaitForOutput(R"(vconf_set_bool("db/low-power-support/bt-disable", true) = 0)"));

    settings::Store(settings::FoldersUnder(Root())).Set("db/menu/network/devicename/tv_name", std::string("Kitchen"));
    EXPECT_TRUE(service.WaitForOutput("bt_adapter_set_name(\"Kitchen\") = 0"));
}

TEST(TheServiceWithoutABus, StartsSaysSoAndStopsInOrder)
{
    const support::TempDir root;
    setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    ChildProcess service(Service(root.Path()));
    ASSERT_TRUE(service.WaitForOutput(kRuns));
    EXPECT_THAT(service.Output(), HasSubstr("g_bus_get_sync fail, reason: "));
    service.Send(SIGTERM);
    EXPECT_EQ(service.WaitForEnd(), Exited(1));
    EXPECT_THAT(service.Output(), EndsWith(kOut));
}

} // namespace
