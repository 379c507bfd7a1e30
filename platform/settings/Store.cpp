#include "Store.h"

#include "settings/Bell.h"
#include "settings/Database.h"
#include "settings/KeyNode.h"
#include "settings/LastWrite.h"
#include "settings/Locations.h"
#include "settings/ReadPosition.h"
#include "settings/Value.h"
#include "settings/Watches.h"

#include <glib.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <utility>
#include <variant>

namespace settings {
namespace {

constexpr std::size_t kPersistent = 0;
constexpr std::size_t kMemory = 1;

// The log of writes is kept short: looked after at every kPruneInterval-th write, down to the newest kKept rows, which
// a person who looks into the file may want to see.
constexpr std::int64_t kPruneInterval = 1024;
constexpr std::int64_t kKept = 1024;

// Where the watchers' files are: in RAM, also those for the persistent settings, because no watcher outlives a reboot.
std::string NoticeFolder(const Folders& folders)
{
    return folders.memory + "/" + std::string(kWatchersFolder);
}

// Which file a key belongs to: none for a key of no known kind.
std::optional<std::size_t> SideOf(std::string_view key)
{
    if (key.starts_with(kPersistentPrefix) && key.size() > kPersistentPrefix.size()) {
        return kPersistent;
    }
    if (key.starts_with(kMemoryPrefix) && key.size() > kMemoryPrefix.size()) {
        return kMemory;
    }
    return std::nullopt;
}

template <typename T>
int GetTyped(Store& store, const char* key, T* output)
{
    Value value;
    const int result = output != nullptr ? store.Get(key, &value) : kFailed;
    if (result != kOk) {
        return result;
    }
    if (!std::holds_alternative<T>(value)) {
        return kWrongType;
    }
    *output = std::get<T>(std::move(value));
    return kOk;
}

} // namespace

// An asynchronous write whose result is still to be told.
struct Store::Completion
{
    Store* store;
    DoneFunction done;
    void* userData;
    std::string key;
    int result;
    GSource* source = nullptr;

    static gboolean Tell(gpointer data)
    {
        auto* self = static_cast<Completion*>(data);
        std::list<Completion> told;
        auto& pending = self->store->m_completions;
        const auto position = std::find_if(pending.begin(), pending.end(),
                                           [self](const Completion& candidate) { return &candidate == self; });
        told.splice(told.begin(), pending, position);
        g_source_unref(self->source);
        self->done(self->result, self->key.c_str(), self->userData);
        return G_SOURCE_REMOVE;
    }
};

Store::Store(const Folders& folders)
    : m_sides{Side(folders.persistent, kPersistentFile, Durability::PowerLoss, NoticeFolder(folders), "db"),
              Side(folders.memory, kMemoryFile, Durability::ProcessDeath, NoticeFolder(folders), "memory")},
      m_watches(m_sides)
{}

Store::~Store()
{
    for (const Completion& completion : m_completions) {
        g_source_destroy(completion.source);
        g_source_unref(completion.source);
    }
}

std::string Store::Objection(std::string_view key, const Value& value)
{
    const auto tooLong = [](const char* what, std::size_t size) {
        return what + std::to_string(size) + " bytes, more than " + std::to_string(kLongest);
    };
    if (!SideOf(key)) {
        return "a key begins with " + std::string(kPersistentPrefix) + " or " + std::string(kMemoryPrefix);
    }
    if (key.size() > kLongest) {
        return tooLong("the key has ", key.size());
    }
    const auto* text = std::get_if<std::string>(&value);
    return text != nullptr && text->size() > kLongest ? tooLong("the value has ", text->size()) : std::string();
}

int Store::Get(const char* key, Value* value)
{
    if (key == nullptr || value == nullptr) {
        return kFailed;
    }
    const auto side = SideOf(key);
    return side ? m_sides[*side].database.Get(key, *value) : kNotFound;
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
    const auto side = Accept(key, value);
    if (!side) {
        return kFailed;
    }
    return SetOn(*side, key, value);
}

int Store::SetOn(std::size_t side, const char* key, const Value& value)
{
    Side& target = m_sides[side];
    std::int64_t change = 0;
    std::int64_t moment = 0;
    const int result = target.database.Set(key, value, change, &moment);
    if (result != kOk) {
        return result;
    }
    const WriteId written = target.database.InFile(change);
    // Both bells lie in the folder in RAM. Who may hear one need not be allowed to read the other folder's file.
    LastWriteBuffer buffer;
    const bool isForTheSame = target.bell.IsFor(target.database.FileRights());
    target.bell.Ring(isForTheSame ? PackLastWrite(written, moment, key, value, buffer) : std::string_view());
    if (written.id % kPruneInterval == 0) {
        target.database.Prune([&target, row = written.id] { return std::min(row - kKept, target.position.Lowest()); });
    }
    return kOk;
}

int Store::SetAsync(const char* key, const Value& value, DoneFunction done, void* userData)
{
    const auto side = Accept(key, value);
    if (!side) {
        return kFailed;
    }
    // Written at once, so that asynchronous and plain writes of one process keep their order.
    const int result = SetOn(*side, key, value);
    if (done != nullptr) {
        Completion& completion = m_completions.emplace_back(Completion{this, done, userData, key, result});
        completion.source = g_idle_source_new();
        g_source_set_priority(completion.source, G_PRIORITY_DEFAULT);
        g_source_set_callback(completion.source, &Completion::Tell, &completion, nullptr);
        g_source_attach(completion.source, nullptr);
    }
    return kOk;
}

int Store::Unset(const char* key)
{
    if (key == nullptr) {
        return kFailed;
    }
    const auto side = SideOf(key);
    return side ? m_sides[*side].database.Unset(key) : kNotFound;
}

int Store::List(std::string_view prefix, std::vector<Entry>* entries)
{
    if (entries == nullptr) {
        return kFailed;
    }
    constexpr std::string_view kPrefixes[] = {kPersistentPrefix, kMemoryPrefix};
    int result = kOk;
    for (const std::size_t side : {kPersistent, kMemory}) {
        const std::string_view kind = kPrefixes[side];
        if (prefix.starts_with(kind) || kind.starts_with(prefix)) {
            result = std::min(result, m_sides[side].database.List(prefix, *entries));
        }
    }
    return result;
}

int Store::Watch(const char* key, ChangeFunction function, void* userData)
{
    const auto side = function != nullptr ? Accept(key, {}) : std::nullopt;
    if (!side) {
        return kFailed;
    }
    return m_watches.Add(*side, key, function, userData);
}

int Store::Unwatch(const char* key, ChangeFunction function)
{
    return key != nullptr && function != nullptr ? m_watches.Remove(key, function) : kFailed;
}

std::optional<std::size_t> Store::Accept(const char* key, const Value& value)
{
    if (key == nullptr) {
        return std::nullopt;
    }
    const std::optional<std::size_t> side = SideOf(key);
    const std::string objection = Objection(key, value);
    if (objection.empty()) {
        return side;
    }
    bool& isReported = m_refused[side ? 1 : 0];
    if (!isReported) {
        isReported = true;
        constexpr int kShown = 100; // bytes of a key that may be as long as its writer likes
        std::fprintf(stderr, "settings: \"%.*s\" cannot be written or watched: %s\n", kShown, key, objection.c_str());
    }
    return std::nullopt;
}

} // namespace settings
