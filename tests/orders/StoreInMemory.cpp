// settings::Store without files, in place of the one of platform/settings: the real one's database and its watches do
// not outlive a fork of the service. Types, results and the order of notices are those that its header promises.

#include "orders/StoreInMemory.h"

#include "settings/Database.h"
#include "settings/KeyNode.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "settings/Watches.h"
#include "sim/Text.h"

#include <glib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace settings {

// Named by the header. Nobody here asks for the result of an asynchronous write.
struct Store::Completion
{};

namespace {

struct Watching
{
    const Store* owner;
    std::string key;
    ChangeFunction function;
    void* userData;
    std::uint64_t number; // of the watch: a write from before it is not told to one that begins anew
};

struct Notice
{
    keynode node;
    std::uint64_t watch;
};

/// All that the doors to the settings share.
struct Shared
{
    std::map<std::string, Value, std::less<>> values;
    std::vector<Watching> watches;
    std::deque<Notice> notices;
    std::uint64_t lastNumber = 0;
    bool isOthersTurn = false; // as for the real one, the turn after a notice is for all others on the loop
    bool hasSource = false;
};

Shared& All()
{
    static Shared shared;
    return shared;
}

bool IsKey(std::string_view key)
{
    return (key.starts_with(kPersistentPrefix) && key.size() > kPersistentPrefix.size()) ||
           (key.starts_with(kMemoryPrefix) && key.size() > kMemoryPrefix.size());
}

bool TellOne()
{
    Shared& shared = All();
    while (!shared.notices.empty()) {
        Notice notice = std::move(shared.notices.front());
        shared.notices.pop_front();
        const auto watch = std::ranges::find(shared.watches, notice.watch, &Watching::number);
        if (watch != shared.watches.end()) {
            const auto [function, userData] = std::pair(watch->function, watch->userData);
            function(&notice.node, userData);
            return true;
        }
    }
    return false;
}

gboolean OnTurn(gpointer)
{
    Shared& shared = All();
    shared.isOthersTurn = !shared.isOthersTurn && TellOne();
    shared.hasSource = shared.isOthersTurn || !shared.notices.empty();
    return shared.hasSource ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
}

void TellLater()
{
    if (!std::exchange(All().hasSource, true)) {
        g_idle_add_full(G_PRIORITY_DEFAULT, OnTurn, nullptr, nullptr);
    }
}

template <typename T>
int GetTyped(Store& store, const char* key, T* output)
{
    Value value;
    const int result = output != nullptr ? store.Get(key, &value) : kFailed;
    if (result == kOk && !std::holds_alternative<T>(value)) {
        return kWrongType;
    }
    if (result == kOk) {
        *output = std::get<T>(std::move(value));
    }
    return result;
}

} // namespace

Store::Store(const Folders& folders)
    : m_sides{Side(folders.persistent, kPersistentFile, Durability::PowerLoss, folders.memory, "db"),
              Side(folders.memory, kMemoryFile, Durability::ProcessDeath, folders.memory, "memory")},
      m_watches(m_sides)
{}

Store::~Store()
{
    std::erase_if(All().watches, [this](const Watching& watch) { return watch.owner == this; });
}

std::string Store::Objection(std::string_view key, const Value&)
{
    return IsKey(key) ? "" : "nobody keeps settings of this name";
}

int Store::Get(const char* key, Value* value)
{
    if (key == nullptr || value == nullptr) {
        return kFailed;
    }
    const auto found = All().values.find(key);
    if (found == All().values.end()) {
        return kNotFound;
    }
    *value = found->second;
    return kOk;
}

int Store::GetBool(const char* key, bool* value)
{
    return GetTyped(*this, key, value);
}

int Store::GetInt(const char* key, int* value)
{
    return GetTyped(*this, key, value);
}

int Store::GetString(const char* key, std::string* value)
{
    return GetTyped(*this, key, value);
}

int Store::Set(const char* key, const Value& value)
{
    if (key == nullptr || !IsKey(key)) {
        return kFailed;
    }
    All().values.insert_or_assign(key, value);
    for (const Watching& watch : All().watches) {
        if (watch.key == key) {
            All().notices.push_back({{key, value}, watch.number});
            TellLater();
        }
    }
    return kOk;
}

int Store::SetAsync(const char* key, const Value& value, DoneFunction done, void*)
{
    if (done != nullptr) {
        std::abort();
    }
    return Set(key, value);
}

int Store::Unset(const char* key)
{
    return key == nullptr ? kFailed : All().values.erase(key) == 1 ? kOk : kNotFound;
}

int Store::List(std::string_view prefix, std::vector<Entry>* entries)
{
    for (const auto& [key, value] : All().values) {
        if (key.starts_with(prefix)) {
            entries->push_back({key, value});
        }
    }
    return kOk;
}

int Store::Watch(const char* key, ChangeFunction function, void* userData)
{
    if (key == nullptr || function == nullptr || !IsKey(key)) {
        return kFailed;
    }
    const auto known = std::ranges::find_if(All().watches, [&](const Watching& watch) {
        return watch.owner == this && watch.key == key && watch.function == function;
    });
    if (known != All().watches.end()) {
        known->userData = userData;
    } else {
        All().watches.push_back({this, key, function, userData, ++All().lastNumber});
    }
    return kOk;
}

int Store::Unwatch(const char* key, ChangeFunction function)
{
    const std::size_t ended = std::erase_if(All().watches, [&](const Watching& watch) {
        return watch.owner == this && key != nullptr && watch.key == key && watch.function == function;
    });
    return ended == 1 ? kOk : kFailed;
}

} // namespace settings

std::string orders::SettingsInMemory()
{
    std::string text;
    for (const auto& [key, value] : settings::All().values) {
        text += key + " = " + sim::ToText(value) + "\n";
    }
    for (const settings::Watching& watch : settings::All().watches) {
        text += "watched " + watch.key + "\n";
    }
    return text + "untold " + std::to_string(settings::All().notices.size()) + "\n";
}
