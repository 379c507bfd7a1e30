// orders: tries each order of events on a running service; see --help.

#include "orders/Alphabet.h"
#include "orders/Findings.h"
#include "orders/Inside.h"
#include "orders/Search.h"
#include "support/Child.h"
#include "support/RealTime.h"
#include "support/TempDir.h"

#include <stdlib.h>

#include <CLI/CLI.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

using orders::Order;
using orders::Subject;

struct Options
{
    int seconds = 0;
    std::size_t depth = Order::kLongest;
    int processes = 1;
    bool livesEach = false;
    bool lists = false;
    bool listsVariables = false;
    std::vector<std::string> subjects;
    std::vector<std::string> order;
};

const Subject& SubjectNamed(const std::string& name)
{
    const auto all = orders::Subjects();
    const auto found = std::ranges::find(all, name, &Subject::name);
    if (found == all.end()) {
        throw std::runtime_error("there is no subject " + name + "; --list names all");
    }
    return *found;
}

Order OrderOf(const std::vector<std::string>& names)
{
    Order order;
    for (const std::string& name : names) {
        const std::optional<std::size_t> event = orders::EventNamed(name);
        if (!event) {
            throw std::runtime_error("there is no event " + name + "; --list names all");
        }
        if (order.length == Order::kLongest) {
            throw std::runtime_error("the order is too long");
        }
        order = order.With(*event);
    }
    return order;
}

void List()
{
    for (const Subject& subject : orders::Subjects()) {
        std::printf("%s\n", std::string(subject.name).c_str());
        for (const orders::Event& event : orders::Alphabet()) {
            if (subject.bit == 0 || (event.subjects & subject.bit) != 0) {
                std::printf("    %-28s %s\n", std::string(event.name).c_str(), event.line);
            }
        }
    }
}

void ListVariables()
{
    for (const std::string& name : orders::Inside::NamesOfVariables()) {
        std::printf("%s\n", name.c_str());
    }
}

bool InAFork(const std::function<bool(const std::string& root)>& looks)
{
    const support::TempDir root("orders");
    support::Child child = support::Child::Fork([&] { return looks(root.Path().string()) ? 0 : 1; });
    return child.Wait() == support::Exited(0);
}

/// What is left of the time is shared among the subjects that are left, and one that has seen all leaves its rest to
/// them. The one of all events has as much as all others together.
bool SearchAll(const std::vector<const Subject*>& subjects, const Options& options)
{
    using namespace std::chrono_literals;
    const auto end = support::RealTime::Now() + std::chrono::seconds(options.seconds);
    const auto weightOf = [](const Subject* subject) {
        return subject->bit == 0 ? static_cast<long>(orders::Subjects().size()) - 1 : 1;
    };
    long left = 0;
    for (const Subject* subject : subjects) {
        left += weightOf(subject);
    }
    bool isRight = true;
    for (const Subject* subject : subjects) {
        const auto now = support::RealTime::Now();
        const auto share = std::max(end - now, 0ms) * weightOf(subject) / left;
        const orders::Extent extent = {.until = options.seconds != 0 ? now + share : 0ms,
                                       .depth = options.depth,
                                       .processes = options.processes,
                                       .livesEach = options.livesEach};
        left -= weightOf(subject);
        isRight = InAFork([&](const std::string& root) { return orders::Search(*subject, root, extent); }) && isRight;
    }
    return isRight;
}

bool Run(const Options& options)
{
    std::vector<const Subject*> subjects;
    for (const std::string& name : options.subjects) {
        subjects.push_back(&SubjectNamed(name));
    }
    if (!options.order.empty()) {
        const Subject& subject = subjects.empty() ? orders::Subjects().back() : *subjects.front();
        const Order order = OrderOf(options.order);
        return InAFork([&](const std::string& root) { return orders::LiveOne(subject, root, order); });
    }
    if (subjects.empty()) {
        for (const Subject& subject : orders::Subjects()) {
            subjects.push_back(&subject);
        }
    }
    return SearchAll(subjects, options);
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    options.processes = static_cast<int>(std::max(1U, std::thread::hardware_concurrency()));
    CLI::App app("Tries each event at each step of a running service's life, the shortest orders first, and looks each "
                 "time whether what must hold does. Exit status: 0 it does, 1 something is wrong, 2 it could not be "
                 "looked.");
    app.add_option("--seconds", options.seconds, "for all subjects together; no end without it")
        ->check(CLI::PositiveNumber);
    app.add_option("--depth", options.depth, "how long orders become at most")
        ->check(CLI::Range(std::size_t{1}, Order::kLongest));
    app.add_option("--processes", options.processes, "that search side by side; as many as there are processors")
        ->check(CLI::PositiveNumber);
    app.add_option("--subject", options.subjects, "these alone; all without it");
    app.add_option("--order", options.order, "lives this one order and prints all that happens")->delimiter(',');
    app.add_flag("--each", options.livesEach, "goes on from states that were seen already, too");
    app.add_flag("--list", options.lists, "names all subjects and their events");
    app.add_flag("--variables", options.listsVariables, "names the static variables that are part of a state");
    CLI11_PARSE(app, argc, argv);
    try {
        if (options.lists) {
            List();
            return 0;
        }
        if (options.listsVariables) {
            ListVariables();
            return 0;
        }
        ::setenv("G_DEBUG", "fatal-criticals", 1);
        support::TempDir::RemoveAllWhenKilled();
        return Run(options) ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "orders: %s\n", failure.what());
        return 2;
    }
}
