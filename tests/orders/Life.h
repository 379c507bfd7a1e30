#pragma once

#include "orders/Alphabet.h"
#include "orders/Rules.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "tv/language/Line.h"
#include "tv/set/Gadgets.h"
#include "tv/set/House.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace orders {

/// A set and its service, from the start to the stop, in one thread and without a file of their own that matters: a
/// fork of it is another life that goes on from the same moment.
class Life
{
public:
    /// \param root a folder that the set may have, and that somebody else removes
    Life(const std::string& root, const Subject& subject);
    ~Life();
    Life(const Life&) = delete;
    Life& operator=(const Life&) = delete;

    /// Runs the service.
    /// \param lives is called once it has started and come to rest; when it returns, the service is told to stop
    /// \return the service's exit status
    int Lives(const std::function<void()>& lives);

    /// An event happens, and the service comes to rest.
    /// \return false when it cannot happen now
    bool Does(std::size_t event);

    /// After this the service's stop, or its own process, disturbs no other life that was forked from the same one.
    void BecomesItsOwn();
    /// To be called after Lives, for what may hold only then.
    void LooksAtTheEnd(int status);

    /// All that tells this state from another, as far as it can be seen.
    [[nodiscard]] std::string State() const;
    [[nodiscard]] std::uint64_t Digest() const;

    [[nodiscard]] const std::vector<std::string>& Complaints() const
    {
        return m_rules.Complaints();
    }

    /// Prints all that happens.
    void Tells()
    {
        m_tells = true;
    }

private:
    void See(const sim::Entry& entry);
    void CarriesOut(const language::Line& line);
    bool DoesSibling(const language::Line& line);
    void Passes(std::chrono::milliseconds time);
    void NextTimer();
    void Settles();
    void AddTelevision(std::string& text) const;
    void AddDevices(std::string& text) const;
    void AddTimes(std::string& text) const;

    sim::VirtualClock m_clock{true}; // first, so that the television begins on it
    sim::Television m_tv;
    set::Gadgets m_gadgets;
    set::House m_house;
    Rules m_rules;
    std::vector<language::Line> m_lines;               // of the alphabet
    std::map<std::string, std::string> m_lastOfDevice; // what a device did last, which only the platform remembers
    std::vector<int> m_shared;                         // descriptors of which each life needs its own
    bool m_tells = false;
};

} // namespace orders
