// bench_dconf: the settings store beside dconf, which keeps settings in its own file through a service on the bus.
//
// usage: bench_dconf ROUNDS WRITES FOLDER    nanoseconds, a line a round, between tabs: a write by dconf, by the store;
//                                            a notice of dconf, of the store
//
// FOLDER is on a RAM file system, and so are dconf's files, so that neither waits for a disk. dconf's service has to be
// on the session bus. A write lasts until it has returned with success; a notice until another process's callback runs
// on its main loop, counted from before the write. In turns, medians.

#include "settings/FileDescriptor.h"
#include "settings/KeyNode.h"
#include "settings/Locations.h"
#include "settings/Store.h"
#include "settings/Value.h"
#include "support/Child.h"
#include "support/TempDir.h"

#include <glib-object.h>
#include <glib.h>

#include <client/dconf-client.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr const char* kStoreKey = "memory/volt/firstscreen_state";
constexpr const char* kDconfKey = "/volt/firstscreen_state";

void Require(bool condition, const char* what)
{
    if (!condition) {
        throw std::runtime_error(what);
    }
}

std::int64_t Now()
{
    return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The watching process: tells the moment of every callback through a pipe.
class Watcher
{
public:
    Watcher(const settings::Folders& folders, int moments) : m_store(folders), m_moments(moments)
    {
        Require(m_store.Watch(kStoreKey, &Watcher::OnNotice, this) == settings::kOk, "the watch failed");
        g_signal_connect(m_dconf, "changed", G_CALLBACK(&Watcher::OnChanged), this);
        dconf_client_watch_sync(m_dconf, kDconfKey);
        Tell();
    }

    [[noreturn]] void Run()
    {
        for (;;) {
            g_main_context_iteration(nullptr, TRUE);
        }
    }

private:
    void Tell() const
    {
        const std::int64_t moment = Now();
        if (write(m_moments, &moment, sizeof moment) != sizeof moment) {
            _exit(1);
        }
    }

    static void OnNotice(keynode* /*node*/, void* self)
    {
        static_cast<Watcher*>(self)->Tell();
    }

    static void OnChanged(DConfClient* /*client*/, const char* /*prefix*/, const char* const* /*changes*/,
                          const char* /*tag*/, void* self)
    {
        static_cast<Watcher*>(self)->Tell();
    }

    settings::Store m_store;
    DConfClient* m_dconf = dconf_client_new();
    int m_moments;
};

struct Times
{
    std::int64_t write;
    std::int64_t notice;
};

Times Measure(int moments, const std::function<bool()>& writeOne)
{
    const std::int64_t start = Now();
    Require(writeOne(), "a write failed");
    const std::int64_t end = Now();
    std::int64_t told = 0;
    Require(read(moments, &told, sizeof told) == sizeof told, "the watcher ended");
    return {end - start, told - start};
}

std::int64_t Median(const std::vector<Times>& times, std::int64_t Times::*which)
{
    std::vector<std::int64_t> values(times.size());
    std::transform(times.begin(), times.end(), values.begin(), [which](const Times& one) { return one.*which; });
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

void Compare(int rounds, int writes, const std::string& folder)
{
    const support::TempDir memory("bench-dconf", folder);
    const settings::Folders folders{memory.Path() / "db", memory.Path()};
    int ends[2];
    Require(pipe(ends) == 0, "the pipe cannot be made");
    const settings::FileDescriptor reading(ends[0]);
    const settings::FileDescriptor writing(ends[1]);
    const support::Child watcher = support::Child::Fork([&]() -> int { Watcher(folders, ends[1]).Run(); });
    std::int64_t ready = 0;
    Require(read(ends[0], &ready, sizeof ready) == sizeof ready, "the watcher ended");

    settings::Store store(folders);
    DConfClient* dconf = dconf_client_new();
    int value = 0;
    const auto byDconf = [&] {
        return dconf_client_write_sync(dconf, kDconfKey, g_variant_new_int32(value), nullptr, nullptr, nullptr) !=
               FALSE;
    };
    const auto byStore = [&] { return store.Set(kStoreKey, value) == settings::kOk; };
    for (int round = -1; round < rounds; ++round) { // the first one warms up
        std::vector<Times> dconfTimes;
        std::vector<Times> storeTimes;
        for (int i = 0; i < writes; ++i) {
            ++value; // dconf tells nobody of a value that is equal to the one before
            dconfTimes.push_back(Measure(ends[0], byDconf));
            storeTimes.push_back(Measure(ends[0], byStore));
        }
        if (round >= 0) {
            std::printf("%ld\t%ld\t%ld\t%ld\n", Median(dconfTimes, &Times::write), Median(storeTimes, &Times::write),
                        Median(dconfTimes, &Times::notice), Median(storeTimes, &Times::notice));
        }
    }
    g_object_unref(dconf);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fputs("usage: bench_dconf ROUNDS WRITES FOLDER\n", stderr);
        return 2;
    }
    try {
        Compare(std::atoi(argv[1]), std::atoi(argv[2]), argv[3]);
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "bench_dconf: %s\n", exception.what());
        return EXIT_FAILURE;
    }
}
