#pragma once

// One call of a platform function: it fails when the test says so, does what the television does otherwise, and is
// written on the tape with its arguments, its result and what it gave.

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
    explicit Call(std::string_view function, const Arguments&... arguments)
        : m_function(function),
          m_text(CallText(m_function.c_str(), arguments...))
    {}

    /// \param body takes the television and returns the result
    template <typename Body>
    int Does(Body body)
    {
        const std::optional<int> failure = Tv().failures.Take(m_function);
        return Ends(failure ? *failure : body(Tv()));
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
        const std::optional<int> failure = Tv().failures.Take(m_function);
        if (failure || output == nullptr) {
            return Ends(failure ? *failure : InvalidArgument());
        }
        Output value = {};
        const int result = body(Tv(), value);
        if (result == 0) {
            *output = value;
            m_text += " = 0 -> " + ToText(value);
            return Written(result);
        }
        return Ends(result);
    }

    /// The same for a text that the caller frees.
    /// \param body takes the television and returns the text, or nothing: then the result is \p missing
    template <typename Body>
    int GivesText(char** output, Body body, int missing = -2)
    {
        const std::optional<int> failure = Tv().failures.Take(m_function);
        if (failure || output == nullptr) {
            return Ends(failure ? *failure : InvalidArgument());
        }
        const std::optional<std::string> text = body(Tv());
        if (!text) {
            return Ends(missing);
        }
        *output = ::strdup(text->c_str());
        m_text += " = 0 -> " + ToText(*text);
        return Written(0);
    }

    /// The same for a function that gives the text as its result, null on failure.
    template <typename Body>
    void GivesMallocString(char** output, Body body)
    {
        *output = Tv().failures.Take(m_function) ? nullptr : body(Tv());
        m_text += " = " + ToText(static_cast<const char*>(*output));
        Written(0);
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
        const std::optional<int> failure = Tv().failures.Take(m_function);
        return Ends(failure.value_or(callback != nullptr ? 0 : InvalidArgument()));
    }

    int Ends(int result)
    {
        m_text += " = " + std::to_string(result);
        return Written(result);
    }

    [[nodiscard]] int InvalidArgument() const
    {
        return m_function.starts_with("bt_") ? static_cast<int>(BT_ERROR_INVALID_PARAMETER) : -1;
    }

    static Television& Tv()
    {
        return Television::Current();
    }

private:
    int Written(int result)
    {
        Tv().tape.Record({.kind = Kind::Call, .text = std::move(m_text), .query = IsQuery()});
        return result;
    }

    [[nodiscard]] bool IsQuery() const
    {
        return m_function.find("_get_") != std::string::npos || m_function == "LwipcIsDone";
    }

    std::string m_function;
    std::string m_text;
};

} // namespace sim
