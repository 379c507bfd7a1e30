#pragma once

#include "tv/front/Entry.h"
#include "tv/front/Object.h"
#include "tv/language/Line.h"
#include "tv/run/Run.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <utility>

namespace scenario {

/// Holds what happened against what should have.
///
/// Expectations are about what happened since the first line that did something after the expectations before. Those
/// that stand together are met in their order; "expect no" and "expect nothing" are about all of it.
class Expectations
{
public:
    /// \param root the set's folder
    explicit Expectations(std::string root) : m_root(std::move(root)) {}

    /// \param history gives all that happened, for who expects why
    void AsksFrom(std::function<const run::Run&()> history)
    {
        m_history = std::move(history);
    }

    void Hears(const front::Entry& entry);
    /// \param state `{"state":{…}}`
    void HearsState(const std::string& state)
    {
        m_state = state; // read when somebody asks: there may be thousands
    }
    /// A line begins that does something.
    void Deed();

    /// \param line one of an expectation, not "within"
    /// \return empty when it holds; otherwise what is missing, and what came instead
    std::string Objection(const language::Line& line);

private:
    using Test = std::function<bool(const front::Entry&)>;

    std::string Wanted(const Test& isIt, const Test& isAlike);
    [[nodiscard]] std::string Unwanted(const Test& isIt) const;
    [[nodiscard]] std::string Setting(const language::Line& line) const;
    [[nodiscard]] std::string File(const language::Line& line) const;
    [[nodiscard]] std::string Running(bool wanted) const;
    [[nodiscard]] std::string Why(const language::Line& line) const;
    [[nodiscard]] std::string InsteadOf(const Test& isAlike) const;

    std::string m_root;
    std::deque<front::Entry> m_window;
    std::size_t m_met = 0; ///< so many of them come before what is expected next
    bool m_asked = false;
    [[nodiscard]] front::Object State() const
    {
        return front::Object::Parse(m_state).Member("state");
    }

    std::string m_state;
    std::function<const run::Run&()> m_history;
};

} // namespace scenario
