#pragma once

#include "settings/Store.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "tv/language/Line.h"
#include "tv/set/Gadgets.h"
#include "tv/set/House.h"
#include "tv/set/Neighbours.h"
#include "tv/set/Reports.h"
#include "tv/set/Wire.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace set {

/// All that a line can act on: the television, the things and services beside it, and time.
class Stage
{
public:
    /// \param root the set's folder, which outlives it
    Stage(const std::string& root, int descriptor, Wire::Start start);
    ~Stage();
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    /// Carries out a line that is the set's, and brings the bus to rest; std::runtime_error says what cannot be.
    void CarriesOut(const language::Line& line);

    /// From now on all that happens goes to the wire; before, and while the tape has another sink, nothing does.
    void Listens();
    /// From now on nobody is told what happens.
    void Hushes();

    /// Time passes, from one moment at which something is due to the next; the bus comes to rest in between.
    void Passes(std::chrono::milliseconds time);

    /// What a set that is plugged in later has to be told, as lines.
    [[nodiscard]] std::vector<std::string> Furniture() const;

    /// What was found wrong since the last look: with what the siblings were sent, and with the bus.
    std::vector<std::string> NewFindings();

    sim::VirtualClock clock; ///< first, so that the television begins on it
    sim::Television tv;
    Wire wire;
    Neighbours neighbours;
    Gadgets gadgets;
    House house;
    Reports reports;
    mutable settings::Store store; ///< a further door to the settings, for who looks at all of them
    bool isRunning = false;        ///< the service
    std::string recording;         ///< the file in which the next life is recorded; empty for none
    bool clockRuns = false;        ///< between lines, too

private:
    bool DoesNeighbours(const language::Line& line);
    void HidesBus(bool hidden);
    bool DoesTime(const language::Line& line);
    bool DoesRecording(const language::Line& line);
    void NextTimer();
    void Settles();
    void ComesToRest();

    std::map<std::string, std::string> m_behaviours; ///< of siblings, as lines
    std::string m_busAddress;                        ///< once it was hidden
    std::vector<std::string> m_findings;
    bool m_tells = true;
    std::size_t m_messages = 0;              ///< of the service so far: where there was none, the bus is at rest
    std::size_t m_messagesAtRest = SIZE_MAX; ///< when the bus was at rest last; none yet
};

} // namespace set
