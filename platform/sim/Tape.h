#pragma once

#include <cstdint>
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
    Note,   ///< something that happens to the television: `the set goes to standby`

    // What the service is told, and what somebody at the television does. These are only for who asks for everything.
    Event,   ///< a callback of the service is called: `bt_adapter_state_changed_cb(0, 1)`
    Fired,   ///< a timer of the service fires: `timer 1 fires`
    Reply,   ///< the answer to a message of the service: `reply NAME Method (i) (1,)`; error and no reply likewise
    Signal,  ///< a signal reaches the service: `signal from INTERFACE Member (i) (51,)`
    Setting, ///< a watch of the service is told: `setting memory/a = 1`
    Line,    ///< a line that the user gives: `power standby`
    Life     ///< the service's process begins or ends
};

/// Whether an entry of this kind is only for who asks for everything.
constexpr bool IsTold(Kind kind)
{
    return kind > Kind::Note;
}

/// Rises over all tapes of the process, and says in which order things began: an entry's cause has a lower one.
using EntryId = std::uint64_t;
inline constexpr EntryId kNoEntry = 0;

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
    std::string function = {}; ///< also the name of a platform function or of a kind of callback
    int line = 0;
    std::string message = {}; ///< without the place that it comes from

    // Given by the tape; whoever records may name the cause itself.
    EntryId id = kNoEntry;
    EntryId cause = kNoEntry; ///< what was being handled when this happened; none when it came from outside
    std::int64_t at = -1;     ///< when it began, in microseconds since the television was made, on the service's clock

    // Of a call, a callback, a usage event and a setting's notice, each as it looks in the text.
    std::vector<std::string> arguments = {};
    std::string result = {};
    std::vector<std::string> outputs = {}; ///< what a call gave beside its result

    // Of a message either way.
    std::string how = {};         ///< call, ask, request or signal; reply, error or `no reply`
    std::string destination = {}; ///< of a sent one; of a reply the name that was called
    std::string interface = {};
    std::string path = {};
    std::string member = {};
    std::string signature = {}; ///< in parentheses, as the body; empty without a body
    std::string body = {};

    int timer = 0; ///< the number of the timer that was made, removed or fires
};

/// All that happens on the television, in order. Tests compare sequences of it.
///
/// It knows why: what is recorded while something is handled has that as its cause. One thing is handled inside the
/// other, as function calls are, so a stack of scopes says what is handled now; what comes later on the main loop (a
/// timer, a reply, a deed of the queue) is begun again with the cause that it was put there by.
class Tape
{
public:
    /// While it lives, what is recorded has one entry as its cause. Scopes end in the reverse order of their begin, and
    /// before the tape.
    class Scope
    {
    public:
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        friend Tape;
        Scope(Tape& tape, EntryId cause);
        Tape& m_tape;
    };

    Tape();

    /// \return the entry's id
    EntryId Record(Entry entry);
    /// Records, and is the cause of what follows as long as the caller keeps the scope.
    Scope Begin(Entry entry);
    Scope Note(std::string text)
    {
        return Begin({.kind = Kind::Note, .text = std::move(text)});
    }
    /// Goes on with what follows from an earlier entry. One of an earlier television causes nothing on this one.
    [[nodiscard]] Scope Resume(EntryId cause);
    /// What is handled now; kNoEntry when nothing is.
    [[nodiscard]] EntryId Cause() const
    {
        return m_running.empty() ? m_whereNothingIsHandled : m_running.back();
    }
    /// Names the cause of what happens while nothing is handled: the start of the service, or the order to stop.
    void CauseWhereNothingIsHandled(EntryId cause)
    {
        m_whereNothingIsHandled = cause;
    }
    /// An entry that is recorded when its result is known: its id, time and cause are those of its begin.
    [[nodiscard]] Entry Announce(Kind kind);
    /// Microseconds since the television was made, on the clock that the service sees.
    [[nodiscard]] std::int64_t Now() const;

    /// Forgets the entries; ids and time go on.
    void Clear();
    /// Has every entry handed to \p sink too, as it happens; an empty function ends that.
    void SetSink(std::function<void(const Entry&)> sink)
    {
        m_hearsEverything = false;
        m_sink = std::move(sink);
    }
    /// The same with what the service is told. An entry may come after those that it caused, when it has a result.
    void SetSinkOfEverything(std::function<void(const Entry&)> sink)
    {
        m_hearsEverything = true;
        m_sink = std::move(sink);
    }

    /// For what reaches the television without a call, such as the kernel log.
    /// \param pull is called before each record and each look at the tape; records what is new with RecordPulled
    void SetSource(std::function<void()> pull)
    {
        m_pull = std::move(pull);
    }
    EntryId RecordPulled(Entry entry);

    /// What the service does and what happens to the television, without what the service is told.
    [[nodiscard]] const std::vector<Entry>& Entries() const;
    /// All of it, in the order of their ids.
    [[nodiscard]] std::vector<Entry> Everything() const;
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

    void Pull() const;

    std::vector<Entry> m_entries;
    std::vector<Entry> m_told; // the entries that only Everything shows
    std::function<void(const Entry&)> m_sink;
    bool m_hearsEverything = false;
    std::function<void()> m_pull;
    std::vector<EntryId> m_running;
    EntryId m_whereNothingIsHandled = kNoEntry;
    EntryId m_first; // ids from here on are of this tape
    std::int64_t m_start;
};

/// "D", "I", "W" or "E".
char PriorityLetter(int priority);

} // namespace sim
