// bench_events: what the service does with an event, against the least that makes the same calls and messages.
//
// usage: bench_events Floor|Service COUNT    so many of each of three events, for an instruction counter
//        bench_events soak WARM-UP COUNT     private memory in KiB after so many mixed events, and after so many more
//
// The siblings have to be on the bus already. Of the service it is the whole product, from its own main function.

#include "Life.h"
#include "Set.h"
#include "calls.h"
#include "events.h"

#include <gio/gio.h>

#include <device_power.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

constexpr const char* kOwnName = "org.vantor.vyrel.lite";
constexpr const char* kManager = "com.quorix.tv.bt.connectionmanager";
constexpr int kAnswerTimeout = 5000;

void Require(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(what);
    }
}

GDBusConnection* Bus()
{
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    Require(bus != nullptr, "no bus");
    return bus;
}

using Event = void (*)(GDBusConnection*);

struct Events
{
    Event batteryReport;
    Event standby;
    Event a2dpConnection;
};

constexpr Events kFloor = {
    bench::FloorBatteryReport,
    bench::FloorStandby,
    [](GDBusConnection* bus) { Require(bench::FloorA2dpConnection(bus), "a sibling did not answer"); },
};
constexpr Events kService = {
    [](GDBusConnection*) { Require(bench::ReportBattery(bench::kLowBattery), "nobody hears of batteries"); },
    [](GDBusConnection*) {
        Require(bench::ChangePower(DEVICE_POWER_STATE_NORMAL, DEVICE_POWER_STATE_STANDBY), "nobody hears of power");
    },
    [](GDBusConnection*) { Require(bench::ConnectSpeaker(true), "nobody hears of speakers"); },
};

// The instruction counter is told to look at nothing but what happens in here.
__attribute__((noinline)) void Counted(Event event, GDBusConnection* bus)
{
    event(bus);
}

void Uncounted(Event event, GDBusConnection* bus)
{
    event(bus);
}

/// Each message leaves before the next is made: the sending thread would otherwise run ahead by an amount that changes
/// from run to run, and with it how often it has to wake GDBus's own thread. The first ones make what GLib and the bus
/// keep from then on.
void Repeat(Event event, GDBusConnection* bus, int count)
{
    constexpr int kWarmUp = 10;
    for (int i = 0; i < kWarmUp + count; ++i) {
        (i < kWarmUp ? Uncounted : Counted)(event, bus);
        g_dbus_connection_flush_sync(bus, nullptr, nullptr);
    }
}

// The counter writes its figures down, and begins anew, when it leaves one of these three.
__attribute__((noinline)) void PhaseBatteryReport(Event event, GDBusConnection* bus, int count)
{
    Repeat(event, bus, count);
}
__attribute__((noinline)) void PhaseStandby(Event event, GDBusConnection* bus, int count)
{
    Repeat(event, bus, count);
}
__attribute__((noinline)) void PhaseA2dpConnection(Event event, GDBusConnection* bus, int count)
{
    Repeat(event, bus, count);
}

void RunPhases(const Events& events, GDBusConnection* bus, int count)
{
    PhaseBatteryReport(events.batteryReport, bus, count);
    PhaseStandby(events.standby, bus, count);
    PhaseA2dpConnection(events.a2dpConnection, bus, count);
}

// One of each kind that a day brings, with and without a message to a sibling, and both ends of what begins and ends.
constexpr std::array<bool (*)(), 20> kDay = {
    [] { return bench::ConnectRemote(true); },
    [] { return bench::ReportBattery(0x13); },
    [] { return bench::ReportBattery(0x9B); },
    [] { return bench::ReportBattery(bench::kLowBattery); },
    [] { return bench::ChangePower(DEVICE_POWER_STATE_STANDBY, DEVICE_POWER_STATE_NORMAL); },
    [] { return bench::ConnectSpeaker(true); },
    [] { return bench::AnswerStrength(-54); },
    [] { return bench::ChangeVolume(40); },
    [] { return bench::ReportBattery(0x01); },
    [] { return bench::ConnectLowEnergy(true); },
    [] { return bench::AnswerStrength(-71); },
    [] { return bench::ConnectLowEnergy(false); },
    [] { return bench::ConnectInputDevice(true); },
    [] { return bench::ConnectInputDevice(false); },
    [] { return bench::ConnectSpeaker(false); },
    [] { return bench::ChangePower(DEVICE_POWER_STATE_NORMAL, DEVICE_POWER_STATE_PICTURE_OFF); },
    [] { return bench::ChangePower(DEVICE_POWER_STATE_PICTURE_OFF, DEVICE_POWER_STATE_NORMAL); },
    [] { return bench::LoseLink(1); },
    [] { return bench::ConnectRemote(false); },
    [] { return bench::ChangePower(DEVICE_POWER_STATE_NORMAL, DEVICE_POWER_STATE_STANDBY); },
};

// Returns when the connection manager has answered all that was sent to it before. Were its answers to pile up, how
// high would be a matter of the machine's load, and the memory for them would stay.
void WaitForAnswers(GDBusConnection* bus)
{
    GVariant* answer = floor_call_sync(bus, kManager, "/", kManager, "Hello", nullptr, kAnswerTimeout);
    Require(answer != nullptr, "the connection manager does not answer");
    g_variant_unref(answer);
}

void LiveThrough(int events, GDBusConnection* bus)
{
    for (int done = 0; done < events; done += static_cast<int>(kDay.size())) {
        for (const auto event : kDay) {
            Require(event(), "the service hears of nothing");
        }
        WaitForAnswers(bus);
        while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
        }
    }
}

// Anonymous memory of this process in KiB, all of it private: nothing forks.
long PrivateMemory()
{
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string word;
    while (rollup >> word) {
        if (word == "Anonymous:") {
            long kib = 0;
            rollup >> kib;
            return kib;
        }
    }
    throw std::runtime_error("smaps_rollup has no Anonymous");
}

void Soak(GDBusConnection* bus, int warmUp, int count)
{
    LiveThrough(warmUp, bus);
    const long before = PrivateMemory();
    LiveThrough(count, bus);
    std::printf("%ld\t%ld\n", before, PrivateMemory());
}

// What is done with the service once it is known on the bus; then it is stopped, in order.
struct Task
{
    bool isSoak;
    int warmUp;
    int count;
    bool isDone = false;
};

bool IsKnown(GDBusConnection* bus)
{
    GVariant* answer = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
        g_variant_new("(s)", kOwnName), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    Require(answer != nullptr, "the bus does not answer");
    gboolean owned = FALSE;
    g_variant_get(answer, "(b)", &owned);
    g_variant_unref(answer);
    return owned != FALSE;
}

gboolean OnLoopRuns(gpointer data)
{
    auto& task = *static_cast<Task*>(data);
    try {
        GDBusConnection* bus = Bus();
        if (!IsKnown(bus)) {
            return G_SOURCE_CONTINUE;
        }
        if (task.isSoak) {
            Soak(bus, task.warmUp, task.count);
        } else {
            RunPhases(kService, bus, task.count);
        }
        task.isDone = true;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "bench_events: %s\n", exception.what());
    }
    std::raise(SIGTERM);
    return G_SOURCE_REMOVE;
}

bool RunWithService(Task task)
{
    g_idle_add(OnLoopRuns, &task);
    bench::LiveOnce();
    return task.isDone;
}

int Usage()
{
    std::fputs("usage: bench_events Floor|Service COUNT\n"
               "       bench_events soak WARM-UP COUNT\n",
               stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view what = argc > 1 ? argv[1] : "";
    try {
        if (what == "Floor" && argc == 3) {
            RunPhases(kFloor, Bus(), std::atoi(argv[2]));
            return EXIT_SUCCESS;
        }
        if (what == "Service" && argc == 3) {
            return RunWithService({.isSoak = false, .warmUp = 0, .count = std::atoi(argv[2])}) ? EXIT_SUCCESS
                                                                                               : EXIT_FAILURE;
        }
        if (what == "soak" && argc == 4) {
            return RunWithService({.isSoak = true, .warmUp = std::atoi(argv[2]), .count = std::atoi(argv[3])})
                       ? EXIT_SUCCESS
                       : EXIT_FAILURE;
        }
        return Usage();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "bench_events: %s\n", exception.what());
        return EXIT_FAILURE;
    }
}
