#include "orders/Search.h"

#include "orders/Life.h"
#include "support/RealTime.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

namespace orders {

namespace {

using std::chrono::milliseconds;

/// So many wrong orders are told; nobody looks for more.
constexpr std::uint64_t kEnough = 4;
constexpr unsigned int kLongestEvent = 60; // in real seconds; who takes longer hangs

/// How a fork goes on.
enum class Way
{
    Parent, ///< in the process that forked
    Stops   ///< in the fork: its service is to be told to stop
};

/// What a process of the search ends with.
enum Status
{
    kNothingNew = 0,
    kIsNew = 1,
    kCannotHappen = 2,
    kIsWrong = 3
};

/// A process that dies tells on the standard error why; it goes to memory, one for each that forks others.
class LastWords
{
public:
    LastWords() : m_file(Make()) {}
    ~LastWords()
    {
        ::close(m_file);
    }
    LastWords(const LastWords&) = delete;
    LastWords& operator=(const LastWords&) = delete;

    /// In a fork: from now on they are its own, under the same number.
    void Renew() const
    {
        const int fresh = Make();
        ::dup3(fresh, m_file, O_CLOEXEC);
        ::close(fresh);
    }

    void Hears() const
    {
        ::dup2(m_file, STDERR_FILENO);
    }

    /// What was said since it was asked last.
    [[nodiscard]] std::string Take() const
    {
        std::array<char, 1024> text{};
        const ssize_t length = ::pread(m_file, text.data(), text.size(), 0);
        if (::ftruncate(m_file, 0) != 0 || ::lseek(m_file, 0, SEEK_SET) < 0) {
            return "";
        }
        return {text.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
    }

private:
    static int Make()
    {
        const int file = ::memfd_create("last words", MFD_CLOEXEC);
        if (file < 0) {
            throw std::system_error(errno, std::generic_category(), "no memory for last words");
        }
        return file;
    }

    int m_file;
};

[[noreturn]] void Leave(int status)
{
    ::_exit(status); // what the process that forked it has begun to write is that one's
}

/// \return 0 in the fork
pid_t Fork()
{
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::system_error(errno, std::generic_category(), "no process can be started");
    }
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) {
            Leave(kNothingNew);
        }
    }
    return child;
}

/// \return the status of waitpid
int WaitFor(pid_t child)
{
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

std::string HowItEnded(int status)
{
    if (WIFSIGNALED(status)) {
        const int signal = WTERMSIG(status);
        return signal == SIGALRM ? "it hangs\n" : std::string("killed by a signal: ") + ::strsignal(signal) + "\n";
    }
    return "ended with " + std::to_string(WEXITSTATUS(status)) + "\n";
}

std::vector<std::size_t> EventsOf(const Subject& subject)
{
    std::vector<std::size_t> events;
    for (std::size_t event = 0; event < Alphabet().size(); ++event) {
        if (subject.bit == 0 || (Alphabet()[event].subjects & subject.bit) != 0) {
            events.push_back(event);
        }
    }
    return events;
}

std::string Joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}

class Searching
{
public:
    Searching(const Subject& subject, Life& life, const Extent& extent)
        : m_subject(subject),
          m_events(EventsOf(subject)),
          m_life(life),
          m_extent(extent)
    {}

    /// From the state in which the service is now. Comes back in the process that called it, and in forks of it whose
    /// service is to stop.
    Way Explores();
    /// To be called in such a fork when its service has stopped.
    [[noreturn]] void EndsFork(int status);

    [[nodiscard]] bool HasFound() const
    {
        return m_findings.counts.found != 0;
    }
    void TellsFindings() const;

private:
    Way Layer(std::size_t begin, std::size_t end);
    Way Works(std::size_t end);
    Way GoesOn(const Known& state);
    Way Tries(const Order& order);
    void HearOf(const Order& order, int status);
    void TellLayer(std::size_t depth, std::size_t states, milliseconds took) const;
    [[nodiscard]] bool IsOver() const
    {
        return m_findings.counts.found >= kEnough || IsTimeOver();
    }
    [[nodiscard]] bool IsTimeOver() const
    {
        return m_extent.until.count() != 0 && support::RealTime::Now() >= m_extent.until;
    }

    const Subject& m_subject;
    const std::vector<std::size_t> m_events;
    Life& m_life;
    const Extent& m_extent;
    Findings m_findings;
    LastWords m_lastWords; // of what this process forks
    Order m_order;         // of this fork
    std::uint64_t m_lived = 0;
    std::uint64_t m_states = 1;
    bool m_isWhole = true; // each event was tried in each state that was kept
};

Way Searching::Explores()
{
    const std::uint64_t first = m_life.Digest();
    m_findings.IsNew(first);
    m_findings.Keep({{}, first});
    std::size_t begin = 0;
    for (std::size_t depth = 1; depth <= m_extent.depth; ++depth) {
        const std::size_t end = m_findings.Kept();
        if (begin == end || IsTimeOver() || HasFound()) {
            break;
        }
        const milliseconds started = support::RealTime::Now();
        if (Layer(begin, end) == Way::Stops) {
            return Way::Stops;
        }
        TellLayer(depth, end - begin, support::RealTime::Now() - started);
        m_lived += m_findings.counts.lived;
        m_states += m_findings.counts.states;
        m_isWhole = m_isWhole && m_findings.counts.done == end - begin && !m_findings.counts.isFull;
        begin = end;
    }
    std::printf("  in all: %llu orders, %llu states%s\n", static_cast<unsigned long long>(m_lived),
                static_cast<unsigned long long>(m_states),
                m_isWhole && begin == m_findings.Kept() ? "; no order leads to another one" : "");
    return Way::Parent;
}

/// Goes on from all states that were first reached by orders of one length, in several processes.
Way Searching::Layer(std::size_t begin, std::size_t end)
{
    m_findings.counts.next = begin;
    m_findings.counts.done = 0;
    m_findings.counts.lived = 0;
    m_findings.counts.impossible = 0;
    m_findings.counts.states = 0;
    std::fflush(nullptr);
    std::vector<pid_t> workers;
    for (int number = 0; number < m_extent.processes; ++number) {
        const pid_t worker = Fork();
        if (worker == 0) {
            return Works(end);
        }
        workers.push_back(worker);
    }
    for (const pid_t worker : workers) {
        const int status = WaitFor(worker);
        if (status != 0) {
            m_findings.Report({}, "a process of the search has died: " + HowItEnded(status));
        }
    }
    return Way::Parent;
}

/// In a worker: takes one state after the other.
Way Searching::Works(std::size_t end)
{
    m_lastWords.Renew();
    while (true) {
        const std::size_t place = m_findings.counts.next.fetch_add(1);
        if (place >= end || IsOver()) {
            Leave(0);
        }
        const Known state = m_findings.At(place);
        const pid_t pid = Fork();
        if (pid == 0) {
            return GoesOn(state);
        }
        const int status = WaitFor(pid);
        if (!WIFEXITED(status) || WEXITSTATUS(status) > kIsNew) {
            m_findings.Report(state.order, "could not be lived a second time: " + HowItEnded(status));
        }
    }
}

/// In a process of a state: reaches it, and tries each event in forks.
Way Searching::GoesOn(const Known& state)
{
    ::alarm(kLongestEvent);
    for (const std::uint8_t event : state.order.Events()) {
        m_life.Does(event);
    }
    ::alarm(0);
    if (m_life.Digest() != state.digest) {
        m_findings.Report(state.order, "lived a second time, it leads to another state\n");
        Leave(kNothingNew);
    }
    for (const std::size_t event : m_events) {
        if (IsOver()) {
            Leave(kNothingNew);
        }
        const pid_t pid = Fork();
        if (pid == 0) {
            return Tries(state.order.With(event));
        }
        HearOf(state.order.With(event), WaitFor(pid));
    }
    ++m_findings.counts.done;
    Leave(kNothingNew);
}

/// In a process of its own: one more event. A state that is new is also the beginning of a stop.
Way Searching::Tries(const Order& order)
{
    ::alarm(kLongestEvent);
    m_lastWords.Hears();
    m_order = order;
    if (!m_life.Does(order.events[order.length - 1U])) {
        Leave(kCannotHappen);
    }
    if (!m_life.Complaints().empty()) {
        m_findings.Report(order, Joined(m_life.Complaints()));
        Leave(kIsWrong);
    }
    const std::uint64_t digest = m_life.Digest();
    const bool isNew = m_findings.IsNew(digest);
    if (!isNew && !m_extent.livesEach) {
        Leave(kNothingNew);
    }
    m_findings.Keep({order, digest});
    if (!isNew) {
        Leave(kNothingNew);
    }
    m_life.BecomesItsOwn();
    return Way::Stops;
}

void Searching::EndsFork(int status)
{
    m_life.LooksAtTheEnd(status);
    if (!m_life.Complaints().empty()) {
        m_findings.Report(m_order, "when it is told to stop afterwards:\n" + Joined(m_life.Complaints()));
        Leave(kIsWrong);
    }
    Leave(kIsNew);
}

void Searching::HearOf(const Order& order, int status)
{
    Findings::Counts& counts = m_findings.counts;
    const int ended = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    if (ended == kCannotHappen) {
        ++counts.impossible;
        return;
    }
    ++counts.lived;
    counts.states += ended == kIsNew ? 1 : 0;
    if (ended != kNothingNew && ended != kIsNew && ended != kIsWrong) {
        m_findings.Report(order, HowItEnded(status) + m_lastWords.Take());
    }
}

void Searching::TellLayer(std::size_t depth, std::size_t states, milliseconds took) const
{
    const Findings::Counts& counts = m_findings.counts;
    const std::string whole = counts.done == states ? ""
                                                    : ", not whole: from " + std::to_string(counts.done) + " of " +
                                                          std::to_string(states) + " states";
    std::printf("  depth %zu: %llu orders, %llu of them cannot happen; %llu states not seen before; %.1f s%s\n", depth,
                static_cast<unsigned long long>(counts.lived + counts.impossible),
                static_cast<unsigned long long>(counts.impossible), static_cast<unsigned long long>(counts.states),
                static_cast<double>(took.count()) / 1000, whole.c_str());
}

void Searching::TellsFindings() const
{
    for (const Finding& finding : m_findings.Found()) {
        std::string names;
        std::printf("\nWRONG: %s", finding.what.data());
        for (const std::uint8_t event : finding.order.Events()) {
            names += (names.empty() ? "" : ",") + std::string(Alphabet()[event].name);
        }
        std::printf("live it again: orders --subject %s --order %s\non the television on the desk:\n",
                    std::string(m_subject.name).c_str(), names.c_str());
        for (const char* line : Furniture()) {
            std::printf("    %s\n", line);
        }
        for (const char* line : m_subject.furniture) {
            std::printf("    %s\n", line);
        }
        std::printf("    plug\n    wait 500ms\n");
        for (const std::uint8_t event : finding.order.Events()) {
            std::printf("    %s\n", Alphabet()[event].line);
        }
    }
}

void LeaveNoCore()
{
    const struct rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
}

} // namespace

bool Search(const Subject& subject, const std::string& root, const Extent& extent)
{
    LeaveNoCore();
    Life life(root, subject);
    Searching searching(subject, life, extent);
    Way way = Way::Parent;
    std::printf("%s: %zu events\n", std::string(subject.name).c_str(), EventsOf(subject).size());
    const int status = life.Lives([&] { way = searching.Explores(); });
    if (way == Way::Stops) {
        searching.EndsFork(status);
    }
    life.LooksAtTheEnd(status);
    searching.TellsFindings();
    std::printf("%s", Joined(life.Complaints()).c_str());
    return !searching.HasFound() && life.Complaints().empty();
}

bool LiveOne(const Subject& subject, const std::string& root, const Order& order)
{
    LeaveNoCore();
    Life life(root, subject);
    const int status = life.Lives([&] {
        life.Tells();
        for (const std::uint8_t event : order.Events()) {
            life.Does(event);
        }
    });
    life.LooksAtTheEnd(status);
    std::printf("%s", life.Complaints().empty() ? "all is as it must be\n" : Joined(life.Complaints()).c_str());
    return life.Complaints().empty();
}

} // namespace orders
