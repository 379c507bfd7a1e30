#pragma once

#include "sim/Tape.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace set {

/// What the process with the television says to the one that drives it: JSON objects, each on a line of its own.
class Wire
{
public:
    /// Where the counting goes on from an earlier process of the same run.
    struct Start
    {
        std::uint64_t lastId = 0; ///< of an entry
        std::int64_t at = 0;      ///< microseconds since the run's begin
    };

    /// \param descriptor a stream socket, which stays its owner's
    Wire(int descriptor, Start start) : m_descriptor(descriptor), m_start(start) {}

    /// Returns when all of it is under way; ends the process when nobody reads any more.
    void Send(const std::string& object) const;
    void Sends(const sim::Entry& entry) const;

    [[nodiscard]] std::int64_t At(std::int64_t microseconds) const
    {
        return m_start.at + microseconds;
    }

private:
    int m_descriptor;
    Start m_start;
};

/// An entry of the tape as a JSON object: what Wire tells of it.
std::string ObjectOf(const sim::Entry& entry, Wire::Start start);

/// The lane of a sibling's bus name or interface: its short name; the name itself for others.
std::string LaneOf(std::string_view busName);

} // namespace set
