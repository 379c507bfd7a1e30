#include "soak/Story.h"

#include "VconfKeyRegistry.h"
#include "sim/FunctionNames.h"
#include "soak/Dice.h"
#include "tv/language/Numbers.h"
#include "tv/language/Words.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>

namespace soak {

namespace {

constexpr std::string_view kRemotes[] = {"remote", "remote", "wheel"};
constexpr std::string_view kDevices[] = {"speaker", "phone", "keyboard"};
constexpr std::string_view kSiblings[] = {"connectionmanager", "connectionmanager", "connectionshift", "hfpAgent",
                                          "irmonitor",         "updatemanager",     "updatemanager"};
/// Those of the things, and one that nothing has.
constexpr std::string_view kAddresses[] = {"5C:51:4F:00:00:01", "5C:51:4F:00:00:02", "5C:51:4F:00:00:03",
                                           "5C:51:4F:00:00:04", "5C:51:4F:00:00:05", "00:00:00:00:00:00",
                                           "FF:FF:FF:FF:FF:FF", "aa:bb:cc:dd:ee:ff"};
/// On the edges of the service's own numbers, and of those of the machine.
constexpr int kNumbers[] = {0,  1,   2,   3,   4,  5,  8,      13,         18,
                            51, 127, 255, 256, -1, -2, 100000, 2147483647, -2147483647 - 1};
constexpr std::string_view kBodies[] = {"(1,)",        "(8,)",      "(0,)",   "(-1,)",      "(51,)",
                                        "(52,)",       "('one',)",  "()",     "(true,)",    "(@s '',)",
                                        "(1, 2)",      "([1, 2],)", "(<1>,)", "(int64 1,)", "('5C:51:4F:00:00:01', 1)",
                                        "(@a{sv} {},)"};
constexpr std::string_view kMembers[] = {"CHIP",        "SCFW",  "HALVO", "Hello", "EXIT", "KEY_COMBINATION",
                                         "EasyPairing", "Nobody"};
constexpr std::string_view kFeatures[] = {"ble_support",
                                          "bluetooth.always_classic_discoverable",
                                          "bluetooth.audio_support",
                                          "bluetooth.discoverable",
                                          "bluetooth.hfp_support",
                                          "ir-key-code",
                                          "model",
                                          "product.rotation_accessory_support",
                                          "setting.menuitem.remote_grib_support"};
constexpr std::string_view kFiles[] = {"/etc/release",
                                       "/opt/usr/apps/org.vantor.vyrel/data/launch_autoswitch",
                                       "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/factoryResetCount.txt",
                                       "/opt/usr/home/owner/apps_rw/org.vantor.vyrel/data/serviceResetCount.txt",
                                       "/run/context-mgr_ready",
                                       "/tmp/.bt_irmonitor",
                                       "/tmp/.launch_autoswitching",
                                       "/tmp/FACTORY_PRODCUTION",
                                       "/tmp/app_ready",
                                       "/tmp/solar"};
constexpr std::string_view kContents[] = {
    "0", "1", "2", "-1", "\"\"", "99999999999999999999", "\"1 2\"", "\"\\xff\\xfe\"", "0x10", "\"\\n\\n7\""};
constexpr std::string_view kTexts[] = {"\"\"",
                                       "none",
                                       "\"Living Room\"",
                                       "ON",
                                       "OFF",
                                       "\"true\"",
                                       "\"-1\"",
                                       "\"\\t \\n\"",
                                       "D1234",
                                       "\"\\\"\"",
                                       "\"ünïcödé ☃\"",
                                       "\"5C:51:4F:00:00:02\"",
                                       "\"5C:51:4F:00:00:01,5C\"",
                                       "\"%s%n\"",
                                       "\";|,:\""};
constexpr std::string_view kOptions[] = {"0", "reset", "reset-alt", "ignore-lock", "suspend-off", "suspend-off+reset",
                                         "7", "-1"};
/// From less than any timer of the service to more than all of them.
constexpr std::string_view kTimes[] = {"1ms", "50ms", "200ms", "1s",   "1s", "2s", "6s",
                                       "10s", "12s",  "1min",  "5min", "1h", "3h", "1d"};
constexpr std::string_view kClockSteps[] = {"1s", "1h", "1d", "30d", "366d"};

/// What is written into settings that the service watches or decides by; the others come by chance.
constexpr std::string_view kTellingSettings[] = {"set db/menu/network/devicename/tv_name",
                                                 "set db/menu/support/use_mode",
                                                 "set db/comss/duid",
                                                 "set db/vyrel/oob_status",
                                                 "set db/vyrel/lastSoundRoute",
                                                 "set db/vyrel/audio_multi_output_on_off",
                                                 "set db/vyrel/reset",
                                                 "set db/factory/factory_reset_count",
                                                 "set db/factory/service_reset_count",
                                                 "set db/notification-service/reset",
                                                 "set db/low-power-support/bt-disable",
                                                 "set memory/volt/firstscreen_state",
                                                 "set memory/factoryapp/factory_mode",
                                                 "set memory/wizard/wizard_mode",
                                                 "set memory/touch_interactive/touch_interactive_running"};

/// What is given back stays with the platform when that fails, as nobody can give it back once more.
constexpr std::string_view kNeverFail[] = {"bt_adapter_free_device_info", "bt_audio_free_connected_info"};

std::string Joined(std::initializer_list<std::string_view> words)
{
    std::string text;
    for (const std::string_view word : words) {
        text.append(text.empty() || word.empty() ? "" : " ").append(word);
    }
    return text;
}

class Teller
{
public:
    Teller(std::uint64_t number, const Wanted& wanted) : m_dice(number), m_wanted(wanted) {}

    Story Tells()
    {
        Leans();
        Begins();
        while (m_story.size() < m_wanted.passages) {
            Passage passage = (this->*Next().tell)();
            if (!passage.empty()) {
                m_story.push_back(std::move(passage));
            }
        }
        return std::move(m_story);
    }

private:
    /// A kind of passage.
    struct Kind
    {
        Passage (Teller::*tell)();
        int weight;
        bool endsLife = false;
    };

    static std::span<const Kind> Kinds();

    /// Each story leaves some kinds out, and has others more often.
    void Leans()
    {
        constexpr int kLeanings[] = {0, 1, 1, 4};
        for (const Kind& kind : Kinds()) {
            const int leaning = m_dice.Of(kLeanings);
            m_weights.push_back(kind.endsLife && m_wanted.isOneLife ? 0 : kind.weight * leaning);
        }
        m_weights.front() = std::max(m_weights.front(), 1); // something always happens
        for (const int weight : m_weights) {
            m_all += weight;
        }
    }

    const Kind& Next()
    {
        int thrown = m_dice.Between(0, m_all - 1);
        std::size_t number = 0;
        while (thrown >= m_weights[number]) {
            thrown -= m_weights[number++];
        }
        return Kinds()[number];
    }

    void Begins()
    {
        if (!m_dice.OneIn(10)) {
            m_story.push_back({"furnish"});
        }
        for (const std::string_view thing : kDevices) {
            if (m_dice.OneIn(3)) {
                m_story.push_back({Joined({thing, "known"})});
            }
        }
        for (const std::string_view remote : {"remote", "wheel"}) {
            if (m_dice.OneIn(3)) {
                m_story.push_back({Joined({remote, "connect"})});
            }
        }
        m_story.push_back({"plug"});
    }

    std::string Number()
    {
        return std::to_string(m_dice.OneIn(4) ? m_dice.Between(-1000, 100000) : m_dice.Of(kNumbers));
    }
    std::string Byte()
    {
        return std::to_string(m_dice.Below(256));
    }
    /// Mostly nothing.
    std::string Reason()
    {
        return m_dice.OneIn(3) ? Number() : "";
    }
    std::string_view OnOrOff()
    {
        return m_dice.OneIn(2) ? "on" : "off";
    }

    Passage RemoteComesOrGoes()
    {
        const std::string_view remote = m_dice.Of(kRemotes);
        switch (m_dice.Below(8)) {
        case 0:
            return {Joined({remote, "disconnect", Reason()})};
        case 1:
        case 2:
            return {Joined({remote, "lose", Reason()})};
        case 3:
            return {Joined({remote, "connect", m_dice.Of(kAddresses)})};
        default:
            return {Joined({remote, "connect"})};
        }
    }

    Passage RemoteReports()
    {
        const std::string_view remote = m_dice.Of(kRemotes);
        switch (m_dice.Below(6)) {
        case 0:
            return {Joined({remote, "battery byte", Byte()})};
        case 1:
            return {Joined({remote, "charge", Byte(), m_dice.OneIn(2) ? Byte() : ""})};
        case 2:
            return {Joined({"remote grip", m_dice.OneIn(2) ? Byte() : ""})};
        default:
            return {Joined({remote, "battery adc", std::to_string(m_dice.Below(32))})};
        }
    }

    Passage RemoteIsOtherwise()
    {
        constexpr std::string_view kSensors[] = {"on", "off", "none"};
        const std::string_view remote = m_dice.Of(kRemotes);
        switch (m_dice.Below(6)) {
        case 0:
            return {Joined({remote, "type", Byte()})};
        case 1:
            return {Joined({remote, "firmware", Number()})};
        case 2:
            return {Joined({remote, "known"})};
        case 3:
            return {Joined({remote, "low-energy", OnOrOff()})};
        case 4:
            return {Joined({remote, "address", m_dice.Of(kAddresses)})};
        default:
            return {Joined({"remote sensor", m_dice.Of(kSensors)})};
        }
    }

    Passage DeviceComesOrGoes()
    {
        const std::string_view device = m_dice.Of(kDevices);
        switch (m_dice.Below(5)) {
        case 0:
            return {Joined({device, "disconnect", Reason()})};
        case 1:
            return {Joined({device, "lose", Reason()})};
        default:
            return {Joined({device, "connect"})};
        }
    }

    Passage DevicePairs()
    {
        const std::string_view device = m_dice.Of(kDevices);
        switch (m_dice.Below(6)) {
        case 0:
            return {Joined({device, "ask", m_dice.OneIn(2) ? Number() : ""})};
        case 1:
            return {Joined({device, "pair", "123456"})};
        case 2:
            return {Joined({device, "pair"})};
        case 3:
            return {Joined({device, "unbond"})};
        default:
            return {Joined({device, "bond"})};
        }
    }

    Passage DeviceIsOtherwise()
    {
        const std::string_view device = m_dice.Of(kDevices);
        switch (m_dice.Below(5)) {
        case 0:
            return {Joined({device, "name", m_dice.Of(kTexts)})};
        case 1:
            return {Joined({device, "address", m_dice.Of(kAddresses)})};
        case 2:
            return {Joined({device, "low-energy", OnOrOff()})};
        case 3:
            return {m_dice.OneIn(2) ? "stand connect" : "stand disconnect"};
        default:
            return {Joined({"speaker volume", std::to_string(m_dice.Below(128))})};
        }
    }

    Passage PowerGoes()
    {
        constexpr std::string_view kStates[] = {"normal", "normal", "picture-off", "standby", "suspend", "ambient"};
        if (m_dice.OneIn(6)) {
            return {Joined({"power state", std::to_string(m_dice.Between(-1, 6)), std::to_string(m_dice.Between(-1, 5)),
                            Reason()})};
        }
        if (m_dice.OneIn(4)) {
            return {Joined({"power wake", Reason()})};
        }
        return {Joined({"power", m_dice.Of(kStates), Reason()})};
    }

    Passage PowerEnds()
    {
        constexpr std::string_view kWays[] = {"off", "off", "down", "announce", "leave"};
        return {Joined({"power", m_dice.Of(kWays), m_dice.Of(kOptions)})};
    }

    /// Out, and on again.
    Passage Night()
    {
        return {Joined({"power off", m_dice.Of(kOptions)}), Joined({"wait", m_dice.Of(kTimes)}), "power wake 1",
                "power normal"};
    }

    Passage AdapterChanges()
    {
        switch (m_dice.Below(6)) {
        case 0:
            return {Joined({"adapter report", Number(), Number()})};
        case 1:
            return {Joined({"adapter delay", m_dice.Of(kTimes)})};
        case 2:
            return {Joined({"adapter woken-by", m_dice.Of(kAddresses), Reason()})};
        case 3:
            return {m_dice.OneIn(2) ? "key 51" : "key 52"};
        default:
            return {Joined({"adapter", OnOrOff()})};
        }
    }

    std::string Value()
    {
        switch (m_dice.Below(4)) {
        case 0:
            return m_dice.OneIn(2) ? "true" : "false";
        case 1:
            return std::string(m_dice.Of(kTexts));
        case 2:
            return m_dice.OneIn(20) ? std::string(m_dice.Below(30'000), 'x') : "1";
        default:
            return Number();
        }
    }

    Passage SettingIsWritten()
    {
        if (m_dice.OneIn(2)) {
            return {Joined({m_dice.Of(kTellingSettings), Value()})};
        }
        const std::string_view key = m_dice.Of(kVconfKeys);
        if (!key.starts_with("db/") && !key.starts_with("memory/")) {
            return {}; // the place of one that there was
        }
        if (m_dice.OneIn(5)) {
            return {Joined({"unset", key})};
        }
        return {Joined({"set", key, Value()})};
    }

    Passage ProductIsOtherwise()
    {
        switch (m_dice.Below(5)) {
        case 0:
            return {Joined({"feature", m_dice.Of(kFeatures), m_dice.OneIn(3) ? "none" : Number()})};
        case 1:
            return {Joined({"feature", m_dice.Of(kFeatures), m_dice.OneIn(2) ? "true" : "false"})};
        case 2:
            return {Joined({"file", m_dice.Of(kFiles), m_dice.Of(kContents)})};
        case 3:
            return {Joined({"remove", m_dice.Of(kFiles)})};
        default:
            return {Joined({"light", std::to_string(m_dice.Below(200'001))})};
        }
    }

    Passage SiblingBehaves()
    {
        const std::string_view sibling = m_dice.Of(kSiblings);
        switch (m_dice.Below(6)) {
        case 0:
            return {Joined({"sibling", sibling, "hang"})};
        case 1:
            return {Joined({"sibling", sibling, "slow", m_dice.OneIn(2) ? m_dice.Of(kTimes) : ""})};
        case 2:
            return {Joined({"sibling", sibling, "error"})};
        case 3:
            return {Joined({"sibling", sibling, "absent"})};
        default:
            return {Joined({"sibling", sibling, "answers"})};
        }
    }

    Passage SiblingAnswersWrongly()
    {
        return {Joined({"sibling", m_dice.Of(kSiblings), "answer", m_dice.Of(kMembers), m_dice.Of(kBodies)})};
    }

    Passage SomebodySignals()
    {
        if (m_dice.OneIn(2)) {
            return {Joined({"key", Number()})};
        }
        return {Joined({"sibling", m_dice.OneIn(2) ? "keyrouter" : m_dice.Of(kSiblings), "emit", m_dice.Of(kMembers),
                        m_dice.Of(kBodies)})};
    }

    Passage PlatformReportsBadly()
    {
        constexpr std::string_view kReports[] = {"report battery without record",
                                                 "report remote without record",
                                                 "report remote without address",
                                                 "report loss without record",
                                                 "report loss without address",
                                                 "report wheel without record",
                                                 "report wheel without address",
                                                 "report remote empty",
                                                 "report wheel empty",
                                                 "report service without name",
                                                 "report service without address",
                                                 "report passkey without address",
                                                 "report passkey without name",
                                                 "report consent without address",
                                                 "report consent without name",
                                                 "report power without record",
                                                 "strength comes",
                                                 "strength late",
                                                 "strength never",
                                                 "strength without-address"};
        return {std::string(m_dice.Of(kReports))};
    }

    /// Mostly for some calls only; what fails for ever recovers one day, as a rule.
    Passage FunctionFails()
    {
        const std::string_view function = m_dice.Of(sim::kFunctionNames);
        if (!m_failing.empty() && m_dice.OneIn(2)) {
            const std::string recovered = m_failing.back();
            m_failing.pop_back();
            return {Joined({"recover", recovered})};
        }
        if (std::ranges::find(kNeverFail, function) != std::end(kNeverFail)) {
            return {};
        }
        m_failing.emplace_back(function);
        const std::string code = m_dice.OneIn(3) ? "-1" : m_dice.Of(m_errors);
        return {Joined({"fail", function, code, m_dice.OneIn(4) ? "" : std::to_string(m_dice.Between(1, 5))})};
    }

    Passage TimePasses()
    {
        return {m_dice.OneIn(2) ? "next timer" : Joined({"wait", m_dice.Of(kTimes)})};
    }

    Passage ClockIsSet()
    {
        return {Joined({"clock set", m_dice.OneIn(2) ? "back" : "forth", m_dice.Of(kClockSteps)})};
    }

    Passage DiskFills()
    {
        return {m_dice.OneIn(2) ? "disk full" : "disk roomy"};
    }

    Passage SetIsReplugged()
    {
        Passage passage = {"unplug"};
        if (m_hidesBus && m_dice.OneIn(2)) {
            passage.push_back(m_dice.OneIn(2) ? "bus hidden" : "bus there");
        }
        if (m_dice.OneIn(4)) {
            passage.emplace_back("remote connect");
        }
        passage.emplace_back("plug");
        return passage;
    }

    Passage BusIsRestarted()
    {
        return {"bus restart", "plug"};
    }

    /// The service still hears its signals, and says so.
    Passage SomebodyAsks()
    {
        if (m_hidesBus) {
            return {};
        }
        return {"recover __dlog_print", "key 50", "expect log KEY_COMBINATION Signal NOT for VYREL"};
    }

    Dice m_dice;
    Wanted m_wanted;
    bool m_hidesBus = m_dice.OneIn(4); ///< some time: who is without a bus hears nothing
    std::vector<int> m_weights;
    int m_all = 0;
    Story m_story;
    std::vector<std::string> m_failing;
    const std::vector<std::string> m_errors = language::ErrorNames();
};

std::span<const Teller::Kind> Teller::Kinds()
{
    static constexpr Kind kKinds[] = {
        {&Teller::RemoteComesOrGoes, 10},
        {&Teller::RemoteReports, 10},
        {&Teller::RemoteIsOtherwise, 3},
        {&Teller::DeviceComesOrGoes, 8},
        {&Teller::DevicePairs, 6},
        {&Teller::DeviceIsOtherwise, 3},
        {&Teller::PowerGoes, 8},
        {&Teller::PowerEnds, 3},
        {&Teller::Night, 3},
        {&Teller::AdapterChanges, 4},
        {&Teller::SettingIsWritten, 8},
        {&Teller::ProductIsOtherwise, 3},
        {&Teller::SiblingBehaves, 4},
        {&Teller::SiblingAnswersWrongly, 2},
        {&Teller::SomebodySignals, 3},
        {&Teller::PlatformReportsBadly, 3},
        {&Teller::FunctionFails, 4},
        {&Teller::TimePasses, 12},
        {&Teller::ClockIsSet, 1},
        {&Teller::DiskFills, 2},
        {&Teller::SetIsReplugged, 2, true},
        {&Teller::BusIsRestarted, 1, true},
        {&Teller::SomebodyAsks, 1},
    };
    return kKinds;
}

} // namespace

Story TellStory(std::uint64_t number, const Wanted& wanted)
{
    return Teller(number, wanted).Tells();
}

std::vector<std::string> LinesOf(const Story& story)
{
    std::vector<std::string> lines;
    for (const Passage& passage : story) {
        lines.insert(lines.end(), passage.begin(), passage.end());
    }
    return lines;
}

} // namespace soak
