// vyrel-ctl: shows people the Bluetooth service of their box, and tells it what they want.

#include "bluez/Tree.h"
#include "people/Bus.h"
#include "people/Failure.h"
#include "people/Output.h"
#include "people/Requests.h"
#include "vyrel-ctl/Box.h"
#include "vyrel-ctl/Options.h"
#include "vyrel-ctl/Show.h"
#include "vyrel-ctl/Watch.h"

#include <glib.h>

#include <bt_adapter.h>
#include <device_power.h>

#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace control {
namespace {

constexpr const char* kName = "vyrel-ctl";
constexpr int kForPerson = 1;

int Show(const Options& options, const std::string& lines, const std::string& value)
{
    people::Print(options.json ? value + "\n" : lines);
    return people::kDone;
}

int ShowDevices(const people::Bus& bus, const Options& options)
{
    std::vector<bluez::Device> devices = AskBluetooth(bus).devices;
    if (!options.all) {
        devices = Befriended(std::move(devices));
    }
    return Show(options, DeviceLines(devices), DeviceJson(devices));
}

int ShowRemotes(const people::Bus& bus, const Options& options)
{
    const std::vector<RemoteNow> remotes = AskRemotes(bus);
    return Show(options, RemoteLines(remotes), RemoteJson(remotes));
}

int Power(const people::Bus& bus, const Options& options)
{
    const std::string& state = options.state;
    const auto tell = [&](const char* method, GVariant* arguments) {
        bus.CallPlatform(people::kPower, method, arguments, "()");
        return people::kDone;
    };
    if (state.empty()) {
        std::vector<Wake> wakes;
        const PowerNow power = AskPower(bus, wakes);
        return Show(options, PowerLine(power), PowerJson(power));
    }
    if (state == "off") {
        return tell("RequestPowerOff", g_variant_new("(i)", DEVICE_POWEROFF_OPTION_SUSPEND_OFF));
    }
    if (state == "reboot") {
        return tell("RequestReboot", g_variant_new("(i)", 0));
    }
    constexpr std::pair<const char*, int> kStates[] = {{"normal", DEVICE_POWER_STATE_NORMAL},
                                                       {"picture-off", DEVICE_POWER_STATE_PICTURE_OFF},
                                                       {"standby", DEVICE_POWER_STATE_STANDBY},
                                                       {"suspend", DEVICE_POWER_STATE_SUSPEND}};
    const auto* wanted = std::ranges::find(kStates, state, &std::pair<const char*, int>::first);
    return tell("SetState", g_variant_new("(ii)", wanted->second, kForPerson));
}

int ShowRequests(const people::Bus& bus, const Options& options)
{
    const std::vector<people::Request> requests = AskRequests(bus);
    return Show(options, RequestLines(requests), RequestJson(requests));
}

bool NeedsCode(const people::Request& request)
{
    return request.kind == "authentication" &&
           (request.code == BT_AUTHENTICATION_PIN_ENTRY || request.code == BT_AUTHENTICATION_PASSKEY_ENTRY);
}

/// The platform sees to the trust of who asks for a service. Who pairs is trusted here, beside the answer.
void TrustWhoPairs(const people::Bus& bus, const std::vector<people::Request>& requests, const std::string& address)
{
    if (std::ranges::all_of(requests, [](const people::Request& request) { return request.kind == "service"; })) {
        return;
    }
    for (const bluez::Device& device : AskBluetooth(bus).devices) {
        if (device.address == address) {
            bus.TrustDevice(device.path);
        }
    }
}

int AnswerAll(const people::Bus& bus, bool accept, const Options& options)
{
    std::vector<people::Request> requests = AskRequests(bus);
    std::erase_if(requests, [&](const people::Request& request) { return request.address != options.address; });
    if (requests.empty()) {
        throw people::Failure(people::kNotThere, options.address + " does not wait for an answer");
    }
    for (const people::Request& request : requests) {
        if (accept && NeedsCode(request) && options.code.empty()) {
            throw people::Failure(people::kUsage, options.address + " needs --code, its PIN or passkey");
        }
    }
    for (const people::Request& request : requests) {
        const people::Answer answer = people::AnswerTo(request, accept, options.code, options.trust);
        bus.CallPlatform(people::kPairing, answer.method, answer.arguments, "()");
    }
    if (accept && options.trust) {
        TrustWhoPairs(bus, requests, options.address);
    }
    return people::kDone;
}

int ShowFeatures(const people::Bus& bus, const Options& options)
{
    const std::vector<Feature> features = AskFeatures(bus);
    return Show(options, FeatureLines(features), FeatureJson(features));
}

int Perform(const Options& options)
{
    if (options.action == Action::Help) {
        people::Print(kHelp);
        return people::kDone;
    }
    const people::Bus bus;
    switch (options.action) {
    case Action::Help:
        break;
    case Action::Status:
        return ShowStatus(bus, options.json);
    case Action::Devices:
        return ShowDevices(bus, options);
    case Action::Remotes:
        return ShowRemotes(bus, options);
    case Action::Power:
        return Power(bus, options);
    case Action::PairingList:
        return ShowRequests(bus, options);
    case Action::PairingAccept:
        return AnswerAll(bus, true, options);
    case Action::PairingRefuse:
        return AnswerAll(bus, false, options);
    case Action::Features:
        return ShowFeatures(bus, options);
    case Action::Watch:
        return Watch(bus, options);
    }
    return people::kUsage;
}

int Main(const std::vector<std::string>& arguments)
{
    std::string error;
    const std::optional<Options> options = ParseOptions(arguments, error);
    if (!options) {
        std::fprintf(stderr, "%s: %s\nTry '%s --help'.\n", kName, error.c_str(), kName);
        return people::kUsage;
    }
    return Perform(*options);
}

} // namespace
} // namespace control

int main(int argc, char** argv)
{
    return people::RunProgram(control::kName,
                              [&] { return control::Main(std::vector<std::string>(argv + 1, argv + argc)); });
}
