#include "tv/set/House.h"

#include "settings/Store.h"
#include "sim/Adapter.h"
#include "sim/ColorSensor.h"
#include "sim/Disk.h"
#include "sim/Failures.h"
#include "sim/Features.h"
#include "sim/Power.h"
#include "sim/Remotes.h"
#include "sim/Settings.h"
#include "sim/Tape.h"
#include "tv/language/Commands.h"
#include "tv/language/Numbers.h"
#include "tv/language/Words.h"

#include <bt_adapter.h>
#include <device_power.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <system_error>

namespace set {

namespace {

using language::Line;
using language::Verb;

constexpr const char* kDataFolder = "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data"; ///< the service's own files
constexpr int kLowPowerPicture = DEVICE_POWER_AMBIENT_MODE_LOW_POWER;

int OptionOf(const Line& line)
{
    return line.Has("OPTION") ? language::PowerOptionIn(line.Text("OPTION")).value_or(0) : 0;
}

int StateNamed(const std::string& name)
{
    return name == "normal"        ? DEVICE_POWER_STATE_NORMAL
           : name == "picture-off" ? DEVICE_POWER_STATE_PICTURE_OFF
           : name == "standby"     ? DEVICE_POWER_STATE_STANDBY
                                   : DEVICE_POWER_STATE_SUSPEND;
}

bool IsNone(const language::Word& value)
{
    return !value.quoted && value.text == "none";
}

std::optional<bool> BoolIn(const language::Word& value)
{
    if (value.quoted || (value.text != "true" && value.text != "false")) {
        return std::nullopt;
    }
    return value.text == "true";
}

std::optional<int> NumberIn(const language::Word& value)
{
    return value.quoted ? std::nullopt : language::NumberIn(value.text);
}

} // namespace

bool House::Does(const Line& line)
{
    return DoesPower(line) || DoesAdapter(line) || DoesSettings(line) || DoesProduct(line) || DoesFiles(line) ||
           DoesFailures(line);
}

bool House::DoesPower(const Line& line)
{
    switch (line.command->verb) {
    case Verb::PowerGoes:
        m_tv.power.GoesTo(StateNamed(line.literals.back()), 0, line.Number("REASON"));
        return true;
    case Verb::PowerAmbient:
        m_tv.power.GoesTo(DEVICE_POWER_STATE_LOW_POWER, kLowPowerPicture, line.Number("REASON"));
        return true;
    case Verb::PowerState:
        m_tv.power.GoesTo(line.Number("STATE"), line.Number("MODE"), line.Number("REASON"));
        return true;
    case Verb::PowerOff:
        m_tv.power.SwitchesOff(OptionOf(line));
        return true;
    case Verb::PowerDown:
        m_tv.power.PowersOff(OptionOf(line));
        return true;
    case Verb::PowerAnnounce:
        m_tv.power.AnnouncesStandby(OptionOf(line));
        return true;
    case Verb::PowerLeave:
        m_tv.power.LeavesAmbientByPowerOff(OptionOf(line));
        return true;
    case Verb::PowerWake:
        m_tv.power.WakesUp(line.Number("REASON", 1));
        return true;
    default:
        return false;
    }
}

bool House::DoesAdapter(const Line& line)
{
    switch (line.command->verb) {
    case Verb::AdapterGoes:
        if (line.literals.back() == "on") {
            m_tv.adapter.GoesOn();
        } else {
            m_tv.adapter.GoesOff();
        }
        return true;
    case Verb::AdapterReports:
        m_tv.adapter.Reports(line.Number("RESULT"), static_cast<bt_adapter_state_e>(line.Number("STATE")));
        return true;
    case Verb::AdapterDelay:
        m_tv.adapter.delay = language::DurationIn(line.Text("DURATION")).value_or(std::chrono::milliseconds(0));
        m_lasting["adapter delay"] = line.text;
        return true;
    case Verb::AdapterPoweredOnBy:
        m_tv.adapter.powerOnReason = {line.Text("ADDRESS"), line.Number("REASON")};
        m_lasting["adapter woken-by"] = line.text;
        return true;
    default:
        return false;
    }
}

void House::Writes(const std::string& key, const language::Word& value)
{
    if (const std::string objection = settings::Store::Objection(key, value.text); !objection.empty()) {
        throw std::runtime_error("this setting cannot be kept: " + objection);
    }
    if (const std::optional<bool> truth = BoolIn(value)) {
        m_tv.settings.Writes(key.c_str(), *truth);
    } else if (const std::optional<int> number = NumberIn(value)) {
        m_tv.settings.Writes(key.c_str(), *number);
    } else {
        m_tv.settings.Writes(key.c_str(), value.text);
    }
}

bool House::DoesSettings(const Line& line)
{
    const std::string key = line.Text("SETTING");
    switch (line.command->verb) {
    case Verb::Set:
        Writes(key, line.arguments.find("VALUE")->second);
        return true;
    case Verb::Unset:
        if (!m_tv.settings.Has(key.c_str())) {
            throw std::runtime_error(key + " holds no value");
        }
        m_tv.tape.Note("somebody removes " + key);
        m_tv.settings.Removes(key.c_str());
        return true;
    case Verb::Get: {
        const std::optional<bool> truth = m_tv.settings.Bool(key.c_str());
        const std::optional<int> number = m_tv.settings.Int(key.c_str());
        const std::optional<std::string> text = m_tv.settings.Text(key.c_str());
        m_tv.tape.Note("somebody reads " + key + ": " +
                       (truth    ? std::string(*truth ? "true" : "false")
                        : number ? std::to_string(*number)
                        : text   ? language::AsQuoted(*text)
                                 : std::string("none")));
        return true;
    }
    default:
        return false;
    }
}

/// Two names are no features to the platform, but as much a matter of the product.
void House::Has(const std::string& feature, const language::Word& value)
{
    const std::optional<bool> truth = BoolIn(value);
    const std::optional<int> number = NumberIn(value);
    if (feature == "model") {
        m_tv.features.modelName = IsNone(value) ? std::nullopt : std::optional(value.text);
    } else if (feature == "ir-key-code") {
        if (!number && !IsNone(value)) {
            throw std::runtime_error("ir-key-code is a number or none");
        }
        m_tv.features.irKeyCode = number;
    } else if (truth) {
        m_tv.features.Has(feature, *truth);
    } else if (number) {
        m_tv.features.HasNumber(feature, *number);
    } else if (IsNone(value)) {
        m_tv.features.Forgets(feature);
    } else {
        throw std::runtime_error("a feature is true, false, a number or none");
    }
    m_features[feature] = value.text;
}

/// As a set is sold.
void House::IsFurnished()
{
    for (const char* line :
         {"feature bluetooth.audio_support true", "feature bluetooth.hfp_support true",
          "feature bluetooth.discoverable true", "feature bluetooth.always_classic_discoverable true",
          "feature setting.menuitem.remote_grib_support true", "feature product.rotation_accessory_support true",
          "feature ble_support 1", "adapter delay 400ms", "flag /tmp/.bt_irmonitor on"}) {
        Does(language::Parse(line));
    }
    m_tv.stand.connected = true;
    std::filesystem::create_directories(m_tv.PathOf(kDataFolder)); // as the installation of the service does
}

bool House::DoesProduct(const Line& line)
{
    switch (line.command->verb) {
    case Verb::Furnish:
        IsFurnished();
        return true;
    case Verb::Feature:
        Has(line.Text("FEATURE"), line.arguments.find("VALUE")->second);
        m_lasting["feature " + line.Text("FEATURE")] = line.text;
        return true;
    case Verb::Flag:
        if (line.literals.back() == "on") {
            m_tv.PostsFlag(line.Text("FLAG"));
        } else {
            m_tv.ClearsFlag(line.Text("FLAG"));
        }
        m_lasting["flag " + line.Text("FLAG")] = line.text;
        return true;
    case Verb::Disk:
        m_tv.disk.IsFull(line.literals.back() == "full");
        m_lasting["disk"] = line.text;
        return true;
    case Verb::Light:
        m_tv.colorSensor.lux = line.Number("LUX");
        m_lasting["light"] = line.text;
        return true;
    default:
        return false;
    }
}

bool House::DoesFiles(const Line& line)
{
    const std::string path = line.Text("PATH");
    try {
        switch (line.command->verb) {
        case Verb::File:
            m_tv.MakesFile(path, line.Text("TEXT"));
            if (!m_tv.HasFile(path) || m_tv.ReadFile(path) != line.Text("TEXT")) {
                throw std::runtime_error(path + " cannot be written on the set");
            }
            return true;
        case Verb::RemoveFile:
            if (!m_tv.HasFile(path)) {
                throw std::runtime_error("there is no " + path + " on the set");
            }
            m_tv.RemovesFile(path);
            return true;
        default:
            return false;
        }
    } catch (const std::filesystem::filesystem_error& error) {
        throw std::runtime_error(path + " cannot be made on the set: " + error.code().message());
    }
}

bool House::DoesFailures(const Line& line)
{
    const std::string function = line.Text("FUNCTION");
    switch (line.command->verb) {
    case Verb::Fail:
        m_tv.Fails(function, language::ErrorCodeIn(line.Text("CODE")).value_or(-1),
                   line.Number("TIMES", sim::Failures::kForever));
        return true;
    case Verb::Recover:
        m_tv.Recovers(function);
        return true;
    default:
        return false;
    }
}

std::vector<std::string> House::Furniture() const
{
    std::vector<std::string> lines;
    for (const auto& [thing, line] : m_lasting) {
        lines.push_back(line);
    }
    for (const sim::Failures::Failing& failing : m_tv.failures.All()) {
        lines.push_back("fail " + failing.function + " " + language::AsErrorCode(failing.code) +
                        (failing.times == sim::Failures::kForever ? "" : " " + std::to_string(failing.times)));
    }
    return lines;
}

} // namespace set
