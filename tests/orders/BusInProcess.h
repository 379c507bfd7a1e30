#pragma once

#include <map>
#include <string>

namespace orders {

/// How a sibling service behaves.
enum class Behaviour
{
    Answers,
    Hangs, ///< takes what it is sent and never answers
    Error, ///< answers all with an error
    Absent ///< the bus answers for it
};

/// The message bus, in this process. It stands where the program calls GDBus: a fork of a process that has a connection
/// is without the thread that serves it, and a bus beside this process could not be forked with it.
///
/// Calls of the service that wait are answered at once; where the answer never comes, the virtual clock is moved by the
/// time that the service waits.
class BusInProcess
{
public:
    static BusInProcess& Instance();

    /// By its short name. What it was asked before it hung is answered when it answers again, by the bus when it goes.
    void Behaves(const std::string& sibling, Behaviour behaviour);
    /// What it answers to this call from now on.
    /// \param body a tuple as GVariant text; empty for an empty reply
    void WillAnswer(const std::string& member, const std::string& body);
    /// As the key router does, which has no name; whoever subscribed is told on the main loop.
    void ReportsKeys(int code);

    /// For the digest of a state, a line for each thing.
    [[nodiscard]] std::string State() const;
    /// Requests that still wait for their answer.
    [[nodiscard]] static int Pending();

    // What the functions of GDBus do.
    [[nodiscard]] Behaviour BehaviourOf(const std::string& busName) const;
    [[nodiscard]] std::string AnswerTo(const std::string& member) const;

private:
    std::map<std::string, Behaviour> m_behaviours; // by bus name, where it is another than to answer
    std::map<std::string, std::string> m_answers;  // by member
};

} // namespace orders
