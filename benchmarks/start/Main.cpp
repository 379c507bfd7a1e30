// bench_start: how long programs take from their start until the bus has given them a name.
//
// usage: bench_start time NAME ROUNDS STARTS FLOOR PROGRAM   one line a round: nanoseconds of the floor, of the program
//        bench_start await NAME SECONDS                      ends when somebody owns the name
//
// The clock runs from before the fork until this process is told of the name's owner. The programs are started in
// turns, STARTS times each in a round; a round's figure is the median of them.

#include "NameWatch.h"
#include "support/Child.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr unsigned int kLongestStart = 20;

long TimeStart(bench::NameWatch& watch, char* program)
{
    watch.WaitUntilOwned(false, kLongestStart);
    const auto start = std::chrono::steady_clock::now();
    const support::Child process = support::Child::Spawn({program});
    watch.WaitUntilOwned(true, kLongestStart);
    return std::chrono::nanoseconds(std::chrono::steady_clock::now() - start).count();
}

long Median(std::vector<long>& times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

void TimeStarts(bench::NameWatch& watch, int rounds, int starts, char* floor, char* program)
{
    for (int round = 0; round < rounds; ++round) {
        std::vector<long> floorTimes;
        std::vector<long> programTimes;
        for (int i = 0; i < starts; ++i) {
            floorTimes.push_back(TimeStart(watch, floor));
            programTimes.push_back(TimeStart(watch, program));
        }
        std::printf("%ld\t%ld\n", Median(floorTimes), Median(programTimes));
    }
}

int Usage()
{
    std::fputs("usage: bench_start time NAME ROUNDS STARTS FLOOR PROGRAM\n"
               "       bench_start await NAME SECONDS\n",
               stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string_view task = argc > 1 ? argv[1] : "";
    try {
        if (task == "time" && argc == 7) {
            bench::NameWatch watch(argv[2]);
            TimeStarts(watch, std::atoi(argv[3]), std::atoi(argv[4]), argv[5], argv[6]);
        } else if (task == "await" && argc == 4) {
            bench::NameWatch(argv[2]).WaitUntilOwned(true, static_cast<unsigned int>(std::atoi(argv[3])));
        } else {
            return Usage();
        }
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "bench_start: %s\n", exception.what());
        return EXIT_FAILURE;
    }
}
