#pragma once

#include "Narrator.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/Siblings.h"

#include <chrono>
#include <string>
#include <vector>

namespace demo {

/// All that a scene is played with: the television, the sibling services, other programs, and time.
class Stage
{
public:
    Stage(sim::Television& television, sim::VirtualClock* virtualClock, Narrator& storyteller);

    /// Everything that is on its way arrives and is handled.
    void Settles();
    /// Time passes: on the virtual clock at once, on a real one really.
    void Passes(std::chrono::milliseconds time);
    /// The key router, a program of its own, reports a key sequence.
    void KeyRouterReports(int code);
    /// Another program writes a setting.
    void AnotherProgramWrites(const std::string& key, const std::string& type, const std::string& value);
    /// Another program reads a setting.
    /// \return its value as text
    std::string AnotherProgramReads(const std::string& key);
    /// What the siblings found wrong with what they were sent.
    std::vector<std::string> Violations() const;

    sim::Television& tv;
    Narrator& narrator;
    support::ConnectionManager manager;
    support::ConnectionShift shift;
    support::HandsFreeAgent agent;
    support::UpdateManager updates;
    support::IrMonitor monitor;

private:
    /// \return what the program wrote on its standard output, without the last line end
    std::string Runs(const std::vector<std::string>& command);

    sim::VirtualClock* m_clock;
};

} // namespace demo
