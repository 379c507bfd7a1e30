// bench_settings: prints one row a comparison: name, median ratio, spread and limit, between tabs.
//
// usage: bench_settings [ROUNDS [DISK [MEMORY]]]
// DISK is a folder on the file system to measure durable writes on, MEMORY one on a RAM file system.

#include "Measurement.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kFewestRounds = 15;

volatile std::sig_atomic_t stopped = 0;

void OnStop(int /*signal*/)
{
    stopped = 1;
}

// The watcher must be gone before its folder is removed, or it would make its files in there anew. So a signal ends the
// measuring, and the program goes the usual way out.
void StopInOrder()
{
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        std::signal(signal, &OnStop);
    }
    std::signal(SIGPIPE, SIG_IGN);
}

void Print(const char* name, const std::vector<double>& ratios, double limit)
{
    const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
    std::printf("%s\t%.2f\t%.2f..%.2f\t%.2f\n", name, bench::Median(ratios), *least, *most, limit);
    if (std::fflush(stdout) != 0) {
        throw std::runtime_error("the output cannot be written");
    }
}

} // namespace

namespace bench {

void GoOnUnlessStopped()
{
    if (stopped != 0) {
        throw std::runtime_error("stopped by a signal");
    }
}

} // namespace bench

int main(int argc, char** argv)
{
    StopInOrder();
    try {
        const int rounds = std::max(kFewestRounds, argc > 1 ? std::atoi(argv[1]) : kFewestRounds);
        const bench::Places places{argc > 2 ? argv[2] : ".", argc > 3 ? argv[3] : "/dev/shm"};
        Print("settings-notice", bench::CompareNotice(places, rounds), 1.3);
        Print("settings-durable-set", bench::CompareDurableSet(places, rounds), 3.5);
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "bench_settings: %s\n", exception.what());
        return EXIT_FAILURE;
    }
}
