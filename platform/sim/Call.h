#pragma once

// One call of a platform function: it fails when the test says so, does what the television does otherwise, and is
// written on the tape with its arguments, its result and what it gave.

#include "sim/Side.h"
#include "sim/Television.h"
#include "sim/Text.h"

#include <bt_error.h>
#include <string.h>

#include <string>
#include <string_view>
#include <type_traits>

namespace sim {

class Call
{
public:
    template <typename... Arguments>
    explicit Call(std::string_view function, const Arguments&... arguments) : m_entry(Tv().tape.Announce(Kind::Call))
    {
        m_entry.function = function;
        m_entry.arguments = {ToText(arguments)...};
        m_entry.text = CallText(function, m_entry.arguments);
        m_entry.query = IsQuery();
    }

    /// \param body takes the television and returns the result
    template <typename Body>
    int Does(Body body)
    {
        const std::optional<int> failure = Fails();
        return Ends(failure ? *failure : Handled([&] { return body(Tv()); }));
    }

    /// A call that only answers 0, or fails.
    int Succeeds()
    {
        return Does([](Television&) { return 0; });
    }

    /// \param body takes the television and a reference to the output, which reaches the caller only on success
    template <typename Output, typename Body>
    int Gives(Output* output, Body body)
    {
        const std::optional<int> failure = Fails();
        if (failure || output == nullptr) {
            return Ends(failure ? *failure : InvalidArgument());
        }
        Output value = {};
        const int result = Handled([&] { return body(Tv(), value); });
        if (result == 0) {
            *output = value;
            Outputs(ToText(value));
        }
        return Ends(result);
    }

    /// The same for a text that the caller frees.
    /// \param body takes the television and returns the text, or nothing: then the result is \p missing
    template <typename Body>
    int GivesText(char** output, Body body, int missing = -2)
    {
        const std::optional<int> failure = Fails();
        if (failure || output == nullptr) {
            return Ends(failure ? *failure : InvalidArgument());
        }
        const std::optional<std::string> text = Handled([&] { return body(Tv()); });
        if (!text) {
            return Ends(missing);
        }
        *output = ::strdup(text->c_str());
        Outputs(ToText(*text));
        return Ends(0);
    }

    /// The same for a function that gives the text as its result, null on failure.
    template <typename Body>
    void GivesMallocString(char** output, Body body)
    {
        *output = Fails() ? nullptr : Handled([&] { return body(Tv()); });
        Ends(ToText(static_cast<const char*>(*output)));
    }

    /// A call whose result is the answer.
    template <typename Body>
    int Answers(Body body)
    {
        return Does(body);
    }

    /// Names a receiver in place of the one before; without a callback that one stays.
    template <typename Callback>
    int Sets(Slot<Callback>& slot, std::type_identity_t<Callback> callback, void* userData)
    {
        return Does([&](Television&) {
            if (callback == nullptr) {
                return InvalidArgument();
            }
            slot.Set(callback, userData);
            return 0;
        });
    }

    /// Writes the call on the tape before it has done its work, for work that calls the service back.
    /// \return the failure, or 0
    template <typename Callback>
    int Begins(Callback callback)
    {
        const std::optional<int> failure = Fails();
        return Ends(failure.value_or(callback != nullptr ? 0 : InvalidArgument()));
    }

    int Ends(int result)
    {
        Ends(std::to_string(result));
        return result;
    }

    /// For what the call goes on to do after it was written on the tape.
    [[nodiscard]] Tape::Scope GoesOn() const
    {
        return Tv().tape.Resume(m_id);
    }

    [[nodiscard]] int InvalidArgument() const
    {
        return m_entry.function.starts_with("bt_") ? static_cast<int>(BT_ERROR_INVALID_PARAMETER) : -1;
    }

    static Television& Tv()
    {
        return Television::Current();
    }

private:
    std::optional<int> Fails() const
    {
        return Tv().failures.Take(m_entry.function);
    }

    template <typename Work>
    auto Handled(Work work) const
    {
        const Tape::Scope handles = GoesOn();
        return work();
    }

    void Outputs(std::string value)
    {
        m_entry.outputs.push_back(std::move(value));
    }

    void Ends(std::string result)
    {
        m_entry.text += " = " + result;
        for (const std::string& output : m_entry.outputs) {
            m_entry.text += " -> " + output;
        }
        m_entry.result = std::move(result);
        Tv().tape.Record(std::move(m_entry));
    }

    [[nodiscard]] bool IsQuery() const
    {
        return m_entry.function.find("_get_") != std::string::npos || m_entry.function == "LwipcIsDone";
    }

    Runs m_runs{Side::Television}; // first: all that a call does is the television's
    Entry m_entry;
    EntryId m_id = m_entry.id;
};

} // namespace sim
