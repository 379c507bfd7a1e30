#include "orders/Rules.h"

#include "orders/Inside.h"
#include "orders/Symbols.h"
#include "sim/Audio.h"
#include "sim/Devices.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/ScreenAndSound.h"
#include "sim/Television.h"
#include "sim/Timers.h"

#include <glib.h>

#include <device_power.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace orders {

namespace {

using std::chrono::milliseconds;

/// The longest that the service may wait for one answer, and the most of them that one event may cost.
constexpr int kLongestTimeout = 5000;
constexpr int kMostAnswers = 2;
/// The longest that it may sleep over one event: 35 tries a tenth of a second apart, and what follows them.
constexpr milliseconds kLongestSleep{3510};
constexpr milliseconds kLongestWait = kMostAnswers * milliseconds(kLongestTimeout);
constexpr int kLongestLock = 60'000; // in milliseconds

constexpr int kHighestAdcBelow90 = 27;
constexpr int kAdcShift = 3;
constexpr int kLevelMask = 7;
constexpr int kLevelEmpty = 0;
constexpr int kLevelLow = 5;
constexpr int kTenPercent = 10;

/// Timers whose id the service keeps: of each one is pending at most.
constexpr std::string_view kKept[] = {"OnSampleTimer", "OnUseModeTimer", "OnIrKeyCodeTimer", "handleLastConnectedSpk"};
/// Of others each event may add one, which ends by itself. More than this of one kind nobody would have wanted.
constexpr int kMostOfOthers = 16;

constexpr std::string_view kBatteryCallback = "bt_hid_battery_status_received_cb";

/// The first number in a text of the tape, which writes bytes as 0x1c.
int NumberIn(std::string_view text)
{
    constexpr int kHexadecimal = 16;
    constexpr int kDecimal = 10;
    const std::size_t begin = text.find_first_of("0123456789");
    int number = -1;
    if (begin != std::string_view::npos) {
        text.remove_prefix(begin);
        const bool isByte = text.starts_with("0x");
        text.remove_prefix(isByte ? 2 : 0);
        std::from_chars(text.data(), text.data() + text.size(), number, isByte ? kHexadecimal : kDecimal);
    }
    return number;
}

/// The address in the text of a record: what looks like one.
std::string AddressIn(const std::string& record)
{
    constexpr std::size_t kLength = 17;
    const std::size_t colon = record.find(':');
    return colon >= 2 && colon != std::string::npos ? record.substr(colon - 2, kLength) : "";
}

bool IsSet(const std::string& argument)
{
    return argument == "true" || argument == "1";
}

/// The lowest number that no descriptor has: it rises when one is left open.
int FirstFreeDescriptor()
{
    const int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    ::close(descriptor);
    return descriptor;
}

} // namespace

Rules::Rules(sim::Television& tv)
    : m_tv(tv),
      m_warned{
          {{"bt_hid_smart_rc_connection_cb", "SmartRcBatteryNotify", "SmartRcBatteryLevel"},
           {"bt_hid_halvo_switch_connection_state_changed_cb", "HalvoWheelBatteryNotify", "HalvoWheelBatteryLevel"}}}
{}

void Rules::Begins()
{
    m_firstFree = FirstFreeDescriptor();
}

void Rules::See(const sim::Entry& entry)
{
    switch (entry.kind) {
    case sim::Kind::Call:
        return SeeCall(entry);
    case sim::Kind::Event:
        for (Warned& remote : m_warned) {
            SeeConnection(remote, entry);
        }
        return SeeBattery(entry);
    case sim::Kind::Bus:
        return SeeMessage(entry);
    case sim::Kind::Reply:
        if (const auto asked = m_asked.find(entry.cause); asked != m_asked.end() && entry.how == "no reply") {
            HoldTo(kLongestWait, m_waited[asked->second], milliseconds(m_timeouts[entry.cause]));
        }
        return;
    case sim::Kind::Sleep:
        return HoldTo(kLongestSleep, m_slept[entry.cause], milliseconds(NumberIn(entry.text)));
    default:
        return;
    }
}

void Rules::SeeCall(const sim::Entry& entry)
{
    const bool locksState = entry.function == "device_power_lock_state";
    const bool locksPicture = entry.function == "screen_manager_set_ambient_lock" && entry.arguments.front() == "1";
    if (locksState || locksPicture) {
        const int time = NumberIn(entry.arguments.back());
        if (time <= 0 || time > kLongestLock) {
            Complain("a lock without an end: " + entry.text);
        }
    }
    m_settingsFail = m_settingsFail || (entry.function.starts_with("vconf_") && entry.result == "-1");
}

void Rules::SeeConnection(Warned& remote, const sim::Entry& entry)
{
    if (entry.function != remote.connection || !IsSet(entry.arguments.front())) {
        return;
    }
    const std::string address = AddressIn(entry.arguments.back());
    remote.toldEmpty = false;
    if (address != remote.address) {
        remote.toldUnder50 = remote.toldUnder10 = false;
    }
    remote.address = address;
}

/// A battery that is nearly full is warned of again. Its level code may have the report dealt with before it is judged.
void Rules::SeeBattery(const sim::Entry& entry)
{
    if (entry.function != kBatteryCallback) {
        return;
    }
    const int byte = NumberIn(entry.arguments.front());
    const int code = byte & kLevelMask;
    if (code == kLevelEmpty || code == kLevelLow || byte >> kAdcShift <= kHighestAdcBelow90) {
        return;
    }
    const std::string address = AddressIn(entry.arguments.front());
    for (Warned& remote : m_warned) {
        if (remote.address == address) {
            remote.toldUnder50 = remote.toldUnder10 = false;
        }
    }
}

void Rules::SeeMessage(const sim::Entry& entry)
{
    if (entry.how == "ask") {
        m_asked[entry.id] = entry.cause;
        m_timeouts[entry.id] = entry.timeout;
        if (entry.timeout < 0 || entry.timeout > kLongestTimeout) {
            Complain("the loop waits for " + std::to_string(entry.timeout) + " ms: " + entry.text);
        }
    }
    for (Warned& remote : m_warned) {
        SeeNotice(remote, entry);
    }
}

void Rules::SeeNotice(Warned& remote, const sim::Entry& entry)
{
    if (m_settingsFail) {
        return;
    }
    if (entry.member == remote.announces && entry.body.starts_with("('0'")) {
        if (remote.toldEmpty) {
            Complain("told twice that it is empty: " + entry.text);
        }
        remote.toldEmpty = true;
    }
    if (entry.member == remote.warns) {
        bool& told = NumberIn(entry.body) <= kTenPercent ? remote.toldUnder10 : remote.toldUnder50;
        if (told || remote.toldUnder10) {
            Complain("warned twice of a battery that was not charged meanwhile: " + entry.text);
        }
        told = true;
    }
}

void Rules::HoldTo(milliseconds longest, milliseconds& stood, milliseconds more)
{
    stood += more;
    if (stood > longest) {
        Complain("the loop stands still for " + std::to_string(stood.count()) + " ms over one event, and may for " +
                 std::to_string(longest.count()));
    }
}

void Rules::Look()
{
    LookAtTimers();
    LookAtAddresses();
    LookAtDescriptors();
    m_tv.devices.CheckRecords();
    m_tv.audio.CheckRecords();
    m_asked.clear();
    m_timeouts.clear();
    m_waited.clear();
    m_slept.clear();
}

void Rules::LookAtTimers()
{
    std::map<GSourceFunc, int> pending;
    for (const sim::PendingTimer& timer : sim::PendingTimers()) {
        ++pending[timer.function];
    }
    for (const auto& [function, count] : pending) {
        if (count < 2) {
            continue;
        }
        const std::string& name = NameOfFunction(reinterpret_cast<const void*>(function));
        const bool isKept =
            std::ranges::any_of(kKept, [&](std::string_view kept) { return name.find(kept) != std::string::npos; });
        if (isKept || count > kMostOfOthers) {
            Complain(std::to_string(count) + " timers of one kind are pending: " +
                     ReadableNameOfFunction(reinterpret_cast<const void*>(function)));
        }
    }
}

void Rules::LookAtAddresses()
{
    const auto compare = [this](const char* who, const std::string& kept, const sim::Remote& remote) {
        const std::string there = remote.connected ? remote.address : "";
        if (kept != there) {
            Complain(std::string("the address of the ") + who + " is kept as \"" + kept + "\", and should be \"" +
                     there + "\"");
        }
    };
    compare("smart remote", Inside::RemotesAddress(), m_tv.smartRemote);
    compare("wheel", Inside::WheelsAddress(), m_tv.wheel);
}

void Rules::LookAtDescriptors()
{
    const int firstFree = FirstFreeDescriptor();
    if (firstFree != m_firstFree) {
        Complain("descriptor " + std::to_string(m_firstFree) + " is left open");
    }
}

void Rules::LookAtTheEnd()
{
    for (int state = DEVICE_POWER_STATE_NORMAL; state <= DEVICE_POWER_STATE_SUSPEND; ++state) {
        if (m_tv.power.IsLocked(state)) {
            Complain("power state " + std::to_string(state) + " is locked for ever");
        }
    }
    if (m_tv.screen.IsAmbientLocked()) {
        Complain("the low-power picture is locked for ever");
    }
    for (const sim::PendingTimer& timer : sim::PendingTimers()) {
        Complain("a timer never ends: " + ReadableNameOfFunction(reinterpret_cast<const void*>(timer.function)));
    }
    m_tv.devices.CheckRecords();
    m_tv.audio.CheckRecords();
}

std::string Rules::State() const
{
    std::string text;
    for (const Warned& remote : m_warned) {
        text += std::string("told ") + remote.address + (remote.toldEmpty ? " empty" : "") +
                (remote.toldUnder50 ? " under 50" : "") + (remote.toldUnder10 ? " under 10" : "") + "\n";
    }
    return text + (m_settingsFail ? "settings fail\n" : "");
}

} // namespace orders
