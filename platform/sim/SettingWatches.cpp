#include "sim/SettingWatches.h"

#include "sim/Handles.h"
#include "sim/Misuse.h"
#include "sim/Settings.h"
#include "sim/Television.h"
#include "sim/Text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

namespace sim {

namespace {

using settings::ChangeFunction;

constexpr std::size_t kStandIns = 256;
constexpr std::size_t kWritesKept = 64; // of a key; so many can be written before the first of them is told

std::vector<ChangeFunction>& Functions()
{
    static std::vector<ChangeFunction> functions; // by the number of the stand-in
    return functions;
}

template <std::size_t Number>
void CallStandIn(keynode* node, void* userData)
{
    Television::Current().settings.watches.Told(CallStandIn<Number>, Functions()[Number], node, userData);
}

template <std::size_t... Numbers>
constexpr std::array<ChangeFunction, sizeof...(Numbers)> MakeStandIns(std::index_sequence<Numbers...>)
{
    return {CallStandIn<Numbers>...};
}

constexpr std::array<ChangeFunction, kStandIns> kAll = MakeStandIns(std::make_index_sequence<kStandIns>());

} // namespace

ChangeFunction SettingWatches::StandIn(ChangeFunction function)
{
    if (function == nullptr) {
        return nullptr;
    }
    std::vector<ChangeFunction>& functions = Functions();
    const auto number = static_cast<std::size_t>(std::ranges::find(functions, function) - functions.begin());
    if (number == functions.size()) {
        if (number == kStandIns) {
            Misuse("settings are watched with more than " + std::to_string(kStandIns) + " functions");
        }
        functions.push_back(function);
    }
    return kAll[number];
}

void SettingWatches::Begins(std::string_view key, ChangeFunction standIn)
{
    m_told.try_emplace({std::string(key), standIn}, m_tape.Cause());
}

void SettingWatches::Ends(std::string_view key, ChangeFunction standIn)
{
    m_told.erase({std::string(key), standIn});
    ForgetsTold(std::string(key));
}

void SettingWatches::Wrote(std::string_view key, std::string value)
{
    const auto watch = m_told.lower_bound({std::string(key), nullptr});
    if (watch == m_told.end() || watch->first.first != key) {
        return; // nobody will be told
    }
    std::deque<Write>& writes = m_writes[std::string(key)];
    writes.push_back({m_tape.Cause(), std::move(value)});
    if (writes.size() > kWritesKept) {
        writes.pop_front();
    }
}

/// The oldest write of this value that the watch was not told of yet. Other processes write too: then there is none.
EntryId SettingWatches::TakeWrite(const Watch& watch, std::string_view value)
{
    const auto told = m_told.find(watch);
    const auto writes = m_writes.find(watch.first);
    if (told == m_told.end() || writes == m_writes.end()) {
        return kNoEntry;
    }
    const auto write = std::ranges::find_if(
        writes->second, [&](const Write& made) { return made.by > told->second && made.value == value; });
    if (write == writes->second.end()) {
        return kNoEntry;
    }
    const EntryId by = told->second = write->by;
    ForgetsTold(watch.first);
    return by;
}

/// A set may stay on for long: what every watch of a setting has been told of, or was made after, is not looked for
/// again.
void SettingWatches::ForgetsTold(const std::string& key)
{
    const auto writes = m_writes.find(key);
    if (writes == m_writes.end()) {
        return;
    }
    std::optional<EntryId> toldToAll;
    for (auto watch = m_told.lower_bound({key, nullptr}); watch != m_told.end() && watch->first.first == key; ++watch) {
        toldToAll = std::min(toldToAll.value_or(watch->second), watch->second);
    }
    std::erase_if(writes->second, [&](const Write& write) { return !toldToAll || write.by <= *toldToAll; });
    if (writes->second.empty()) {
        m_writes.erase(writes);
    }
}

void SettingWatches::Told(ChangeFunction standIn, ChangeFunction function, keynode* node, void* userData)
{
    const std::string value = ToText(node->value);
    const Tape::Scope handles = m_tape.Begin({.kind = Kind::Setting,
                                              .text = "setting " + node->key + " = " + value,
                                              .function = "vconf_callback_fn",
                                              .cause = TakeWrite({node->key, standIn}, value),
                                              .arguments = {ToText(node->key), value}});
    const Handles holdsLoop;
    function(node, userData);
}

} // namespace sim
