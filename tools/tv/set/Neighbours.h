#pragma once

#include "sim/Television.h"
#include "support/Siblings.h"

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace set {

/// The sibling services beside the set, and how each of them behaves.
class Neighbours
{
public:
    enum class Behaviour
    {
        Answers,
        Slow,
        Hangs,
        Error,
        Absent
    };

    explicit Neighbours(sim::Television& tv);
    ~Neighbours();
    Neighbours(const Neighbours&) = delete;
    Neighbours& operator=(const Neighbours&) = delete;

    // By short names; std::runtime_error says what cannot be.

    void Behaves(const std::string& name, Behaviour behaviour, std::chrono::milliseconds delay = {},
                 const std::string& error = {});
    /// \param body GVariant text, of one value or of a tuple; empty for an empty reply
    void WillAnswer(const std::string& name, const std::string& member, const std::string& body);
    void Emits(const std::string& name, const std::string& member, const std::string& body);
    /// The key router, which has no name on the bus, reports a key sequence.
    void KeySequence(int code);

    /// Everything that is on its way arrives and is handled. Slow siblings begin to think.
    void Settle();

    /// Returns when no call that was answered has a descriptor in this process any longer.
    void AwaitsGDBus();

    /// Whether one of them may still have to answer when its time has come.
    [[nodiscard]] bool IsSomebodySlow() const;

    /// Of those that have a connection of their own, also when their bus has gone.
    [[nodiscard]] std::size_t HowManyAreThere() const;

    struct State
    {
        std::string name;
        std::string behaviour;
    };
    [[nodiscard]] std::vector<State> States() const;

    /// What they found wrong with what they were sent since the last look.
    std::vector<std::string> NewViolations();

private:
    struct Neighbour;
    Neighbour& Find(const std::string& name);
    void Think(Neighbour& neighbour);
    std::chrono::milliseconds HeldBack(const std::string& destination, const std::string& member,
                                       std::chrono::milliseconds timeout);

    sim::Television& m_tv;
    std::map<std::string, std::unique_ptr<Neighbour>> m_neighbours;
    std::unique_ptr<support::KeyRouter> m_keyRouter;
};

} // namespace set
