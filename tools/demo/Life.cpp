#include "Life.h"

#include "StopSignals.h"
#include "demo/Narrator.h"
#include "demo/Stage.h"
#include "sim/Queue.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/VirtualClock.h"
#include "support/Child.h"
#include "support/Findings.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

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
    support::HandleFindings([&](const std::string& finding) { narrator.Claims(false, finding); });
    std::optional<Stage> stage(std::in_place, tv, clock.get(), narrator);
    life.before(*stage);
    tv.tape.SetSink([&](const sim::Entry& entry) { narrator.Hears(entry); });
    tv.queue.Post([&] {
        life.script(*stage);
        if (life.realTime) {
            AwaitSigterm();
        } else {
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
    support::HandleFindings({});
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

bool Lives(const Life& life)
{
    support::Child process = support::Child::Fork([&life] {
        ::setsid(); // the terminal's signals are for the parent, who passes them on once
        if (life.realTime) {
            HoldSigterm(); // a start that is told to its end is easier to read
        }
        return PlayHere(life);
    });
    return AwaitEnd(process, life.realTime ? WhenStopped::Tell : WhenStopped::Kill) == support::Exited(EXIT_SUCCESS);
}

} // namespace demo
