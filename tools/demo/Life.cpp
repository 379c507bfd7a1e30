#include "Life.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>

extern "C" int service_main();

namespace demo {

namespace {

constexpr int kStoppedStatus = 1; // the service's own, however it ends

int PlayHere(const Life& life)
{
    Narrator narrator(life.verbose);
    const std::unique_ptr<sim::VirtualClock> clock = life.realTime ? nullptr : std::make_unique<sim::VirtualClock>();
    sim::Television tv(life.root);
    if (clock) {
        clock->OnSleep([&tv](std::chrono::microseconds time) {
            tv.tape.Record({.kind = sim::Kind::Sleep, .text = "sleep " + std::to_string(time.count() / 1000) + " ms"});
        });
    }
    std::optional<Stage> stage(std::in_place, tv, clock.get(), narrator);
    life.before(*stage);
    tv.tape.SetSink([&](const sim::Entry& entry) { narrator.Hears(entry); });
    tv.queue.Post([&] {
        life.script(*stage);
        if (!life.realTime) {
            narrator.Begins("The set is unplugged.");
            std::raise(SIGTERM);
        }
    });

    narrator.Begins(life.title);
    const int status = service_main();

    narrator.ShouldHaveSeen({"Deinit vyrel-lite", "exit vyrel-lite", "OUT << [int main()(15)]"});
    narrator.Claims(status == kStoppedStatus, "the service stopped with status " + std::to_string(kStoppedStatus));
    for (const std::string& violation : stage->Violations()) {
        narrator.Claims(false, violation);
    }
    const int failures = narrator.Summarizes();
    tv.ServiceHasStopped();
    stage.reset();
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

bool Lives(const Life& life)
{
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        std::exit(PlayHere(life));
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

} // namespace demo
