#pragma once

#include "sim/Television.h"
#include "tv/language/Line.h"

#include <string>
#include <vector>

namespace set {

/// Reports of a platform that leaves out what should be in them.
class Reports
{
public:
    explicit Reports(sim::Television& tv) : m_tv(tv) {}

    /// Carries out a line about one.
    /// \return false when it is about something else
    bool Does(const language::Line& line);

    /// What a set that is plugged in later has to be told, as lines.
    [[nodiscard]] std::vector<std::string> Furniture() const;

private:
    void OfRemote(const std::string& what, bool hasRecord, bool hasAddress);
    void OfRequest(const std::string& what, bool hasAddress);

    sim::Television& m_tv;
    std::string m_strength; ///< the line about it; empty for none
};

} // namespace set
