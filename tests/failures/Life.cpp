#include "failures/Life.h"

#include "GlibPointers.h"
#include "SmartRcEventHandler/SmartRcEventHandler.h"
#include "failures/Memory.h"
#include "sim/Adapter.h"
#include "sim/Failures.h"
#include "sim/HeldBack.h"
#include "sim/Power.h"
#include "sim/Queue.h"
#include "sim/Remotes.h"
#include "sim/ScreenAndSound.h"
#include "sim/Settings.h"
#include "sim/Side.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Timers.h"
#include "sim/VirtualClock.h"
#include "support/Description.h"
#include "support/Findings.h"
#include "support/MainLoop.h"
#include "support/Message.h"
#include "support/Peer.h"
#include "support/Settle.h"
#include "tv/language/Commands.h"
#include "tv/language/Line.h"
#include "tv/language/Numbers.h"
#include "tv/set/Gadgets.h"
#include "tv/set/House.h"

#include <gio/gio.h>
#include <glib.h>

#include <bt_adapter.h>
#include <bt_hid.h>
#include <device_power.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <utility>

using namespace std::chrono_literals;
using std::chrono::milliseconds;

extern "C" int service_main();

namespace {

CSmartRcEventHandler* remotesOfService = nullptr;

using sim::Runs;
using sim::Side;

} // namespace

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): these names are the linker's
extern "C" {
int __real_bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* userData);
int __wrap_bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* userData);

/// Who is told of the smart remote knows its address.
int __wrap_bt_hid_set_smart_rc_connection_cb(bt_hid_smart_rc_connection_cb callback, void* userData)
{
    remotesOfService = static_cast<CSmartRcEventHandler*>(userData);
    return __real_bt_hid_set_smart_rc_connection_cb(callback, userData);
}

void __real_g_main_loop_run(GMainLoop* loop);
void __wrap_g_main_loop_run(GMainLoop* loop);

void __wrap_g_main_loop_run(GMainLoop* loop)
{
    const Runs runs(Side::Television);
    __real_g_main_loop_run(loop);
}
}
// NOLINTEND(clang-diagnostic-reserved-identifier)

namespace failures {

namespace {

using language::Line;
using language::Verb;

constexpr unsigned int kLongestLife = 60; // in real seconds; who takes longer hangs
/// The longest that one call of the service waits for an answer. More than that no single failure may cost.
constexpr milliseconds kLongestCall{5000};
/// When every lock of the service has run out: the longest is that of the low-power picture, a minute.
constexpr milliseconds kLocksHaveEnded = 61s;

/// In real time.
constexpr milliseconds kLongestClosing{500};

constexpr const char* kOwnName = "org.vantor.vyrel.lite";
constexpr const char* kLostRemote = "memory/org.vantor.vyrel/hsm_remocon_disconnected_address";
constexpr const char* kLostWheel = "memory/org.vantor.vyrel/hsm_wheel_disconnected_address";

template <std::size_t Size>
void Keep(std::array<char, Size>& place, std::string_view text)
{
    const std::size_t length = std::min(text.size(), Size - 1);
    std::copy_n(text.begin(), length, place.begin());
    place[length] = '\0';
}

int OpenDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<int>(std::distance(begin(all), end(all)));
}

/// Without these answers the service cannot give a lock back, or does not know that it is time.
bool KeepsLocked(std::string_view failed)
{
    constexpr std::string_view kAsked[] = {"device_power_unlock_state", "screen_manager_set_ambient_lock",
                                           "device_power_get_state", "device_power_get_ambient_mode",
                                           "bt_adapter_set_state_changed_cb"};
    return std::ranges::find(kAsked, failed) != std::end(kAsked);
}

/// Without these the service hears no signal.
bool KeepsFromHearing(std::string_view failed)
{
    return failed == "g_bus_get_sync" || failed == "g_dbus_connection_signal_subscribe";
}

/// Without these answers the service does not get to know a remote that was there before it, or what comes of it.
bool KeepsFromKnowing(std::string_view failed)
{
    constexpr std::string_view kAsked[] = {"bt_hid_get_smart_remote_conn_status",
                                           "bt_hid_get_smart_rc_address",
                                           "bt_hid_get_halvo_switch_connection_state",
                                           "bt_hid_get_halvo_switch_address",
                                           "bt_adapter_get_bonded_device_info",
                                           "bt_hid_set_smart_rc_connection_cb",
                                           "bt_hid_set_halvo_switch_connection_state_changed_cb"};
    return std::ranges::find(kAsked, failed) != std::end(kAsked);
}

struct SiblingName
{
    const char* busName;
    const char* interface;
};

/// One connection is all of them: to make five for each life, and to bring each to rest, would take most of the time.
constexpr SiblingName kSiblings[] = {{"com.quorix.tv.bt.connectionmanager", "com.quorix.tv.bt.connectionmanager"},
                                     {"com.quorix.tv.bt.connectionshift", "com.quorix.tv.bt.connectionshift"},
                                     {"com.quorix.tv.hfpAgent", "com.quorix.tv.hfpAgent.api"},
                                     {"com.quorix.tv.bt.irmonitor", "com.quorix.tv.bt.irmonitor"},
                                     {"com.quorix.tv.bt.updatemanager", "com.quorix.tv.bt.updatemanager"}};

/// Read once, before the first life, for all.
const std::map<std::string, support::Description>& Descriptions()
{
    static const std::map<std::string, support::Description> descriptions = [] {
        std::map<std::string, support::Description> all;
        for (const SiblingName& sibling : kSiblings) {
            all.emplace(sibling.interface, support::Description(sibling.interface));
        }
        return all;
    }();
    return descriptions;
}

std::string ViolationOf(const support::Message& message)
{
    const auto found = Descriptions().find(message.interface);
    return found != Descriptions().end() ? found->second.Violation(message)
                                         : "a message of an interface that nobody has: " + message.interface;
}

class Living
{
public:
    Living(const Life& life, const std::string& root, const Choice& choice, const Account* untouched, Account& account)
        : m_life(life),
          m_choice(choice),
          m_untouched(untouched),
          m_account(account),
          m_clock(true),
          m_tv(root),
          m_siblings(kSiblings[0].busName, ViolationOf),
          m_gadgets(m_tv),
          m_house(m_tv)
    {
        for (const SiblingName& sibling : kSiblings) {
            if (sibling.busName != m_siblings.BusName()) {
                m_siblings.OwnsToo(sibling.busName);
            }
        }
        m_clock.OnSleep([this](std::chrono::microseconds time) { m_slept += time; });
        support::HandleFindings([this](const std::string& finding) { Complain(finding); });
        m_tv.tape.SetSinkOfEverything([this](const sim::Entry& entry) { See(entry); });
    }
    Living(const Living&) = delete;
    Living& operator=(const Living&) = delete;
    ~Living()
    {
        m_tv.tape.SetSink({});
        support::HandleFindings({});
    }

    int Lives()
    {
        for (const std::string& line : m_life.before) {
            CarryOut(line);
        }
        Settle();
        BeginsToFail();
        m_tv.queue.Post([this] { LiveOn(); });
        const int status = RunService();
        StopsFailing();
        if (!HasLostItsLoop()) { // else the platform would still tell a service that has gone without taking its leave
            CountDescriptors();
        }
        LookAtTheEnd(status);
        if (m_account.wrong[0] != '\0') {
            TellLast();
        }
        return m_account.wrong[0] == '\0' ? EXIT_SUCCESS : EXIT_FAILURE;
    }

    /// An exception has ended the service.
    [[nodiscard]] bool HasLostItsLoop() const
    {
        return m_hasLoggedException;
    }

private:
    static int RunService()
    {
        const Runs runs(Side::Service);
        return service_main();
    }

    void BeginsToFail()
    {
        if (m_choice.asked == Asked::Memory) {
            CountMemory(m_choice.point - m_account.points);
        } else {
            m_tv.failures.SetJudge([this](std::string_view function) { return Judge(function); });
        }
    }

    void StopsFailing()
    {
        m_tv.failures.SetJudge({});
        if (m_choice.asked == Asked::Memory) {
            LookAtMemory();
        }
    }

    void LookAtMemory()
    {
        m_account.points += StopCountingMemory();
        if (const std::size_t size = MemoryRefused(); size > 0) {
            m_account.ways = 1;
            Keep(m_account.failed, "memory");
            Keep(m_account.how, std::to_string(size) + " bytes");
        }
    }

    /// Lets the chosen one of the things fail that the service asks for.
    std::optional<int> Judge(std::string_view function)
    {
        const std::vector<Way> ways = WaysOf(function, m_choice.width);
        if (ways.empty() || ++m_account.points != m_choice.point) {
            return std::nullopt;
        }
        m_account.ways = static_cast<int>(ways.size());
        const Way way = ways[static_cast<std::size_t>(m_choice.way) % ways.size()];
        Keep(m_account.failed, function);
        Keep(m_account.how, ToText(way));
        if (way.throws) {
            throw std::runtime_error("thrown on purpose");
        }
        m_isNeverAnswered = way.code == sim::Failures::kNoAnswer;
        return Befalls(way) ? std::nullopt : std::optional(way.code);
    }

    /// \return whether it is the siblings or the name that something becomes of, and not the call
    bool Befalls(const Way& way)
    {
        if (way.siblings == Siblings::Hang) {
            m_siblings.StallsEverything();
            sim::HoldAnswersBack([](const auto&, const auto&, milliseconds timeout) { return timeout; });
            m_hangs = true;
        } else if (way.siblings == Siblings::Refuse) {
            m_siblings.AnswersEverythingWithError("org.freedesktop.DBus.Error.Failed", "fails");
        } else if (way.name == Name::IsTaken) {
            m_siblings.OwnsToo(kOwnName);
        } else if (way.name == Name::IsLost) {
            m_losesName = true;
        } else {
            return false;
        }
        return true;
    }

    /// The bus takes the name away in one way only: with the connection.
    void LoseBus()
    {
        const std::unique_ptr<GDBusConnection, Util::ReleaseWith<g_object_unref>> connection(
            g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr));
        GIOStream* stream = g_dbus_connection_get_stream(connection.get());
        ::shutdown(g_socket_get_fd(g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream))), SHUT_RDWR);
        m_account.completed = true; // it stops by itself now
    }

    void See(const sim::Entry& entry)
    {
        m_messages += entry.kind == sim::Kind::Bus || entry.kind == sim::Kind::Signal ? 1 : 0;
        m_hasEnded = m_hasEnded || entry.message == "exit vyrel-lite";
        m_hasLoggedException = m_hasLoggedException || entry.message.starts_with("exception = ");
        m_asked += entry.kind == sim::Kind::Bus && entry.how == "ask" ? 1 : 0;
        m_hasHeard = m_hasHeard || entry.message.find("KEY_COMBINATION Signal NOT for VYREL") != std::string::npos;
        if (m_choice.tells) {
            std::printf("%s\n", entry.text.c_str());
        }
    }

    /// All of a life between the service's start and its stop, on its loop.
    void LiveOn()
    {
        Settle();
        if (m_losesName) {
            return LoseBus();
        }
        Look("the start");
        for (std::size_t number = 0; number < m_life.lines.size(); ++number) {
            const std::string& line = m_life.lines[number];
            m_slept = {};
            m_passes = {};
            m_asked = 0;
            const milliseconds before = m_clock.Elapsed();
            CarryOut(line);
            HoldBlocked(number, std::max(std::chrono::duration_cast<milliseconds>(m_slept),
                                         m_clock.Elapsed() - before - m_passes));
            Look(line);
        }
        StopsFailing();
        Ask();
        Passes(kLocksHaveEnded);
        LookAtLocksInTheEnd();
        m_account.completed = true;
        BeginsToFail(); // what is asked for at the stop may fail too
        std::raise(SIGTERM);
    }

    void CarryOut(const std::string& text)
    {
        if (m_choice.tells) {
            std::printf("> %s\n", text.c_str());
        }
        const Line line = language::Parse(text);
        const std::size_t before = m_messages;
        if (m_gadgets.Does(line) || m_house.Does(line)) {
            support::DrainMainLoop();
            if (m_messages != before) {
                Settle();
            }
            return;
        }
        switch (line.command->verb) {
        case Verb::Wait:
            return Passes(language::DurationIn(line.Text("DURATION")).value_or(0ms));
        case Verb::Key:
            ReportKeys(line.Number("NUMBER"));
            return Settle();
        case Verb::SiblingAnswer:
            return m_siblings.Answers(line.Text("MEMBER"), g_variant_new_parsed(line.Text("BODY").c_str()));
        default:
            throw std::logic_error("nobody carries out: " + text);
        }
    }

    void Settle()
    {
        support::Settle({&m_siblings});
        m_siblings.Clear();
    }

    /// As the key router does, which has no name.
    void ReportKeys(int code)
    {
        m_siblings.Emits("/com/tarnwick/dbus/ping", "keyrouter.dbus.Signal", "KEY_COMBINATION",
                         g_variant_new("(i)", code));
    }

    /// From one moment at which something is due to the next; the bus comes to rest in between.
    void Passes(milliseconds time)
    {
        m_passes += time;
        Settle();
        while (time.count() > 0) {
            const std::size_t before = m_messages;
            time -= std::max(m_clock.AdvanceToNext(time), 1ms);
            if (m_messages != before) {
                Settle();
            }
        }
    }

    /// The time for which the loop stood still: what passed, but for the time that passes by itself.
    void HoldBlocked(std::size_t number, milliseconds blocked)
    {
        m_account.blocked.at(number) = static_cast<int>(blocked.count());
        const milliseconds allowed = kLongestCall * (m_hangs ? std::max(m_asked, 1) : 1);
        if (m_untouched != nullptr && blocked > milliseconds(m_untouched->blocked.at(number)) + allowed) {
            Complain("the loop stood still for " + std::to_string(blocked.count()) + " ms at: " + m_life.lines[number]);
        }
    }

    /// What holds at every moment.
    void Look(const std::string& after)
    {
        LookAtTimers(after);
        LookAtLocks(after);
        if (remotesOfService == nullptr) {
            return;
        }
        const std::string known = remotesOfService->GetSmartRcAddress();
        const std::string there = m_tv.smartRemote.connected ? m_tv.smartRemote.address : "";
        if (known != there && !KeepsFromKnowing(m_account.failed.data())) {
            Complain("the smart remote's address is \"" + known + "\" in place of \"" + there + "\" after: " + after);
        }
    }

    /// Of each kind one timer is pending, except where several belong to a life in which nothing fails.
    void LookAtTimers(const std::string& after)
    {
        std::map<unsigned long, int> pending;
        std::map<unsigned long, std::string> intervals;
        for (const sim::PendingTimer& timer : sim::PendingTimers()) {
            const auto kind = reinterpret_cast<unsigned long>(timer.function);
            ++pending[kind];
            intervals[kind] = timer.interval;
        }
        for (const auto& [kind, count] : pending) {
            if (count < 2) {
                continue;
            }
            if (m_untouched == nullptr) {
                const auto place = std::ranges::find_if(
                    m_account.timers, [kind = kind](unsigned long known) { return known == 0 || known == kind; });
                *place = kind;
            } else if (std::ranges::find(m_untouched->timers, kind) == m_untouched->timers.end()) {
                Complain(std::to_string(count) + " timers of " + intervals[kind] + " for the same after: " + after);
            }
        }
    }

    /// The service still answers, and its handler knows the remotes that are there and no other.
    void Ask()
    {
        m_hasHeard = false;
        ReportKeys(50);
        Settle();
        if (!m_hasHeard && !KeepsFromHearing(m_account.failed.data())) {
            Complain("the service does not answer any more");
        }
        m_tv.settings.Writes(kLostRemote, "");
        m_tv.settings.Writes(kLostWheel, "");
        remotesOfService->SetHsmVconf("probe");
        const std::string known = m_tv.settings.Text(kLostWheel).value_or("none");
        const std::string there = m_tv.wheel.connected ? m_tv.wheel.address : "";
        if (known != there && !KeepsFromKnowing(m_account.failed.data())) {
            Complain("the wheel's address is \"" + known + "\" in place of \"" + there + "\"");
        }
    }

    /// What is locked at present; empty for nothing.
    [[nodiscard]] std::string Locked() const
    {
        for (int state = DEVICE_POWER_STATE_NORMAL; state <= DEVICE_POWER_STATE_SUSPEND; ++state) {
            if (m_tv.power.IsLocked(state)) {
                return "power state " + std::to_string(state);
            }
        }
        return m_tv.screen.IsAmbientLocked() ? "the low-power picture" : "";
    }

    /// The set is held for an adapter that is to come up, and for the updates, whose manager answers before the next
    /// line. When both are done the lock is given back; it would end by itself, too, but a minute later.
    void LookAtLocks(const std::string& after)
    {
        const bool isHeldFor = m_tv.adapter.state != BT_ADAPTER_ENABLED || m_hangs || m_isNeverAnswered;
        const std::string locked = Locked();
        if (!locked.empty() && !isHeldFor && !KeepsLocked(m_account.failed.data())) {
            Complain(locked + " is still locked after: " + after);
        }
    }

    void LookAtLocksInTheEnd()
    {
        const std::string locked = Locked();
        if (!locked.empty()) {
            Complain(locked + " is locked for ever");
        }
    }

    /// GDBus's thread may keep what belongs to a call a moment longer than the caller: what stays open counts.
    void CountDescriptors()
    {
        const int wanted = m_untouched != nullptr ? m_untouched->descriptors : 0;
        m_account.descriptors = OpenDescriptors();
        support::IterateUntil(
            [&] {
                m_account.descriptors = std::min(m_account.descriptors, OpenDescriptors());
                return m_account.descriptors <= wanted;
            },
            kLongestClosing);
    }

    void LookAtTheEnd(int status)
    {
        if (status != 1) {
            Complain("the service has ended with status " + std::to_string(status));
        }
        if (HasLostItsLoop()) {
            return; // an exception that nobody takes ends the service, and is logged: the rest was not lived
        }
        if (!m_account.completed) {
            Complain("the service has ended by itself");
        }
        if (!m_hasEnded && m_account.failed.data() != std::string_view("__dlog_print")) { // whose line it may be
            Complain("the service has not stopped in order");
        }
        if (m_untouched != nullptr && m_account.descriptors > m_untouched->descriptors) {
            Complain("of " + std::to_string(m_account.descriptors) + " descriptors that stay open " +
                     std::to_string(m_untouched->descriptors) + " belong to the process");
        }
        for (const std::string& violation : m_siblings.Violations()) {
            Complain(violation);
        }
    }

    void Complain(const std::string& complaint)
    {
        Keep(m_account.wrong, m_account.wrong.data() + complaint + "\n");
    }

    void TellLast() const
    {
        constexpr std::size_t kLines = 60;
        const std::vector<std::string> all = m_tv.tape.All();
        for (std::size_t line = all.size() > kLines ? all.size() - kLines : 0; line < all.size(); ++line) {
            std::printf("  %s\n", all[line].c_str());
        }
    }

    const Life& m_life;
    const Choice& m_choice;
    const Account* m_untouched;
    Account& m_account;
    sim::VirtualClock m_clock; // first, so that the television begins on it
    sim::Television m_tv;
    support::Peer m_siblings;
    set::Gadgets m_gadgets;
    set::House m_house;
    std::chrono::microseconds m_slept{0}; // during a line
    milliseconds m_passes{0};             // that a line lets pass
    std::size_t m_messages = 0;
    int m_asked = 0;      // questions for siblings during a line
    bool m_hangs = false; // they do, all of them
    bool m_isNeverAnswered = false;
    bool m_losesName = false;
    bool m_hasEnded = false;
    bool m_hasLoggedException = false;
    bool m_hasHeard = false;
};

} // namespace

void PrepareLives()
{
    Descriptions();
}

int Live(const Life& life, const std::string& root, const Choice& choice, const Account* untouched, Account& account)
{
    ::alarm(kLongestLife);
    int status = EXIT_FAILURE;
    bool lost = false;
    {
        Living living(life, root, choice, untouched, account);
        status = living.Lives();
        lost = living.HasLostItsLoop();
    }
    if (lost) {
        std::fflush(nullptr);
        std::_Exit(status); // the exception went through GLib's loop, whose memory nobody frees: no look at leaks
    }
    return status;
}

} // namespace failures
