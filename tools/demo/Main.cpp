// vyrel-demo: an evening with a simulated television, told step by step.

#include "Evening.h"
#include "Life.h"
#include "support/PrivateBus.h"
#include "support/RealTime.h"
#include "support/TempDir.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* kUsage = R"(usage: vyrel-demo [--stay] [--verbose]

Tells an evening with a simulated television: what happens to the set and, under it, what the service does about it.

  --stay      plays the start only and keeps the television on until Ctrl-C
  --verbose   shows every line of the log too

exit status:
  0  everything went as it should
  1  something did not
  2  the command line is wrong
)";

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

/// Ctrl-C is for the service; this process waits for it to stop.
bool Stays(const std::string& root, bool verbose)
{
    struct sigaction ignore = {};
    ignore.sa_handler = [](int) {};
    ignore.sa_flags = SA_RESTART;
    sigaction(SIGINT, &ignore, nullptr);
    sigaction(SIGTERM, &ignore, nullptr);
    return demo::Lives({root, kFirstStart, demo::FurnishesTheSet, demo::PlaysTheStart, verbose, true});
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
            return asked ? EXIT_SUCCESS : 2;
        }
    }
    const support::TempDir root;
    const support::PrivateBus bus;
    const bool isWell = stay ? Stays(root.Path(), verbose) : TellsTheEvening(root.Path(), verbose);
    return isWell ? EXIT_SUCCESS : EXIT_FAILURE;
}
