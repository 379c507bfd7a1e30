// The settings of the television: typed values by key, kept for several processes at once, with a notice of every
// write to whoever watches the key.
//
// Keys beginning with "db/" are kept in a file that survives a reboot and a power cut, those beginning with "memory/"
// in one on a RAM file system. Any other key holds nothing: reading it finds nothing, writing or watching it fails.
//
// Every write notifies, also one of an equal value and one's own, with the value of that write, in the order of the
// writes. Notices come on the main loop (the default context), never from inside a call of this class. Removing a value
// notifies nobody: there is no value to tell.
//
// A store that cannot be used (a damaged file, a folder that cannot be made, a full disk) makes every operation on it
// fail, with one message on standard error, and is tried again at the next operation. A damaged file is left as it is;
// a single damaged value is reported and counts as missing. A call waits for other processes for 0.7 s at most, and
// once that was in vain for 5 ms, until a write succeeds.
//
// One object is used by one thread, that of the main loop where there are watches. After a fork only the parent may
// use it.
#pragma once

#include "Database.h"
#include "KeyNode.h"
#include "Locations.h"
#include "Value.h"
#include "Watches.h"
#include "settings/NoticeOrder.h"

#include <array>
#include <cstddef>
#include <list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace settings {

// Called on the main loop when an asynchronous write has ended, with its result.
using DoneFunction = void (*)(int result, const char* key, void* userData);

class Store
{
public:
    // Nothing is opened or made before the first use.
    explicit Store(const Folders& folders);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    // Why `value` cannot be written under `key`, as part of a sentence: the key belongs to neither file, or one of them
    // is longer than kLongest. "" when it can be written.
    static std::string Objection(std::string_view key, const Value& value);

    // kOk, kNotFound, kWrongType or kFailed; the output is touched on kOk only. Null arguments fail.
    int Get(const char* key, Value* value);
    int GetBool(const char* key, bool* value);
    int GetInt(const char* key, int* value);
    int GetString(const char* key, std::string* value);

    // kOk once the value is safe, or kFailed. A value of another type is replaced together with its type. A key or a
    // string longer than kLongest is refused; what is longer in a file, from an earlier release, can be read.
    int Set(const char* key, const Value& value);

    // The same, with the result told to `done` (may be null) on the main loop, later. kFailed, and no call of `done`,
    // when the key is null or there is an objection; otherwise kOk, also when the write fails after that.
    int SetAsync(const char* key, const Value& value, DoneFunction done, void* userData);

    // kOk, kNotFound or kFailed.
    int Unset(const char* key);

    // Appends the settings whose keys begin with `prefix`, in the order of their bytes: "db/" before "memory/".
    int List(std::string_view prefix, std::vector<Entry>* entries);

    // Has `function` called for every write to `key` from now on, whether or not the key holds a value. The same
    // function a second time on the same key only replaces the user data. A callback may watch, unwatch and write.
    //
    // kFailed for a bad argument and where writes cannot be heard of, without a watch; kFailed too while the store
    // cannot be used, but then the watch stands: what is written from now on is told once the store can be read.
    int Watch(const char* key, ChangeFunction function, void* userData);

    // Ends the watch of this pair. kFailed, with nothing removed, when there is none; what was written before and not
    // yet told is no longer told.
    int Unwatch(const char* key, ChangeFunction function);

private:
    struct Completion;

    int SetOn(std::size_t side, const char* key, const Value& value);
    // The side to write to or to watch. None, and the objection reported once, when there is one.
    std::optional<std::size_t> Accept(const char* key, const Value& value);

    std::array<Side, kSides> m_sides;
    Watches m_watches;
    std::list<Completion> m_completions;
    bool m_refused[2] = {false, false}; // reported: a key of no known kind, something too long
};

} // namespace settings
