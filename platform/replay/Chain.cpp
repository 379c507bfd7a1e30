#include "replay/Chain.h"

#include "recorder/Decoded.h"
#include "recorder/Functions.h"
#include "recorder/InWords.h"
#include "recorder/Kind.h"
#include "recorder/Schema.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace replay {

namespace {

using recorder::Callback;
using recorder::Decoded;
using recorder::Function;
using recorder::Kind;

bool Opens(Kind kind)
{
    return kind == Kind::Call || kind == Kind::Input || kind == Kind::Enters;
}

bool Closes(Kind kind)
{
    return kind == Kind::Return || kind == Kind::Leaves;
}

/// What is asked for once is told because of that; what is watched is told because of what others do.
bool IsToldOnce(const Decoded& input)
{
    constexpr std::array kOnce = {Callback::GSourceFunc, Callback::GAsyncReadyCallback, Callback::KpiCallback,
                                  Callback::vconf_set_done_cb, Callback::bt_device_rssi_strength_cb};
    return std::ranges::any_of(kOnce, [&](Callback callback) { return input.Is(callback); });
}

class Causes
{
public:
    Causes(const std::vector<std::vector<std::byte>>& records, std::size_t end)
    {
        for (std::size_t index = 0; index < end; ++index) {
            Add(recorder::Decode(records[index]));
        }
    }

    [[nodiscard]] std::string Text() const
    {
        if (m_records.empty()) {
            return "it began so\n"; // the very first record is another one
        }
        std::string text = "it came to this so:\n";
        for (const std::size_t index : Path()) {
            text += "  " + recorder::Instant(m_instants[index]) + "  " + Words(index) + "\n";
        }
        const auto log = std::ranges::find(m_records.rbegin(), m_records.rend(), Kind::Log, &Decoded::kind);
        if (log != m_records.rend()) {
            text += "the latest line of the log before it:\n  " + log->tag + " " + log->text + "\n";
        }
        return text;
    }

private:
    void Add(Decoded record)
    {
        if (Closes(record.kind) && !m_open.empty()) {
            m_open.pop_back();
        }
        if (record.kind == Kind::Input) {
            m_now = record.instant;
        }
        m_instants.push_back(m_now);
        m_parents.push_back(m_open.empty() ? 0 : m_open.back());
        if (Opens(record.kind)) {
            m_open.push_back(m_records.size());
        }
        m_records.push_back(std::move(record));
    }

    /// From outside to what was going on last.
    [[nodiscard]] std::vector<std::size_t> Path() const
    {
        std::vector<std::size_t> path;
        std::size_t index = m_open.empty() ? 0 : m_open.back();
        while (index != 0) {
            if (!m_records[index].Is(Function::g_main_loop_run)) {
                path.push_back(index);
            }
            index = AskedFor(index).value_or(m_parents[index]);
        }
        const bool isFromOutside = !path.empty() && m_records[path.back()].kind == Kind::Input;
        if (!isFromOutside) {
            path.push_back(0);
        }
        std::ranges::reverse(path);
        return path;
    }

    /// The call from which an input is the answer.
    [[nodiscard]] std::optional<std::size_t> AskedFor(std::size_t index) const
    {
        const Decoded& input = m_records[index];
        if (input.kind != Kind::Input || !IsToldOnce(input)) {
            return std::nullopt;
        }
        if (input.Is(Callback::GSourceFunc)) {
            return MadeTimer(index, input.values.front().number);
        }
        return LatestThatGave(index, input);
    }

    [[nodiscard]] std::optional<std::size_t> MadeTimer(std::size_t before, std::int64_t timer) const
    {
        for (std::size_t index = before; index-- > 1;) {
            const Decoded& record = m_records[index];
            const bool isMade = record.kind == Kind::Return &&
                                (record.Is(Function::g_timeout_add) || record.Is(Function::g_timeout_add_seconds));
            if (isMade && record.values.front().number == timer) {
                return index - 1; // nothing happens while a timer is made
            }
        }
        return std::nullopt;
    }

    /// The call that named the function of an input.
    [[nodiscard]] std::optional<std::size_t> LatestThatGave(std::size_t before, const Decoded& input) const
    {
        std::uint64_t left = input.since;
        for (std::size_t index = before; index-- > 1;) {
            if (m_records[index].kind == Kind::Call && Names(m_records[index], input) && --left == 0) {
                return index;
            }
        }
        return std::nullopt;
    }

    static bool Names(const Decoded& call, const Decoded& input)
    {
        return std::ranges::any_of(call.values, [&](const recorder::Value& value) {
            return value.field->shape == recorder::Shape::Callback && value.field->type == input.signature->name &&
                   value.number == static_cast<std::int64_t>(input.slot) + 1;
        });
    }

    /// Of a setting that is watched, only who watches it knows which it is.
    [[nodiscard]] std::string Words(std::size_t index) const
    {
        const Decoded& record = m_records[index];
        std::string text = recorder::InWords(record);
        if (record.Is(Callback::vconf_callback_fn) && record.since != 0) {
            const std::optional<std::size_t> watch = LatestThatGave(index, record);
            text += watch ? " of " + recorder::InWords(m_records[*watch]) : "";
        }
        return text;
    }

    std::vector<Decoded> m_records;
    std::vector<std::int64_t> m_instants;
    std::vector<std::size_t> m_parents; ///< within what it happened; 0 for the begin of the life
    std::vector<std::size_t> m_open;
    std::int64_t m_now = 0;
};

} // namespace

std::string Chain(const std::vector<std::vector<std::byte>>& records, std::size_t index)
{
    return Causes(records, std::min(index, records.size())).Text();
}

} // namespace replay
