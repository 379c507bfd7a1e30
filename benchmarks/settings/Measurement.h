// What the two comparisons share.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

// What the names of the folders begin with that are measured in.
inline constexpr const char* kFolderName = "bench-settings";

// Nanoseconds of a clock that all processes share.
inline std::int64_t Now()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Throws when a signal has asked this program to end. For each step of a measurement.
void GoOnUnlessStopped();

// Where to measure: a folder on a disk, and one on a RAM file system.
struct Places
{
    std::string disk;
    std::string memory;
};

// Each comparison gives one ratio a round.

// The time of durable writes over that of a bare pwrite and fdatasync of the same key and value over one place of a
// file on the same file system, taken in turns. Sums, because bringing the log's pages home now and then is part
// of the price.
std::vector<double> CompareDurableSet(const Places& places, int rounds);

// The time from the start of a write in one process to the callback on the main loop of another. The store's own
// notice, against a sender that writes the same value to the same kind of database (same page size, same journal, no
// log of writes) and then sends key, type and value as a datagram to the same main loop. Medians of single notices,
// taken in turns, each with the watcher at rest.
std::vector<double> CompareNotice(const Places& places, int rounds);

// A measured value also of an even number of them.
template <typename T>
T Median(std::vector<T> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace bench
