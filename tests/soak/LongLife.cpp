#include "soak/LongLife.h"

#include "sim/Adapter.h"
#include "sim/FunctionNames.h"
#include "sim/Queue.h"
#include "sim/Television.h"
#include "sim/Timers.h"
#include "sim/VirtualClock.h"
#include "soak/Story.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"
#include "support/TempDir.h"
#include "tv/language/Commands.h"
#include "tv/language/Line.h"
#include "tv/set/LifeCheck.h"
#include "tv/set/Neighbours.h"
#include "tv/set/Stage.h"

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

extern "C" int service_main();

namespace soak {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kNone = 0;
constexpr std::size_t kLooks = 20;  // at memory, in even steps
constexpr std::size_t kFaults = 10; // that are told; more of them say no more
constexpr std::size_t kPassages = 200;

/// Resident, and of this process alone.
std::size_t PrivateAnonymous()
{
    std::ifstream file("/proc/self/smaps_rollup");
    std::string name;
    while (file >> name) {
        if (name == "Anonymous:") {
            std::size_t kibibytes = 0;
            file >> kibibytes;
            return kibibytes * 1024;
        }
    }
    return kNone;
}

class LongLife
{
public:
    LongLife(std::uint64_t number, std::size_t events, const std::string& root,
             const std::function<void(const Weight&)>& tells)
        : m_number(number),
          m_events(events),
          m_step(std::max<std::size_t>(events / kLooks, 1)),
          m_tells(tells),
          m_stage(root, -1, {})
    {
        m_stage.Hushes();
    }

    LongLifeOutcome Lives()
    {
        m_stage.tv.queue.Post([this] {
            try {
                LivesOn();
            } catch (...) {
                m_thrown = std::current_exception(); // nothing may be thrown into the main loop
                std::raise(SIGTERM);
            }
        });
        m_check.emplace(m_stage);
        m_outcome.status = service_main();
        if (m_thrown) {
            std::rethrow_exception(m_thrown);
        }
        return m_outcome;
    }

private:
    void LivesOn()
    {
        m_stage.isRunning = true;
        m_stage.neighbours.Settle();
        m_begin = support::RealTime::Now();
        static_cast<void>(sim::VirtualClock::TakeLongestRealTurn()); // of the start
        while (m_done < m_events) {
            BehavesWell();
            const std::vector<std::string> lines = LinesOf(TellStory(m_number++, {kPassages, true}));
            for (auto line = lines.begin(); line != lines.end() && m_done < m_events; ++line) {
                CarriesOut(*line);
            }
        }
        std::raise(SIGTERM);
    }

    void Weighs() const
    {
        m_tells({.events = m_done,
                 .seconds = static_cast<double>((support::RealTime::Now() - m_begin).count()) / 1000,
                 .memory = PrivateAnonymous(),
                 .heap = ::mallinfo2().uordblks,
                 .sockets = m_stage.tv.adapter.OpenSockets(),
                 .stall = m_check->LongestStall().count(),
                 .realTurn = m_realTurn});
    }

    void IsWrong(const std::string& what)
    {
        if (!what.empty() && m_outcome.faults.size() < kFaults) {
            m_outcome.faults.push_back("event " + std::to_string(m_done) + ": " + what);
        }
    }

    void BehavesWell()
    {
        for (const std::string& name : language::SiblingNames()) {
            CarriesOut("sibling " + name + " answers");
        }
        for (const std::string_view function : sim::kFunctionNames) {
            m_stage.tv.Recovers(function);
        }
        for (const char* line : {"disk roomy", "strength comes", "adapter delay 400ms", "power normal"}) {
            CarriesOut(line);
        }
    }

    void CarriesOut(const std::string& text)
    {
        const language::Line line = language::Parse(text);
        if (line.command->by != language::By::Set || line.command->verb == language::Verb::Plug) {
            return;
        }
        const milliseconds begin = support::RealTime::Now();
        try {
            m_stage.CarriesOut(line);
            ++m_done;
        } catch (const std::runtime_error&) {
            return; // what the television cannot do is left out
        }
        m_outcome.longestLine = std::max<long long>(m_outcome.longestLine, (support::RealTime::Now() - begin).count());
        m_realTurn = std::max<long long>(m_realTurn, sim::VirtualClock::TakeLongestRealTurn().count());
        m_outcome.timers = std::max(m_outcome.timers, sim::PendingTimers().size());
        IsWrong(m_check->ObjectionToStall());
        for (const std::string& finding : m_stage.NewFindings()) {
            IsWrong(finding);
        }
        if (m_done % m_step == 0) {
            Weighs();
        }
    }

    std::uint64_t m_number;
    std::size_t m_events;
    std::size_t m_step; ///< events between two looks at memory
    const std::function<void(const Weight&)>& m_tells;
    set::Stage m_stage;
    std::optional<set::LifeCheck> m_check;
    milliseconds m_begin{0};
    std::size_t m_done = 0;
    long long m_realTurn = 0;
    LongLifeOutcome m_outcome;
    std::exception_ptr m_thrown;
};

} // namespace

LongLifeOutcome LiveLong(std::uint64_t number, std::size_t events, const std::function<void(const Weight&)>& tells)
{
    const support::PrivateBus bus;
    const support::TempDir root("vyrel-soak");
    return LongLife(number, events, root.Path().string(), tells).Lives();
}

} // namespace soak
