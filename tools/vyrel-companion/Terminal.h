#pragma once

#include "bus/Handles.h"

#include <glib.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <string>

namespace companion {

/// The person at the terminal, who is asked one question at a time.
class Terminal
{
public:
    /// An answer; an empty one when the terminal went away, or the person only pressed Enter.
    using Answered = std::function<void(const std::string& answer)>;

    /// Is there a person: standard input and output both are a terminal.
    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    [[nodiscard]] bool IsThere() const
    {
        return m_isThere;
    }

    /// \param id by which the question can be withdrawn
    void Ask(std::uint64_t id, const std::string& question, Answered answered);
    /// \param why what the person is told if the question is already on the screen
    void Withdraw(std::uint64_t id, const std::string& why);
    void WithdrawAll(const std::string& why);

private:
    struct Question
    {
        std::uint64_t id = 0;
        std::string text;
        Answered answered;
    };

    static gboolean OnReadable(gint descriptor, GIOCondition condition, gpointer self);
    bool Read();
    void Show() const;
    void Goes();

    bool m_isThere;
    bus::SourcePtr m_source;
    std::string m_line;
    std::deque<Question> m_questions; ///< the first is on the screen
};

} // namespace companion
