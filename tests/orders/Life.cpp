#include "orders/Life.h"

#include "orders/BusInProcess.h"
#include "orders/Inside.h"
#include "orders/StoreInMemory.h"
#include "orders/Symbols.h"
#include "sim/Adapter.h"
#include "sim/Devices.h"
#include "sim/Failures.h"
#include "sim/Power.h"
#include "sim/Queue.h"
#include "sim/Remotes.h"
#include "sim/ScreenAndSound.h"
#include "sim/Slot.h"
#include "sim/Tape.h"
#include "sim/Timers.h"
#include "support/MainLoop.h"
#include "tv/language/Commands.h"
#include "tv/language/Numbers.h"

#include <glib.h>

#include <device_power.h>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <string_view>
#include <system_error>

using namespace std::chrono_literals;
using std::chrono::milliseconds;

extern "C" int service_main();

namespace orders {

namespace {

using language::Line;
using language::Verb;

/// When all that outlives the service has run out: the sampling of the light goes by the hour.
constexpr milliseconds kAllHasEnded = 2h;
constexpr milliseconds kLocksHaveEnded = 61s;

/// FNV-1a, eight bytes at a time.
class Hash
{
public:
    void Add(std::uint64_t word)
    {
        constexpr std::uint64_t kPrime = 0x100000001b3;
        constexpr unsigned int kUpper = 32;
        m_value = (m_value ^ word) * kPrime;
        m_value ^= m_value >> kUpper;
    }
    void Add(std::string_view text)
    {
        for (const char character : text) {
            Add(static_cast<unsigned char>(character));
        }
    }
    [[nodiscard]] std::uint64_t Value() const
    {
        return m_value != 0 ? m_value : 1;
    }

private:
    std::uint64_t m_value = 0xcbf29ce484222325;
};

/// Events by descriptor wake whoever shares it: also a life that another one was forked from.
std::vector<int> EventDescriptors()
{
    std::vector<int> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) == "anon_inode:[eventfd]") {
            found.push_back(std::stoi(entry.path().filename()));
        }
    }
    return found;
}

/// The service writes to the kernel's log by itself. There is one for all lives, so nobody reads it.
void ForgetsKernelLog(sim::Television& tv)
{
    tv.tape.SetSource({});
    tv.RemovesFile("/dev/kmsg");
    std::filesystem::create_symlink("/dev/null", tv.PathOf("/dev/kmsg"));
}

} // namespace

Life::Life(const std::string& root, const Subject& subject) : m_tv(root), m_gadgets(m_tv), m_house(m_tv), m_rules(m_tv)
{
    m_clock.OnSleep([this](std::chrono::microseconds time) {
        m_tv.tape.Record(
            {.kind = sim::Kind::Sleep,
             .text = "sleep " + std::to_string(std::chrono::duration_cast<milliseconds>(time).count()) + " ms"});
    });
    m_tv.tape.SetSinkOfEverything([this](const sim::Entry& entry) { See(entry); });
    ForgetsKernelLog(m_tv);
    for (const char* line : Furniture()) {
        CarriesOut(language::Parse(line));
    }
    for (const char* line : subject.furniture) {
        CarriesOut(language::Parse(line));
    }
    for (const Event& event : Alphabet()) {
        m_lines.push_back(language::Parse(event.line));
    }
    Inside::Prepare();
}

Life::~Life()
{
    m_tv.tape.SetSink({});
}

int Life::Lives(const std::function<void()>& lives)
{
    m_tv.queue.Post([this, &lives] {
        Settles();
        Passes(500ms); // the adapter is on by then
        m_shared = EventDescriptors();
        m_rules.Begins();
        lives();
        Passes(kLocksHaveEnded);
        std::raise(SIGTERM);
    });
    return service_main();
}

void Life::BecomesItsOwn()
{
    for (const int descriptor : m_shared) {
        const int fresh = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (fresh < 0 || ::dup3(fresh, descriptor, O_CLOEXEC) < 0) {
            throw std::system_error(errno, std::generic_category(), "no eventfd");
        }
        ::close(fresh);
    }
}

void Life::LooksAtTheEnd(int status)
{
    if (status != 1) {
        m_rules.Complain("the service has ended with status " + std::to_string(status));
    }
    m_clock.Advance(kAllHasEnded);
    m_rules.LookAtTheEnd();
}

void Life::See(const sim::Entry& entry)
{
    m_rules.See(entry);
    if (m_tells) {
        std::printf("    %s\n", entry.text.c_str());
    }
}

bool Life::Does(std::size_t event)
{
    const Line& line = m_lines[event];
    if (m_tells) {
        std::printf("> %s\n", line.text.c_str());
    }
    try {
        CarriesOut(line);
    } catch (const std::runtime_error& cannot) {
        if (m_tells) {
            std::printf("    cannot happen now: %s\n", cannot.what());
        }
        return false;
    }
    m_rules.Look();
    m_tv.tape.Clear();
    return true;
}

void Life::CarriesOut(const Line& line)
{
    if (m_gadgets.Does(line)) {
        m_lastOfDevice[line.literals.front()] = line.text;
    } else if (!m_house.Does(line) && !DoesSibling(line)) {
        switch (line.command->verb) {
        case Verb::Wait:
            return Passes(language::DurationIn(line.Text("DURATION")).value_or(0ms));
        case Verb::NextTimer:
            return NextTimer();
        case Verb::Key:
            BusInProcess::Instance().ReportsKeys(line.Number("NUMBER"));
            break;
        default:
            throw std::logic_error("nobody carries out: " + line.text);
        }
    }
    Settles();
}

bool Life::DoesSibling(const Line& line)
{
    const std::string name = line.Text("SIBLING");
    BusInProcess& bus = BusInProcess::Instance();
    switch (line.command->verb) {
    case Verb::SiblingAnswers:
        bus.Behaves(name, Behaviour::Answers);
        return true;
    case Verb::SiblingHangs:
        bus.Behaves(name, Behaviour::Hangs);
        return true;
    case Verb::SiblingError:
        bus.Behaves(name, Behaviour::Error);
        return true;
    case Verb::SiblingAbsent:
        bus.Behaves(name, Behaviour::Absent);
        return true;
    case Verb::SiblingAnswer:
        bus.WillAnswer(line.Text("MEMBER"), line.Text("BODY"));
        return true;
    default:
        return false;
    }
}

void Life::Settles()
{
    support::DrainMainLoop();
}

void Life::Passes(milliseconds time)
{
    Settles();
    while (time.count() > 0) {
        time -= std::max(m_clock.AdvanceToNext(time), 1ms);
    }
    Settles();
}

void Life::NextTimer()
{
    const std::vector<sim::PendingTimer> timers = sim::PendingTimers();
    if (timers.empty()) {
        throw std::runtime_error("no timer of the service is pending");
    }
    const std::int64_t left = timers.front().due - m_tv.tape.Now();
    Passes(milliseconds(std::max<std::int64_t>(left, 0) / 1000 + 1));
}

void Life::AddTelevision(std::string& text) const
{
    const auto add = [&text](const auto&... values) {
        ((text += std::to_string(values) + " "), ...);
        text += "\n";
    };
    const sim::Power& power = m_tv.power;
    add(power.state, power.ambientMode, power.ambientType, power.wakeUpReason, power.requestedPowerOff.value_or(-1),
        power.requestedReboot.value_or(-1), power.WaitsToSwitchOff() ? 1 : 0, m_tv.screen.IsAmbientLocked() ? 1 : 0);
    for (int state = DEVICE_POWER_STATE_NORMAL; state <= DEVICE_POWER_STATE_SUSPEND; ++state) {
        add(power.IsLocked(state) ? 1 : 0);
    }
    const sim::Adapter& adapter = m_tv.adapter;
    add(adapter.state, adapter.visibility, adapter.connectable ? 1 : 0, adapter.headless ? 1 : 0, adapter.appReady);
    text += adapter.name + " " + adapter.eirData + "\n";
    for (const std::string& address : adapter.headlessDevices) {
        text += "headless " + address + "\n";
    }
    for (const sim::Failures::Failing& failing : m_tv.failures.All()) {
        text += "fails " + failing.function + " " + std::to_string(failing.times) + "\n";
    }
    for (const sim::SlotBase* slot : sim::SlotBase::All()) {
        text += slot->IsSet() ? '1' : '0';
    }
    text += "\n";
}

void Life::AddDevices(std::string& text) const
{
    for (const sim::Remote* remote :
         {static_cast<const sim::Remote*>(&m_tv.smartRemote), static_cast<const sim::Remote*>(&m_tv.wheel)}) {
        text += remote->address + " " + (remote->connected ? "connected " : "") + (remote->noLatency ? "fast " : "") +
                std::to_string(remote->battery) + "\n";
    }
    text += m_tv.smartRemote.duid + std::to_string(m_tv.smartRemote.gripSensor) + "\n";
    for (const sim::Device& device : m_tv.devices.Bonded()) {
        text += "bonded " + device.address + (device.connected ? " connected" : "") + "\n";
    }
    for (const auto& [device, line] : m_lastOfDevice) {
        // What a remote did last can be seen above.
        if (device != "remote" && device != "wheel") {
            text += line + "\n";
        }
    }
}

/// What is due, and when, as seen from now.
void Life::AddTimes(std::string& text) const
{
    const std::int64_t now = m_tv.tape.Now();
    const std::int64_t clock = g_get_monotonic_time();
    for (const sim::PendingTimer& timer : sim::PendingTimers()) {
        text += "timer " + NameOfFunction(reinterpret_cast<const void*>(timer.function)) + " " + timer.interval +
                " in " + std::to_string((timer.due - now) / 1000) + "\n";
    }
    for (const std::int64_t due : m_tv.queue.Due()) {
        text += "later in " + std::to_string((due - clock) / 1000) + "\n";
    }
}

std::string Life::State() const
{
    std::string text;
    AddTelevision(text);
    AddDevices(text);
    AddTimes(text);
    return text + SettingsInMemory() + BusInProcess::Instance().State() + m_rules.State();
}

std::uint64_t Life::Digest() const
{
    Hash hash;
    hash.Add(State());
    Inside::Tell([&hash](std::uint64_t word) { hash.Add(word); });
    return hash.Value();
}

} // namespace orders
