#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

/// Which platform functions fail at present. A function that fails returns its code, touches no output and does
/// nothing else; one that gives a pointer gives null.
class Failures
{
public:
    static constexpr int kForever = -1;

    /// Aborts for a name that is no platform function's.
    void Set(std::string_view function, int code, int times = kForever);
    void Remove(std::string_view function);

    /// Looks at each call and may say with which code it fails, or throw in its place; an empty function ends that.
    /// Beside the platform's functions it is asked, by their names, for those of GDBus by which the service gets its
    /// connection and its name, listens, and sends its messages; their codes are those of G_IO_ERROR, or an Answer. A
    /// name that is asked for comes later, or does not: there is no failure of that call.
    using Judge = std::function<std::optional<int>(std::string_view function)>;
    void SetJudge(Judge judge)
    {
        m_judge = std::move(judge);
    }

    /// What a judge may say of a message whose answer the service wants, beside the codes of an error: it is sent, and
    /// answered, with something else than what was answered in truth.
    enum Answer : int
    {
        kNoAnswer = -10,       ///< nobody answers, however long one waits
        kAnswersNothing = -11, ///< an answer without a body
        kAnswersOther = -12,   ///< an answer of a type that the service asks for nowhere
        kAnswersError = -20    ///< the first of kErrors; the others' codes are lower by one each
    };
    /// Errors that come as an answer, of the sibling or of the bus in its place.
    static constexpr const char* kErrors[] = {
        "org.freedesktop.DBus.Error.Failed",       "org.freedesktop.DBus.Error.ServiceUnknown",
        "org.freedesktop.DBus.Error.NoReply",      "org.freedesktop.DBus.Error.LimitsExceeded",
        "org.freedesktop.DBus.Error.AccessDenied", "org.freedesktop.DBus.Error.UnknownMethod",
        "com.quorix.tv.bt.Error.SomethingOfItsOwn"};

    /// The code with which this call is to fail, if it is; counts the call.
    std::optional<int> Take(std::string_view function);

    struct Failing
    {
        std::string function;
        int code;
        int times; ///< that are left, or kForever
    };
    /// In the order of their names.
    [[nodiscard]] std::vector<Failing> All() const;

private:
    struct Failure
    {
        int code;
        int times;
    };
    std::map<std::string, Failure, std::less<>> m_failures;
    Judge m_judge;
};

} // namespace sim
