#include "Measurement.h"
#include "settings/FileDescriptor.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/TempDir.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace bench {
namespace {

constexpr int kWritesPerRound = 400;
constexpr const char* kKey = "db/vyrel/lastSoundRoute";

// Values of one length, no two alike.
std::string ValueOf(int number)
{
    std::string digits = std::to_string(number);
    return std::string(32 - digits.size(), '0') + digits;
}

void WriteBare(const settings::FileDescriptor& file, const std::string& record)
{
    if (pwrite(file.Get(), record.data(), record.size(), 0) != static_cast<ssize_t>(record.size()) ||
        fdatasync(file.Get()) != 0) {
        throw std::runtime_error("the bare write failed");
    }
}

void WriteSetting(settings::Store& store, const std::string& value)
{
    if (store.Set(kKey, value) != settings::kOk) {
        throw std::runtime_error("the durable set failed");
    }
}

} // namespace

std::vector<double> CompareDurableSet(const Places& places, int rounds)
{
    const support::TempDir disk(kFolderName, places.disk);
    const support::TempDir memory(kFolderName, places.memory);
    settings::Store store({disk.Path(), memory.Path()});
    const settings::FileDescriptor file(
        open((disk.Path() / "bare").c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    int number = 0;
    // Past the first turn of the write-ahead log: its file has its size then, as it has for all but the first hour.
    for (int warmUp = 0; warmUp < 1000; ++warmUp) {
        GoOnUnlessStopped();
        WriteSetting(store, ValueOf(++number));
        WriteBare(file, kKey + ValueOf(number));
    }
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        std::int64_t bare = 0;
        std::int64_t durable = 0;
        for (int write = 0; write < kWritesPerRound; ++write) {
            GoOnUnlessStopped();
            const std::string value = ValueOf(++number);
            const std::int64_t start = Now();
            WriteBare(file, kKey + value);
            const std::int64_t between = Now();
            WriteSetting(store, value);
            bare += between - start;
            durable += Now() - between;
        }
        ratios.push_back(static_cast<double>(durable) / static_cast<double>(bare));
    }
    return ratios;
}

} // namespace bench
