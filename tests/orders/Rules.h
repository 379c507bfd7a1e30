#pragma once

#include "sim/Tape.h"

#include <array>
#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace sim {
class Television;
}

namespace orders {

/// What must hold whatever happens, and in whatever order. It watches the tape; what it needs to remember is part of a
/// state.
class Rules
{
public:
    explicit Rules(sim::Television& tv);

    /// To be called when the service has started: what is open by now may stay open.
    void Begins();
    /// To be called with every entry of the tape, what the service is told among them.
    void See(const sim::Entry& entry);
    /// To be called when the service has come to rest after an event.
    void Look();
    /// To be called when the service has ended and all that may come later has come.
    void LookAtTheEnd();

    /// What is wrong; nothing when all is as it must be.
    [[nodiscard]] const std::vector<std::string>& Complaints() const
    {
        return m_complaints;
    }
    void Complain(const std::string& complaint)
    {
        m_complaints.push_back(complaint);
    }

    /// What it remembers, for the digest of a state.
    [[nodiscard]] std::string State() const;

private:
    /// A remote whose warnings are counted.
    struct Warned
    {
        const char* connection;   ///< the kind of callback that tells of it
        const char* announces;    ///< the message that tells that it is empty, or low
        const char* warns;        ///< the message that tells how full it is
        std::string address{};    ///< of the one that connected last
        bool toldEmpty = false;   ///< since it connected
        bool toldUnder50 = false; ///< since it was nearly full, or another one connected
        bool toldUnder10 = false;
    };

    void SeeCall(const sim::Entry& entry);
    void SeeConnection(Warned& remote, const sim::Entry& entry);
    void SeeBattery(const sim::Entry& entry);
    void SeeMessage(const sim::Entry& entry);
    void SeeNotice(Warned& remote, const sim::Entry& entry);
    void HoldTo(std::chrono::milliseconds longest, std::chrono::milliseconds& stood, std::chrono::milliseconds more);

    void LookAtTimers();
    void LookAtAddresses();
    void LookAtDescriptors();

    sim::Television& m_tv;
    std::array<Warned, 2> m_warned;
    bool m_settingsFail = false;                  // warnings that cannot be noted down are given again
    std::map<sim::EntryId, sim::EntryId> m_asked; // by question, what was handled when it was asked
    std::map<sim::EntryId, int> m_timeouts;       // of questions, in milliseconds
    // For how long the loop stood still, by what was handled.
    std::map<sim::EntryId, std::chrono::milliseconds> m_waited;
    std::map<sim::EntryId, std::chrono::milliseconds> m_slept;
    int m_firstFree = -1; // descriptor
    std::vector<std::string> m_complaints;
};

} // namespace orders
