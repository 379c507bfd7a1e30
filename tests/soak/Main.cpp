// soak: has the service live through long random stories, and tells the shortest story of what it finds.

#include "soak/LongLife.h"
#include "soak/Shrink.h"
#include "soak/Story.h"
#include "soak/Trial.h"
#include "support/RealTime.h"
#include "support/TempDir.h"
#include "tv/front/SetProcess.h"
#include "tv/front/StopSignals.h"
#include "tv/scenario/Scenario.h"
#include "tv/set/Process.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace {

constexpr int kFound = 1;
constexpr int kWrongCommandLine = 2;
constexpr int kCannotBeTold = 3;

constexpr const char* kHelp =
    "Usage: soak [OPTION]...\n"
    "Has the service live through long random stories. Of what goes wrong it writes the shortest story.\n"
    "\n"
    "  --minutes N    so long (3)\n"
    "  --stories N    so many stories, however long they take\n"
    "  --seed N       begins with the story of this number, and goes on with the next; a random one if not given\n"
    "  --passages N   how long a story is (200)\n"
    "  --found FOLDER where what was found is written (found)\n"
    "  --shorten FILE instead: has the lines of a scenario lived that goes wrong, and takes away what that does not "
    "need\n"
    "  --events N     instead: one life of so many events, what it weighs meanwhile, and its longest stall\n"
    "\n"
    "Exit status: 0 nothing was found, 1 something was, 2 the command line is wrong, 3 no story could be told.\n";

struct Options
{
    std::uint64_t minutes = 3;
    std::uint64_t stories = 0; ///< 0 for as many as there is time for
    std::optional<std::uint64_t> seed;
    std::uint64_t passages = 200;
    std::uint64_t events = 0; ///< 0 for stories
    std::string found = "found";
    std::string shorten; ///< empty for stories of our own
    bool help = false;
};

std::uint64_t NumberIn(std::string_view text)
{
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::invalid_argument("\"" + std::string(text) + "\" is no number");
    }
    return number;
}

std::uint64_t AtLeastOne(std::string_view text)
{
    const std::uint64_t number = NumberIn(text);
    if (number == 0) {
        throw std::invalid_argument("0 is none");
    }
    return number;
}

/// Throws std::invalid_argument.
Options Parse(const std::vector<std::string>& arguments)
{
    Options options;
    for (std::size_t place = 0; place < arguments.size(); ++place) {
        const std::string& name = arguments[place];
        if (name == "--help") {
            options.help = true;
            return options;
        }
        if (place + 1 == arguments.size()) {
            throw std::invalid_argument("\"" + name + "\" cannot stand there");
        }
        const std::string& value = arguments[++place];
        if (name == "--minutes") {
            options.minutes = AtLeastOne(value);
        } else if (name == "--stories") {
            options.stories = AtLeastOne(value);
        } else if (name == "--seed") {
            options.seed = NumberIn(value);
        } else if (name == "--passages") {
            options.passages = AtLeastOne(value);
        } else if (name == "--events") {
            options.events = AtLeastOne(value);
        } else if (name == "--shorten") {
            options.shorten = value;
        } else if (name == "--found") {
            options.found = value;
        } else {
            throw std::invalid_argument("\"" + name + "\" is no option");
        }
    }
    return options;
}

void Say(const std::string& text)
{
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

class Soak
{
public:
    Soak(const Options& options, const front::StopSignals& signals, std::uint64_t seed)
        : m_options(options),
          m_signals(signals),
          m_seed(seed)
    {}

    /// \return whether nothing was found; ends with the first story in which something is
    bool Goes()
    {
        const auto begin = support::RealTime::Now();
        const auto end = begin + std::chrono::minutes(m_options.minutes);
        std::size_t events = 0;
        std::size_t lives = 0;
        std::size_t count = 0;
        bool isWell = true;
        while (isWell && (m_options.stories != 0 ? count < m_options.stories : support::RealTime::Now() < end)) {
            const std::uint64_t number = m_seed + count;
            const soak::Outcome outcome =
                Lives("soak-" + std::to_string(number), soak::TellStory(number, {m_options.passages, false}));
            isWell = !outcome.fault;
            events += outcome.lines.size();
            lives += outcome.lives;
            ++count;
        }
        Say("soak: " + std::to_string(count) + " stories, " + std::to_string(lives) + " lives, " +
            std::to_string(events) + " events in " +
            std::to_string(std::chrono::duration_cast<std::chrono::seconds>(support::RealTime::Now() - begin).count()) +
            " s: " + (isWell ? "nothing was found" : "something was FOUND") + "\n");
        return isWell;
    }

    /// \return the same for a story that somebody else has written
    bool Shortens(const scenario::Scenario& scenario)
    {
        soak::Story story;
        for (const scenario::Step& step : scenario.steps) {
            story.push_back({step.text});
        }
        const bool isWell = !Lives("shortened-" + std::filesystem::path(scenario.file).stem().string(), story).fault;
        Say(isWell ? "soak: it goes as it should\n" : "");
        return isWell;
    }

private:
    /// \param name of what is written when it goes wrong
    soak::Outcome Lives(const std::string& name, const soak::Story& story)
    {
        soak::Outcome outcome = Lives(story);
        if (outcome.fault) {
            Say("soak: " + name + " goes wrong: " + outcome.fault->what +
                "\nsoak: taking away what that does not need\n");
            Writes(name, Shortened(story, outcome));
        }
        return outcome;
    }

    soak::Outcome Lives(const soak::Story& story)
    {
        constexpr std::chrono::seconds kPatience(60);
        const support::TempDir folder("vyrel-soak");
        const std::string log = folder.Path() / "log";
        soak::Outcome outcome = soak::Live(story, m_signals, kPatience, log);
        if (outcome.fault) {
            std::ifstream in(log);
            m_log.assign(std::istreambuf_iterator<char>(in), {});
        }
        return outcome;
    }

    /// The last of the lives that went wrong in the same way, with the fewest passages.
    soak::Outcome Shortened(const soak::Story& story, soak::Outcome outcome)
    {
        constexpr std::size_t kTries = 400;
        const std::string kind = soak::KindOf(*outcome.fault);
        const auto isWrong = [&](const soak::Story& shorter) {
            soak::Outcome again = Lives(shorter);
            const bool isTheSame = again.fault && soak::KindOf(*again.fault) == kind;
            if (isTheSame) {
                outcome = std::move(again);
            }
            return isTheSame;
        };
        soak::Story lived = story;
        lived.resize(std::min(story.size(), outcome.fault->passage + 1));
        soak::Shrink<soak::Passage>(lived, isWrong, kTries);
        return outcome;
    }

    void Writes(const std::string& name, const soak::Outcome& outcome) const
    {
        std::filesystem::create_directories(m_options.found);
        const std::string path = std::filesystem::absolute(std::filesystem::path(m_options.found) / name);
        std::ofstream file(path + ".tv");
        std::string what = outcome.fault->what;
        std::ranges::replace(what, '\n', ' ');
        file << "# " << name << ", shortened: " << what << "\n";
        for (const std::string& line : outcome.lines) {
            file << line << "\n";
        }
        if (outcome.fault->what.starts_with("the service has ended by itself")) {
            file << "expect running\n";
        }
        std::ofstream(path + ".log") << m_log;
        if (!file.flush()) {
            throw std::runtime_error(path + ".tv cannot be written");
        }
        Say("soak: " + outcome.fault->what + "\nsoak: " + std::to_string(outcome.lines.size()) +
            " lines show it; what the processes said stands beside them in a .log:\n   G_DEBUG=fatal-criticals "
            "vyrel-tv run " +
            path + ".tv\n");
    }

    const Options& m_options;
    const front::StopSignals& m_signals;
    std::uint64_t m_seed;
    std::string m_log; ///< of the last life that went wrong
};

int Weigh(const Options& options, std::uint64_t seed)
{
    const soak::LongLifeOutcome outcome = soak::LiveLong(seed, options.events, [](const soak::Weight& weight) {
        std::printf("soak: %zu events in %.1f s: private anonymous memory %zu KiB, heap in use %zu bytes, "
                    "%zu sockets; the loop waited for others %lld ms at most and was held %lld us of real time\n",
                    weight.events, weight.seconds, weight.memory / 1024, weight.heap, weight.sockets, weight.stall,
                    weight.realTurn);
        std::fflush(stdout);
    });
    std::printf("soak: the slowest line took %lld ms of real time; %zu timers were pending at most; the service ended "
                "with status %d\n",
                outcome.longestLine, outcome.timers, outcome.status);
    for (const std::string& fault : outcome.faults) {
        Say("soak: " + fault + "\n");
    }
    return std::fflush(stdout) == 0 && outcome.status == 1 && outcome.faults.empty() ? EXIT_SUCCESS : kFound;
}

int Main(const std::vector<std::string>& arguments)
{
    Options options;
    try {
        options = Parse(arguments);
    } catch (const std::invalid_argument& objection) {
        std::fprintf(stderr, "soak: %s\n%s", objection.what(), kHelp);
        return kWrongCommandLine;
    }
    if (options.help) {
        Say(kHelp);
        return EXIT_SUCCESS;
    }
    const std::uint64_t seed = options.seed ? *options.seed : std::random_device()();
    if (options.shorten.empty()) {
        Say("soak: begins with the story of number " + std::to_string(seed) + "; --seed " + std::to_string(seed) +
            " tells the same again\n");
    }
    support::TempDir::RemoveAllWhenKilled();
    try {
        if (options.events != 0) {
            return Weigh(options, seed);
        }
        const front::StopSignals signals;
        if (!options.shorten.empty()) {
            return Soak(options, signals, seed).Shortens(scenario::Read(options.shorten)) ? EXIT_SUCCESS : kFound;
        }
        return Soak(options, signals, seed).Goes() ? EXIT_SUCCESS : kFound;
    } catch (const front::Stopped& stopped) {
        std::fprintf(stderr, "\nsoak: stopped by SIG%s; nothing is left of it\n", ::sigabbrev_np(stopped.signal));
        front::StopSignals::EndBy(stopped.signal);
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "soak: %s\n", exception.what());
        return kCannotBeTold;
    }
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments.front() == front::kSetProcess) {
        return set::RunProcess(arguments); // the program has started itself for the television's process
    }
    return Main(arguments);
}
