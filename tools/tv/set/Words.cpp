#include "tv/set/Words.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string_view>
#include <utility>

namespace set {

namespace {

/// A call by the beginning of its text, and what it means. "@" stands for its arguments.
struct Meaning
{
    std::string_view call;
    const char* subject;
    const char* text;
};

constexpr Meaning kMeanings[] = {
    {"bt_product_init()", "adapter", "the Bluetooth stack is opened"},
    {"bt_product_deinit()", "adapter", "the Bluetooth stack is closed"},
    {"bt_adapter_enable()", "adapter", "switch on"},
    {"bt_adapter_disable()", "adapter", "switch off"},
    {"bt_adapter_set_name(", "adapter", "call yourself @"},
    {"bt_adapter_set_visibility(1", "adapter", "let others find you"},
    {"bt_adapter_set_visibility(0", "adapter", "let nobody find you"},
    {"bt_adapter_set_connectable(false", "adapter", "take no connections"},
    {"bt_adapter_set_eir_manufacturer_data(", "adapter", "say what kind of set this is: @"},
    {"bt_adapter_set_app_ready(", "adapter", "the applications are ready"},
    {"bt_adapter_set_headless_mode(true", "adapter", "work on while the set is off"},
    {"bt_adapter_set_headless_mode(false", "adapter", "the set is there again"},
    {"bt_adapter_reset()", "adapter", "forget all pairings and settings"},
    {"bt_adapter_foreach_bonded_device()", "adapter", "who is paired?"},
    {"bt_socket_create_rfcomm(", "adapter", "offer the service @"},
    {"bt_device_destroy_bond(", "adapter", "forget the pairing of @"},
    {"bt_device_reject_authorization(", "adapter", "reject @"},
    {"bt_hid_send_rotator_bt_command(16, 255", "stand", "reset yourself"},
    {"bt_hid_set_conn_no_latency(", "remote", "answer without delay: @"},
    {"bt_hid_send_duid(", "remote", "the set's id: @"},
    {"ppi_ecs_get_colorsensor_info()", "sensor", "how much light is there?"},
    {"device_power_lock_state(2, 15000", "power", "stay in standby for up to 15 s"},
    {"device_power_lock_state(2, 60000", "power", "stay in standby for up to 60 s"},
    {"device_power_unlock_state(2", "power", "standby may end"},
    {"device_power_request_reboot(", "power", "restart, reason @"},
    {"screen_manager_set_ambient_lock(1, 60000", "power", "stay in low-power mode for up to 60 s"},
    {"screen_manager_set_ambient_lock(0", "power", "low-power mode may end"},
};

constexpr std::pair<std::string_view, const char*> kCommands[] = {
    {"0x05", "reset yourself"},        {"0x06", "shop mode on"},    {"0x07", "shop mode off"},
    {"0x30", "grip sensor on"},        {"0x31", "grip sensor off"}, {"[24 ", "the set's IR key code"},
    {"[01 00 00]", "which firmware?"},
};

/// The calls that change nothing that anybody would notice.
constexpr std::string_view kSilent[] = {
    "bt_adapter_free_device_info",
    "bt_audio_free_connected_info",
    "bt_audio_initialize",
    "bt_audio_deinitialize",
    "bt_socket_listen_and_accept",
    "vconf_notify_key_changed",
    "vconf_ignore_key_changed",
    "bt_hid_host_",
    "bt_avrcp_",
    "device_power_subscribe",
    "device_power_unsubscribe",
};

std::string ArgumentsOf(const std::string& call)
{
    const std::size_t open = call.find('(');
    const std::size_t close = call.rfind(") = ");
    return open == std::string::npos || close == std::string::npos ? "" : call.substr(open + 1, close - open - 1);
}

bool HasFailed(const std::string& call)
{
    return !call.ends_with(" = 0") && call.find(" = 0 -> ") == std::string::npos;
}

bool IsSilent(const sim::Entry& entry)
{
    const std::string& text = entry.text;
    const bool isLook = text.starts_with("ppi_ecs_get_colorsensor_info");
    return (entry.query && !isLook) || text.find("_cb(") != std::string::npos ||
           std::ranges::any_of(kSilent, [&](std::string_view call) { return text.starts_with(call); });
}

std::string WithArguments(std::string text, const std::string& call)
{
    const std::size_t mark = text.find('@');
    return mark == std::string::npos ? text : text.replace(mark, 1, ArgumentsOf(call));
}

std::string AfterFailure(const std::string& text, const std::string& call)
{
    return HasFailed(call) ? text + "  (failed:" + call.substr(call.rfind('=') + 1) + ")" : text;
}

/// "key", value becomes key = value.
Line SettingInWords(const std::string& call)
{
    std::string arguments = ArgumentsOf(call);
    const std::size_t comma = arguments.find("\", ");
    return {"setting", arguments.substr(1, comma - 1) + " = " + arguments.substr(comma + 3)};
}

Line CommandInWords(const std::string& call)
{
    const std::string arguments = ArgumentsOf(call);
    const std::size_t comma = arguments.find(", ");
    const std::string rest = arguments.substr(comma + 2);
    for (const auto& [bytes, meaning] : kCommands) {
        const bool isLast = rest.ends_with(bytes);
        if (isLast || rest.starts_with(bytes)) {
            return {"remote", std::string(meaning) + "   [" + arguments + "]"};
        }
    }
    return {"remote", arguments};
}

std::string SiblingOf(const std::string& name)
{
    constexpr std::pair<std::string_view, const char*> kSiblings[] = {
        {"com.quorix.tv.bt.connectionmanager", "connection manager"},
        {"com.quorix.tv.bt.connectionshift", "connection shift"},
        {"com.quorix.tv.hfpAgent", "hands-free agent"},
        {"com.quorix.tv.bt.updatemanager", "update manager"},
        {"com.quorix.tv.bt.irmonitor", "touch-IR monitor"},
    };
    for (const auto& [busName, title] : kSiblings) {
        if (busName == name) {
            return title;
        }
    }
    return name;
}

/// "call NAME Member (sig) body"
Line MessageInWords(const std::string& text)
{
    const std::size_t name = text.find(' ') + 1;
    const std::size_t member = text.find(' ', name) + 1;
    const std::string how = text.substr(0, name - 1);
    const std::string rest = text.substr(member);
    const std::size_t signature = rest.find(" (");
    const std::size_t body = signature == std::string::npos ? signature : rest.find(' ', signature + 1);
    return {"bus", "→ " + SiblingOf(text.substr(name, member - name - 1)) + ": " + rest.substr(0, signature) +
                       (body == std::string::npos ? "" : rest.substr(body)) + (how == "signal" ? "  (signal)" : "")};
}

std::optional<Line> CallInWords(const sim::Entry& entry)
{
    const std::string& call = entry.text;
    if (IsSilent(entry)) {
        return std::nullopt;
    }
    if (call.starts_with("vconf_set_")) {
        return SettingInWords(call);
    }
    if (call.starts_with("bt_hid_send_device_command(") || call.starts_with("bt_hid_send_rc_command(")) {
        Line line = CommandInWords(call);
        line.text = AfterFailure(line.text, call);
        return line;
    }
    for (const Meaning& meaning : kMeanings) {
        if (call.starts_with(meaning.call)) {
            return Line{meaning.subject, AfterFailure(WithArguments(meaning.text, call), call)};
        }
    }
    return Line{"platform", call};
}

} // namespace

std::optional<Line> InWords(const sim::Entry& entry)
{
    switch (entry.kind) {
    case sim::Kind::Call:
        return CallInWords(entry);
    case sim::Kind::Bus:
        return MessageInWords(entry.text);
    case sim::Kind::Kernel:
        return Line{"kernel", entry.text};
    case sim::Kind::Kpi:
        return Line{"usage", entry.text};
    case sim::Kind::Timer:
        return Line{"timer", entry.text};
    case sim::Kind::Sleep:
        return Line{"sleeps", entry.text.substr(entry.text.find(' ') + 1)};
    default: // a log line, and what happens to the service
        break;
    }
    return std::nullopt;
}

} // namespace set
