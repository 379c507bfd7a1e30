#include "tv/recording/FromRecording.h"

#include "people/Json.h"
#include "recorder/Decoded.h"
#include "recorder/FileFormat.h"
#include "recorder/Functions.h"
#include "recorder/InWords.h"
#include "recorder/Kind.h"
#include "recorder/Reader.h"
#include "recorder/Schema.h"
#include "sim/Records.h"
#include "sim/Text.h"
#include "tv/front/Object.h"
#include "tv/run/Objects.h"
#include "tv/run/RunFile.h"
#include "tv/set/Wire.h"

#include <bt_device.h>
#include <bt_hid.h>
#include <device_power.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

namespace recording {

namespace {

using recorder::Callback;
using recorder::Decoded;
using recorder::Function;
using recorder::Shape;
using recorder::Value;
using sim::Entry;
using sim::EntryId;
using sim::Kind;

const Value* Find(const std::vector<Value>& values, std::string_view name)
{
    const auto found = std::ranges::find(values, name, [](const Value& value) { return value.field->name; });
    return found != values.end() ? &*found : nullptr;
}

std::int64_t NumberOf(const std::vector<Value>& values, std::string_view name)
{
    const Value* value = Find(values, name);
    return value != nullptr ? value->number : 0;
}

/// A text that there was, or nothing, as C has it; it belongs to the value.
const char* TextOf(const std::vector<Value>& values, std::string_view name)
{
    const Value* value = Find(values, name);
    return value != nullptr && value->isThere ? value->text.c_str() : nullptr;
}

std::string OrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

/// A byte, which the tape shows with two digits.
bool IsByte(const Value& value)
{
    constexpr std::array kBytes = {"command", "device_type", "harvest_time", "key", "status", "type"};
    constexpr std::int64_t kLargest = 0xFF;
    return value.field->shape == Shape::Unsigned && value.number <= kLargest &&
           std::ranges::find(kBytes, value.field->name) != kBytes.end();
}

/// The records that the tape shows in a way of their own.
std::optional<std::string> RecordInText(const Value& value)
{
    const auto& members = value.members;
    const auto number = [&](std::string_view name) { return static_cast<int>(NumberOf(members, name)); };
    // The records take texts that can be changed, which nobody does here.
    const auto text = [&](std::string_view name) { return const_cast<char*>(TextOf(members, name)); };
    if (value.field->type == "bt_device_info_s") {
        bt_device_info_s info = {};
        info.remote_address = text("remote_address");
        info.remote_name = text("remote_name");
        info.is_bonded = number("is_bonded") != 0;
        info.is_connected = number("is_connected") != 0;
        return sim::ToText(value.isThere ? &info : nullptr);
    }
    if (value.field->type == "bt_device_connection_info_s") {
        bt_device_connection_info_s info = {};
        info.remote_address = text("remote_address");
        info.link = number("link");
        info.disconnect_reason = number("disconnect_reason");
        return sim::ToText(value.isThere ? &info : nullptr);
    }
    if (value.field->type == "bt_hid_battery_status_info_s") {
        bt_hid_battery_status_info_s info = {};
        info.status = static_cast<unsigned char>(number("status"));
        info.remote_address = text("remote_address");
        return sim::ToText(value.isThere ? &info : nullptr);
    }
    if (value.field->type == "device_power_state_info") {
        device_power_state_info info = {};
        info.prev_state = number("prev_state");
        info.new_state = number("new_state");
        info.prev_ambient_mode = number("prev_ambient_mode");
        info.new_ambient_mode = number("new_ambient_mode");
        info.f1 = number("f1");
        return sim::ToText(value.isThere ? &info : nullptr);
    }
    if (value.field->type == "device_poweroff_info") {
        device_poweroff_info info = {};
        info.option = number("option");
        return sim::ToText(value.isThere ? &info : nullptr);
    }
    return std::nullopt;
}

/// As the tape shows it.
std::string InText(const Value& value)
{
    switch (value.field->shape) {
    case Shape::Text:
        return sim::ToText(value.isThere ? value.text.c_str() : nullptr);
    case Shape::Bytes:
        return sim::ToText(
            sim::Bytes{value.isThere ? value.bytes.data() : nullptr, static_cast<int>(value.bytes.size())});
    case Shape::Flag:
        return sim::ToText(value.number != 0);
    case Shape::Record:
        return RecordInText(value).value_or(recorder::InWords(value));
    default:
        return IsByte(value) ? sim::ToText(static_cast<unsigned char>(value.number)) : recorder::InWords(value);
    }
}

/// Of a device's maker, which the tape leaves out.
bool IsIdentity(const Value& output)
{
    return output.field->name == "vid" || output.field->name == "pid";
}

bool IsOfPlatform(const Decoded& call)
{
    return call.number > static_cast<std::size_t>(Function::AddEventLogAsync);
}

/// What goes with the node of a setting is no call of its own.
bool IsOfNode(const Decoded& call)
{
    return call.signature->name.starts_with("vconf_keynode_");
}

bool IsFile(const Decoded& call)
{
    constexpr std::array kFiles = {Function::open, Function::write, Function::access,
                                   Function::g_file_set_contents_full};
    return std::ranges::any_of(kFiles, [&](Function function) { return call.Is(function); });
}

std::vector<std::string> Arguments(const Decoded& call)
{
    std::vector<std::string> texts;
    for (const Value& value : call.values) {
        if (value.field->shape == Shape::Callback || value.field->shape == Shape::Presence) {
            continue;
        }
        const bool isTruth = value.field->name == "value" && call.signature->name.starts_with("vconf_set_bool");
        texts.push_back(isTruth ? sim::ToText(value.number != 0) : InText(value));
        if (value.field->shape == Shape::Bytes) {
            texts.push_back(std::to_string(value.bytes.size()));
        }
    }
    return texts;
}

/// Tells what the records say, one after the other.
class Teller
{
public:
    void Tell(const Decoded& record)
    {
        switch (record.kind) {
        case recorder::Kind::LifeBegins:
            m_whereNothingIsHandled = Add({.kind = Kind::Life, .text = "the set is plugged in, the service starts"});
            break;
        case recorder::Kind::Call:
            TellCall(record);
            break;
        case recorder::Kind::Return:
            TellReturn(record);
            break;
        case recorder::Kind::Input:
            m_at = record.instant;
            TellCallback(record);
            break;
        case recorder::Kind::Enters:
            TellCallback(record);
            break;
        case recorder::Kind::Leaves:
            if (!m_open.empty()) {
                m_open.pop_back();
            }
            break;
        case recorder::Kind::Log:
            TellLog(record);
            break;
        case recorder::Kind::Lost:
            Add({.kind = Kind::Note, .text = "not recorded from here on: " + record.text});
            break;
        case recorder::Kind::LifeEnds:
            TellEnd(record);
            break;
        }
    }

    /// What was open before is not known behind a gap, nor are the numbers of what was asked for.
    void TellGap(const Gap& gap)
    {
        m_open.clear();
        m_given.clear();
        m_timers.clear();
        m_whereNothingIsHandled = sim::kNoEntry;
        Add({.kind = Kind::Note,
             .text = "here " + std::to_string(gap.count) + (gap.count == 1 ? " record is" : " records are") +
                     " missing: " + gap.why});
    }

    std::vector<Entry> Take()
    {
        return std::move(m_entries);
    }

private:
    /// A call or a callback that has begun.
    struct Open
    {
        const recorder::Signature* signature;
        std::optional<std::size_t> entry; ///< the index of the one that tells of it
        EntryId cause;                    ///< of what happens within it
        std::vector<Value> arguments;
    };

    struct Timer
    {
        int number;
        EntryId made;
    };

    [[nodiscard]] EntryId Cause() const
    {
        return m_open.empty() ? m_whereNothingIsHandled : m_open.back().cause;
    }

    EntryId Add(Entry entry, EntryId cause)
    {
        entry.id = m_entries.size() + 1;
        entry.at = m_at;
        entry.cause = cause;
        m_entries.push_back(std::move(entry));
        return m_entries.back().id;
    }
    EntryId Add(Entry entry)
    {
        return Add(std::move(entry), Cause());
    }

    /// \param entry what tells of it; nothing where the tape does not
    void Begin(const Decoded& record, std::optional<Entry> entry, EntryId cause)
    {
        Open open = {record.signature, std::nullopt, Cause(), record.values};
        if (entry) {
            open.entry = m_entries.size();
            open.cause = Add(std::move(*entry), cause);
        }
        m_open.push_back(std::move(open));
    }

    void TellCall(const Decoded& call)
    {
        if (IsMainLoop(call)) {
            m_whereNothingIsHandled = sim::kNoEntry; // what comes from outside has no cause here
            return;
        }
        std::optional<Entry> entry;
        if (IsOfPlatform(call) && !IsOfNode(call)) {
            Entry made = {.kind = Kind::Call, .function = std::string(call.signature->name)};
            made.arguments = Arguments(call);
            made.query = made.function.find("_get_") != std::string::npos || made.function == "LwipcIsDone";
            made.text = sim::CallText(made.function, made.arguments);
            entry = std::move(made);
        } else if (call.Is(Function::g_usleep)) {
            constexpr std::int64_t kMillisecond = 1000;
            entry = {.kind = Kind::Sleep,
                     .text = "sleep " + std::to_string(NumberOf(call.values, "microseconds") / kMillisecond) + " ms"};
        } else if (call.Is(Function::AddEventLogAsync)) {
            Entry made = {.kind = Kind::Kpi, .function = "AddEventLogAsync", .arguments = Arguments(call)};
            for (const char* part : {"category", "name", "code", "description"}) {
                made.text += (made.text.empty() ? "" : " ") + OrEmpty(TextOf(call.values, part));
            }
            entry = std::move(made);
        } else if (call.Is(Function::g_source_remove)) {
            if (const auto timer = m_timers.find(NumberOf(call.values, "id")); timer != m_timers.end()) {
                entry = {.kind = Kind::Timer,
                         .text = "timer " + std::to_string(timer->second.number) + " removed",
                         .timer = timer->second.number};
            }
        } else if (const std::optional<std::string> how = HowSent(call)) {
            entry = Sent(*how, call);
        } else if (IsFile(call)) {
            entry = FileCall(call);
        }
        Begin(call, std::move(entry), Cause());
        Remember(call);
    }

    static bool IsMainLoop(const Decoded& record)
    {
        return record.Is(Function::g_main_loop_run);
    }

    static std::optional<std::string> HowSent(const Decoded& call)
    {
        constexpr std::array<std::pair<Function, const char*>, 4> kWays = {{
            {Function::g_dbus_connection_send_message, "call"},
            {Function::g_dbus_connection_send_message_with_reply, "request"},
            {Function::g_dbus_connection_send_message_with_reply_sync, "ask"},
            {Function::g_dbus_connection_emit_signal, "signal"},
        }};
        const auto way = std::ranges::find_if(kWays, [&](const auto& each) { return call.Is(each.first); });
        return way != kWays.end() ? std::optional<std::string>(way->second) : std::nullopt;
    }

    static void AddBody(Entry& entry, const Value* body)
    {
        if (body != nullptr && body->isThere) {
            entry.signature = body->text;
            entry.body = recorder::InWords(*body);
            entry.text += " " + entry.signature + " " + entry.body;
        }
    }

    static Entry Sent(const std::string& how, const Decoded& call)
    {
        const Value* message = Find(call.values, "message");
        const std::vector<Value>& parts = message != nullptr ? message->members : call.values;
        Entry entry = {.kind = Kind::Bus,
                       .timeout = static_cast<int>(NumberOf(call.values, "timeout_ms")),
                       .how = how,
                       .destination = OrEmpty(TextOf(parts, "destination")),
                       .interface = OrEmpty(TextOf(parts, "interface")),
                       .path = OrEmpty(TextOf(parts, "path")),
                       .member = OrEmpty(TextOf(parts, "member"))};
        entry.text = how + " " + (entry.destination.empty() ? "everybody" : entry.destination) + " " + entry.member;
        AddBody(entry, Find(parts, "body"));
        return entry;
    }

    /// The kernel's log is a file that the service writes; what it does with others is told as calls.
    [[nodiscard]] std::optional<Entry> FileCall(const Decoded& call)
    {
        if (call.Is(Function::open)) {
            m_opened.push_back(OrEmpty(TextOf(call.values, "path")));
        }
        const auto file = static_cast<std::size_t>(NumberOf(call.values, "file"));
        const std::string path = file > 0 && file <= m_files.size() ? m_files[file - 1] : "";
        if (call.Is(Function::write) && path == "/dev/kmsg") {
            return Entry{.kind = Kind::Kernel, .text = Find(call.values, "contents")->bytes};
        }
        if (path == "/dev/kmsg" || (call.Is(Function::open) && m_opened.back() == "/dev/kmsg")) {
            return std::nullopt;
        }
        return Entry{.kind = Kind::Call,
                     .text = recorder::InWords(call),
                     .query = !call.Is(Function::write) && !call.Is(Function::g_file_set_contents_full),
                     .function = std::string(call.signature->name)};
    }

    /// Which function of the service was given to whom, for what comes of it later.
    void Remember(const Decoded& call)
    {
        for (const Value& value : call.values) {
            if (value.field->shape == Shape::Callback && value.number > 0) {
                m_given[{std::string(value.field->type), value.number - 1}].push_back(
                    {Cause(), std::string(call.signature->name), OrEmpty(TextOf(call.values, "key"))});
            }
        }
    }

    void TellReturn(const Decoded& back)
    {
        if (IsMainLoop(back)) {
            m_whereNothingIsHandled = m_stop;
            return;
        }
        if (m_open.empty() || m_open.back().signature != back.signature) {
            return; // its begin is missing
        }
        const Open call = std::move(m_open.back());
        m_open.pop_back();
        if (call.entry && m_entries[*call.entry].kind == Kind::Call) {
            EndCall(m_entries[*call.entry], back);
        }
        if (back.Is(Function::g_dbus_connection_send_message_with_reply_sync) && call.entry) {
            const EntryId asked = m_entries[*call.entry].id;
            Add(Answer(m_entries[*call.entry], back.values), asked);
        } else if (back.Is(Function::g_dbus_connection_send_message_with_reply_finish)) {
            FillReply(back.values);
        } else if (IsOfNode(back) || ReadsWhatItIsToldOf(call, back)) {
            FillSetting(back);
        } else if (back.Is(Function::open)) {
            EndOpen(back);
        }
        TellTimer(back, call.arguments);
        RememberWrite(call, back);
    }

    void RememberWrite(const Open& call, const Decoded& back)
    {
        if (call.entry && back.signature->name.starts_with("vconf_set_") && back.values.front().number == 0) {
            const Entry& written = m_entries[*call.entry];
            m_written[written.arguments.front()].push_back({written.id, written.arguments.back()});
        }
    }

    static void EndCall(Entry& call, const Decoded& back)
    {
        if (!IsOfPlatform(back)) {
            call.text +=
                recorder::InWords(back).substr(back.signature->name.size() + std::string_view(" gives").size());
            return;
        }
        for (const Value& value : back.values) {
            const bool isResult = back.signature->hasResult && &value == back.values.data();
            if (isResult) {
                call.result = InText(value);
                call.text += " = " + call.result;
            } else if (value.field->shape != Shape::Record && !IsIdentity(value)) {
                call.outputs.push_back(InText(value));
                call.text += " -> " + call.outputs.back();
            }
        }
    }

    /// A timer that was made.
    void TellTimer(const Decoded& back, const std::vector<Value>& arguments)
    {
        const bool isSeconds = back.Is(Function::g_timeout_add_seconds);
        if (!isSeconds && !back.Is(Function::g_timeout_add)) {
            return;
        }
        const std::int64_t interval = NumberOf(arguments, isSeconds ? "interval_s" : "interval_ms");
        ++m_timerCount;
        const EntryId made = Add({.kind = Kind::Timer,
                                  .text = "timer " + std::to_string(m_timerCount) + ": " + std::to_string(interval) +
                                          (isSeconds ? " s" : " ms"),
                                  .timer = m_timerCount});
        m_timers[back.values.front().number] = {m_timerCount, made};
    }

    void EndOpen(const Decoded& back)
    {
        if (m_opened.empty()) {
            return;
        }
        if (back.values.front().number >= 0) {
            m_files.push_back(m_opened.back());
        }
        m_opened.pop_back();
    }

    static Entry Answer(const Entry& asked, const std::vector<Value>& given)
    {
        Entry entry = {
            .kind = Kind::Reply, .how = "no reply", .destination = asked.destination, .member = asked.member};
        const Value* reply = Find(given, "reply");
        const Value* error = Find(given, "error");
        const bool isReply = reply != nullptr && reply->isThere;
        if (isReply) {
            const char* name = TextOf(reply->members, "error_name");
            entry.how = name != nullptr ? "error" : "reply";
            entry.result = OrEmpty(name);
        } else if (error != nullptr && error->isThere) {
            entry.result = OrEmpty(TextOf(error->members, "message"));
        }
        entry.text = entry.how + " " + entry.destination + " " + entry.member;
        entry.text += entry.result.empty() ? "" : ": " + entry.result;
        AddBody(entry, isReply ? Find(reply->members, "body") : nullptr);
        return entry;
    }

    /// The service asks what the answer is after it was told that there is one.
    void FillReply(const std::vector<Value>& given)
    {
        if (m_open.empty() || !m_open.back().entry) {
            return;
        }
        Entry& reply = m_entries[*m_open.back().entry];
        if (reply.kind != Kind::Reply || reply.cause == sim::kNoEntry) {
            return;
        }
        const Entry answer = Answer(m_entries[reply.cause - 1], given);
        reply.how = answer.how;
        reply.result = answer.result;
        reply.text = answer.text;
        reply.signature = answer.signature;
        reply.body = answer.body;
    }

    /// A watch may ask the settings instead of looking at what it was handed.
    [[nodiscard]] bool ReadsWhatItIsToldOf(const Open& call, const Decoded& back) const
    {
        return back.signature->name.starts_with("vconf_get_") && !m_open.empty() && m_open.back().entry &&
               m_entries[*m_open.back().entry].kind == Kind::Setting &&
               sim::Quoted(OrEmpty(TextOf(call.arguments, "key"))) == m_entries[*m_open.back().entry].arguments.front();
    }

    /// The same for the value of a setting.
    void FillSetting(const Decoded& back)
    {
        if (m_open.empty() || !m_open.back().entry) {
            return;
        }
        Entry& setting = m_entries[*m_open.back().entry];
        if (setting.kind != Kind::Setting || setting.arguments.size() != 1 || back.values.empty()) {
            return;
        }
        const Value& result = back.values.size() > 1 ? back.values[1] : back.values.front(); // behind that it succeeded
        const std::string value = InText(result);
        setting.arguments.push_back(value);
        setting.text += " = " + value;
        std::vector<Write>& writes = m_written[setting.arguments.front()];
        const auto write = std::ranges::find(writes, value, &Write::value);
        if (write != writes.end() && setting.cause == sim::kNoEntry) {
            setting.cause = write->entry;
            writes.erase(writes.begin(), std::next(write));
        }
    }

    /// What made the platform tell the service this; none where it tells by itself.
    struct Reason
    {
        EntryId entry = sim::kNoEntry;
        std::string function;
        std::string key;
    };

    [[nodiscard]] Reason ReasonOf(const Decoded& told) const
    {
        const auto given = m_given.find({std::string(told.signature->name), static_cast<std::int64_t>(told.slot)});
        if (given == m_given.end() || told.since == 0 || told.since > given->second.size()) {
            return {};
        }
        return given->second[given->second.size() - told.since];
    }

    void TellCallback(const Decoded& told)
    {
        const EntryId inside = told.kind == recorder::Kind::Enters ? Cause() : sim::kNoEntry;
        Entry entry = CallbackEntry(told);
        const EntryId cause = entry.cause != sim::kNoEntry ? entry.cause : inside;
        Begin(told, std::move(entry), cause);
    }

    /// One type serves several events: which it is, is told by whom the function was given to.
    [[nodiscard]] std::string NameOf(const Decoded& told) const
    {
        constexpr std::array<std::pair<std::string_view, const char*>, 4> kNames = {{
            {"device_power_subscribe_ambient_poweroff", "device_power_ambient_poweroff_cb"},
            {"device_power_subscribe_post_poweroff_event", "device_power_post_poweroff_cb"},
            {"bt_avrcp_control_initialize", "bt_avrcp_control_connection_state_changed_cb"},
            {"bt_avrcp_target_initialize", "bt_avrcp_target_connection_state_changed_cb"},
        }};
        const auto name =
            std::ranges::find(kNames, ReasonOf(told).function, [](const auto& each) { return each.first; });
        return name != kNames.end() ? name->second : std::string(told.signature->name);
    }

    Entry CallbackEntry(const Decoded& told)
    {
        if (told.Is(Callback::GSourceFunc)) {
            const auto timer = m_timers.find(NumberOf(told.values, "timer"));
            const bool isKnown = timer != m_timers.end();
            return {.kind = Kind::Fired,
                    .text = isKnown ? "timer " + std::to_string(timer->second.number) + " fires" : "a timer fires",
                    .cause = isKnown ? timer->second.made : sim::kNoEntry,
                    .timer = isKnown ? timer->second.number : 0};
        }
        if (told.Is(Callback::GUnixFDSourceFunc)) {
            m_stop = m_entries.size() + 1;
            return {.kind = Kind::Note, .text = "the service is told to stop"};
        }
        if (told.Is(Callback::GAsyncReadyCallback)) {
            return {.kind = Kind::Reply, .text = "an answer", .cause = ReasonOf(told).entry};
        }
        if (told.Is(Callback::GDBusSignalCallback)) {
            Entry entry = {.kind = Kind::Signal,
                           .how = "signal",
                           .interface = OrEmpty(TextOf(told.values, "interface")),
                           .path = OrEmpty(TextOf(told.values, "path")),
                           .member = OrEmpty(TextOf(told.values, "member"))};
            entry.text = "signal from " + entry.interface + " " + entry.member;
            AddBody(entry, Find(told.values, "body"));
            return entry;
        }
        if (told.Is(Callback::vconf_callback_fn)) {
            const std::string key = ReasonOf(told).key;
            return {.kind = Kind::Setting,
                    .text = "setting " + (key.empty() ? "of which the begin is missing" : key),
                    .function = "vconf_callback_fn",
                    .arguments = {sim::Quoted(key)}};
        }
        Entry entry = {.kind = Kind::Event, .function = NameOf(told), .arguments = Arguments(told)};
        if (told.Is(Callback::KpiCallback) || told.Is(Callback::vconf_set_done_cb)) {
            entry.cause = ReasonOf(told).entry;
        }
        entry.text = sim::CallText(entry.function, entry.arguments);
        return entry;
    }

    void TellLog(const Decoded& line)
    {
        const auto priority = static_cast<int>(line.priority);
        Entry entry = {.kind = Kind::Log, .priority = priority, .tag = line.tag, .message = line.text};
        entry.text = std::string(1, sim::PriorityLetter(priority)) + " " + line.tag + " " + line.text;
        // "file: function(line) > message"
        const std::size_t file = line.text.find(": ");
        const std::size_t open = line.text.find('(', file);
        const std::size_t close = line.text.find(") > ", open);
        if (file != std::string::npos && open != std::string::npos && close != std::string::npos) {
            entry.file = line.text.substr(0, file);
            entry.function = line.text.substr(file + 2, open - file - 2);
            const std::string number = line.text.substr(open + 1, close - open - 1);
            const bool isNumber =
                !number.empty() && number.size() < 8 && number.find_first_not_of("0123456789") == std::string::npos;
            entry.line = isNumber ? std::stoi(number) : 0;
            entry.message = line.text.substr(close + 4);
        }
        Add(std::move(entry));
    }

    void TellEnd(const Decoded& end)
    {
        m_open.clear();
        m_whereNothingIsHandled = m_stop;
        Add({.kind = Kind::Life,
             .text = m_stop != sim::kNoEntry
                         ? "the set is unplugged, the service has stopped"
                         : "the service has ended by itself with status " + std::to_string(end.status)});
    }

    struct Write
    {
        EntryId entry;
        std::string value;
    };

    std::vector<Entry> m_entries;
    std::vector<Open> m_open;
    std::map<std::pair<std::string, std::int64_t>, std::vector<Reason>> m_given; ///< by type and number
    std::map<std::int64_t, Timer> m_timers;                                      ///< by their ids
    std::map<std::string, std::vector<Write>> m_written;                         ///< settings, by key
    std::vector<std::string> m_opened;                                           ///< files that are being opened
    std::vector<std::string> m_files;                                            ///< those that were, in their order
    int m_timerCount = 0;
    std::int64_t m_at = 0;
    EntryId m_whereNothingIsHandled = sim::kNoEntry;
    EntryId m_stop = sim::kNoEntry; ///< where the service was told to stop
};

} // namespace

std::vector<Entry> EntriesOf(const Recording& recording, std::vector<std::string>& remarks)
{
    Teller teller;
    auto gap = recording.gaps.begin();
    for (std::size_t index = 0; index < recording.records.size(); ++index) {
        for (; gap != recording.gaps.end() && gap->before <= index; ++gap) {
            teller.TellGap(*gap);
        }
        try {
            const Decoded record = recorder::Decode(recording.records[index]);
            if (record.kind == recorder::Kind::LifeBegins &&
                (record.format != recorder::kFormat || record.schema != recorder::SchemaId())) {
                throw recorder::Malformed("one of another version of the platform's functions");
            }
            teller.Tell(record);
        } catch (const recorder::Malformed& malformed) {
            remarks.push_back("the record " + std::to_string(index + 1) + " is " + malformed.what() +
                              ": what comes behind it is left out; take the vyrel-tv that belongs to its service");
            return teller.Take();
        }
    }
    for (; gap != recording.gaps.end(); ++gap) {
        teller.TellGap(*gap);
    }
    return teller.Take();
}

std::vector<std::string> RunFileOf(const Recording& recording, std::vector<std::string>& remarks)
{
    std::vector<std::string> lines = {run::FirstLine()};
    for (const Entry& entry : EntriesOf(recording, remarks)) {
        lines.push_back(set::ObjectOf(entry, {}));
    }
    return lines;
}

} // namespace recording

namespace run {

Run FromRecording(const recording::Recording& recording)
{
    Run run;
    run.remarks = recording.remarks;
    for (const sim::Entry& entry : recording::EntriesOf(recording, run.remarks)) {
        run.entries.push_back(EntryOf(front::Object::Parse(set::ObjectOf(entry, {}))));
    }
    return run;
}

Run ReadEither(const std::filesystem::path& path)
{
    std::array<char, recorder::kMagic.size()> begin = {};
    std::ifstream file(path, std::ios::binary);
    file.read(begin.data(), begin.size());
    if (!file || begin != recorder::kMagic) {
        return Read(path);
    }
    recording::WaitUntilWritten(path);
    Run run = FromRecording(recording::Read(path));
    for (std::string& remark : run.remarks) {
        remark.insert(0, path.string() + ": ");
    }
    return run;
}

} // namespace run
