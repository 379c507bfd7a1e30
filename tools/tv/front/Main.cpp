// vyrel-tv: a television on the desk, to drive and to watch.

#include "support/TempDir.h"
#include "tv/front/Console.h"
#include "tv/front/Desk.h"
#include "tv/front/Options.h"
#include "tv/front/Output.h"
#include "tv/front/Replay.h"
#include "tv/front/SetProcess.h"
#include "tv/front/Show.h"
#include "tv/front/StopSignals.h"
#include "tv/page/Server.h"
#include "tv/recording/FromRecording.h"
#include "tv/recording/Recording.h"
#include "tv/run/Run.h"
#include "tv/run/RunFile.h"
#include "tv/scenario/Runner.h"
#include "tv/scenario/Scenario.h"
#include "tv/set/Process.h"
#include "tv/timeline/Timeline.h"
#include "tv/why/Answer.h"
#include "tv/why/History.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using front::Options;

constexpr int kWrongCommandLine = 2;
constexpr int kCannotBeTold = 3;

bool RunScenarios(const Options& options, const front::StopSignals& signals, const front::Output& output)
{
    std::vector<scenario::Scenario> scenarios;
    for (const std::string& file : options.files) {
        scenarios.push_back(
            scenario::Read(file)); // all first: a mistake in the last is told before the first is played
    }
    if (const std::string objection = options.record.empty() ? "" : recording::Objection(options.record);
        !objection.empty()) {
        throw std::runtime_error(objection);
    }
    bool isWell = true;
    for (const scenario::Scenario& one : scenarios) {
        isWell = scenario::Play(one, {options.verbose, options.quiet, options.stay, options.record, options.saveTo},
                                signals, output) &&
                 isWell;
        if (!options.record.empty()) {
            recording::WaitUntilWritten(options.record);
        }
    }
    return isWell;
}

run::Run ReadRun(const std::string& file)
{
    run::Run run = run::ReadEither(file);
    for (const std::string& remark : run.remarks) {
        std::fprintf(stderr, "vyrel-tv: %s\n", remark.c_str());
    }
    return run;
}

std::string Answer(const Options& options)
{
    const run::Run run = ReadRun(options.run);
    const why::History history(run);
    if (options.action == Options::Action::WhyNot) {
        return why::WhyNot(history, options.question.front(), options.question.size() > 1 ? options.question[1] : "");
    }
    std::string text;
    for (const std::string& word : options.question) {
        text += (text.empty() ? "" : " ") + word;
    }
    return why::Why(history, text);
}

void WriteTimeline(const Options& options)
{
    timeline::Write(ReadRun(options.run), options.output);
}

bool Perform(const Options& options, const front::StopSignals& signals)
{
    const front::Output output(signals);
    if (options.action == Options::Action::Run) {
        return RunScenarios(options, signals, output);
    }
    if (options.action == Options::Action::Timeline) {
        WriteTimeline(options);
        return true;
    }
    if (options.action == Options::Action::Show) {
        front::Show(options, output);
        return true;
    }
    if (options.action == Options::Action::Anonymous) {
        front::WriteAnonymous(options, output);
        return true;
    }
    if (options.action == Options::Action::Why || options.action == Options::Action::WhyNot) {
        output.Write(Answer(options));
        return true;
    }
    front::Desk desk;
    std::optional<page::Server> page;
    if (options.hasPage) {
        page.emplace(desk, static_cast<std::uint16_t>(options.port));
        output.Write("the television is at " + page->Address() + "\n");
    }
    return front::Drive(desk, {options.verbose, options.scenario, options.hasPrompt}, signals, output);
}

[[noreturn]] void EndStopped(int signal)
{
    std::fprintf(stderr, "\nvyrel-tv: stopped by SIG%s; nothing is left of it\n", ::sigabbrev_np(signal));
    front::StopSignals::EndBy(signal);
}

int Main(const std::vector<std::string>& arguments)
{
    std::string error;
    const std::optional<Options> options = front::ParseOptions(arguments, error);
    if (!options) {
        std::fprintf(stderr, "vyrel-tv: %s\nTry 'vyrel-tv --help'.\n", error.c_str());
        return kWrongCommandLine;
    }
    if (options->action == Options::Action::Help) {
        std::fputs(front::kHelp, stdout);
        return std::fflush(stdout) == 0 ? EXIT_SUCCESS : kCannotBeTold;
    }
    if (options->action == Options::Action::Replay) {
        return front::Replay(options->files); // Ctrl-C ends both
    }
    support::TempDir::RemoveAllWhenKilled();
    std::optional<front::StopSignals> signals;
    try {
        signals.emplace();
        return Perform(*options, *signals) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const front::Stopped& stopped) {
        EndStopped(stopped.signal);
    } catch (const scenario::Unreadable& unreadable) {
        std::fprintf(stderr, "%s\n", unreadable.what());
        return kCannotBeTold;
    } catch (const std::exception& exception) {
        // What failed may have failed for a signal that others were not spared.
        if (const std::optional<int> signal = signals ? signals->Take() : std::nullopt) {
            EndStopped(*signal);
        }
        std::fprintf(stderr, "vyrel-tv: %s\n", exception.what());
        return kCannotBeTold;
    }
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (!arguments.empty() && arguments.front() == front::kSetProcess) {
        return set::RunProcess(
            arguments); // not for people: the program has started itself for the television's process
    }
    return Main(arguments);
}
