#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sim {

/// What an entry of the tape is about.
enum class Kind
{
    Call,   ///< a platform function was called: `bt_adapter_set_visibility(1, 0) = 0`
    Log,    ///< a line of the platform log: `E VYREL_LITE main.cpp: main(18) > enter vyrel-lite`
    Kernel, ///< a line of the kernel log, as it was written
    Kpi,    ///< an event for the collector: `25_remocon BATTERY EV005 {product=M;batlev=3}`
    Timer,  ///< a timer of the service: `timer 1: 10000 ms`, `timer 1 removed`
    Sleep,  ///< the service slept: `sleep 50 ms`
    Bus,    ///< a message of the service: `call NAME Method (s) ('text',)`; ask, request and signal likewise
    Note    ///< something that happens to the television: `the set goes to standby`
};

struct Entry
{
    Kind kind = Kind::Note;
    std::string text = {};

    bool query = false; ///< a call that only asks
    int timeout = 0;    ///< of a message whose answer is waited for, in milliseconds

    // Of a log line.
    int priority = 0; ///< 3 debug to 6 error
    std::string tag = {};
    std::string file = {};
    std::string function = {};
    int line = 0;
    std::string message = {}; ///< without the place that it comes from
};

/// All that happens on the television, in order. Tests compare sequences of it.
class Tape
{
public:
    void Record(Entry entry);
    void Note(std::string text)
    {
        Record({.kind = Kind::Note, .text = std::move(text)});
    }
    void Clear();
    /// Has every entry handed to \p sink too, as it happens; an empty function ends that.
    void SetSink(std::function<void(const Entry&)> sink)
    {
        m_sink = std::move(sink);
    }

    /// For what reaches the television without a call, such as the kernel log.
    /// \param pull is called before each record and each look at the tape; records what is new with RecordPulled
    void SetSource(std::function<void()> pull)
    {
        m_pull = std::move(pull);
    }
    void RecordPulled(Entry entry);

    [[nodiscard]] const std::vector<Entry>& Entries() const;
    [[nodiscard]] std::vector<std::string> All() const;
    /// The texts of some kinds, in order.
    [[nodiscard]] std::vector<std::string> Of(std::initializer_list<Kind> kinds) const;
    /// Calls whose function begins with one of \p prefixes; all calls without any.
    [[nodiscard]] std::vector<std::string> Calls(std::initializer_list<std::string_view> prefixes = {}) const;
    /// Calls that do something; those that only ask are left out.
    [[nodiscard]] std::vector<std::string> Actions() const;
    /// Log lines as "E text", without the place that they come from. Debug lines are left out but on request.
    [[nodiscard]] std::vector<std::string> Messages(bool withDebug = false) const;
    /// The same, of one function.
    [[nodiscard]] std::vector<std::string> MessagesFrom(std::string_view function) const;
    [[nodiscard]] std::vector<std::string> Kernel() const
    {
        return Of({Kind::Kernel});
    }
    [[nodiscard]] std::vector<std::string> Kpi() const
    {
        return Of({Kind::Kpi});
    }
    [[nodiscard]] std::vector<std::string> Timers() const
    {
        return Of({Kind::Timer});
    }
    [[nodiscard]] std::vector<std::string> Sleeps() const
    {
        return Of({Kind::Sleep});
    }
    [[nodiscard]] std::vector<std::string> Bus() const
    {
        return Of({Kind::Bus});
    }

private:
    [[nodiscard]] std::vector<std::string> Texts(const std::function<bool(const Entry&)>& wanted,
                                                 const std::function<std::string(const Entry&)>& text) const;

    std::vector<Entry> m_entries;
    std::function<void(const Entry&)> m_sink;
    std::function<void()> m_pull;
};

/// "D", "I", "W" or "E".
char PriorityLetter(int priority);

} // namespace sim
