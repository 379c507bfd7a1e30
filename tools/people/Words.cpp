#include "people/Words.h"

#include "bus/Handles.h"
#include "people/Text.h"

#include <bt_adapter.h>
#include <bt_device.h>
#include <device_power.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <functional>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace people {

namespace {

/// The values of a body as text.
using Values = std::vector<std::string>;
using Say = std::string (*)(const Values&);

struct Meaning
{
    std::string_view member;
    const char* type; ///< of the body
    Say say;
};

std::string Connection(const Values& values, std::size_t connected, std::size_t address, const char* what)
{
    const bool isUp = values[connected] == "1" || values[connected] == "true";
    return values[address] + (isUp ? " is connected" : " is disconnected") + what;
}

std::string Profile(const std::string& number)
{
    return number == "1" ? ", hands-free" : number == "2" ? ", a speaker" : number == "16" ? ", a player" : "";
}

/// 0 for what is none.
int Number(const std::string& text)
{
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::string Authentication(const std::string& type, const std::string& passkey)
{
    return RequestInWords("authentication", Number(type), passkey, "");
}

std::string Service(const std::string& number)
{
    return Number(number) == BT_PROFILE_SERVICE_AUDIO ? "audio" : "service " + number;
}

std::string Level(const std::string& code)
{
    return code == "0" ? "empty" : code == "5" ? "low" : "level " + code;
}

std::string Charging(const std::string& status)
{
    return ": charging status " + status;
}

constexpr Meaning kMeanings[] = {
    {"Hello", "()", [](const Values&) -> std::string { return "are you there?"; }},
    {"A2dpPowerOn", "(s)", [](const Values& v) { return "the box was switched on by " + v[0] + ": connect it"; }},
    {"AdapterDisabled", "()", [](const Values&) -> std::string { return "the adapter is off"; }},
    {"AuthorizationRequest", "(ssii)",
     [](const Values& v) { return v[0] + " \"" + v[1] + "\" wants to use " + Service(v[2]); }},
    {"AuthenticaionRequest", "(sssii)",
     [](const Values& v) { return v[0] + " \"" + v[1] + "\" wants to pair: " + Authentication(v[3], v[2]); }},
    {"SspConcentRequest", "(ssi)", [](const Values& v) { return v[0] + " \"" + v[1] + "\" wants to pair"; }},
    {"BondDestroied", "(s)", [](const Values& v) { return "the pairing with " + v[0] + " is gone"; }},
    {"HidConStateChanged", "(sii)", [](const Values& v) { return Connection(v, 2, 0, ", an input device"); }},
    {"AudioConnectionStateChanged", "(siii)",
     [](const Values& v) { return Connection(v, 3, 0, Profile(v[1]).c_str()); }},
    {"AvrcpInterimReceived", "(si)", [](const Values& v) { return v[0] + " has volume " + v[1] + " of 127"; }},
    {"AvrcpTgConnectionChanged", "(bs)", [](const Values& v) { return Connection(v, 0, 1, ", controls the box"); }},
    {"AvrcpCtConnectionChanged", "(bs)", [](const Values& v) { return Connection(v, 0, 1, ", is controlled"); }},
    {"CheckConnectedDevice", "()", [](const Values&) -> std::string { return "a speaker was connected already"; }},
    {"LastConnectedBtSpk", "()", [](const Values&) -> std::string { return "connect the last speaker again"; }},
    {"DeleteDatabase", "()", [](const Values&) -> std::string { return "all pairings are removed: forget all"; }},
    {"SmartRcBatteryNotify", "(ssi)", [](const Values& v) { return "battery of remote " + v[1] + ": " + Level(v[0]); }},
    {"HalvoWheelBatteryNotify", "(ss)",
     [](const Values& v) { return "battery of wheel " + v[1] + ": " + Level(v[0]); }},
    {"SmartRcBatteryLevel", "(s)", [](const Values& v) { return "battery of the remote: " + v[0] + " %"; }},
    {"HalvoWheelBatteryLevel", "(s)", [](const Values& v) { return "battery of the wheel: " + v[0] + " %"; }},
    {"SmartRcBatteryChargingStatus", "(y)", [](const Values& v) { return "the remote" + Charging(v[0]); }},
    {"HalvoWheelBatteryChargingStatus", "(y)", [](const Values& v) { return "the wheel" + Charging(v[0]); }},
    {"GripSensorDetected", "()", [](const Values&) -> std::string { return "somebody grips the remote"; }},
    {"AudioMultiOutputChanged", "(i)", [](const Values& v) { return "sound on several outputs: " + v[0]; }},
    {"LastBtSpkConnectingStatusVconfChanged", "(i)",
     [](const Values& v) { return "connecting the last speaker: status " + v[0]; }},
    {"PowerStateChanged", "(iiiiii)",
     [](const Values& v) {
         return "power: " + PowerStateInWords(Number(v[2])) + " -> " + PowerStateInWords(Number(v[3]));
     }},
    {"StandbyPowerStatefromNormal", "()", [](const Values&) -> std::string { return "the box goes to standby"; }},
    {"UpdateConnectedDeviceList", "(bs)", [](const Values& v) { return Connection(v, 0, 1, ""); }},
    {"ConnectionShiftControl", "(s)", [](const Values& v) { return "operation " + v[0]; }},
    {"StartDaemon", "(s)", [](const Values& v) { return "serve the hands-free device " + v[0]; }},
    {"CHIP", "()", [](const Values&) -> std::string { return "update the Bluetooth chip"; }},
    {"SCFW", "()", [](const Values&) -> std::string { return "update the remote"; }},
    {"HALVO", "()", [](const Values&) -> std::string { return "update the wheel"; }},
    {"EXIT", "()", [](const Values&) -> std::string { return "no more updates"; }},
    {"Start", "()", [](const Values&) -> std::string { return "watch for touches"; }},
    {"Stop", "()", [](const Values&) -> std::string { return "cease to watch for touches"; }},
    {"Reset", "()", [](const Values&) -> std::string { return "begin anew to watch for touches"; }},
    // The platform's own signals.
    {"StateChanged", "((iiiiii))", [](const Values& v) { return "power state " + v[0]; }},
    {"Request", "(tsssiss)",
     [](const Values& v) {
         return v[2] + " \"" + v[3] + "\": " + RequestInWords(v[1], Number(v[4]), v[5], v[6]) + "  (request " + v[0] +
                ")";
     }},
    {"Done", "(ts)", [](const Values& v) { return "request " + v[0] + " is " + v[1]; }},
};

Values ValuesOf(GVariant* body)
{
    Values values;
    for (std::size_t index = 0; body != nullptr && index < g_variant_n_children(body); ++index) {
        const bus::VariantPtr child(g_variant_get_child_value(body, index));
        if (g_variant_is_of_type(child.get(), G_VARIANT_TYPE_STRING) != FALSE) {
            values.emplace_back(g_variant_get_string(child.get(), nullptr));
        } else if (g_variant_is_of_type(child.get(), G_VARIANT_TYPE_BYTE) != FALSE) {
            values.push_back(std::to_string(g_variant_get_byte(child.get())));
        } else {
            const bus::TextPtr text(g_variant_print(child.get(), FALSE));
            values.emplace_back(text.get());
        }
    }
    return values;
}

/// The name of a number, the number itself where it has none.
template <std::size_t Size>
std::string NameIn(const std::pair<int, const char*> (&names)[Size], int number)
{
    const auto* found = std::ranges::find(names, number, &std::pair<int, const char*>::first);
    return found != std::end(names) ? found->second : std::to_string(number);
}

} // namespace

std::string TitleOf(const std::string& busName)
{
    const auto* sibling = std::ranges::find(kSiblings, busName, &SiblingName::busName);
    return sibling != std::end(kSiblings) ? sibling->title : busName;
}

std::string PowerStateInWords(int state)
{
    constexpr std::pair<int, const char*> kNames[] = {{DEVICE_POWER_STATE_NORMAL, "normal"},
                                                      {DEVICE_POWER_STATE_PICTURE_OFF, "picture-off"},
                                                      {DEVICE_POWER_STATE_STANDBY, "standby"},
                                                      {DEVICE_POWER_STATE_OFF, "off"},
                                                      {DEVICE_POWER_STATE_SUSPEND, "suspend"}};
    return NameIn(kNames, state);
}

std::string AmbientModeInWords(int mode)
{
    constexpr std::pair<int, const char*> kNames[] = {{0, "none"}, {1, "picture"}, {2, "low power"}, {3, "to suspend"}};
    return NameIn(kNames, mode);
}

std::string RequestInWords(const std::string& kind, int code, const std::string& passkey, const std::string& uuid)
{
    if (kind == "service") {
        return "may it use " + Service(std::to_string(code)) + "? " + uuid;
    }
    if (kind != "authentication") {
        return "may it pair?";
    }
    switch (code) {
    case BT_AUTHENTICATION_PIN_ENTRY:
        return "enter its PIN";
    case BT_AUTHENTICATION_PIN_DISPLAY:
        return "type PIN " + passkey + " there";
    case BT_AUTHENTICATION_PASSKEY_CONFIRMATION:
        return "does it show " + passkey + "?";
    case BT_AUTHENTICATION_PASSKEY_ENTRY:
        return "enter the passkey that it shows";
    case BT_AUTHENTICATION_PASSKEY_DISPLAY:
        return "type passkey " + passkey + " there";
    default:
        return "authentication " + std::to_string(code);
    }
}

std::string InWords(const std::string& member, GVariant* body)
{
    const std::string type = body != nullptr ? g_variant_get_type_string(body) : "()";
    for (const Meaning& meaning : kMeanings) {
        if (meaning.member == member && meaning.type == type) {
            return Printable(meaning.say(ValuesOf(body)));
        }
    }
    const bus::TextPtr text(body != nullptr ? g_variant_print(body, FALSE) : nullptr);
    return Printable(member + (text ? text.get() : "()"));
}

} // namespace people
