// bench_settings: prints one row a comparison: name, median ratio, spread and limit, between tabs.
//
// usage: bench_settings [ROUNDS [DISK [MEMORY]]]
// DISK is a folder on the file system to measure durable writes on, MEMORY one on a RAM file system.

#include "Measurement.h"
#include "support/TempDir.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

namespace {

constexpr int kFewestRounds = 15;

void Print(const char* name, const std::vector<double>& ratios, double limit)
{
    const auto [least, most] = std::minmax_element(ratios.begin(), ratios.end());
    // A reader that went away is noticed here, and not after another minute.
    std::printf("%s\t%.2f\t%.2f..%.2f\t%.2f\n", name, bench::Median(ratios), *least, *most, limit);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    support::TempDir::RemoveAllWhenKilled();
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
