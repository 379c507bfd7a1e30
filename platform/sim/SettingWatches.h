#pragma once

#include "settings/KeyNode.h"
#include "sim/Tape.h"

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace sim {

/// Writes the notices of the service's watches on the tape, each with the write that it tells of as its cause.
///
/// The store knows a watch by its function, so each function is watched with by a stand-in of its own.
class SettingWatches
{
public:
    explicit SettingWatches(Tape& tape) : m_tape(tape) {}

    /// The function to watch with, or to end the watch with, in place of this one; null for null. Aborts when the
    /// process watches with more functions than there are stand-ins.
    static settings::ChangeFunction StandIn(settings::ChangeFunction function);

    /// A watch begins: writes from now on are told.
    void Begins(std::string_view key, settings::ChangeFunction standIn);
    void Ends(std::string_view key, settings::ChangeFunction standIn);
    void EndAll()
    {
        m_told.clear();
        m_writes.clear();
    }
    /// What is handled now has written a value, as the tape shows it.
    void Wrote(std::string_view key, std::string value);
    /// A stand-in was called: writes it on the tape and calls the function that it stands for.
    void Told(settings::ChangeFunction standIn, settings::ChangeFunction function, keynode* node, void* userData);

private:
    struct Write
    {
        EntryId by;
        std::string value;
    };
    using Watch = std::pair<std::string, settings::ChangeFunction>;

    void ForgetsTold(const std::string& key);
    EntryId TakeWrite(const Watch& watch, std::string_view value);

    Tape& m_tape;
    std::map<std::string, std::deque<Write>, std::less<>> m_writes; // of keys with watches that are yet to be told
    std::map<Watch, EntryId> m_told;                                // by watch, the write that it was told of last
};

} // namespace sim
