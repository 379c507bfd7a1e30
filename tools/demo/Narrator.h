#pragma once

#include "sim/Tape.h"

#include <string>
#include <vector>

namespace demo {

/// Tells what is on the tape as it happens, and holds each step against what should have come of it.
class Narrator
{
public:
    /// \param verbose also every log line
    explicit Narrator(bool verbose);

    /// What the next lines are about.
    void Begins(const std::string& title);
    void Hears(const sim::Entry& entry);
    /// Ends the step: each text must be part of an entry, in this order, and none of \p unwanted may be.
    void ShouldHaveSeen(const std::vector<std::string>& wanted, const std::vector<std::string>& unwanted = {});
    /// Something else that has to hold in this step.
    void Claims(bool holds, const std::string& claim);

    /// \return the number of steps that did not go as they should
    int Summarizes() const;
    /// True while everything has gone as it should.
    bool AllIsWell() const
    {
        return m_failures.empty();
    }

private:
    void Print(const char* subject, const std::string& text) const;
    void Misses(const std::string& what);

    bool m_verbose;
    bool m_colours;
    std::string m_title;
    std::vector<std::string> m_step;
    std::vector<std::string> m_failures;
    int m_steps = 0;
    int m_messages = 0;
    int m_settings = 0;
    int m_commands = 0;
    int m_usage = 0;
};

} // namespace demo
