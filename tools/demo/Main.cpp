// vyrel-demo: an evening with a simulated television, told step by step.

#include "Evening.h"
#include "Life.h"
#include "StopSignals.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"
#include "support/TempDir.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

constexpr const char* kUsage = R"(usage: vyrel-demo [--stay] [--verbose]

Tells an evening with a simulated television: what happens to the set and, under it, what the service does about it.

  --stay      plays the start only and keeps the television on until Ctrl-C
  --verbose   shows every line of the log too

exit status:
  0  everything went as it should
  1  something did not
  2  the command line is wrong
  3  it could not be told: there is no message bus, no room for a folder, ...
A signal that ends it early is passed on, after everything has been cleared away. With --stay, Ctrl-C, SIGTERM and
SIGHUP end the service in order; a second one ends it at once.
)";

constexpr int kWrongCommandLine = 2;
constexpr int kCannotBeTold = 3;

constexpr const char* kFirstStart = "The set is switched on, and the service starts.";
constexpr const char* kNextStart = "The set is switched on again; the service finds that it was reset.";

bool TellsTheEvening(const std::string& root, bool verbose)
{
    const auto start = support::RealTime::Now();
    const bool evening = demo::Lives({root, kFirstStart, demo::FurnishesTheSet, demo::PlaysTheEvening, verbose});
    const bool nextStart = demo::Lives({root, kNextStart, demo::PlugsTheSetIn, demo::PlaysTheNextStart, verbose});
    const bool isWell = evening && nextStart;
    const auto took = support::RealTime::Now() - start;
    std::printf("\nthe evening went %s, told in %lld.%01lld s\n", isWell ? "as it should" : "NOT as it should",
                static_cast<long long>(took.count() / 1000), static_cast<long long>(took.count() % 1000 / 100));
    return isWell;
}

/// Until somebody stops the service.
bool Stays(const std::string& root, bool verbose)
{
    return demo::Lives({root, kFirstStart, demo::FurnishesTheSet, demo::PlaysTheStart, verbose, true});
}

bool Tells(bool stay, bool verbose)
{
    const support::TempDir root("vyrel-demo");
    const support::PrivateBus bus;
    const bool isWell = stay ? Stays(root.Path(), verbose) : TellsTheEvening(root.Path(), verbose);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        throw std::runtime_error("cannot write what happens");
    }
    return isWell;
}

[[noreturn]] void EndStopped(int signal)
{
    std::fprintf(stderr, "\nvyrel-demo: stopped by SIG%s; nothing is left of it\n", ::sigabbrev_np(signal));
    demo::EndBy(signal);
}

} // namespace

int main(int argc, char** argv)
{
    bool stay = false;
    bool verbose = false;
    for (int index = 1; index < argc; ++index) {
        if (std::strcmp(argv[index], "--stay") == 0) {
            stay = true;
        } else if (std::strcmp(argv[index], "--verbose") == 0) {
            verbose = true;
        } else {
            const bool asked = std::strcmp(argv[index], "--help") == 0;
            std::fputs(kUsage, asked ? stdout : stderr);
            return asked ? EXIT_SUCCESS : kWrongCommandLine;
        }
    }
    support::TempDir::RemoveAllWhenKilled();
    demo::HoldStopSignals();
    std::signal(SIGPIPE, SIG_IGN); // there is something to clear away first
    try {
        return Tells(stay, verbose) ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const demo::Stopped& stopped) {
        EndStopped(stopped.signal);
    } catch (const std::exception& exception) {
        if (const std::optional<int> signal = demo::WaitingStopSignal()) {
            EndStopped(*signal);
        }
        std::fprintf(stderr, "vyrel-demo: %s\n", exception.what());
        return kCannotBeTold;
    }
}
