// What the service asks of GLib, on the tape too: its timers. Programs with a simulated television are linked so that
// the project's own calls of these functions come through here; GLib's don't.

#include "sim/Handles.h"
#include "sim/Side.h"
#include "sim/Tape.h"
#include "sim/Television.h"
#include "sim/Timers.h"
#include "sim/Wrapped.h"

#include <glib.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using sim::Kind;
using sim::Television;

/// Timers have a number, in the order in which they were made, because ids differ from run to run.
struct Timer
{
    int number;
    std::string interval;
    sim::EntryId made;
    GSourceFunc function;
};

std::map<guint, Timer>& Timers()
{
    static std::map<guint, Timer> timers;
    return timers;
}

/// Stands in for the function of each timer, with that one's data: GLib finds a timer by its data too.
gboolean Fire(gpointer data)
{
    const Timer timer = Timers().at(g_source_get_id(g_main_current_source()));
    if (!Television::IsOn()) {
        return timer.function(data);
    }
    const sim::Tape::Scope handles =
        Television::Current().tape.Begin({.kind = Kind::Fired,
                                          .text = "timer " + std::to_string(timer.number) + " fires",
                                          .cause = timer.made,
                                          .timer = timer.number});
    const sim::Handles holdsLoop;
    return timer.function(data);
}

/// Forgets those that fire no more.
void Prune()
{
    std::erase_if(Timers(),
                  [](const auto& timer) { return g_main_context_find_source_by_id(nullptr, timer.first) == nullptr; });
}

bool IsSeen()
{
    return Television::IsOn() && sim::OnMainThread();
}

/// \param make makes the timer with the function that it is handed and returns its id
guint Made(const std::string& interval, GSourceFunc function, const std::function<guint(GSourceFunc)>& make)
{
    static int count = 0;
    const sim::Runs runs(sim::Side::Television);
    if (!IsSeen() || function == nullptr) {
        return make(function);
    }
    const guint id = make(Fire);
    ++count;
    const sim::EntryId made = Television::Current().tape.Record(
        {.kind = Kind::Timer, .text = "timer " + std::to_string(count) + ": " + interval, .timer = count});
    Timers()[id] = {count, interval, made, function};
    return id;
}

std::string Milliseconds(guint interval)
{
    return std::to_string(interval) + " ms";
}

std::string Seconds(guint interval)
{
    return std::to_string(interval) + " s";
}

} // namespace

std::vector<sim::PendingTimer> sim::PendingTimers()
{
    const std::int64_t start = g_get_monotonic_time() - Television::Current().tape.Now();
    Prune();
    std::vector<PendingTimer> pending;
    for (const auto& [id, timer] : Timers()) {
        GSource* source = g_main_context_find_source_by_id(nullptr, id);
        pending.push_back({timer.number, timer.interval, g_source_get_ready_time(source) - start, timer.function});
    }
    std::ranges::sort(pending, {}, [](const PendingTimer& timer) { return std::pair(timer.due, timer.number); });
    return pending;
}

int sim::PendingTimers(std::string_view interval)
{
    Prune();
    return static_cast<int>(
        std::ranges::count_if(Timers(), [&](const auto& timer) { return timer.second.interval == interval; }));
}

guint __wrap_g_timeout_add(guint interval, GSourceFunc function, gpointer data)
{
    return Made(Milliseconds(interval), function,
                [=](GSourceFunc called) { return __real_g_timeout_add(interval, called, data); });
}

guint __wrap_g_timeout_add_full(gint priority, guint interval, GSourceFunc function, gpointer data,
                                GDestroyNotify notify)
{
    return Made(Milliseconds(interval), function, [=](GSourceFunc called) {
        return __real_g_timeout_add_full(priority, interval, called, data, notify);
    });
}

guint __wrap_g_timeout_add_seconds(guint interval, GSourceFunc function, gpointer data)
{
    return Made(Seconds(interval), function,
                [=](GSourceFunc called) { return __real_g_timeout_add_seconds(interval, called, data); });
}

guint __wrap_g_timeout_add_seconds_full(gint priority, guint interval, GSourceFunc function, gpointer data,
                                        GDestroyNotify notify)
{
    return Made(Seconds(interval), function, [=](GSourceFunc called) {
        return __real_g_timeout_add_seconds_full(priority, interval, called, data, notify);
    });
}

gboolean __wrap_g_source_remove(guint id)
{
    const sim::Runs runs(sim::Side::Television);
    const auto timer = Timers().find(id);
    if (timer != Timers().end() && IsSeen()) {
        Television::Current().tape.Record({.kind = Kind::Timer,
                                           .text = "timer " + std::to_string(timer->second.number) + " removed",
                                           .timer = timer->second.number});
    }
    return __real_g_source_remove(id);
}
