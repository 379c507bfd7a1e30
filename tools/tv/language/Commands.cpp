#include "tv/language/Commands.h"

#include "sim/FunctionNames.h"
#include "tv/language/Numbers.h"
#include "tv/why/Conditions.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <functional>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>

namespace language {

namespace {

constexpr Command kCommands[] = {
    {Verb::RemoteConnects, By::Set, "remote|wheel connect [ADDRESS]", "comes into reach and connects"},
    {Verb::RemoteDisconnects, By::Set, "remote|wheel disconnect [REASON]", "ends its connection in order"},
    {Verb::RemoteIsLost, By::Set, "remote|wheel lose [REASON]", "loses the link"},
    {Verb::RemoteIsKnown, By::Set, "remote|wheel known", "has been paired before; nobody is told"},
    {Verb::BatteryLevel, By::Set, "remote|wheel battery adc LEVEL",
     "reports its battery, as the service reads it: the upper five bits of the byte"},
    {Verb::BatteryByte, By::Set, "remote|wheel battery byte BYTE", "reports its battery, the byte as it is sent"},
    {Verb::Charges, By::Set, "remote|wheel charge STATUS [HARVEST]", "reports that it charges, and how well by light"},
    {Verb::RemoteType, By::Set, "remote|wheel type BYTE", "is of another type from now on"},
    {Verb::RemoteFirmware, By::Set, "remote|wheel firmware NUMBER", "has another firmware from now on"},
    {Verb::RemoteAddress, By::Set, "remote|wheel address ADDRESS", "connects under this address from now on"},
    {Verb::RemoteIsGripped, By::Set, "remote grip [BYTE]", "somebody takes it into the hand; the key that it sends"},
    {Verb::GripSensor, By::Set, "remote sensor on|off|none",
     "its grip sensor turns on or off, or is said not to exist"},

    {Verb::DeviceConnects, By::Set, "speaker|phone|keyboard connect",
     "connects: the link, and then what it is for (sound, hands-free, input)"},
    {Verb::DeviceDisconnects, By::Set, "speaker|phone|keyboard disconnect [REASON]", "ends its connection in order"},
    {Verb::DeviceIsLost, By::Set, "speaker|phone|keyboard lose [REASON]", "loses the link"},
    {Verb::DeviceAsks, By::Set, "speaker|phone|keyboard ask [SERVICE]", "asks to be let in, for a service"},
    {Verb::DevicePairs, By::Set, "speaker|phone|keyboard pair [PASSKEY]",
     "asks to be paired: with a passkey, or for consent alone"},
    {Verb::DeviceBonds, By::Set, "speaker|phone|keyboard bond", "is paired, and everybody is told"},
    {Verb::DeviceIsKnown, By::Set, "speaker|phone|keyboard known", "has been paired before; nobody is told"},
    {Verb::DeviceUnbonds, By::Set, "speaker|phone|keyboard unbond", "is no longer paired"},
    {Verb::DeviceName, By::Set, "speaker|phone|keyboard name TEXT...",
     "calls itself so from now on; none: says no name when it is paired"},
    {Verb::DeviceAddress, By::Set, "speaker|phone|keyboard address ADDRESS", "has this address from now on"},
    {Verb::LowEnergy, By::Set, "remote|wheel|speaker|phone|keyboard low-energy on|off",
     "connects on low energy, or ends that"},
    {Verb::SpeakerVolume, By::Set, "speaker volume VOLUME", "reports its volume"},
    {Verb::Stand, By::Set, "stand connect|disconnect", "the rotating stand comes or goes"},

    {Verb::PowerGoes, By::Set, "power normal|picture-off|standby|suspend [REASON]", "the set goes to this power state"},
    {Verb::PowerAmbient, By::Set, "power ambient [REASON]", "the set shows its low-power picture"},
    {Verb::PowerState, By::Set, "power state STATE MODE [REASON]", "the set goes to a power state and an ambient mode"},
    {Verb::PowerOff, By::Set, "power off [OPTION]",
     "the whole way out: standby is announced and, once nothing holds the set, the power-off told"},
    {Verb::PowerDown, By::Set, "power down [OPTION]", "tells of a power-off in its two notices, and no more"},
    {Verb::PowerAnnounce, By::Set, "power announce [OPTION]", "tells that the set will go to standby on its way out"},
    {Verb::PowerLeave, By::Set, "power leave [OPTION]", "tells of a power-off that begins in the low-power picture"},
    {Verb::PowerWake, By::Set, "power wake [REASON]", "tells that the set wakes up; the state is told by power normal"},
    {Verb::AdapterGoes, By::Set, "adapter on|off", "the adapter goes on or off by itself"},
    {Verb::AdapterReports, By::Set, "adapter report RESULT STATE", "the adapter reports a change without changing"},
    {Verb::AdapterDelay, By::Set, "adapter delay DURATION", "it takes so long to go on or off"},
    {Verb::AdapterPoweredOnBy, By::Set, "adapter woken-by ADDRESS [REASON]", "this device has switched the set on"},
    {Verb::Set, By::Set, "set SETTING VALUE",
     "another program writes a setting: true and false, a number, or a text, in quotes where it looks like one of "
     "them"},
    {Verb::Unset, By::Set, "unset SETTING", "another program removes a setting"},
    {Verb::Get, By::Set, "get SETTING", "another program reads a setting"},
    {Verb::Furnish, By::Set, "furnish",
     "an ordinary set: its features, its rotating stand, an adapter that takes 400ms, a touch-IR monitor, a folder for "
     "the "
     "service's files"},
    {Verb::Feature, By::Set, "feature FEATURE VALUE",
     "what kind of set it is: true or false, a number, or none; model and ir-key-code are features, too"},
    {Verb::Flag, By::Set, "flag FLAG on|off", "another process has posted a light-weight flag, or has not"},
    {Verb::File, By::Set, "file PATH TEXT...", "makes a file on the set"},
    {Verb::RemoveFile, By::Set, "remove PATH", "removes a file or a folder of the set"},
    {Verb::Disk, By::Set, "disk full|roomy",
     "the set's disk takes no more of settings and of the service's files, or has room again"},
    {Verb::Light, By::Set, "light LUX", "the light in the room"},
    {Verb::Key, By::Set, "key NUMBER", "the key router reports a key sequence: 51 Bluetooth off, 52 on"},

    {Verb::SiblingAnswers, By::Set, "sibling SIBLING answers", "it is there and answers at once"},
    {Verb::SiblingSlow, By::Set, "sibling SIBLING slow [DURATION]", "it answers after a while (2s)"},
    {Verb::SiblingHangs, By::Set, "sibling SIBLING hang", "it is there and never answers"},
    {Verb::SiblingError, By::Set, "sibling SIBLING error [ERROR]", "it answers all with an error"},
    {Verb::SiblingAbsent, By::Set, "sibling SIBLING absent", "it is not there"},
    {Verb::SiblingAnswer, By::Set, "sibling SIBLING answer MEMBER [BODY...]",
     "what it answers to this call from now on, such as (1,)"},
    {Verb::SiblingEmits, By::Set, "sibling SIBLING emit MEMBER [BODY...]", "it sends a signal to all"},
    {Verb::BusIsHidden, By::Set, "bus hidden|there",
     "a service that is started from now on finds no message bus, or finds it again"},
    {Verb::BusRestart, By::Front, "bus restart",
     "the message bus goes away, which ends the service, and another takes its place"},

    {Verb::ReportRemote, By::Set, "report battery|remote|loss|wheel without record|address",
     "the platform reports a battery, that a remote connects or is lost, or that a wheel connects, and leaves "
     "something out"},
    {Verb::ReportEmpty, By::Set, "report remote|wheel empty",
     "the platform reports that a remote or a wheel connects, and its address is empty"},
    {Verb::ReportRequest, By::Set, "report service|passkey|consent without address|name",
     "the platform reports that a device asks for something, and leaves something out"},
    {Verb::ReportPower, By::Set, "report power without record",
     "the platform reports a power state, and does not say which"},
    {Verb::Strength, By::Set, "strength comes|late|never|without-address",
     "what becomes of it when the service asks for a signal strength"},
    {Verb::Fail, By::Set, "fail FUNCTION CODE [TIMES]",
     "a platform function fails from now on, or so many times; the code by name or number"},
    {Verb::Recover, By::Set, "recover FUNCTION", "it fails no more"},
    {Verb::Wait, By::Set, "wait DURATION", "time passes, all at once: 500ms, 10s, 5min, 1h, 2d"},
    {Verb::NextTimer, By::Set, "next timer", "time passes until the next timer of the service is due"},
    {Verb::Clock, By::Set, "clock stands|runs", "between lines time stands still, or passes as on the wall"},
    {Verb::ClockIsSet, By::Set, "clock set back|forth DURATION",
     "somebody sets the clock on the wall, which no timer goes by; an unplugged set forgets it"},

    {Verb::Plug, By::Set, "plug", "the set is plugged in, and the service starts"},
    {Verb::Unplug, By::Set, "unplug", "the service is told to stop"},
    {Verb::Record, By::Set, "record FILE",
     "the service's life is recorded from the next plug on, as a set can do it; those before become FILE.1, FILE.2, "
     "..."},
    {Verb::Save, By::Front, "save FILE", "what was entered so far, as a scenario (.tv), or all that happened (.run)"},
    {Verb::Why, By::Front, "why [TEXT...]",
     "why the last thing happened that the service did, the last in which the text stands, or the entry of this "
     "number: "
     "its causes, and what was asked for on the way"},
    {Verb::WhyNot, By::Front, "why not OUTCOME [WAY]",
     "the first condition that did not hold, and who had set it so; or when it did happen"},
    {Verb::Help, By::Front, "help [WORD]", "all lines, or those about a word"},
    {Verb::Quit, By::Front, "quit", "ends it all"},

    {Verb::Story, By::Front, "story TEXT...", "a heading that is told"},
    {Verb::Within, By::Tester, "within DURATION TEXT...",
     "lets time pass, timer by timer, until the expectation behind it holds, and no longer than that"},
    {Verb::ExpectCall, By::Tester, "expect call SIBLING MEMBER [BODY...]", "the service has sent this to a sibling"},
    {Verb::ExpectNoCall, By::Tester, "expect no call SIBLING MEMBER [BODY...]", "it has not sent this"},
    {Verb::ExpectNothing, By::Tester, "expect nothing",
     "the service has done nothing: no call that does something, no message, no usage event"},
    {Verb::ExpectSetting, By::Tester, "expect setting SETTING VALUE", "the setting has this value, or none"},
    {Verb::ExpectFile, By::Tester, "expect file PATH TEXT...", "the file of the set holds this, or there is none"},
    {Verb::ExpectLog, By::Tester, "expect log TEXT...", "the service has logged this"},
    {Verb::ExpectNoLog, By::Tester, "expect no log TEXT...", "it has not logged this"},
    {Verb::ExpectFunction, By::Tester, "expect function TEXT...", "it has made this platform call, as it is written"},
    {Verb::ExpectNoFunction, By::Tester, "expect no function TEXT...", "it has not made this platform call"},
    {Verb::ExpectEntry, By::Tester, "expect entry TEXT...", "this has happened, whatever it is"},
    {Verb::ExpectNoEntry, By::Tester, "expect no entry TEXT...", "this has not happened"},
    {Verb::ExpectWhy, By::Tester, "expect why OUTCOME WAY", "the last time that it was tried this way, it came"},
    {Verb::ExpectWhyNot, By::Tester, "expect why not OUTCOME WAY CONDITION...",
     "the last time that it was tried this way, or as nobody has tried, this condition was the first that did not "
     "hold"},
    {Verb::ExpectRunning, By::Tester, "expect running", "the service runs"},
    {Verb::ExpectStopped, By::Tester, "expect stopped", "the service does not run"},
};

bool IsBetween(std::string_view text, int least, int most)
{
    const std::optional<int> number = NumberIn(text);
    return number && *number >= least && *number <= most;
}

bool IsMember(std::string_view text)
{
    const auto isLetter = [](char character) {
        return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') || character == '_' ||
               (character >= '0' && character <= '9');
    };
    return !text.empty() && text.size() < 256 && (text.front() < '0' || text.front() > '9') &&
           std::ranges::all_of(text, isLetter);
}

bool IsErrorName(std::string_view text)
{
    std::size_t elements = 0;
    while (true) {
        const std::size_t dot = text.find('.');
        if (!IsMember(text.substr(0, dot))) {
            return false;
        }
        ++elements;
        if (dot == std::string_view::npos) {
            return elements > 1;
        }
        text.remove_prefix(dot + 1);
    }
}

bool IsPath(std::string_view text)
{
    return text.size() > 1 && text.front() == '/' && text.back() != '/' &&
           text.find("/../") == std::string_view::npos && !text.ends_with("/..");
}

bool IsAddress(std::string_view text)
{
    constexpr std::string_view kShape = "hh:hh:hh:hh:hh:hh";
    return std::ranges::equal(text, kShape, [](char character, char shape) {
        return shape == 'h' ? std::isxdigit(static_cast<unsigned char>(character)) != 0 : character == shape;
    });
}

bool IsAnything(std::string_view)
{
    return true;
}

bool IsSomething(std::string_view text)
{
    return !text.empty();
}

bool IsNumber(std::string_view text)
{
    return NumberIn(text).has_value();
}

std::vector<std::string> FunctionNames()
{
    return {std::begin(sim::kFunctionNames), std::end(sim::kFunctionNames)};
}

std::vector<std::string> OutcomeNames()
{
    std::vector<std::string> names;
    std::ranges::transform(why::Outcomes(), std::back_inserter(names), &why::Outcome::name);
    return names;
}

const Kind kKinds[] = {
    {"ADDRESS", "an address such as 00:11:22:AA:BB:CC", IsAddress, nullptr},
    {"BODY", "the body of a message as GVariant text, such as (1,) or ('a', true)", IsAnything, nullptr},
    {"BYTE", "a number from 0 to 255", [](std::string_view text) { return IsBetween(text, 0, 255); }, nullptr},
    {"CODE", "the name of an error, or a number other than 0",
     [](std::string_view text) { return ErrorCodeIn(text).has_value(); }, ErrorNames},
    {"CONDITION", "a condition, as it stands in its table", IsSomething, nullptr},
    {"DURATION", "a time with its unit, such as 500ms, 10s, 5min, 1h or 2d, at most 366d",
     [](std::string_view text) { return DurationIn(text).has_value(); },
     [] { return std::vector<std::string>{"500ms", "1s", "10s", "1min", "1h", "1d"}; }},
    {"ERROR", "the name of a D-Bus error, such as org.freedesktop.DBus.Error.Failed", IsErrorName,
     [] {
         return std::vector<std::string>{"org.freedesktop.DBus.Error.Failed", "org.freedesktop.DBus.Error.AccessDenied",
                                         "org.freedesktop.DBus.Error.UnknownMethod"};
     }},
    {"FEATURE", "the name of a feature, without its common beginning", IsSomething,
     [] {
         return std::vector<std::string>{"ble_support",
                                         "bluetooth.always_classic_discoverable",
                                         "bluetooth.audio_support",
                                         "bluetooth.discoverable",
                                         "bluetooth.hfp_support",
                                         "ir-key-code",
                                         "model",
                                         "product.rotation_accessory_support",
                                         "setting.menuitem.remote_grib_support"};
     }},
    {"FILE", "the name of a file", IsSomething, nullptr},
    {"FLAG", "the name of a flag", IsSomething, [] { return std::vector<std::string>{"/tmp/.bt_irmonitor"}; }},
    {"FUNCTION", "a platform function",
     [](std::string_view text) { return std::ranges::binary_search(sim::kFunctionNames, text); }, FunctionNames},
    {"HARVEST", "a number from 0 to 255", [](std::string_view text) { return IsBetween(text, 0, 255); }, nullptr},
    {"LEVEL", "a number from 0 to 31", [](std::string_view text) { return IsBetween(text, 0, 31); }, nullptr},
    {"LUX", "a number from 0 to 200000", [](std::string_view text) { return IsBetween(text, 0, 200'000); }, nullptr},
    {"MEMBER", "the name of a method or a signal", IsMember, nullptr},
    {"MODE", "a number", IsNumber, nullptr},
    {"NUMBER", "a whole number of 32 bits", IsNumber, nullptr},
    {"OPTION", "a power-off option: a number, or names with + between them",
     [](std::string_view text) { return PowerOptionIn(text).has_value(); }, PowerOptionNames},
    {"OUTCOME", "something that the service does of its own accord",
     [](std::string_view text) { return why::OutcomeOf(text) != nullptr; }, OutcomeNames},
    {"PASSKEY", "a passkey", IsSomething, nullptr},
    {"PATH", "the path of a file of the set, such as /tmp/flag", IsPath, nullptr},
    {"REASON", "a number", IsNumber, nullptr},
    {"RESULT", "a number", IsNumber, nullptr},
    {"SERVICE", "a number", IsNumber, nullptr},
    {"SETTING", "the key of a setting, which begins with db/ or memory/",
     [](std::string_view text) {
         return (text.starts_with("db/") && text.size() > 3) || (text.starts_with("memory/") && text.size() > 7);
     },
     nullptr},
    {"SIBLING", "a sibling service",
     [](std::string_view text) {
         const std::vector<std::string> names = SiblingNames();
         return std::ranges::find(names, text) != names.end();
     },
     SiblingNames},
    {"STATE", "a number", IsNumber, nullptr},
    {"STATUS", "a number from 0 to 255", [](std::string_view text) { return IsBetween(text, 0, 255); }, nullptr},
    {"TEXT", "a text", IsAnything, nullptr},
    {"TIMES", "a number from 1 to 1000000", [](std::string_view text) { return IsBetween(text, 1, 1'000'000); },
     nullptr},
    {"VALUE", "a value", IsAnything,
     [] {
         return std::vector<std::string>{"false", "none", "true"};
     }},
    {"VOLUME", "a number from 0 to 127", [](std::string_view text) { return IsBetween(text, 0, 127); }, nullptr},
    {"WAY", "a way in which it can come about", IsSomething, nullptr},
    {"WORD", "a word", IsSomething, nullptr},
};

} // namespace

std::span<const Command> Commands()
{
    return kCommands;
}

std::vector<std::string> SiblingNames()
{
    return {"connectionmanager", "connectionshift", "hfpAgent", "irmonitor", "keyrouter", "updatemanager"};
}

const Kind& KindOf(std::string_view name)
{
    const auto found = std::ranges::find(kKinds, name, &Kind::name);
    if (found == std::end(kKinds)) {
        throw std::logic_error("no such kind of argument: " + std::string(name));
    }
    return *found;
}

} // namespace language
